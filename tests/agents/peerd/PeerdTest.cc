#include "peers/RuleOrigin.h"
#include "tests/agents/peerd/RunningPeerd.h"

#include <algorithm>

#include <gmock/gmock.h>

namespace {

using namespace TestSupport;
using Flowspec::FlowspecKey;
using testing::HasSubstr;
using testing::Not;

const FlowspecKey web = keyOf( "0;ipv4;192.0.2.1/32;*;IP:=0L6;DP:=0L80;" );
const FlowspecKey dns = keyOf( "0;ipv4;192.0.2.2/32;*;IP:=0L17;SP:=0L53;" );
const FlowspecKey other = keyOf( "0;ipv4;198.51.100.1/32;*;" );

// The reasons for which rules of a peer are refused.
std::vector< Vek::String > reasons( const Vek::Ptr< Peers::Peer >& peer ) {
   std::vector< Vek::String > all;
   for ( const auto& [route, rule] : peer->refusedRule() ) {
      all.push_back( rule->reason() );
   }
   return all;
}

TEST( PeerdTest, FilesWhatAPeerAnnouncesAndDropsWhatItWithdraws ) {
   RunningPeerd peerd;
   const auto peer = peerd.session();
   peer->send( announcement( web ) );
   peer->send( announcement( dns, "8006000047c35000" ) ); // 100,000 octets a second
   ASSERT_TRUE( peerd.until( [&] { return peerd.rules() == 2; } ) );
   EXPECT_TRUE( peerd.until( [&] { return peerd.rule( dns )->actionFieldSet().trafficRate(); } ) );
   EXPECT_EQ( peerd.rule( dns )->trafficRateLimit(), 100'000 );
   EXPECT_TRUE( peerd.until( [&] { return peerd.rule( web )->actionFieldSet().trafficDrop(); } ) );
   EXPECT_EQ( Peers::peerNumberOf( peerd.rule( web )->ruleId() ), peerd.state()->number() );
   EXPECT_TRUE( peerd.until( [&] { return peerd.state()->rules().filed == 2; } ) );
   // The action changes, and a rule goes.
   peer->send( announcement( dns, "8009000000000010" ) );
   peer->send( withdrawal( web ) );
   EXPECT_TRUE( peerd.until( [&] {
      return peerd.rules() == 1 && peerd.rule( dns )->actionFieldSet().trafficMarking();
   } ) );
   EXPECT_EQ( peerd.rule( dns )->trafficMarkingDscp().value(), 16 );
   EXPECT_FALSE( peerd.rule( dns )->actionFieldSet().trafficRate() );
}

TEST( PeerdTest, SaysWhyARuleIsRefused ) {
   RunningPeerd peerd(
      RunningPeerd::peer( R"(,"prefixes":["192.0.2.0/24"],"import":[)"
                          R"({"match":{"with":["srcPort"]},"refuse":"no amplifiers"},)"
                          R"({"accept":true}])" ) );
   const auto peer = peerd.session();
   peer->send( announcement( other ) );
   peer->send( announcement( dns ) );
   peer->send( announcement( web ) );
   ASSERT_TRUE( peerd.until( [&] { return peerd.rule( web ) != nullptr; } ) );
   ASSERT_TRUE( peerd.until( [&] { return peerd.state()->refusedRule().size() == 2; } ) );
   EXPECT_THAT(
      reasons( peerd.state() ),
      testing::UnorderedElementsAre( HasSubstr( "no amplifiers" ), HasSubstr( "prefixes" ) ) );
   EXPECT_EQ( peerd.rules(), 1U );
   EXPECT_TRUE( peerd.until( [&] { return peerd.state()->rules().refused == 2; } ) );
}

// Six terms are passed by any of 12 bits that is set, six by any that is clear; all are to be
// passed.
TEST( PeerdTest, ARuleThatCannotBeTakenApartIsListedAsRefused ) {
   RunningPeerd peerd;
   const auto peer = peerd.session();
   FlowspecKey key = keyOf( "0;ipv4;192.0.2.0/24;*;" );
   for ( U32 at = 0, i = 0; i < 12; ++i ) {
      at = key.setOpVal( at, Flowspec::tcpFlags, i % 2 ? 0x50 : 0x53, 0x0FFF );
   }
   peer->send( announcement( key ) );
   ASSERT_TRUE( peerd.until( [&] { return peerd.state()->refusedRule().size() == 1; } ) );
   EXPECT_THAT( reasons( peerd.state() ), testing::ElementsAre( HasSubstr( "masks" ) ) );
   EXPECT_EQ( peerd.state()->rules().filed, 0U );
}

TEST( PeerdTest, RulesOfALostSessionGo ) {
   RunningPeerd peerd;
   auto peer = peerd.session();
   peer->send( announcement( web ) );
   ASSERT_TRUE( peerd.until( [&] { return peerd.rules() == 1; } ) );
   peer.reset();
   EXPECT_TRUE( peerd.until( [&] { return peerd.rules() == 0 && !peerd.isEstablished(); } ) );
   EXPECT_EQ( peerd.state()->flaps(), 1U );
   EXPECT_NE( peerd.state()->lastError(), "" );
}

TEST( PeerdTest, RulesOfAPeerThatRestartsAreStaleUntilItHasToldAgain ) {
   Bgp::Open open = RawPeer::open();
   open.capabilities.gracefulRestart =
      Bgp::GracefulRestart{ .restarting = false,
                            .notifications = true,
                            .seconds = 120,
                            .families = { { Bgp::ipv4Flow, true }, { Bgp::ipv6Flow, true } } };
   RunningPeerd peerd;
   auto peer = peerd.session( open );
   peer->send( announcement( web ) );
   peer->send( announcement( dns ) );
   ASSERT_TRUE( peerd.until( [&] { return peerd.rules() == 2; } ) );
   peer.reset();
   EXPECT_TRUE( peerd.until( [&] { return peerd.state()->rules().stale == 2; } ) );
   EXPECT_EQ( peerd.rules(), 2U );
   open.capabilities.gracefulRestart->restarting = true;
   peer = peerd.session( open );
   peer->send( announcement( dns ) );
   EXPECT_TRUE( peerd.until( [&] { return peerd.state()->rules().stale == 1; } ) );
   EXPECT_EQ( peerd.rules(), 2U );
   peer->send( endOfRib() );
   EXPECT_TRUE( peerd.until( [&] { return peerd.rules() == 1; } ) );
   EXPECT_NE( peerd.rule( dns ), nullptr );
}

TEST( PeerdTest, AsksAPeerAgainWhenAnOperatorWantsIt ) {
   RunningPeerd peerd;
   Bgp::Open open = RawPeer::open();
   open.capabilities.routeRefresh = true;
   const auto peer = peerd.session( open );
   const auto refreshes = [&] {
      peer->read();
      return std::ranges::count( peer->types(), 5 );
   };
   EXPECT_EQ( refreshes(), 0 );
   Process command(
      { FLOWSPECCTL, "refresh", "peer", "one", "in", "--socket", peerd.database.endpoint().text() },
      peerd.database.folder().path() + "/refresh-errors" );
   EXPECT_EQ( command.wait(), 0 ) << command.errors();
   EXPECT_TRUE( peerd.until( [&] { return refreshes() == 2; } ) ); // of each family
}

TEST( PeerdTest, ARestartLeavesRulesUntilPeersHaveToldAgain ) {
   RunningPeerd peerd;
   auto peer = peerd.session();
   peer->send( announcement( web ) );
   peer->send( announcement( dns ) );
   ASSERT_TRUE( peerd.until( [&] { return peerd.rules() == 2; } ) );
   const U32 number = peerd.state()->number();
   peerd.process->kill();
   peerd.start();
   peer = peerd.session();
   EXPECT_EQ( peerd.state()->number(), number );
   peer->send( announcement( dns ) );
   EXPECT_TRUE( peerd.until( [&] { return peerd.state()->rules().filed == 1; } ) );
   EXPECT_EQ( peerd.rules(), 2U );
   peer->send( endOfRib() );
   EXPECT_TRUE( peerd.until( [&] { return peerd.rules() == 1; } ) );
   EXPECT_NE( peerd.rule( dns ), nullptr );
}

TEST( PeerdTest, ADatabaseThatIsStartedAgainGetsAll ) {
   RunningPeerd peerd;
   const auto peer = peerd.session();
   peer->send( announcement( web ) );
   ASSERT_TRUE( peerd.until( [&] { return peerd.rules() == 1; } ) );
   peerd.database.process().kill();
   peer->send( announcement( dns ) );
   peerd.database.start();
   EXPECT_TRUE( peerd.until( [&] { return peerd.rules() == 2; } ) );
   EXPECT_TRUE( peerd.isEstablished() );
   EXPECT_EQ( peerd.state()->flaps(), 0U );
}

TEST( PeerdTest, AnotherPolicyHoldsForWhatWasAnnouncedBefore ) {
   RunningPeerd peerd;
   const auto peer = peerd.session();
   peer->send( announcement( web ) );
   peer->send( announcement( dns ) );
   ASSERT_TRUE( peerd.until( [&] { return peerd.rules() == 2; } ) );
   peerd.configure(
      RunningPeerd::peer( R"(,"import":[{"match":{"with":["srcPort"]},"accept":true}])" ) );
   peerd.process->signal( SIGHUP );
   EXPECT_TRUE( peerd.until( [&] { return peerd.rules() == 1; } ) );
   EXPECT_NE( peerd.rule( dns ), nullptr );
   peerd.configure( RunningPeerd::peer() );
   peerd.process->signal( SIGHUP );
   EXPECT_TRUE( peerd.until( [&] { return peerd.rules() == 2; } ) );
   EXPECT_TRUE( peerd.isEstablished() );
   EXPECT_EQ( peerd.state()->flaps(), 0U );
}

TEST( PeerdTest, AWrongFileIsToldAndTheOldOneStaysInForce ) {
   RunningPeerd peerd;
   const auto peer = peerd.session();
   peer->send( announcement( web ) );
   ASSERT_TRUE( peerd.until( [&] { return peerd.rules() == 1; } ) );
   peerd.configure( RunningPeerd::peer( R"(,"holdTime":1)" ) );
   peerd.process->signal( SIGHUP );
   const Vek::String file = peerd.database.folder().path() + "/peerd.json";
   EXPECT_TRUE( peerd.untilTold( file +
                                 ":2: error: peers[0].holdTime: neither 0 nor at least 3\n"
                                 "peerd: " +
                                 file + ": the configuration stays as it was\n" ) );
   peer->send( announcement( dns ) );
   EXPECT_TRUE( peerd.until( [&] { return peerd.rules() == 2; } ) );
   EXPECT_EQ( peerd.state()->flaps(), 0U );
}

TEST( PeerdTest, APeerThatIsNoLongerConfiguredGoesWithItsRules ) {
   RunningPeerd peerd;
   const auto peer = peerd.session();
   peer->send( announcement( web ) );
   ASSERT_TRUE( peerd.until( [&] { return peerd.rules() == 1; } ) );
   peerd.configure( "" );
   peerd.process->signal( SIGHUP );
   EXPECT_TRUE( peerd.until( [&] { return peerd.rules() == 0 && !peerd.state(); } ) );
   peerd.configure( RunningPeerd::peer() );
   peerd.process->signal( SIGHUP );
   EXPECT_NE( peerd.session(), nullptr );
}

TEST( PeerdTest, TellsItsPeersThatItWasStopped ) {
   RunningPeerd peerd;
   const auto peer = peerd.session();
   peer->send( announcement( web ) );
   ASSERT_TRUE( peerd.until( [&] { return peerd.rules() == 1; } ) );
   peerd.process->signal( SIGTERM );
   EXPECT_EQ( peerd.process->wait(), 0 );
   EXPECT_TRUE( peerd.until( [&] { return peer->read(); } ) );
   ASSERT_TRUE( peer->farewell() );
   EXPECT_THAT( Bgp::describe( *peer->farewell() ), HasSubstr( "\"peerd was stopped\"" ) );
   // It may be back at once.
   EXPECT_EQ( peerd.rules(), 1U );
}

TEST( PeerdTest, ChecksAFileWithoutRunning ) {
   const Folder folder;
   const auto check = [&]( const Vek::String& file ) {
      Process process( { PEERD, "--check", "--config", file }, folder.path() + "/errors" );
      const int status = process.wait();
      return std::pair( status, process.errors() );
   };
   EXPECT_EQ( check( "examples/peerd.json" ), std::pair( 0, Vek::String() ) );
   Vek::String peers;
   for ( int i = 0; i < 12; ++i ) {
      peers += i == 0 ? "5" : ",\n5";
   }
   const Vek::String bad =
      folder.file( "bad.json", R"({"localAs":1,"routerId":"192.0.2.1","peers":[)" + peers + "]}" );
   const auto [status, errors] = check( bad );
   EXPECT_EQ( status, 1 );
   EXPECT_THAT( errors, HasSubstr( bad + ":10: error: peers[9]: not an object\n" + bad +
                                   ": error: 2 more errors\n" ) );
   EXPECT_THAT( errors, Not( HasSubstr( "peers[10]" ) ) );
   EXPECT_EQ( std::ranges::count( errors, '\n' ), 11 );
}

TEST( PeerdTest, DoesNotAnnounceTheRulesOfPeers ) {
   const Folder folder;
   Process process( { PEERD, "--export", "flowspec/bgp", "--config", "examples/peerd.json" },
                    folder.path() + "/errors" );
   EXPECT_EQ( process.wait(), 2 );
   EXPECT_EQ( process.errors(),
              "peerd: the rules of peers are not announced: --export names the root of --root\n"
              "Try 'peerd --help'.\n" );
}

} // namespace
