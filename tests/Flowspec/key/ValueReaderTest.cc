#include "Flowspec/key/FlowspecKey.h"
#include "Flowspec/key/FlowspecKeyReader.h"

#include "Flowspec/vocab/TraceHandle.h"
#include "tests/support/ExpectFailure.h"
#include "tests/support/TraceRecorder.h"

#include <stdexcept>
#include <string>

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::TraceRecorder;

using namespace std::string_literals;

FlowspecKey read( std::string_view text ) {
   FlowspecKey key;
   key.copyInStringValue( text );
   FlowspecKey checked;
   EXPECT_FALSE( readStringValue( text, checked ) ) << text;
   EXPECT_EQ( checked, key ) << text;
   return key;
}

TEST( ReadStringValue, Example ) {
   const FlowspecKey key = read( "5;ipv4;IFSET:=1,7;10.0.0.0/8;*;IP:=0L6;" );
   EXPECT_EQ( key.vrfId(), 5U );
   EXPECT_EQ( key.addressFamily(), Zorv::AddressFamily::ipv4 );
   EXPECT_THAT( key.interfaceSet(), ElementsAre( 1, 7 ) );
   EXPECT_EQ( key.destPrefix().stringValue(), "10.0.0.0/8" );
   EXPECT_TRUE( key.srcPrefix().empty() );
   EXPECT_EQ( key.matchOpVals(), 1U );
   EXPECT_EQ( key.matchOpVal( 0 ).storage(), 0x03810006U );
}

TEST( ReadStringValue, KeyWithoutInterfaceSetsAndOfFamilyIpv6 ) {
   const FlowspecKey key = read( "0;ipv6;*;*" );
   EXPECT_EQ( key.vrfId(), 0U );
   EXPECT_EQ( key.addressFamily(), Zorv::AddressFamily::ipv6 );
   EXPECT_EQ( key.stringValue(), "0;ipv6;*;*;" );
}

TEST( ReadStringValue, VrfIsASignedDecimalLongCutTo32Bits ) {
   const auto vrfOf = []( const std::string& field ) {
      return read( field + ";ipv4;*;*" ).vrfId();
   };
   EXPECT_EQ( vrfOf( "16777215" ), 16777215U );
   EXPECT_EQ( vrfOf( "4294967295" ), 0xFFFFFFFFU );
   EXPECT_EQ( vrfOf( "4294967296" ), 0U );
   EXPECT_EQ( vrfOf( "-1" ), 0xFFFFFFFFU );
   EXPECT_EQ( vrfOf( "+7" ), 7U );
   EXPECT_EQ( vrfOf( " 5" ), 5U );
   EXPECT_EQ( vrfOf( "\t\n\v\f\r 5" ), 5U );
   EXPECT_EQ( vrfOf( "5x" ), 5U );
   EXPECT_EQ( vrfOf( "5 6" ), 5U );
   EXPECT_EQ( vrfOf( "010" ), 10U );
   EXPECT_EQ( vrfOf( "0x10" ), 0U );
   EXPECT_EQ( vrfOf( "5\0006"s ), 5U );
   EXPECT_EQ( vrfOf( "9223372036854775807" ), 0xFFFFFFFFU );
   EXPECT_EQ( vrfOf( "-9223372036854775808" ), 0U );
   EXPECT_EQ( vrfOf( "00000000000000000000000000000005" ), 5U );
}

// Every field that begins with a number or not, beside the standard conversion itself.
TEST( ReadStringValue, VrfIsReadAsTheStandardConversionReadsIt ) {
   const char* const begins[] = { "",   " ",   "-", "+",  "- ", "+-",
                                  " -", "\n+", "0", "-0", "x",  "\xA0" };
   const char* const ends[] = { "",
                                "5",
                                "x",
                                "0x5",
                                "9223372036854775807",
                                "9223372036854775808",
                                "9223372036854775809",
                                "99999999999999999999999",
                                "12 34",
                                "1e3" };
   for ( const char* begin : begins ) {
      for ( const char* end : ends ) {
         const std::string field = begin + std::string( end );
         if ( field.empty() ) {
            continue;
         }
         const std::string text = field + ";ipv4;*;*;";
         FlowspecKey key;
         FlowspecKey checked;
         const KeyTextResult result = readStringValue( text, checked );
         try {
            const U32 expected = static_cast< U32 >( std::stol( field ) );
            EXPECT_FALSE( result ) << field;
            key.copyInStringValue( text );
            EXPECT_EQ( key.vrfId(), expected ) << field;
         } catch ( const std::invalid_argument& ) {
            EXPECT_THROW( key.copyInStringValue( text ), std::invalid_argument ) << field;
            ASSERT_TRUE( result ) << field;
         } catch ( const std::out_of_range& ) {
            EXPECT_THROW( key.copyInStringValue( text ), std::out_of_range ) << field;
            ASSERT_TRUE( result ) << field;
         }
         if ( result ) {
            EXPECT_EQ( result->message, "Could not parse VRF " + field );
            EXPECT_EQ( result->offset, 0U );
            EXPECT_FALSE( key );
         }
      }
   }
}

