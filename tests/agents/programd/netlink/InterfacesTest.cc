#include "agents/programd/netlink/Interfaces.h"

#include "tests/agents/daemon/LoopTimer.h"
#include "tests/support/NetworkNamespace.h"

#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <linux/if_link.h>
#include <linux/rtnetlink.h>

namespace Agents {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The changes as lines, so that a test says what is told in the order in which it is told.
struct InterfacesTest : testing::Test {
   void SetUp() override {
      if ( !space.missing().empty() ) {
         GTEST_SKIP() << space.missing();
      }
      space.run( "ip link set lo up" );
   }

   static Vek::String textOf( const Interface* interface ) {
      return interface ? interface->name : "-";
   }

   void watch() {
      interfaces.emplace( loop, [this]( const Interface* before, const Interface* now ) {
         changes.push_back( textOf( before ) + " " + textOf( now ) );
      } );
   }

   std::vector< Vek::String > told() {
      TestSupport::runFor( loop, std::chrono::milliseconds( 100 ) );
      return std::exchange( changes, {} );
   }

   TestSupport::NetworkNamespace space;
   EventLoop loop;
   std::vector< Vek::String > changes;
   std::optional< Interfaces > interfaces;
};

TEST_F( InterfacesTest, BeginsWithThoseThatAreThere ) {
   space.run( "ip link add e0 type veth peer name e1" );
   watch();
   EXPECT_THAT( told(), IsEmpty() );
   ASSERT_EQ( interfaces->all().size(), 3U );
   const Interface* const lo = interfaces->find( "lo" );
   ASSERT_TRUE( lo );
   EXPECT_EQ( *lo, ( Interface{ .number = 1, .name = "lo" } ) );
   EXPECT_EQ( interfaces->find( 1 ), lo );
   ASSERT_TRUE( interfaces->find( "e0" ) );
   EXPECT_FALSE( interfaces->find( "e2" ) );
   EXPECT_FALSE( interfaces->find( 99 ) );
}

TEST_F( InterfacesTest, TellsOfNewRenamedAndGoneOnes ) {
   watch();
   space.run( "ip link add e0 type veth peer name e1" );
   EXPECT_THAT( told(), testing::UnorderedElementsAre( "- e0", "- e1" ) );
   const U32 number = interfaces->find( "e0" )->number;
   space.run( "ip link set e0 name e2" );
   EXPECT_THAT( told(), ElementsAre( "e0 e2" ) );
   EXPECT_EQ( interfaces->find( "e2" )->number, number );
   EXPECT_FALSE( interfaces->find( "e0" ) );
   space.run( "ip link del e2" );
   EXPECT_THAT( told(), testing::UnorderedElementsAre( "e2 -", "e1 -" ) );
   EXPECT_EQ( interfaces->all().size(), 1U );
}

// Addresses, up and down: the kernel tells of the link each time.
TEST_F( InterfacesTest, WhatElseChangesIsNotTold ) {
   space.run( "ip link add e0 type veth peer name e1" );
   watch();
   space.run( "ip link set e0 up && ip link set e0 mtu 1400 && ip link set e0 down" );
   EXPECT_THAT( told(), IsEmpty() );
}

TEST_F( InterfacesTest, NamesMayBeExchanged ) {
   space.run( "ip link add e0 type veth peer name e1" );
   watch();
   const U32 a = interfaces->find( "e0" )->number;
   const U32 b = interfaces->find( "e1" )->number;
   space.run( "ip link set e0 name e9 && ip link set e1 name e0 && ip link set e9 name e1" );
   EXPECT_THAT( told(), ElementsAre( "e0 e9", "e1 e0", "e9 e1" ) );
   EXPECT_EQ( interfaces->find( "e0" )->number, b );
   EXPECT_EQ( interfaces->find( "e1" )->number, a );
}

// The kernel tells a bridge's own view of its ports as links, too, and deletes it when one leaves.
TEST_F( InterfacesTest, APortThatLeavesItsBridgeStays ) {
   space.run( "ip link add e0 type veth peer name e1 && ip link add bridge0 type bridge" );
   watch();
   space.run( "ip link set e0 master bridge0" );
   EXPECT_THAT( told(), ElementsAre( "e0 e0" ) );
   EXPECT_EQ( interfaces->find( "e0" )->master, interfaces->find( "bridge0" )->number );
   space.run( "ip link set e0 nomaster" );
   EXPECT_THAT( told(), ElementsAre( "e0 e0" ) );
   EXPECT_EQ( interfaces->find( "e0" )->master, 0U );
}

// More changes than the kernel keeps for a reader that does not read: what is there in the end is
// known, and what was there in between only is not told.
TEST_F( InterfacesTest, ListsAgainWhatItHasLost ) {
   space.run( "ip link add gone type veth peer name old" );
   watch();
   const int few = 2048;
   ASSERT_EQ( ::setsockopt( interfaces->fd(), SOL_SOCKET, SO_RCVBUF, &few, sizeof few ), 0 );
   space.run(
      "ip link add e0 type veth peer name e1; ip link del gone;"
      "for i in 1 2 3 4 5 6 7 8 9; do ip link set e0 name e2$i; ip link set e2$i name e0; done;"
      "ip link set e0 name last" );
   std::vector< Vek::String > all = told();
   EXPECT_LT( all.size(), 10U ) << "nothing was lost";
   EXPECT_THAT( all, testing::IsSupersetOf( { "gone -", "old -" } ) );
   EXPECT_TRUE( interfaces->find( "last" ) );
   EXPECT_TRUE( interfaces->find( "e1" ) );
   EXPECT_EQ( interfaces->all().size(), 3U );
   // And it is told of what comes then.
   space.run( "ip link set last name later" );
   EXPECT_THAT( told(), ElementsAre( "last later" ) );
}

// What this kernel may not have is read from messages as the kernel would make them.
struct LinkMessage {
   NetlinkMessage< ifinfomsg > message{ RTM_NEWLINK };

