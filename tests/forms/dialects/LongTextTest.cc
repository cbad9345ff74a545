#include "tests/forms/dialects/OneDialect.h"

// Texts of a megabyte: time that grows with the square of their length would not end.

namespace Forms {
namespace {

using TestSupport::OneDialect;

std::string repeated( const std::string& text ) {
   std::string whole;
   while ( whole.size() < 1'000'000 ) {
      whole += text;
   }
   return whole;
}

TEST( LongText, OfManyStatementsIsReadInTime ) {
   EXPECT_EQ(
      OneDialect( "bird" ).read( "flow4 { port 80; } { " + repeated( "bgp_med = 5; " ) + "}" ),
      "ipv4 *;*;P:=80; -> permit, 1:22: bgp_med is passed over: it is not part of the "
      "action" );
   EXPECT_EQ(
      OneDialect( "exabgp" )
         .read( "route { match { port 80; } then { " + repeated( "community 1:2; " ) + "} }" ),
      "ipv4 *;*;P:=80; -> permit, 1:35: community is passed over: it is not part of the "
      "action" );
   EXPECT_EQ(
      OneDialect( "gobgp" ).read( "match source 10.0.0.0/8 then " + repeated( "med 5 " ) ),
      "ipv4 *;10.0.0.0/8; -> permit, 1:30: med is passed over: it is not part of the action" );
   EXPECT_EQ(
      OneDialect( "gobgp-json" )
         .read( R"({"nlri":{"value":[{"type":1,"value":{"prefix":"10.0.0.0/8"}}]},"attrs":[)"
                R"({"type":16,"value":[)" +
                repeated( R"({"type":3,"subtype":12},)" ) + R"({"type":3,"subtype":12}]}]})" ),
      "ipv4 10.0.0.0/8;*; -> permit, 1:93: the community is passed over: it is not part of "
      "the action" );
}

TEST( LongText, OfManyTermsIsRefusedInTime ) {
   const auto tooMany = [&]( const std::string& fault ) {
      return fault.substr( fault.find( ' ' ) + 1 );
   };
   const auto* const reason = "the rule has more than 2047 words";
   EXPECT_EQ( tooMany( OneDialect( "bird" ).read( "flow4 { port " + repeated( "80," ) + "80; }" ) ),
              reason );
   EXPECT_EQ( tooMany( OneDialect( "exabgp" )
                          .read( "route { match { port [ " + repeated( "=80&!=90 " ) + "]; } }" ) ),
              reason );
   EXPECT_EQ( tooMany( OneDialect( "gobgp" ).read( "match source 10.0.0.0/8 port " +
                                                   repeated( "==80 " ) ) ),
              reason );
   EXPECT_EQ(
      tooMany( OneDialect( "gobgp-json" )
                  .read( R"({"attrs":[{"type":14,"afi":1,"safi":133}],"nlri":{"value":[)"
                         R"({"type":4,"value":[)" +
                         repeated( R"({"op":1,"value":80},)" ) + R"({"op":1,"value":80}]}]}})" ) ),
      reason );
}

} // namespace
} // namespace Forms