TEST( ReadStringValue, VrfThatIsNoNumberRaisesTheStandardExceptions ) {
   FlowspecKey key;
   EXPECT_THROW( key.copyInStringValue( "x;ipv4;*;*;" ), std::invalid_argument );
   EXPECT_THROW( key.copyInStringValue( "9223372036854775808;ipv4;*;*;" ), std::out_of_range );
   EXPECT_THROW( key.copyInStringValue( "-9223372036854775809;ipv4;*;*;" ), std::out_of_range );
   EXPECT_FALSE( key );
}

TEST( ReadStringValue, NewlineEndsIt ) {
   EXPECT_EQ( read( "5;ipv4;*;*;IP:=0L6;\n" ).matchOpVals(), 1U );
   EXPECT_EQ( read( "5;ipv4;*;*;IP:=0L6;\nDP:=x" ).matchOpVals(), 1U );
   EXPECT_EQ( read( "5;ipv4;IFSET:=1;*;*;\n;;;" ).interfaceSets(), 1U );
}

TEST( ReadStringValue, NothingIsClearedFirst ) {
   FlowspecKey key = read( "5;ipv4;IFSET:=1;10.0.0.0/8;11.0.0.0/8;IP:=0L1|=0L2;" );
   key.copyInStringValue( "6;ipv6;IFSET:=2;*;*;DP:=0L3;" );
   EXPECT_EQ( key.stringValue(), "6;ipv6;IFSET:=1,2;10.0.0.0/8;11.0.0.0/8;DP:=0L3;IP:=0L2;" );
}

struct BadText {
   std::string text;
   const char* assertion;
   std::string message;
   std::size_t offset;
};

constexpr const char* missingField =
   "std::getline( istr, compString, compSeparator() ) && !compString.empty()";
constexpr const char* badFamily = "false && \"invalid address-family\"";
constexpr const char* missingRest = "std::getline( istr, compString ) && !compString.empty()";
constexpr const char* badRule = "copyInStrCli( compString, true )";

const BadText badTexts[] = {
   { "", missingField, "Did not find a VRF in ", 0 },
   { ";ipv4;*;*;", missingField, "Did not find a VRF in ;ipv4;*;*;", 0 },
   { "5", missingField, "Did not find an address family in 5", 1 },
   { "5;", missingField, "Did not find an address family in 5;", 2 },
   { "5;;*;*;", missingField, "Did not find an address family in 5;;*;*;", 2 },
   { "5;ipv5;*;*;", badFamily, "Invalid address family ipv5", 2 },
   { "5;none;*;*;", badFamily, "Invalid address family none", 2 },
   { "5;af3;*;*;", badFamily, "Invalid address family af3", 2 },
   { "5;1;*;*;", badFamily, "Invalid address family 1", 2 },
   { "5;IPv4;*;*;", badFamily, "Invalid address family IPv4", 2 },
   { "5; ipv4;*;*;", badFamily, "Invalid address family  ipv4", 2 },
   { "5;ipv4", missingRest, "Did not find match components in 5;ipv4", 6 },
   { "5;ipv4;", missingRest, "Did not find match components in 5;ipv4;", 7 },
   { "5;ipv6;\n*;*;", missingRest, "Did not find match components in 5;ipv6;\n*;*;", 7 },
   { "5;ipv4;IFSET:=1", "endpos != std::string::npos",
     "Did not find the end of the interface-set list in IFSET:=1", 15 },
   { "5;ipv4;IFSET:=1\n;*;*;", "endpos != std::string::npos",
     "Did not find the end of the interface-set list in IFSET:=1", 15 },
   { "5;ipv4;IFSET:=x;*;*;", "next > curr", "Did not find an interface-set number in IFSET:=x;*;*;",
     14 },
   { "5;ipv4;IFSET:=3;", badRule, "Did not find a destination prefix ", 16 },
   { "5;ipv4;IFSET:;*;*;", badRule,
     "Could not parse dest prefix IFSET:;*;*; : Zorv::IpGenPrefix: 'IFSET:' is not a prefix", 7 },
   { "5;ipv4;ifset:=1;*;*;", badRule,
     "Could not parse dest prefix ifset:=1;*;*; : Zorv::IpGenPrefix: 'ifset:=1' is not a prefix",
     7 },
   { "5;ipv4;*;", badRule, "Did not find a source prefix *;", 9 },
   { "5;ipv4;*;*;IP:=6;", badRule, "Unexpected format for value length IP:=6", 15 },
};

