#include "Vek/entity/Directory.h"
#include "peers/PeerTable.h"
#include "peers/RuleDeadlines.h"
#include "peers/RuleOrigin.h"

#include <set>

#include <gmock/gmock.h>

namespace Peers {
namespace {

TEST( PeerTable, IsMadeByItsName ) {
   Vek::Directory directory;
   const auto root = directory.create( "Peers::PeerTable", "flowspec/peers" );
   ASSERT_EQ( &root->typeInfo(), &PeerTable::type() );
   const auto& table = static_cast< const PeerTable& >( *root );
   EXPECT_EQ( table.name(), "flowspec/peers" );
   EXPECT_TRUE( table.peer().empty() );
   EXPECT_EQ( table.peer( "a" ), nullptr );
}

TEST( PeerTable, APeerBeginsIdleAndStaysWhatItIs ) {
   const auto table = peerTableFactory( "peers" );
   const auto peer = table->peerIs( "a" );
   EXPECT_EQ( peer->name(), "a" );
   EXPECT_EQ( peer->parent(), table.get() );
   EXPECT_EQ( peer->state(), SessionState::idle );
   EXPECT_EQ( peer->rules(), RuleCounts() );
   EXPECT_EQ( peer->capabilities(), Capabilities() );
   peer->stateIs( SessionState::established );
   EXPECT_EQ( table->peerIs( "a" ), peer );
   table->peerDel( "a" );
   EXPECT_EQ( peer->parent(), nullptr );
   EXPECT_EQ( peer->state(), SessionState::established );
   EXPECT_NE( table->peerIs( "a" ), peer );
}

TEST( RuleDeadlines, AreThereByTheWholeKey ) {
   Vek::Directory directory;
   const auto root = directory.create( "Peers::RuleDeadlines", "deadlines" );
   auto& deadlines = static_cast< RuleDeadlines& >( *root );
   Flowspec::FlowspecKey key;
   EXPECT_EQ( deadlines.deadline( key ), 0 );
   deadlines.deadlineIs( key, 5575.5 );
   key.vrfIdIs( 7 );
   EXPECT_EQ( deadlines.deadline( key ), 0 );
   deadlines.deadlineIs( key, 8955 );
   EXPECT_EQ( deadlines.deadline().size(), 2U );
   EXPECT_EQ( deadlines.deadline( Flowspec::FlowspecKey() ), 5575.5 );
   deadlines.deadlineDel( Flowspec::FlowspecKey() );
   EXPECT_EQ( deadlines.deadline( key ), 8955 );
   deadlines.deadlineDelAll();
   EXPECT_TRUE( deadlines.deadline().empty() );
}

TEST( RouteKey, RulesOfTwoFamiliesWithTheSameOctetsAreTwo ) {
   const auto peer = peerFactory( "a" );
   const auto ipv4 = peer->refusedRuleIs( { Family::ipv4, "0108c0" } );
   const auto ipv6 = peer->refusedRuleIs( { Family::ipv6, "0108c0" } );
   EXPECT_NE( ipv4, ipv6 );
   EXPECT_EQ( peer->refusedRule( { Family::ipv4, "0108c0" } ), ipv4 );
   EXPECT_EQ( peer->hiddenRule( { Family::ipv4, "0108c0" } ), nullptr );
   EXPECT_NE( ipv4->route().hash(), ipv6->route().hash() );
   EXPECT_LT( ipv4->route(), ipv6->route() );
   EXPECT_LT( RouteKey( Family::ipv4, "0108c0" ), RouteKey( Family::ipv4, "0108c1" ) );
}

// What peers announce is in these hashes: octets that differ little are to be told apart.
TEST( RouteKey, HashesSpread ) {
   std::set< U32 > hashes;
   for ( U32 i = 0; i < 1000; ++i ) {
      hashes.insert( RouteKey( Family::vpnIpv6, Vek::concat( 10000 + i ) ).hash() );
   }
   EXPECT_EQ( hashes.size(), 1000U );
}

TEST( RouteKey, ItsTextReadsBack ) {
   const RouteKey key( Family::vpnIpv4, "0000000100000002030481060581bb" );
   EXPECT_EQ( Vek::valueText( key ), "vpnIpv4;0000000100000002030481060581bb;" );
   RouteKey read;
   Vek::strepToValue( Vek::valueText( key ), &read );
   EXPECT_EQ( read, key );
}

TEST( RuleOrigin, TheRuleIdTellsThePeer ) {
   EXPECT_EQ( peerNumberOf( ruleIdOf( 7, 0xFFFFFFFF ) ), 7U );
   EXPECT_EQ( peerNumberOf( ruleIdOf( 0xFFFFFFFF, 0 ) ), 0xFFFFFFFFU );
   EXPECT_EQ( peerNumberOf( 0x123456 ), 0U ) << "an id that no speaker gave";
   EXPECT_NE( ruleIdOf( 1, 2 ), ruleIdOf( 2, 1 ) );
}

} // namespace
} // namespace Peers
