#include "agents/programd/netlink/MarkRoutes.h"

#include "tests/support/NetworkNamespace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <linux/rtnetlink.h>

namespace Agents {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using Zorv::AddressFamily;
using Zorv::IpGenAddr;

constexpr U32 mask = 0xffff0000;

MarkRoute toTable( U32 mark, U32 table, AddressFamily family = AddressFamily::ipv4 ) {
   return { .mark = mark, .family = family, .table = table };
}

MarkRoute toNextHop( U32 mark, std::string_view address ) {
   const IpGenAddr nextHop = *IpGenAddr::fromText( address );
   return { .mark = mark, .family = nextHop.family(), .table = 0, .nextHop = nextHop };
}

// A machine on two networks, with rules and routes of others.
struct MarkRoutesTest : testing::Test {
   void SetUp() override {
      if ( !space.missing().empty() ) {
         GTEST_SKIP() << space.missing();
      }
      space.run(
         "ip link set lo up && ip link add e0 type veth peer name e1 && ip link set e1 up &&"
         "ip addr add 192.0.2.1/24 dev e0 && ip link set e0 up &&"
         "ip addr add 2001:db8::1/64 dev e0 nodad &&"
         "ip route add default via 192.0.2.254 &&"
         "ip rule add fwmark 0x10000/0xffff0000 table 77 priority 13300 protocol static &&"
         "ip -6 rule add fwmark 0x10000/0xffff0000 blackhole priority 100 &&"
         "ip route add 198.51.100.0/24 via 192.0.2.9 table 13300001 protocol static" );
      routes.emplace( mask );
      before = all();
   }

   Vek::String rules() const { return space.output( "ip rule" ); }
   // All that rules and routes are; IPv6 routes without those that the kernel makes at its leisure.
   Vek::String all() const {
      return rules() + space.output( "ip -6 rule; ip route show table all;"
                                     "ip -6 route show table all proto 133" );
   }
   // Where a packet goes.
   Vek::String way( const Vek::String& to, const Vek::String& mark ) const {
      return space.output( "ip route get " + to + " mark " + mark + " 2>&1" );
   }

