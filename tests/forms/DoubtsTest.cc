#include "forms/Doubts.h"

#include "tests/support/KeyGenerator.h"

#include <gtest/gtest.h>

namespace Forms {

using namespace Flowspec;

namespace {

using TestSupport::KeyGenerator;
using Zorv::AddressFamily;

// What is told of a text: the column and the reason, "none", or why it cannot be read.
Vek::String told( std::string_view text, Form form = Form::cli ) {
   Rule rule;
   if ( const auto fault = readRuleAt( form, text, rule ) ) {
      return fault->reason;
   }
   const auto fault = misreading( form, text, rule );
   EXPECT_TRUE( !fault || fault->line == 1 );
   return fault ? Vek::concat( fault->column, ": ", fault->reason ) : "none";
}

Vek::String told( const FlowspecKey& key ) {
   const auto conflict = familyConflict( key );
   return conflict ? Vek::concat( stringValue( conflict->component ), ": ", conflict->reason )
                   : "none";
}

TEST( Doubts, LabelsThatBeginWithAnotherAreTold ) {
   EXPECT_EQ( told( "*;*;ICMP:=5;" ), "5: 'ICMP:=5' is read as 'IC:=5' (ICMP Code)" );
   EXPECT_EQ( told( "*;*;FLAGS:2;" ), "5: 'FLAGS:2' is read as 'FL:2' (Flow Label)" );
   EXPECT_EQ( told( "*;*;IP:=6;PROTO:=6" ), "11: 'PROTO:=6' is read as 'P:=6' (Port)" );
   EXPECT_EQ( told( "*;*;IPX:=6;" ), "5: 'IPX:=6' is read as 'IP:=6' (IP Protocol)" );
   EXPECT_EQ( told( "*;*;TCP FLAGS:2;" ), "5: 'TCP FLAGS:2' is read as 'TCP:2' (TCP Flags)" );
   EXPECT_EQ( told( "*;*;LENGTH:=60;" ), "5: 'LENGTH:=60' is read as 'LEN:=60' (Packet Length)" );
}

TEST( Doubts, NumbersThatAreOthersAreTold ) {
   EXPECT_EQ( told( "*;*;DP:=080;" ), "5: 'DP:=080' is read as 'DP:=0|80'" );
   EXPECT_EQ( told( "*;*;DP:=010;" ), "5: 'DP:=010' is read as 'DP:=8'" );
   EXPECT_EQ( told( "*;*;DP:=4294967376;" ), "5: 'DP:=4294967376' is read as 'DP:=80'" );
   EXPECT_EQ( told( "*;*;DP:=0x100000050;" ), "5: 'DP:=0x100000050' is read as 'DP:=80'" );
   EXPECT_EQ( told( "*;*;DP:=99999999999999999999999;" ),
              "5: 'DP:=99999999999999999999999' is read as 'DP:=4294967295'" );
   EXPECT_EQ( told( "*;*;DP:=0xffffffffffffffffff;" ),
              "5: 'DP:=0xffffffffffffffffff' is read as 'DP:=4294967295'" );
   EXPECT_EQ( told( "*;*;IP:=4L6;", Form::cliLen ), "5: 'IP:=4L6' is read as 'IP:=0L6'" );
   EXPECT_EQ( told( "*;*;DP:=1L080;", Form::cliLen ), "Unexpected format for value length "
                                                      "DP:=1L080" );
   EXPECT_EQ( told( "*;*;DP:=1L070000;", Form::cliLen ),
              "5: 'DP:=1L070000' is read as 'DP:=1L28672'" );
   EXPECT_EQ( told( "5x;ipv4;*;*;", Form::value ), "1: '5x' is read as '5'" );
   EXPECT_EQ( told( "-1;ipv4;*;*;", Form::value ), "1: '-1' is read as '4294967295'" );
   EXPECT_EQ( told( "4294967301;ipv4;IFSET:=3;*;*;", Form::value ),
              "1: '4294967301' is read as '5'" );
}

TEST( Doubts, WhatIsLeftOutIsTold ) {
   EXPECT_EQ( told( "*;*;IP:;" ), "5: 'IP:' has no value: it is left out" );
   EXPECT_EQ( told( "*;*;IP:;DP:=80;" ), "5: 'IP:' has no value: it is left out" );
   EXPECT_EQ( told( "*;*;DP:=80;FLAGS:" ), "12: 'FLAGS:' has no value: it is left out" );
   EXPECT_EQ( told( "*;*;DP:|;" ), "5: 'DP:|' is read as ''" );
   EXPECT_EQ( told( "*;*;DP:=80&;" ), "5: 'DP:=80&' is read as 'DP:=80'" );
   EXPECT_EQ( told( "*;*;DP:=80|;SP:=1" ), "5: 'DP:=80|' is read as 'DP:=80'" );
   EXPECT_EQ( told( "10.1.2.3/16;*;" ), "1: '10.1.2.3/16' is read as '10.1.0.0/16'" );
   EXPECT_EQ( told( "*;2001:db8::1/32;" ), "3: '2001:db8::1/32' is read as '2001:db8::/32'" );
   EXPECT_EQ( told( "RD:1:2;10.1.2.3/16;*;", Form::rd ),
              "8: '10.1.2.3/16' is read as '10.1.0.0/16'" );
}

TEST( Doubts, TermsThatAreNotJoinedAsTheyLookAreTold ) {
   EXPECT_EQ( told( "*;*;DP:>=1024<=2047;" ),
              "5: 'DP:>=1024<=2047' is read as 'DP:>=1024|<=2047'" );
   EXPECT_EQ( told( "*;*;DP:>1&|<5;" ), "5: 'DP:>1&|<5' is read as 'DP:>1&<5'" );
   EXPECT_EQ( told( "*;*;DP:>&1;" ), "5: 'DP:>&1' is read as 'DP:>1'" );
   EXPECT_EQ( told( "*;*;DP:=80;DP:=443;" ), "5: 'DP:=80' is read as 'DP:=80|=443'" );
   EXPECT_EQ( told( "*;*;DP:>80;DP:&<443;" ), "5: 'DP:>80' is read as 'DP:>80&<443'" );
}

TEST( Doubts, WhatSaysTheSameIsNotTold ) {
   for ( const char* const text :
         { "*;*;", "*;*", "*;*;IP:=6", "*;*;DP:=0x50;", "*;*;DP:=007;", "*;*;DP:==80||=443;",
           "*;*;DP:=>1024&&=<2047;", "*;*;TCP:=!2;", "2001:DB8:0::/32;*;FL:=0x12345;", "*;*;DP:=0;",
           "*;*;DP:=0x0000000050;", "*;*;DP:=00;", "*;*;DP:<>80;", "*;*;DP:80;" } ) {
      EXPECT_EQ( told( text ), "none" ) << text;
   }
   EXPECT_EQ( told( "RD:1:2;*;*;IP:=6", Form::rd ), "none" );
   EXPECT_EQ( told( "RD:1:2;*;*;IP:=0L6", Form::rdLen ), "none" );
   EXPECT_EQ( told( "007;ipv4;IFSET:=3,;*;*;IP:=0L0x6\nmore", Form::value ), "none" );
   EXPECT_EQ( told( ";;;;58785798;", Form::diag ), "none" );
}

TEST( Doubts, NoTextThatIsWrittenIsTold ) {
   KeyGenerator random( 16 );
   for ( int i = 0; i < 20000; ++i ) {
      const Rule rule{ .key = random.canonicalKey(), .rd = Zorv::RouteDistinguisher() };
      for ( const Form form :
            { Form::cli, Form::cliLen, Form::rd, Form::rdLen, Form::value, Form::diag } ) {
         Vek::String text;
         appendRule( form, rule, text );
         Rule again;
         ASSERT_EQ( readRule( form, text, again ), std::nullopt ) << text;
         ASSERT_EQ( misreading( form, text, again ), std::nullopt ) << text;
      }
      ASSERT_EQ( familyConflict( rule.key ).has_value(),
                 rule.key.addressFamily() == AddressFamily::ipv4 &&
                    rule.key.toStrepCli( false ).find( ";FL:" ) != Vek::String::npos );
   }
}

// Texts of anything: either what was told is there, or the reader wrote what the text says.
TEST( Doubts, WhateverIsReadHasAVerdict ) {
   KeyGenerator random( 61 );
   constexpr std::string_view characters = "0123456789=<>!&|;:*IPDTCFLG/.x";
   int read = 0;
   int doubted = 0;
   for ( int i = 0; i < 200000; ++i ) {
      Vek::String text = "*;*;DP:";
      for ( U64 more = random.below( 12 ); more > 0; --more ) {
         text += random.oneOf( characters );
      }
      Rule rule;
      if ( !readRuleAt( Form::cli, text, rule ) ) {
         ++read;
         const auto fault = misreading( Form::cli, text, rule );
         doubted += fault.has_value();
         ASSERT_TRUE( !fault || ( fault->column >= 1 && fault->column <= text.size() ) ) << text;
      }
   }
   EXPECT_GT( read - doubted, 500 );
   EXPECT_GT( doubted, 1000 );
}

TEST( Doubts, FamiliesThatDoNotGoTogetherAreTold ) {
   const auto v4 = *Zorv::IpGenPrefix::fromText( "10.0.0.0/8" );
   const auto v6 = *Zorv::IpGenPrefix::fromText( "2001:db8::/32" );
   FlowspecKey key;
   EXPECT_EQ( told( key ), "none" );
   key.srcPrefixIs( v6 );
   EXPECT_EQ( told( key ), "none" );
   key.destPrefixIs( v4 );
   EXPECT_EQ( told( key ),
              "srcPrefix: srcPrefix 2001:db8::/32 is of ipv6, and destPrefix of ipv4" );
   key.addressFamilyIs( AddressFamily::ipv6 );
   EXPECT_EQ( told( key ), "destPrefix: destPrefix 10.0.0.0/8 is of ipv4, and the rule of ipv6" );
   key.destPrefixIs( v6 );
   key.setOpVal( 0, flowLabel, 0xA1, 5 );
   EXPECT_EQ( told( key ), "none" );
   key.destPrefixIs( v4 );
   key.srcPrefixIs( {} );
   key.addressFamilyIs( AddressFamily::none );
   EXPECT_EQ( told( key ), "flowLabel: packets of ipv4 have no flowLabel" );
   key.destPrefixIs( {} );
   EXPECT_EQ( told( key ), "none" );
   key.addressFamilyIs( AddressFamily::ipv4 );
   EXPECT_EQ( told( key ), "flowLabel: packets of ipv4 have no flowLabel" );
}

} // namespace
} // namespace Forms
