#include "Flowspec/key/FlowspecKey.h"
#include "Flowspec/key/FlowspecKeyReader.h"

#include "Flowspec/vocab/TraceHandle.h"
#include "tests/support/ExpectFailure.h"
#include "tests/support/TraceRecorder.h"

#include <string>
#include <vector>

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::raisesIndexRange;
using TestSupport::TraceRecorder;

using namespace std::string_literals;

struct BadText {
   std::string text;
   bool lengths;
   std::string message;
   std::size_t offset;            ///< where reading stops
   std::vector< U32 > words = {}; ///< that stay in the key
};

const std::string notAPrefix = "' is not a prefix";

const BadText badTexts[] = {
   // No destination.
   { "", false, "Did not find a destination prefix ", 0 },
   // A destination that is no prefix.
   { ";", false, "Could not parse dest prefix ; : Zorv::IpGenPrefix: '" + notAPrefix, 0 },
   { " *;*;", false, "Could not parse dest prefix  *;*; : Zorv::IpGenPrefix: ' *" + notAPrefix, 0 },
   { "**;*", false, "Could not parse dest prefix **;* : Zorv::IpGenPrefix: '**" + notAPrefix, 0 },
   { "10.0.0.0;*;", false,
     "Could not parse dest prefix 10.0.0.0;*; : Zorv::IpGenPrefix: '10.0.0.0" + notAPrefix, 0 },
   { "10.0.0.0/33;*;", false,
     "Could not parse dest prefix 10.0.0.0/33;*; : Zorv::IpGenPrefix: '10.0.0.0/33" + notAPrefix,
     0 },
   { "*\0;*;"s, false, "Could not parse dest prefix *\0;*; : Zorv::IpGenPrefix: '*\0"s + notAPrefix,
     0 },
   { "*\n;*;", false, "Could not parse dest prefix *\n;*; : Zorv::IpGenPrefix: '*\n" + notAPrefix,
     0 },
   { "IP:=6;", false, "Could not parse dest prefix IP:=6; : Zorv::IpGenPrefix: 'IP:=6" + notAPrefix,
     0 },
   // No source.
   { "*", false, "Did not find a source prefix *", 1 },
   { "*;", false, "Did not find a source prefix *;", 2 },
   { "10.0.0.0/8;", true, "Did not find a source prefix 10.0.0.0/8;", 11 },
   // A source that is no prefix.
   { "*;;", false, "Could not parse source prefix *;; : Zorv::IpGenPrefix: '" + notAPrefix, 2 },
   { "*;x;IP:=6", false,
     "Could not parse source prefix *;x;IP:=6 : Zorv::IpGenPrefix: 'x" + notAPrefix, 2 },
   // No component.
   { "*;*;;", false, "Did not find a match component in ", 4 },
   { "*;*;;IP:=6;", false, "Did not find a match component in ", 4 },
   { "*;*;IP:=6;;", false, "Did not find a match component in ", 10, { 0x03810006 } },
   { "*;*;IP=6;", false, "Did not find a match component in IP=6", 4 },
   { "*;*; ", false, "Did not find a match component in  ", 4 },
   { "*;*;\n", false, "Did not find a match component in \n", 4 },
   // No label.
   { "*;*;:", false, "Did not find a valid component label in :", 4 },
   { "*;*;:=6;", false, "Did not find a valid component label in :=6", 4 },
   { "*;*;XYZ:=6;", false, "Did not find a valid component label in XYZ:=6", 4 },
   { "*;*;ip:=6;", false, "Did not find a valid component label in ip:=6", 4 },
   { "*;*; IP:=6;", false, "Did not find a valid component label in  IP:=6", 4 },
   { "*;*;INVALID:0;", false, "Did not find a valid component label in INVALID:0", 4 },
   { "*;*;DP:=1;D\0P:=6;"s,
     false,
     "Did not find a valid component label in D\0P:=6"s,
     10,
     { 0x05810001 } },
   // An operator of the other kind.
   { "*;*;TCP:=1|<2;",
     false,
     "Received value operator for a bitfield component TCP:=1|<2",
     11,
     { 0x09010001 } },
   { "*;*;TCP:>2;", false, "Received value operator for a bitfield component TCP:>2", 8 },
   { "*;*;FRAG:<=2", false, "Received value operator for a bitfield component FRAG:<=2", 9 },
   { "*;*;FRAG:>", false, "Received value operator for a bitfield component FRAG:>", 9 },
   { "*;*;IP:!6;", false, "Received bitfield operator for a value component IP:!6", 7 },
   { "*;*;DSCP:=6!;",
     false,
     "Received bitfield operator for a value component DSCP:=6!",
     11,
     { 0x0B010006 } },
   // No number after an operator.
   { "*;*;IP:=", false, " Missing value in IP:=", 8 },
   { "*;*;IP:=;DP:=80;", false, " Missing value in IP:=", 8 },
   { "*;*;IP:=6|=", false, " Missing value in IP:=6|=", 11, { 0x03010006 } },
   { "*;*;IP:>;", true, " Missing value in IP:>", 8 },
   { "*;*;IP:<&;", false, " Missing value in IP:<&", 9 },
   { "*;*;IP:<|;", false, " Missing value in IP:<|", 9 },
   { "*;*;TCP:!;", false, " Missing value in TCP:!", 9 },
   // Anything else.
   { "*;*;IP:= 6;", false, "Unexpected character  ", 8 },
   { "*;*;IP:=6 ;", false, "Unexpected character  ", 9, { 0x03010006 } },
   { "*;*;IP:=6,7;", false, "Unexpected character ,", 9, { 0x03010006 } },
   { "*;*;IP:=6:7;", false, "Unexpected character :", 9, { 0x03010006 } },
   { "*;*;IP:=-6;", false, "Unexpected character -", 8 },
   { "*;*;IP:=+6;", false, "Unexpected character +", 8 },
   { "*;*;IP:=6\n", false, "Unexpected character \n", 9, { 0x03010006 } },
   { "*;*;IP:=\0"s, false, "Unexpected character \0"s, 8 },
   { "*;*;IP:=6\0;"s, false, "Unexpected character \0"s, 9, { 0x03010006 } },
   { "*;*;IP:\xC3\xA9", false, "Unexpected character \xC3", 7 },
   { "*;*;IP:=0x;", false, "Unexpected character x", 9, { 0x03010000 } },
   { "*;*;IP:=0xg", false, "Unexpected character x", 9, { 0x03010000 } },
   { "*;*;IP:=0X10", false, "Unexpected character X", 9, { 0x03010000 } },
   { "*;*;IP:=0b1", false, "Unexpected character b", 9, { 0x03010000 } },
   { "*;*;IP:=12a", false, "Unexpected character a", 10, { 0x0301000C } },
   { "*;*;IP:=0L6;", false, "Unexpected character L", 9, { 0x03010000 } },
   { "*;*;IP:=L6;", true, "Unexpected character L", 8 },
   // A length without its "L" and digit.
   { "*;*;IP:=6;", true, "Unexpected format for value length IP:=6", 8 },
   { "*;*;IP:=16;", true, "Unexpected format for value length IP:=16", 8 },
   { "*;*;IP:=0l6;", true, "Unexpected format for value length IP:=0l6", 8 },
   { "*;*;IP:=0L", true, "Unexpected format for value length IP:=0L", 8 },
   { "*;*;IP:=0L;", true, "Unexpected format for value length IP:=0L", 8 },
   { "*;*;IP:=0L;6", true, "Unexpected format for value length IP:=0L", 8 },
   { "*;*;IP:=0L 6;", true, "Unexpected format for value length IP:=0L 6", 8 },
   { "*;*;IP:=0L-6;", true, "Unexpected format for value length IP:=0L-6", 8 },
   { "*;*;IP:=0Lx6;", true, "Unexpected format for value length IP:=0Lx6", 8 },
   { "*;*;IP:=0L1|=2;", true, "Unexpected format for value length IP:=0L1|=2", 13, { 0x03010001 } },
   { "*;*;IP:=0L08;", true, "Unexpected format for value length IP:=0L08", 11, { 0x03010000 } },
};