   TestSupport::NetworkNamespace space;
   std::optional< MarkRoutes > routes;
   Vek::String before;
};

TEST_F( MarkRoutesTest, LeadsAMarkIntoATable ) {
   space.run( "ip route add default via 192.0.2.7 table 100" );
   EXPECT_THAT( routes->apply( { toTable( 0x20000, 100 ) } ), IsEmpty() );
   EXPECT_THAT( rules(), HasSubstr( "13300:\tfrom all fwmark 0x20000/0xffff0000 lookup 100 proto "
                                    "133\n" ) );
   EXPECT_THAT( way( "203.0.113.1", "0x20000" ), HasSubstr( "via 192.0.2.7" ) );
   EXPECT_THAT( way( "203.0.113.1", "0x20005" ), HasSubstr( "via 192.0.2.7" ) );
   EXPECT_THAT( way( "203.0.113.1", "0x30000" ), HasSubstr( "via 192.0.2.254" ) );
   // The addresses of the machine itself stay what they are.
   EXPECT_THAT( way( "192.0.2.1", "0x20000" ), HasSubstr( "local 192.0.2.1" ) );
}

// Packets that are led into a table do not go the ordinary way when it has none.
TEST_F( MarkRoutesTest, ATableWithoutARouteDrops ) {
   EXPECT_THAT( routes->apply( { toTable( 0x20000, 100 ) } ), IsEmpty() );
   EXPECT_THAT( way( "203.0.113.1", "0x20000" ), HasSubstr( "RTNETLINK answers" ) );
   EXPECT_THAT( way( "203.0.113.1", "0" ), HasSubstr( "via 192.0.2.254" ) );
}

TEST_F( MarkRoutesTest, LeadsAMarkToANextHop ) {
   EXPECT_THAT(
      routes->apply( { toNextHop( 0x20000, "192.0.2.7" ), toNextHop( 0x20000, "2001:db8::7" ),
                       toNextHop( 0x30000, "2001:db8::8" ) } ),
      IsEmpty() );
   EXPECT_THAT( way( "203.0.113.1", "0x20000" ), HasSubstr( "via 192.0.2.7" ) );
   EXPECT_THAT( way( "2001:db8:1::1", "0x20000" ), HasSubstr( "via 2001:db8::7" ) );
   EXPECT_THAT( way( "2001:db8:1::1", "0x30000" ), HasSubstr( "via 2001:db8::8" ) );
   EXPECT_THAT( space.output( "ip route show table 13300002" ),
                HasSubstr( "default via 192.0.2.7 dev e0 proto 133" ) );
}

TEST_F( MarkRoutesTest, TheSameAgainChangesNothing ) {
   const std::set< MarkRoute > wanted{ toTable( 0x20000, 100 ), toNextHop( 0x30000, "192.0.2.7" ),
                                       toNextHop( 0x30000, "2001:db8::7" ) };
   EXPECT_THAT( routes->apply( wanted ), IsEmpty() );
   const Vek::String first = all();
   EXPECT_THAT( first, testing::Not( before ) );
   NetlinkSocket watch( RTMGRP_IPV4_RULE | RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE );
   EXPECT_THAT( routes->apply( wanted ), IsEmpty() );
   EXPECT_FALSE( watch.receive( []( const nlmsghdr& ) {} ) );
   EXPECT_EQ( all(), first );
}

TEST_F( MarkRoutesTest, WhatIsNotWantedIsRemovedAndNothingElse ) {
   EXPECT_THAT(
      routes->apply( { toTable( 0x10000, 77 ), toTable( 0x20000, 100 ),
                       toNextHop( 0x10000, "2001:db8::7" ), toNextHop( 0x30000, "192.0.2.7" ) } ),
      IsEmpty() );
   EXPECT_THAT( routes->apply( { toTable( 0x20000, 100 ) } ), IsEmpty() );
   EXPECT_THAT( rules(), HasSubstr( "lookup 100 proto 133" ) );
   EXPECT_THAT( rules(), testing::Not( HasSubstr( "0x30000" ) ) );
   EXPECT_THAT( routes->apply( {} ), IsEmpty() );
   EXPECT_EQ( all(), before );
}

// One that was killed has left rules and routes.
TEST_F( MarkRoutesTest, TheNextOneFindsWhatIsThere ) {
   EXPECT_THAT( routes->apply( { toTable( 0x20000, 100 ), toNextHop( 0x30000, "192.0.2.7" ) } ),
                IsEmpty() );
   const Vek::String first = all();
   MarkRoutes next( mask );
   EXPECT_THAT( next.apply( { toTable( 0x20000, 100 ), toNextHop( 0x30000, "192.0.2.7" ) } ),
                IsEmpty() );
   EXPECT_EQ( all(), first );
   EXPECT_THAT( MarkRoutes( 0xff ).apply( {} ), IsEmpty() );
   EXPECT_EQ( all(), before );
}

TEST_F( MarkRoutesTest, AMarkLeadsElsewhere ) {
   EXPECT_THAT( routes->apply( { toNextHop( 0x20000, "192.0.2.7" ) } ), IsEmpty() );
   EXPECT_THAT( routes->apply( { toNextHop( 0x20000, "192.0.2.8" ) } ), IsEmpty() );
   EXPECT_THAT( way( "203.0.113.1", "0x20000" ), HasSubstr( "via 192.0.2.8" ) );
   EXPECT_THAT( routes->apply( { toTable( 0x20000, 254 ) } ), IsEmpty() );
   EXPECT_THAT( way( "203.0.113.1", "0x20000" ), HasSubstr( "via 192.0.2.254" ) );
   EXPECT_THAT( space.output( "ip route show table 13300002" ), IsEmpty() );
}

TEST_F( MarkRoutesTest, ANextHopThatIsNotConnectedIsRefused ) {
   const auto faults =
      routes->apply( { toNextHop( 0x20000, "203.0.113.1" ), toNextHop( 0x30000, "192.0.2.7" ) } );
   ASSERT_EQ( faults.size(), 1U );
   EXPECT_EQ( faults[0].route, toNextHop( 0x20000, "203.0.113.1" ) );
   EXPECT_EQ( faults[0].reason, "Nexthop has invalid gateway: Network is unreachable" );
   EXPECT_THAT( rules(), testing::Not( HasSubstr( "0x20000" ) ) );
   EXPECT_THAT( way( "203.0.113.5", "0x30000" ), HasSubstr( "via 192.0.2.7" ) );
}

// The old next hop is not kept in place of one that cannot be.
TEST_F( MarkRoutesTest, ARefusedChangeRemovesWhatWasThere ) {
   EXPECT_THAT( routes->apply( { toNextHop( 0x20000, "192.0.2.7" ) } ), IsEmpty() );
   EXPECT_EQ( routes->apply( { toNextHop( 0x20000, "203.0.113.1" ) } ).size(), 1U );
   EXPECT_EQ( all(), before );
}

// The kernel removes the routes of an interface that goes down.
TEST_F( MarkRoutesTest, WhatOthersDeleteComesAgain ) {
   const std::set< MarkRoute > wanted{ toTable( 0x30000, 100 ), toNextHop( 0x20000, "192.0.2.7" ) };
   EXPECT_THAT( routes->apply( wanted ), IsEmpty() );
   const Vek::String first = rules();
   space.run( "ip link set e0 down && ip link set e0 up && ip rule del fwmark 0x30000/0xffff0000" );
   EXPECT_THAT( way( "203.0.113.1", "0x20000" ), HasSubstr( "RTNETLINK answers" ) );
   EXPECT_THAT( routes->apply( wanted ), IsEmpty() );
   EXPECT_THAT( way( "203.0.113.1", "0x20000" ), HasSubstr( "via 192.0.2.7" ) );
   EXPECT_EQ( rules(), first );
}

TEST( MarkRoutesTableTest, EachMarkHasATableOfItsOwn ) {
   EXPECT_EQ( MarkRoutes::nextHopTable( 0x10000, mask ), 13'300'001U );
   EXPECT_EQ( MarkRoutes::nextHopTable( 0xffff0000, mask ), 13'365'535U );
   EXPECT_EQ( MarkRoutes::nextHopTable( 0xff, 0xff ), 13'300'255U );
}

TEST( MarkRoutesTableTest, MarksNeedBits ) {
   EXPECT_THROW( MarkRoutes( 0 ), std::invalid_argument );
   EXPECT_THROW( MarkRoutes( 0x1ffff ), std::invalid_argument );
   EXPECT_NO_THROW( MarkRoutes( 0x1fffe ) );
}

} // namespace
} // namespace Agents
