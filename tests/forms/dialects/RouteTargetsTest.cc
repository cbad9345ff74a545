#include "forms/dialects/RouteTargets.h"

#include <gtest/gtest.h>

namespace Forms {
namespace {

using Wire::RouteTarget;

TEST( RouteTargets, ReadsEachKind ) {
   using enum RouteTarget::Kind;
   EXPECT_EQ( routeTargetOf( "65000:100" ), ( RouteTarget{ as2, { 0xFD, 0xE8, 0, 0, 0, 100 } } ) );
   EXPECT_EQ( routeTargetOf( "192.0.2.1:256" ), ( RouteTarget{ ipv4, { 192, 0, 2, 1, 1, 0 } } ) );
   EXPECT_EQ( routeTargetOf( "70000:7" ), ( RouteTarget{ as4, { 0, 1, 0x11, 0x70, 0, 7 } } ) );
   EXPECT_EQ( routeTargetOf( "100L:1" ), ( RouteTarget{ as4, { 0, 0, 0, 100, 0, 1 } } ) );
   EXPECT_EQ( routeTargetOf( "2001:db8::1:100" ),
              ( RouteTarget{
                 ipv6, { 0x20, 1, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 100 } } ) );
   for ( const char* const text : { "", "65000", "65000:", ":100", "65000:4294967296",
                                    "70000:65536", "10.0.0:1", "2001:db8::1:65536", "192.0.2:1:1",
                                    "10.0.0.1:65536", "x:1", "::1:", "0x0003000000000001" } ) {
      EXPECT_EQ( routeTargetOf( text ), std::nullopt ) << text;
   }
}

TEST( RouteTargets, AddsToATable ) {
   Wire::RouteTargetTable table;
   EXPECT_TRUE( addRouteTarget( "65000:100=5", table ) );
   EXPECT_EQ( table.vrfOf( *routeTargetOf( "65000:100" ) ), 5U );
   EXPECT_EQ( table.targetOf( 5 ), routeTargetOf( "65000:100" ) );
   for ( const char* const text : { "", "65000:100", "65000:100=", "=5", "65000:100=x",
                                    "65000:100=4294967296", "a=5", "65000:100=16777215" } ) {
      EXPECT_FALSE( addRouteTarget( text, table ) ) << text;
   }
}

} // namespace
} // namespace Forms
