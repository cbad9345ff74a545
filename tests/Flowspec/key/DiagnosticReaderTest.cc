#include "Flowspec/key/FlowspecKey.h"
#include "Flowspec/key/FlowspecKeyReader.h"

#include "Flowspec/vocab/TraceHandle.h"
#include "tests/support/ExpectFailure.h"
#include "tests/support/KeyGenerator.h"
#include "tests/support/TraceRecorder.h"

#include <string>

namespace Flowspec {
namespace {

using TestSupport::raisesIndexRange;
using TestSupport::raisesRange;

using namespace std::string_literals;

// The same text by all three readers.
FlowspecKey read( const std::string& text ) {
   FlowspecKey key;
   key.copyInStr( text );
   FlowspecKey checked;
   EXPECT_FALSE( readStrep( text, checked ) ) << text;
   EXPECT_EQ( checked, key ) << text;
   FlowspecKey fromRange;
   Vek::CharRange range( text );
   sequenceToValue( range, &fromRange );
   EXPECT_EQ( fromRange, key ) << text;
   EXPECT_TRUE( range.empty() );
   return key;
}

TEST( CopyInStr, ReadsTheDiagnosticFormWithAndWithoutItsEnd ) {
   const std::string text = "0;ipv4;IFSET:=65535,0;10.1.0.0/16;::/0;58785798;0;4294967295;";
   const FlowspecKey key = read( text );
   EXPECT_EQ( key, read( text + "@" ) );
   EXPECT_EQ( key.vrfId(), 0U );
   EXPECT_EQ( key.addressFamily(), Zorv::AddressFamily::ipv4 );
   EXPECT_THAT( key.interfaceSet(), testing::ElementsAre( 65535, 0 ) );
   EXPECT_EQ( key.destPrefix().stringValue(), "10.1.0.0/16" );
   EXPECT_EQ( key.srcPrefix().stringValue(), "::/0" );
   EXPECT_EQ( key.matchOpVals(), 3U );
   EXPECT_EQ( key.matchOpVal( 0 ).storage(), 58785798U );
   EXPECT_EQ( key.matchOpValGet( 1 ), MatchOpVal() );
   EXPECT_EQ( key.matchOpVal( 2 ).storage(), 0xFFFFFFFFU );
}

TEST( CopyInStr, EmptyFieldsAreTheDefaults ) {
   EXPECT_EQ( read( ";;;;" ), FlowspecKey() );
   EXPECT_EQ( read( ";;;;@" ), FlowspecKey() );
   EXPECT_EQ( read( "16777215;none;IFSET:=;;;" ), FlowspecKey() );
   EXPECT_EQ( read( ";af25;;;" ).addressFamily(), Zorv::AddressFamily{ 25 } );
}

TEST( CopyInStr, AssignsTheWholeKey ) {
   TestSupport::KeyGenerator generator( 40 );
   FlowspecKey key = generator.arbitraryKey();
   key.copyInStr( "5;ipv6;;;7;" );
   EXPECT_EQ( key.toStrep(), "5;ipv6;;;7;" );
   key.copyInStr( ";;;;" );
   EXPECT_EQ( key, FlowspecKey() );
}

TEST( CopyInStr, GivesBackEveryKeyWithDenseIndices ) {
   TestSupport::KeyGenerator generator( 41 );
   for ( int i = 0; i < 20000; ++i ) {
      FlowspecKey key = generator.arbitraryKey( 1 );
      const U64 count = generator.below( generator.oneIn( 100 ) ? 500 : 12 );
      for ( U32 index = 0; index < count; ++index ) {
         key.matchOpValIs( index, MatchOpVal( static_cast< U32 >( generator.any() ) ) );
      }
      FlowspecKey copy;
      copy.copyInStr( key.toStrep() );
      ASSERT_EQ( copy, key );
      copy = FlowspecKey();
      copy.copyInStr( valueToStrep( key ) );
      ASSERT_EQ( copy, key );
   }
}

TEST( CopyInStr, HoleBecomesAZeroWordAndWhatIsNotWalkedIsLost ) {
   FlowspecKey key;
   key.matchOpValIs( 1, MatchOpVal( 7 ) );
   key.matchOpValIs( 9, MatchOpVal( 8 ) );
   const FlowspecKey copy = read( key.toStrep() );
   EXPECT_EQ( copy.matchOpVals(), 2U );
   EXPECT_EQ( copy.matchOpValGet( 0 ), MatchOpVal() );
   EXPECT_EQ( copy.matchOpValGet( 1 ), MatchOpVal( 7 ) );
}

struct BadText {
   std::string text;
   std::string reason;
   std::size_t offset;
};

const BadText badTexts[] = {
   { "", "Did not find the last ; in ", 0 },
   { "@", "Did not find the last ; in ", 0 },
   { "5", "Did not find the last ; in 5", 1 },
   { ";;;;7", "Did not find the last ; in ;;;;7", 5 },
   { ";;;;@@", "Did not find the last ; in ;;;;@", 5 },
   { ";;;;\n", "Did not find the last ; in ;;;;\n", 5 },
   { "x;;;;", "Could not parse VRF x", 0 },
   { "-1;;;;", "Could not parse VRF -1", 0 },
   { " 5;;;;", "Could not parse VRF  5", 0 },
   { "05;;;;", "Could not parse VRF 05", 0 },
   { "4294967296;;;;", "Could not parse VRF 4294967296", 0 },
   { "5;", "Did not find an address family in 5;", 2 },
   { ";ipv5;;;", "Invalid address family ipv5", 1 },
   { ";af2;;;", "Invalid address family af2", 1 },
   { ";af256;;;", "Invalid address family af256", 1 },
   { ";;", "Did not find two prefixes in ;;", 2 },
   { ";;;", "Did not find two prefixes in ;;;", 3 },
   { ";;*;;", "Could not parse prefix *", 2 },
   { ";;;10.0.0.0;", "Could not parse prefix 10.0.0.0", 3 },
   { ";;IFSET:=1,65536;;;", "Interface-set number is too large in IFSET:=1,65536;;;", 11 },
   { ";;IFSET:=,;;;", "Did not find an interface-set number in IFSET:=,;;;", 9 },
   { ";;IFSET:=1:;;;", "Unexpected character in the interface-set list IFSET:=1:;;;", 10 },
   { ";;IFSET:=1;", "Did not find two prefixes in ;;IFSET:=1;", 11 },
   { ";;;;;", "Could not parse word ", 4 },
   { ";;;;7;;", "Could not parse word ", 6 },
   { ";;;;-7;", "Could not parse word -7", 4 },
   { ";;;;0x7;", "Could not parse word 0x7", 4 },
   { ";;;;07;", "Could not parse word 07", 4 },
   { ";;;;1;4294967296;", "Could not parse word 4294967296", 6 },
};

TEST( CopyInStr, TextThatIsNoKeyRaisesTheRangeExceptionAndLeavesTheKey ) {
   TestSupport::KeyGenerator generator( 42 );
   for ( const BadText& bad : badTexts ) {
      const FlowspecKey original = generator.arbitraryKey();
      FlowspecKey key = original;
      EXPECT_THAT(
         [&] { key.copyInStr( bad.text ); },
         raisesRange( "Flowspec::FlowspecKey: '" + bad.text + "' is not a key: " + bad.reason ) );
      EXPECT_EQ( key, original );
   }
}

TEST( CopyInStr, CheckedReaderGivesTheReasonAndThePlace ) {
   for ( const BadText& bad : badTexts ) {
      TestSupport::TraceRecorder recorder( traceHandle, { 2, 8 } );
      FlowspecKey key;
      const KeyTextResult result = readStrep( bad.text, key );
      ASSERT_TRUE( result ) << bad.text;
      EXPECT_EQ( result->message, bad.reason );
      EXPECT_EQ( result->offset, bad.offset ) << bad.text;
      EXPECT_TRUE( recorder.records().empty() );
   }
}

TEST( CopyInStr, HoldsAtMost2048Words ) {
   std::string text = ";;;;";
   for ( int i = 0; i < 2048; ++i ) {
      text += "7;";
   }
   EXPECT_EQ( read( text ).matchOpVals(), 2048U );
   FlowspecKey key = read( ";;;;1;" );
   const FlowspecKey original = key;
   EXPECT_THAT( [&] { key.copyInStr( text + "7;" ); }, raisesIndexRange() );
   EXPECT_THAT( [&] { key.copyInStr( text + "7;@" ); }, raisesIndexRange() );
   EXPECT_EQ( key, original );
   const KeyTextResult result = readStrep( text + "7;", key );
   ASSERT_TRUE( result );
   EXPECT_EQ( result->message, "Too many terms for a rule key at 7" );
   EXPECT_EQ( result->offset, text.size() );
}

TEST( KeyFromCharacterRange, TakesUpToTheEndMark ) {
   Vek::CharRange range( "5;ipv4;;;7;@6;ipv4;;;8;@rest" );
   FlowspecKey key;
   sequenceToValue( range, &key );
   EXPECT_EQ( key.toStrep(), "5;ipv4;;;7;" );
   sequenceToValue( range, &key );
   EXPECT_EQ( key.toStrep(), "6;ipv4;;;8;" );
   EXPECT_EQ( range.rest(), "rest" );
   EXPECT_THAT( [&] { sequenceToValue( range, &key ); },
                raisesRange( "Flowspec::FlowspecKey: 'rest' is not a key: Did not find the last ; "
                             "in rest" ) );
   EXPECT_EQ( key.toStrep(), "6;ipv4;;;8;" );
}

TEST( KeyFromCharacterRange, EmptyRangeHoldsNone ) {
   Vek::CharRange range( "" );
   FlowspecKey key;
   EXPECT_THAT( [&] { sequenceToValue( range, &key ); },
                raisesRange( "Flowspec::FlowspecKey: '' is not a key: Did not find the last ; "
                             "in " ) );
}

} // namespace
} // namespace Flowspec
