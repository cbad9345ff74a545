#include "agents/bgp/message/UpdateWriter.h"
#include "tests/agents/bgp/session/Sides.h"

namespace {

using namespace Bgp;
using namespace TestSupport;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// UPDATE messages that announce rules of as many octets in all as wanted.
std::vector< U8 > announcement( std::size_t octets, std::size_t maxLength ) {
   PathAttributes attributes;
   std::vector< U8 > encoded;
   writeAttributes( attributes, true, encoded );
   std::vector< U8 > out;
   auto writer = UpdateWriter::announcing( ipv4Flow, encoded, maxLength, out );
   const std::vector< U8 > rule{ 5, 1, 24, 192, 0, 2 };
   for ( std::size_t written = 0; written < octets; written += rule.size() ) {
      EXPECT_TRUE( writer.add( rule ) );
   }
   writer.finish();
   return out;
}

TEST( SessionSetTest, EstablishesASession ) {
   Pair pair;
   pair.toA.holdTime = 30;
   pair.apply();
   ASSERT_TRUE( pair.areUp() );
   const Session& a = pair.a.session();
   EXPECT_EQ( a.agreed()->holdTime, 30 );
   EXPECT_EQ( a.agreed()->families, ( std::vector{ ipv4Flow, ipv6Flow } ) );
   EXPECT_EQ( a.agreed()->maxSend, 65535U );
   EXPECT_TRUE( a.agreed()->gracefulNotifications );
   EXPECT_EQ( a.peerIdentifier(), address( "127.0.0.12" ).ipv4Value() );
   EXPECT_EQ( a.peerEnd(), pair.b.set.listening().at( 0 ) );
   EXPECT_EQ( a.localEnd(), pair.b.session().peerEnd() );
   EXPECT_EQ( a.establishments(), 1U );
   EXPECT_EQ( a.flaps(), 0U );
   EXPECT_EQ( a.lastError(), "" );
   EXPECT_EQ( a.sent().opens, 1U );
   EXPECT_EQ( a.received().opens, 1U );
   EXPECT_EQ( a.received().keepalives, 1U );
   EXPECT_THAT( pair.a.heard, ElementsAre( "up b" ) );
   EXPECT_THAT( pair.a.log,
                ElementsAre( Vek::concat( "b: established with ", a.peerEnd().text() ) ) );
   EXPECT_EQ( pair.a.set.find( "b" ), &a );
   EXPECT_EQ( pair.a.set.find( "c" ), nullptr );
}

TEST( SessionSetTest, CarriesMessagesBothWays ) {
   Pair pair;
   pair.apply();
   ASSERT_TRUE( pair.areUp() );
   const auto longOnes = announcement( 200'000, 65535 );
   pair.a.session().send( longOnes );
   const auto shortOnes = announcement( 20'000, 4096 );
   pair.b.session().send( shortOnes );
   std::vector< U8 > rest;
   writeEndOfRib( ipv6Flow, rest );
   writeRouteRefresh( { ipv4Flow, RouteRefresh::request }, rest );
   writeRouteRefresh( { ipv4VpnFlow, RouteRefresh::request }, rest ); // not agreed on
   pair.a.session().send( rest );
   ASSERT_TRUE(
      pair.world.until( [&] { return pair.b.heard.size() == 3 && pair.a.octets >= 20'000; } ) );
   EXPECT_THAT( pair.b.heard, ElementsAre( "up a", "end of ipv6-flow", "refresh ipv4-flow 0" ) );
   EXPECT_EQ( pair.b.octets, 200'004U );
   EXPECT_EQ( pair.b.updates, 4U );
   EXPECT_EQ( pair.b.session().received().updates, 5U );
   EXPECT_EQ( pair.a.session().sent().updates, 5U );
   EXPECT_EQ( pair.a.session().sent().routeRefreshes, 2U );
   EXPECT_EQ( pair.a.octets, 20'004U );
   EXPECT_EQ( pair.a.updates, 5U );
}

TEST( SessionSetTest, KeepsASessionUpWithKeepalives ) {
   Pair pair;
   pair.toA.holdTime = 9;
   pair.apply();
   ASSERT_TRUE( pair.areUp() );
   for ( U64 round = 1; round <= 20; ++round ) {
      pair.world.advance( 3s );
      ASSERT_TRUE( pair.world.until( [&] {
         return pair.a.session().received().keepalives > round &&
                pair.b.session().received().keepalives > round;
      } ) );
   }
   EXPECT_EQ( pair.a.session().flaps(), 0U );
   EXPECT_EQ( pair.b.session().flaps(), 0U );
}

TEST( SessionSetTest, HasNoKeepalivesWithAHoldTimeOf0 ) {
   Pair pair;
   pair.toA.holdTime = 0;
   pair.apply();
   ASSERT_TRUE( pair.areUp() );
   pair.world.advance( 24h );
   pair.world.settle();
   EXPECT_EQ( pair.a.session().sent().keepalives, 1U );
   EXPECT_EQ( pair.a.up, 1 );
}

TEST( SessionSetTest, KeepsOneConnectionWhenBothConnectAtOnce ) {
   for ( int round = 0; round < 40; ++round ) {
      Pair pair;
      pair.toA.passive = false;
      pair.toA.routerId = round % 2 ? 1 : 0xFFFFFFFF;
      if ( round % 4 >= 2 ) {
         // RFC 6286: equal identifiers in different AS.
         pair.toA.routerId = pair.toB.routerId;
         pair.toA.localAs = pair.toB.peerAs = 64501U - U32( round % 2 ) * 2;
      }
      pair.apply();
      ASSERT_TRUE( pair.areUp() );
      pair.world.settle();
      ASSERT_TRUE( pair.areUp() );
      EXPECT_EQ( pair.a.session().localEnd(), pair.b.session().peerEnd() );
      EXPECT_EQ( pair.a.session().peerEnd(), pair.b.session().localEnd() );
      EXPECT_EQ( pair.a.session().flaps(), 0U );
      EXPECT_EQ( pair.a.session().lastError(), "" );
   }
}

TEST( SessionSetTest, TriesAgainUntilThePeerListens ) {
   Pair pair;
   pair.b.set.listen( {} );
   pair.apply();
   ASSERT_TRUE( pair.world.until( [&] { return !pair.a.session().lastError().empty(); } ) );
   EXPECT_EQ( pair.a.session().lastError(),
              Vek::concat( "cannot connect to ", pair.toB.peer.text(), ": Connection refused" ) );
   EXPECT_EQ( pair.a.session().state(), State::active );
   for ( int round = 0; round < 5; ++round ) {
      pair.world.advance( 30s );
      pair.world.settle();
   }
   EXPECT_EQ( pair.a.log.size(), 1U ) << "the same again is not told again";
   EXPECT_THAT( pair.b.set.listen( { pair.toB.peer } ), IsEmpty() );
   pair.world.advance( 120s );
   EXPECT_TRUE( pair.areUp() );
}

TEST( SessionSetTest, SaysWhereItCannotListen ) {
   World world;
   Side a( world );
   Side b( world );
   EXPECT_THAT( a.set.listen( { { address( "127.0.0.11" ), 0 } } ), IsEmpty() );
   const SocketAddress taken = a.set.listening().at( 0 );
   EXPECT_THAT(
      b.set.listen( { taken, { address( "192.0.2.1" ), 1 }, { address( "::1" ), 0 } } ),
      ElementsAre( Vek::concat( "cannot listen on ", taken.text(), ": Address already in use" ),
                   "cannot listen on 192.0.2.1:1: Cannot assign requested address" ) );
   EXPECT_EQ( b.set.listening().at( 0 ).address, address( "::1" ) );
}

TEST( SessionSetTest, ListensOnWithTheAddressesThatStay ) {
   World world;
   Side side( world );
   const SocketAddress first{ address( "127.0.0.11" ), 0 };
   side.set.listen( { first } );
   const SocketAddress end = side.set.listening().at( 0 );
   EXPECT_THAT( side.set.listen( { { address( "127.0.0.12" ), 0 }, first } ), IsEmpty() );
   ASSERT_EQ( side.set.listening().size(), 2U );
   EXPECT_EQ( side.set.listening()[0], end ) << "the same socket, with the port that it had";
   EXPECT_THAT( side.set.listen( { { address( "127.0.0.12" ), 0 } } ), IsEmpty() );
   ASSERT_EQ( side.set.listening().size(), 1U );
   EXPECT_EQ( side.set.listening()[0].address, address( "127.0.0.12" ) );
}

TEST( SessionSetTest, WorksOverIpv6 ) {
   World world;
   Side a( world );
   Side b( world );
   b.set.listen( { { address( "::1" ), 0 } } );
   SessionConfig toB = config( "b", "127.0.0.1", "127.0.0.2" );
   toB.peer = b.set.listening().at( 0 );
   toB.localAddress = address( "::1" );
   SessionConfig toA = toB;
   toA.name = "a";
   toA.passive = true;
   toA.routerId = 2;
   toA.localAs = toB.peerAs = 64501;
   toA.peerAs = toB.localAs;
   toA.ttlSecurity = toB.ttlSecurity = true;
   b.set.apply( { toA } );
   a.set.apply( { toB } );
   ASSERT_TRUE( world.until( [&] { return a.up == 1 && b.up == 1; } ) );
   EXPECT_EQ( a.session().peerEnd().text(), Vek::concat( "[::1]:", toB.peer.port ) );
}

TEST( SessionSetTest, LeavesUnchangedSessionsAlone ) {
   Pair pair;
   pair.apply();
   ASSERT_TRUE( pair.areUp() );
   pair.apply();
   const SessionConfig other = config( "c", "127.0.0.11", "127.0.0.13" );
   pair.a.set.apply( { other, pair.toB } );
   pair.world.settle();
   EXPECT_THAT( pair.a.heard, ElementsAre( "up b" ) );
   ASSERT_EQ( pair.a.set.sessions().size(), 2U );
   EXPECT_EQ( pair.a.set.sessions()[0]->config().name, "c" );

   const Session* const same = pair.a.set.find( "b" );
   pair.toB.holdTime = 60;
   pair.a.set.apply( { pair.toB } );
   ASSERT_TRUE( pair.world.until( [&] { return pair.b.session().flaps() == 1; } ) );
   EXPECT_EQ( pair.a.set.find( "b" ), same );
   EXPECT_EQ( pair.a.lastDown, ( Down{ "its configuration changed", false, {}, 0s } ) );
   EXPECT_THAT( pair.b.lastDown.reason, HasSubstr( "other configuration change" ) );
   EXPECT_FALSE( pair.b.lastDown.keepsStale );
   ASSERT_TRUE( pair.areUp() );
   EXPECT_EQ( pair.b.session().agreed()->holdTime, 60 );

   pair.a.set.apply( {} );
   ASSERT_TRUE( pair.areDown() );
   EXPECT_THAT( pair.a.set.sessions(), IsEmpty() );
   EXPECT_THAT( pair.b.lastDown.reason, HasSubstr( "peer de-configured" ) );
}

TEST( SessionSetTest, SaysFarewellWhenItStops ) {
   Pair pair;
   pair.apply();
   ASSERT_TRUE( pair.areUp() );
   pair.a.session().send( announcement( 100'000, 4096 ) );
   pair.a.set.stop( "moving racks" );
   EXPECT_EQ( pair.a.session().state(), State::idle );
   ASSERT_TRUE( pair.world.until( [&] { return pair.a.set.stopped() && pair.b.up == 0; } ) );
   EXPECT_EQ( pair.b.octets, 100'002U ) << "what was sent before arrives";
   EXPECT_THAT( pair.b.lastDown.reason, HasSubstr( "administrative shutdown" ) );
   EXPECT_THAT( pair.b.lastDown.reason, HasSubstr( "moving racks" ) );
   EXPECT_FALSE( pair.b.lastDown.keepsStale ) << "a hard reset";
   EXPECT_THAT( pair.a.set.listening(), IsEmpty() );
   pair.world.advance( 300s );
   pair.world.settle();
   EXPECT_EQ( pair.a.session().state(), State::idle );
}

TEST( SessionSetTest, LeavesItsRulesWithPeersWhenItIsStartedAgain ) {
   Pair pair;
   pair.apply();
   ASSERT_TRUE( pair.areUp() );
   pair.a.set.leave();
   ASSERT_TRUE( pair.areDown() );
   EXPECT_EQ( pair.b.lastDown,
              ( Down{ "the peer closed the connection", true, { ipv4Flow, ipv6Flow }, 120s } ) );
   Side again( pair.world, true );
   again.set.apply( { pair.toB } );
   ASSERT_TRUE( pair.world.until( [&] { return again.up == 1 && pair.b.up == 1; } ) );
   const GracefulRestart& restart = *pair.b.session().agreed()->gracefulRestart;
   EXPECT_TRUE( restart.restarting );
   EXPECT_THAT( restart.families,
                ElementsAre( GracefulFamily{ ipv4Flow, true }, GracefulFamily{ ipv6Flow, true } ) );
}

TEST( SessionSetTest, TakesAPeerThatComesBackBeforeItsConnectionIsLost ) {
   Pair pair;
   pair.apply();
   ASSERT_TRUE( pair.areUp() );
   pair.world.advance( 10s );
   // Another process of the peer: the first one is not told to close.
   Side again( pair.world );
   again.set.apply( { pair.toB } );
   ASSERT_TRUE( pair.world.until( [&] { return again.up == 1; } ) );
   EXPECT_EQ( pair.b.session().flaps(), 1U );
   EXPECT_EQ( pair.b.lastDown,
              ( Down{ "the peer connected again", true, { ipv4Flow, ipv6Flow }, 120s } ) );
}

TEST( SessionSetTest, RefusesASecondConnectionWithoutGracefulRestart ) {
   Pair pair;
   pair.toA.gracefulRestart = false;
   pair.apply();
   ASSERT_TRUE( pair.areUp() );
   pair.world.advance( 10s );
   Side again( pair.world );
   again.set.apply( { pair.toB } );
   ASSERT_TRUE( pair.world.until( [&] { return again.session().lastError() != ""; } ) );
   EXPECT_THAT( again.session().lastError(), HasSubstr( "connection collision resolution" ) );
   EXPECT_EQ( pair.b.session().flaps(), 0U );
}

TEST( SessionSetTest, EndsASessionThatItsUserWantsToEnd ) {
   Pair pair;
   pair.apply();
   ASSERT_TRUE( pair.areUp() );
   pair.b.onUpdate = []( Session& session ) {
      session.end( { ErrorCode::cease, Cease::maximumPrefixes, {} }, "more than 3 rules" );
      session.send( std::vector< U8 >( 19 ) );
   };
   pair.a.session().send( announcement( 50'000, 4096 ) );
   ASSERT_TRUE( pair.areDown() );
   EXPECT_EQ( pair.b.updates, 1U );
   EXPECT_EQ( pair.b.lastDown, ( Down{ "more than 3 rules", false, {}, 0s } ) );
   EXPECT_THAT( pair.a.lastDown.reason, HasSubstr( "maximum number of prefixes reached" ) );
   EXPECT_FALSE( pair.a.lastDown.keepsStale );
   EXPECT_EQ( pair.b.session().state(), State::idle ) << "it holds off";
   pair.b.onUpdate = {};
   pair.world.advance( 300s );
   EXPECT_TRUE( pair.areUp() );
}

TEST( SessionSetTest, TellsWhenThereIsRoomAgain ) {
   Pair pair;
   pair.apply();
   ASSERT_TRUE( pair.areUp() );
   Session& session = pair.a.session();
   const auto message = announcement( 4000, 4096 );
   U64 sent = 0;
   for ( ; session.canSend() && sent < 100; ++sent ) {
      session.send( message );
   }
   ASSERT_FALSE( session.canSend() );
   EXPECT_LE( sent * message.size(), std::size_t{ 300 } << 10 );
   ASSERT_TRUE( pair.world.until( [&] { return pair.b.updates == sent; } ) );
   EXPECT_EQ( pair.a.writables, 1 );
   EXPECT_TRUE( session.canSend() );
}

} // namespace