std::vector< U32 > wordsOf( const FlowspecKey& key ) {
   std::vector< U32 > words;
   for ( const auto& [index, word] : key.matchOpVal() ) {
      EXPECT_EQ( index.value(), words.size() );
      words.push_back( word.storage() );
   }
   return words;
}

TEST( ReadCliFailure, EachKindWritesOneRecord ) {
   for ( const BadText& bad : badTexts ) {
      TraceRecorder recorder( traceHandle, { 2 } );
      FlowspecKey key;
      EXPECT_FALSE( key.copyInStrCli( bad.text, bad.lengths ) ) << bad.text;
      ASSERT_THAT( recorder.texts(), ElementsAre( bad.message ) ) << bad.text;
      EXPECT_EQ( recorder.records()[0].level, 2U );
      EXPECT_EQ( recorder.records()[0].file, "FlowspecDalb" );
      EXPECT_EQ( recorder.records()[0].function, "copyInStrCliAtOffset" );
      EXPECT_GT( recorder.records()[0].line, 0U );
   }
}

TEST( ReadCliFailure, CheckedReaderGivesTheSameMessageAndThePlace ) {
   for ( const BadText& bad : badTexts ) {
      TraceRecorder recorder( traceHandle, { 2, 8 } );
      FlowspecKey key;
      const KeyTextResult result = readStrCli( bad.text, bad.lengths, key );
      ASSERT_TRUE( result ) << bad.text;
      EXPECT_EQ( result->message, bad.message );
      EXPECT_EQ( result->offset, bad.offset ) << bad.text;
      EXPECT_THAT( recorder.records(), IsEmpty() );
   }
}