TEST( ReadStringValueDeathTest, MalformedTextFailsItsAssertion ) {
   for ( const BadText& bad : badTexts ) {
      FlowspecKey key;
      EXPECT_EXIT( key.copyInStringValue( bad.text ), testing::KilledBySignal( SIGABRT ),
                   testing::Eq( "FlowspecDalb: assertion \""s + bad.assertion +
                                "\" failed in copyInStringValue\n" ) )
         << bad.text;
   }
}

TEST( ReadStringValueDeathTest, EightByteValueAndTooManyTermsFailAsInTheKey ) {
   FlowspecKey key;
   EXPECT_ASSERTION( key.copyInStringValue( "5;ipv4;*;*;IP:=3L6" ), "byteLength < 8" );
   std::string text = "5;ipv4;*;*;IP:";
   for ( int i = 0; i < 2048; ++i ) {
      text += "=0L6";
   }
   EXPECT_THAT( [&] { key.copyInStringValue( text ); }, TestSupport::raisesIndexRange() );
}

TEST( ReadStringValueDeathTest, MessageOfTheRuleIsTracedBeforeTheAssertion ) {
   const auto readTraced = [] {
      traceHandle.levelIs( 2, true );
      FlowspecKey key;
      key.copyInStringValue( "5;ipv4;*;*;IP:=;" );
   };
   EXPECT_EXIT( readTraced(), testing::KilledBySignal( SIGABRT ),
                testing::ContainsRegex( "^FlowspecDalb:[0-9]+ copyInStrCliAtOffset L2:  Missing "
                                        "value in IP:=\nFlowspecDalb: assertion" ) );
}

TEST( ReadStringValue, CheckedReaderGivesTheMessageAndThePlace ) {
   for ( const BadText& bad : badTexts ) {
      TraceRecorder recorder( traceHandle, { 2, 8 } );
      FlowspecKey key;
      const KeyTextResult result = readStringValue( bad.text, key );
      ASSERT_TRUE( result ) << bad.text;
      EXPECT_EQ( result->message, bad.message );
      EXPECT_EQ( result->offset, bad.offset ) << bad.text;
      EXPECT_THAT( recorder.records(), IsEmpty() );
   }
   FlowspecKey key;
   EXPECT_EQ( readStringValue( "5;ipv4;*;*;IP:=1L6|=3L6", key )->message,
              "8-byte values are not supported in IP:=1L6|=3L6" );
   EXPECT_EQ( key.stringValue(), "5;ipv4;*;*;IP:=1L6;" );
}

TEST( ReadStringValue, LevelEightTellsWhatIsRead ) {
   TraceRecorder recorder( traceHandle, { 2, 8 } );
   read( "5;ipv4;IFSET:=1;*;*;\nx" );
   EXPECT_THAT( recorder.texts(),
                ElementsAre( "copyInStringValueParsing arg 5;ipv4;IFSET:=1;*;*;\nx",
                             "copyInStrCliAtOffset constructing match components at offset 0 from "
                             "*;*;" ) );
   EXPECT_EQ( recorder.records()[0].function, "copyInStringValue" );
   EXPECT_EQ( recorder.records()[0].level, 8U );
}

} // namespace
} // namespace Flowspec
