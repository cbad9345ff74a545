#include "forms/dialects/NlriLine.h"

#include "tests/forms/dialects/RuleData.h"

#include <gmock/gmock.h>

namespace Forms {
namespace {

using TestSupport::ruleContext;
using Zorv::AddressFamily;

/// What a line is, written again, and what was remarked; what was wrong with it instead.
std::string again( std::string_view line, std::string_view name = "nlri",
                   AddressFamily family = AddressFamily::ipv4 ) {
   const Context context = ruleContext( family );
   Rule rule;
   std::vector< Fault > remarks;
   if ( const auto fault = readRule( *dialectOf( name ), line, context, rule, remarks ) ) {
      return Vek::concat( fault->line, ':', fault->column, ": ", fault->reason );
   }
   Vek::String text;
   const auto reason = writeRule( *dialectOf( name ), rule, context, text );
   text += reason ? "refused: " + *reason : "";
   for ( const Fault& remark : remarks ) {
      text += Vek::concat( " | ", remark.column, ' ', remark.reason );
   }
   return text;
}

TEST( NlriLine, TakesBlanksAndColonsBetweenOctets ) {
   for ( const char* const line :
         { "0b01100a01038106059101bb", "0B 01 10 0A 01 03 81 06 05 91 01 BB",
           " 0b:01:10:0a:01:03:81:06:05:91:01:bb ", "0b01 100a0103:81060591\t01bb\n" } ) {
      EXPECT_EQ( again( line ), "0b01100a01038106059101bb" );
   }
   EXPECT_EQ( again( "0701200020010db8", "nlri", AddressFamily::ipv6 ), "0701200020010db8" );
}

TEST( NlriLine, HoldsCommunities ) {
   EXPECT_EQ( again( "03038106 communities 80 06 00 00 44 80 00 00:0002fde800000001" ),
              "03038106 communities 8006fde844800000 0002fde800000001" );
   const auto* const both = "03038106 communities 8006fde800000000 ipv6-communities "
                            "000220010db80000000000000000000000010007";
   EXPECT_EQ( again( both ), both );
   const auto* const ipv6 = "03038106 ipv6-communities 000c20010db80000000000000000000000010001";
   EXPECT_EQ( again( ipv6 ), ipv6 );
}

TEST( NlriLine, MayHaveADistinguisher ) {
   const auto* const line = "0b0000fde800000001038106";
   EXPECT_EQ( again( line, "nlri-vpn" ), line );
   Rule rule;
   std::vector< Fault > remarks;
   const Context context = ruleContext( AddressFamily::ipv4 );
   ASSERT_FALSE( readRule( *dialectOf( "nlri-vpn" ), line, context, rule, remarks ) );
   EXPECT_EQ( rule.rd, Zorv::RouteDistinguisher::fromText( "65000:1" ) );
   Vek::String text;
   EXPECT_EQ( writeRule( *dialectOf( "nlri" ), rule, context, text ),
              "an NLRI of SAFI 133 has no route distinguisher" );
   rule.rd.reset();
   EXPECT_EQ( writeRule( *dialectOf( "nlri-vpn" ), rule, context, text ),
              "the rule has no route distinguisher" );
   EXPECT_EQ( text, "" );
}

TEST( NlriLine, SaysWhereOctetsAreWrong ) {
   EXPECT_EQ( again( "0303810" ), "1:8: expected two hexadecimal digits, found the end" );
   EXPECT_EQ( again( "03 03 8x 06" ), "1:8: expected two hexadecimal digits, found 'x'" );
   EXPECT_EQ( again( "" ), "1:1: length-truncated: the length field is missing" );
   EXPECT_EQ( again( "00" ), "1:3: empty: the rule has no component" );
   EXPECT_EQ( again( "03 05:81 50 ff" ), "1:13: the NLRI ends before this octet" );
   EXPECT_EQ( again( "03 fe 81 06" ),
              "1:4: unknown-type: component type 254 is not assigned for IPv4" );
   EXPECT_EQ( again( "03038106", "nlri", AddressFamily::none ),
              "1:1: an NLRI does not tell its address family: it must be given" );
   EXPECT_EQ( again( "03038106 communities 8006" ),
              "1:22: expected communities of 8 octets, found 2 octets" );
   EXPECT_EQ( again( "03038106 communities" ),
              "1:21: expected communities of 8 octets, found 0 octets" );
   EXPECT_EQ( again( "03038106 ipv6-communities 8006000000000000" ),
              "1:27: expected communities of 20 octets, found 8 octets" );
   EXPECT_EQ( again( "03038106 communities 800600007f800000" ),
              "1:10: the extended community at octet 0: its rate is not finite" );
}

TEST( NlriLine, RemarksAreAtTheirOctets ) {
   EXPECT_EQ( again( "03 03 c1 06" ), "03038106 | 7 first-and" );
   // Each once.
   EXPECT_EQ( again( "06 03 c1 06 04 c1 50" ), "06038106048150 | 7 first-and" );
   EXPECT_EQ( again( "f003 03 81 06" ), "03038106 | 1 length-form" );
   EXPECT_EQ( again( "03038106 communities 80060000bf800000" ),
              "03038106 communities 8006fde800000000 | 10 negative-rate" );
}

} // namespace
} // namespace Forms