TEST( ReadCliFailure, WhatWasReadStaysInTheKey ) {
   for ( const BadText& bad : badTexts ) {
      FlowspecKey key;
      FlowspecKey checked;
      EXPECT_FALSE( key.copyInStrCli( bad.text, bad.lengths ) );
      EXPECT_TRUE( readStrCli( bad.text, bad.lengths, checked ) );
      EXPECT_EQ( wordsOf( key ), bad.words ) << bad.text;
      EXPECT_EQ( checked, key ) << bad.text;
   }
}

TEST( ReadCliFailure, PrefixesThatWereReadStay ) {
   const auto first = Zorv::IpGenPrefix::fromText( "10.0.0.0/8" ).value();
   const auto second = Zorv::IpGenPrefix::fromText( "11.0.0.0/8" ).value();
   FlowspecKey key;
   EXPECT_FALSE( key.copyInStrCli( "10.0.0.0/8;x;", false ) );
   EXPECT_EQ( key.destPrefix(), first );
   EXPECT_TRUE( key.srcPrefix().empty() );
   EXPECT_FALSE( key.copyInStrCli( "11.0.0.0/8", false ) );
   EXPECT_EQ( key.destPrefix(), second );
   EXPECT_FALSE( key.copyInStrCli( "x;10.0.0.0/8;", false ) );
   EXPECT_EQ( key.destPrefix(), second );
   EXPECT_TRUE( key.srcPrefix().empty() );
   EXPECT_FALSE( key.copyInStrCli( "*;10.0.0.0/8;x", false ) );
   EXPECT_EQ( key.destPrefix(), second );
   EXPECT_EQ( key.srcPrefix(), first );
}

TEST( ReadCliFailure, WordsReadBeforeReplaceTheOldOnes ) {
   FlowspecKey key;
   ASSERT_TRUE( key.copyInStrCli( "*;*;IP:=1|=2|=3;", false ) );
   EXPECT_FALSE( key.copyInStrCli( "*;*;DP:=8;SP:=9|x", false ) );
   EXPECT_THAT( wordsOf( key ), ElementsAre( 0x05810008, 0x06010009, 0x03810003 ) );
}