   explicit LinkMessage( int number, std::string_view name ) {
      message.body().ifi_index = number;
      message.bytes( IFLA_IFNAME, Vek::String( name ).c_str(), name.size() + 1 );
   }

   void kind( const char* kind, U32 first ) {
      nlattr* const info = mnl_attr_nest_start( &message.header(), IFLA_LINKINFO );
      mnl_attr_put_strz( &message.header(), IFLA_INFO_KIND, kind );
      nlattr* const data = mnl_attr_nest_start( &message.header(), IFLA_INFO_DATA );
      mnl_attr_put_u32( &message.header(), IFLA_VRF_TABLE, first );
      mnl_attr_nest_end( &message.header(), data );
      mnl_attr_nest_end( &message.header(), info );
   }
};

TEST( InterfaceOfTest, OnlyAVrfDeviceHasATable ) {
   LinkMessage vrf( 7, "red" );
   vrf.kind( "vrf", 100 );
   EXPECT_EQ( interfaceOf( vrf.message.header() ),
              ( Interface{ .number = 7, .name = "red", .master = 0, .table = 100 } ) );
   LinkMessage other( 8, "blue" );
   other.kind( "bridge", 100 );
   EXPECT_EQ( interfaceOf( other.message.header() ),
              ( Interface{ .number = 8, .name = "blue", .master = 0, .table = 0 } ) );
}

TEST( InterfaceOfTest, OthersViewsOfALinkAreNone ) {
   LinkMessage bridge( 7, "a" );
   bridge.message.body().ifi_family = AF_BRIDGE;
   EXPECT_FALSE( interfaceOf( bridge.message.header() ) );
   LinkMessage radio( 7, "a" );
   radio.message.u32( IFLA_WIRELESS, 0 );
   EXPECT_FALSE( interfaceOf( radio.message.header() ) );
   EXPECT_FALSE( interfaceOf( LinkMessage( 0, "a" ).message.header() ) );
}

TEST( InterfaceOfTest, AMessageThatIsCutShortIsNone ) {
   LinkMessage cut( 7, "a" );
   cut.message.header().nlmsg_len = NLMSG_HDRLEN + 4;
   EXPECT_FALSE( interfaceOf( cut.message.header() ) );
}

} // namespace
} // namespace Agents