TEST( ReadCliFailure, OffsetAtOrBeyondTheEndLeavesNothingToRead ) {
   for ( const U32 offset : { 8U, 9U, 100U, 0xFFFFFFFFU } ) {
      TraceRecorder recorder( traceHandle, { 2 } );
      FlowspecKey key;
      EXPECT_FALSE( key.copyInStrCliAtOffset( "*;*;IP:1", offset, false ) );
      EXPECT_THAT( recorder.texts(), ElementsAre( "Did not find a destination prefix *;*;IP:1" ) );
   }
}

TEST( ReadCliFailure, MessagesAboutPrefixesShowTheWholeTextAlsoWithAnOffset ) {
   TraceRecorder recorder( traceHandle, { 2 } );
   FlowspecKey key;
   EXPECT_FALSE( key.copyInStrCliAtOffset( "x;*;", 2, false ) );
   EXPECT_FALSE( key.copyInStrCliAtOffset( "*;x;*;", 2, false ) );
   EXPECT_FALSE( key.copyInStrCliAtOffset( "*;*;x;", 2, false ) );
   EXPECT_THAT(
      recorder.texts(),
      ElementsAre( "Did not find a source prefix x;*;",
                   "Could not parse dest prefix *;x;*; : Zorv::IpGenPrefix: 'x" + notAPrefix,
                   "Could not parse source prefix *;*;x; : Zorv::IpGenPrefix: 'x" + notAPrefix ) );
}

TEST( ReadCliTrace, SuccessWritesNothingAtLevelTwo ) {
   TraceRecorder recorder( traceHandle, { 2 } );
   FlowspecKey key;
   EXPECT_TRUE( key.copyInStrCli( "10.0.0.0/8;*;IP:=6;TCP:!=2;FRAG:;", false ) );
   EXPECT_THAT( recorder.records(), IsEmpty() );
}

TEST( ReadCliTrace, LevelEightTellsWhatIsRead ) {
   TraceRecorder recorder( traceHandle, { 2, 8 } );
   FlowspecKey key;
   EXPECT_TRUE( key.copyInStrCliAtOffset( "ab*;*;", 2, false ) );
   EXPECT_FALSE( key.copyInStrCli( "", true ) );
   EXPECT_THAT( recorder.texts(),
                ElementsAre( "copyInStrCliAtOffset constructing match components at offset 2 from "
                             "ab*;*;",
                             "copyInStrCliAtOffset constructing match components at offset 0 from ",
                             "Did not find a destination prefix " ) );
   EXPECT_EQ( recorder.records()[0].level, 8U );
   EXPECT_EQ( recorder.records()[0].file, "FlowspecDalb" );
   EXPECT_EQ( recorder.records()[0].function, "copyInStrCliAtOffset" );
}

TEST( ReadCliTrace, NothingIsWrittenWhenTheLevelsAreOff ) {
   testing::internal::CaptureStderr();
   TraceRecorder recorder( traceHandle, {} );
   for ( const BadText& bad : badTexts ) {
      FlowspecKey key;
      EXPECT_FALSE( key.copyInStrCli( bad.text, bad.lengths ) );
   }
   EXPECT_THAT( recorder.records(), IsEmpty() );
   EXPECT_EQ( testing::internal::GetCapturedStderr(), "" );
}

TEST( ReadCliTrace, RangeExceptionIsNotTraced ) {
   std::string text = "*;*;IP:";
   for ( int i = 0; i < 2048; ++i ) {
      text += "=6";
   }
   TraceRecorder recorder( traceHandle, { 2 } );
   FlowspecKey key;
   EXPECT_THAT( [&] { key.copyInStrCli( text, false ); }, raisesIndexRange() );
   EXPECT_THAT( recorder.records(), IsEmpty() );
}

} // namespace
} // namespace Flowspec
