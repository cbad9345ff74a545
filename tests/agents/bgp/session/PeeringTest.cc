#include "agents/bgp/session/Peering.h"

#include <algorithm>

#include <gmock/gmock.h>

namespace {

using namespace Bgp;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using enum Event;

const Notification shuts{ ErrorCode::cease, Cease::administrativeShutdown, {} };

SessionConfig configured() {
   SessionConfig config;
   config.localAs = 64500;
   config.peerAs = 64501;
   config.routerId = 1000;
   config.families = { ipv4Flow, ipv6Flow };
   return config;
}

// A peering, and what it wanted done.
class Player {
public:
   explicit Player( SessionConfig config = configured() ) : peering( std::move( config ), 1 ) {
      peering.start( now );
   }

   Open open() const {
      const SessionConfig& config = peering.config();
      Open open{ config.peerAs, 90, identifier, {} };
      open.capabilities.families = config.families;
      if ( restart ) {
         open.capabilities.gracefulRestart = restart;
      }
      return open;
   }

   void arrive() { EXPECT_TRUE( peering.accept( now ) ); }
   void connect() { peering.on( Slot::outgoing, tcpCrAcked, now ); }
   void open( Slot slot ) { peering.open( slot, open(), now ); }
   void keepalive( Slot slot ) { peering.on( slot, keepAliveMsg, now ); }
   void establish() {
      connect();
      open( Slot::outgoing );
      keepalive( Slot::outgoing );
      EXPECT_EQ( peering.state(), State::established );
      peering.takeActions();
   }

   /// Lets time pass, with all that is due in it.
   void pass( Duration time ) {
      const Time end = now + time;
      while ( peering.due() <= end ) {
         now = std::max( now, peering.due() );
         peering.tick( now );
      }
      now = end;
   }

   /// What there is to be done.
   std::vector< std::pair< Slot, Do > > actions() {
      std::vector< std::pair< Slot, Do > > all;
      for ( PeerAction& action : peering.takeActions() ) {
         if ( action.what == Do::sendNotification ) {
            sent = action.notification;
         } else if ( action.what == Do::leave ) {
            down = action.down;
         }
         all.emplace_back( action.slot, action.what );
      }
      return all;
   }

   Time now = Time() + 1h;
   U32 identifier = 2000;
   std::optional< GracefulRestart > restart =
      GracefulRestart{ false, true, 77, { { ipv4Flow, true } } };
   Notification sent;
   Down down;
   Peering peering;
};

TEST( PeeringTest, ConnectsAtOnceAndWaitsForThePeer ) {
   Player player;
   EXPECT_THAT( player.actions(), ElementsAre( std::pair( Slot::outgoing, Do::connect ) ) );
   EXPECT_EQ( player.peering.state( Slot::outgoing ), State::connect );
   EXPECT_EQ( player.peering.state( Slot::incoming ), State::active );
   EXPECT_EQ( player.peering.state(), State::connect );

   SessionConfig passive = configured();
   passive.passive = true;
   Player waiting( passive );
   waiting.pass( 24h );
   EXPECT_THAT( waiting.actions(), IsEmpty() );
   EXPECT_EQ( waiting.peering.state(), State::active );
}

TEST( PeeringTest, KeepsTheConnectionOfTheHigherIdentifier ) {
   struct Case {
      U32 identifier;
      U32 as;
      bool oursFirst; ///< the order of the OPENs
      Slot stays;
   };
   // RFC 6286: of equal identifiers, of the higher AS.
   for ( const auto& [identifier, as, oursFirst, stays] :
         { Case{ 999, 64501, true, Slot::outgoing }, Case{ 999, 64501, false, Slot::outgoing },
           Case{ 1001, 64501, true, Slot::incoming }, Case{ 1001, 64501, false, Slot::incoming },
           Case{ 1000, 64499, true, Slot::outgoing },
           Case{ 1000, 64501, true, Slot::incoming } } ) {
      SessionConfig config = configured();
      config.peerAs = as;
      Player player( config );
      player.identifier = identifier;
      player.connect();
      player.arrive();
      const Slot first = oursFirst ? Slot::outgoing : Slot::incoming;
      const Slot second = oursFirst ? Slot::incoming : Slot::outgoing;
      const Slot goes = stays == Slot::outgoing ? Slot::incoming : Slot::outgoing;
      player.open( first );
      player.actions();
      player.open( second );
      const auto actions = player.actions();
      ASSERT_GE( actions.size(), 2U );
      EXPECT_EQ( actions[0], std::pair( goes, Do::sendNotification ) );
      EXPECT_EQ( actions[1], std::pair( goes, Do::drop ) );
      EXPECT_EQ( player.sent, ( Notification{ ErrorCode::cease, Cease::collision, {} } ) );
      EXPECT_EQ( player.peering.state( stays ), State::openConfirm );
      EXPECT_LT( player.peering.state( goes ), State::openSent );
      player.keepalive( stays );
      EXPECT_EQ( player.peering.state(), State::established );
      EXPECT_EQ( player.peering.errors(), 0U ) << "a collision is no error";
   }
}

TEST( PeeringTest, EndsTheOtherConnectionWhenOneIsEstablished ) {
   Player player;
   player.connect();
   player.arrive();
   player.open( Slot::incoming );
   player.actions();
   player.keepalive( Slot::incoming );
   EXPECT_THAT( player.actions(), ElementsAre( std::pair( Slot::incoming, Do::establish ),
                                               std::pair( Slot::outgoing, Do::sendNotification ),
                                               std::pair( Slot::outgoing, Do::drop ) ) );
   EXPECT_EQ( player.sent, ( Notification{ ErrorCode::cease, Cease::collision, {} } ) );
   player.pass( 60s );
   EXPECT_EQ( player.peering.state( Slot::outgoing ), State::idle );
}

TEST( PeeringTest, NoLongerConnectsWhenThePeerHas ) {
   Player player;
   player.arrive();
   player.actions();
   player.open( Slot::incoming );
   EXPECT_THAT( player.actions(), ElementsAre( std::pair( Slot::incoming, Do::sendKeepalive ),
                                               std::pair( Slot::outgoing, Do::drop ) ) );
   EXPECT_EQ( player.peering.state( Slot::outgoing ), State::idle );
   player.peering.on( Slot::incoming, tcpConnectionFails, player.now, {}, "gone" );
   EXPECT_EQ( player.peering.state( Slot::outgoing ), State::active );
   EXPECT_EQ( player.peering.lastError(), "gone" );
}

TEST( PeeringTest, WaitsLongerAfterEachFailure ) {
   SessionConfig config = configured();
   config.connectRetryTime = 30;
   Player player( config );
   player.actions();
   for ( const int seconds : { 1, 2, 4, 8, 16, 30, 30 } ) {
      player.peering.on( Slot::outgoing, tcpConnectionFails, player.now, {}, "refused" );
      EXPECT_THAT( player.actions(), ElementsAre( std::pair( Slot::outgoing, Do::drop ) ) );
      const Duration longest = std::chrono::seconds( seconds );
      EXPECT_GE( player.peering.due(), player.now + longest * 3 / 4 );
      EXPECT_LE( player.peering.due(), player.now + longest );
      player.pass( longest );
      EXPECT_THAT( player.actions(), ElementsAre( std::pair( Slot::outgoing, Do::connect ) ) );
   }
   // A session that lasts begins anew.
   player.establish();
   for ( int i = 0; i < 3; ++i ) {
      player.pass( 20s );
      player.keepalive( Slot::outgoing );
   }
   player.peering.on( Slot::outgoing, tcpConnectionFails, player.now, {}, "gone" );
   player.actions();
   player.pass( 1s );
   EXPECT_THAT( player.actions(), ElementsAre( std::pair( Slot::outgoing, Do::connect ) ) );
   // One that does not last does not.
   player.establish();
   player.peering.on( Slot::outgoing, tcpConnectionFails, player.now, {}, "gone" );
   player.actions();
   player.pass( 1s );
   EXPECT_THAT( player.actions(), IsEmpty() );
}

TEST( PeeringTest, RefusesThePeerForAWhileAfterAnError ) {
   Player player;
   player.establish();
   player.peering.on( Slot::outgoing, updateMsgErr, player.now,
                      { ErrorCode::update, UpdateError::attributeList, {} }, "malformed" );
   EXPECT_EQ( player.peering.state(), State::idle );
   EXPECT_FALSE( player.peering.accept( player.now ) );
   EXPECT_EQ( player.peering.refusal(),
              ( Notification{ ErrorCode::cease, Cease::connectionRejected, {} } ) );
   player.actions();
   player.pass( 1s );
   EXPECT_THAT( player.actions(), ElementsAre( std::pair( Slot::outgoing, Do::connect ) ) );
   player.arrive();
}

TEST( PeeringTest, TakesThePeerAtOnceAfterALoss ) {
   Player player;
   player.establish();
   player.peering.on( Slot::outgoing, notifMsg, player.now,
                      { ErrorCode::cease, Cease::administrativeReset, {} } );
   EXPECT_EQ( player.peering.lastError(), "received cease, administrative reset" );
   player.arrive();

   SessionConfig config = configured();
   config.idleHoldTime = 0;
   Player patient( config );
   patient.establish();
   patient.peering.on( Slot::outgoing, notifMsg, patient.now, { ErrorCode::update, 1, {} } );
   patient.arrive();
}

TEST( PeeringTest, IsNotConcernedByWhoOnlyLooks ) {
   Player player;
   for ( int i = 0; i < 10; ++i ) {
      player.arrive();
      player.peering.on( Slot::incoming, tcpConnectionFails, player.now, {}, "gone" );
   }
   EXPECT_EQ( player.peering.errors(), 0U );
   EXPECT_EQ( player.peering.state( Slot::outgoing ), State::connect );
}

TEST( PeeringTest, KeepsRulesAsWasAgreed ) {
   using Restart = std::optional< GracefulRestart >;
   const Restart none;
   const Restart lost( { false, false, 77, { { ipv4Flow, true } } } );
   const Restart told( { false, true, 77, { { ipv4Flow, true } } } );
   struct Case {
      Restart restart;
      Event event;
      Notification notification;
      bool keeps;
   };
   const Notification reset{ ErrorCode::cease, Cease::administrativeReset, {} };
   const Notification malformed{ ErrorCode::update, UpdateError::attributeList, {} };
   const Case cases[] = {
      { none, tcpConnectionFails, {}, false },
      { lost, tcpConnectionFails, {}, true },
      { told, tcpConnectionFails, {}, true },
      // With a NOTIFICATION of either side, only when both have the N bit.
      { lost, notifMsg, reset, false },
      { told, notifMsg, reset, true },
      { told, notifMsg, shuts, true },
      { told, notifMsg, hardReset( shuts ), false },
      { lost, holdTimerExpires, {}, false },
      { told, holdTimerExpires, {}, true },
      { told, sendHoldTimerExpires, {}, true },
      { lost, updateMsgErr, malformed, false },
      { told, updateMsgErr, malformed, true },
      { told, automaticStop, reset, true },
      // What is to go, goes: a hard reset of ours.
      { told, automaticStop, { ErrorCode::cease, Cease::maximumPrefixes, {} }, false },
      { told, manualStop, shuts, false },
   };
   for ( const Case& each : cases ) {
      SCOPED_TRACE( testing::Message() << "case " << &each - cases );
      Player player;
      player.restart = each.restart;
      player.establish();
      player.peering.on( Slot::outgoing, each.event, player.now, each.notification );
      player.actions();
      EXPECT_EQ( player.down.keepsStale, each.keeps );
      EXPECT_EQ( player.down.staleFamilies,
                 each.keeps ? std::vector{ ipv4Flow } : std::vector< Family >{} );
      EXPECT_EQ( player.down.restartTime, each.keeps ? 77s : 0s );
      EXPECT_NE( player.down.reason, "" );
   }
}

TEST( PeeringTest, KeepsNothingForNoTimeOrNoFamily ) {
   for ( const GracefulRestart& restart :
         { GracefulRestart{ false, true, 0, { { ipv4Flow, true } } },
           GracefulRestart{ false, true, 77, {} },
           GracefulRestart{ false, true, 77, { { ipv4VpnFlow, true } } } } ) {
      Player player;
      player.restart = restart;
      player.establish();
      player.peering.on( Slot::outgoing, tcpConnectionFails, player.now, {}, "gone" );
      player.actions();
      EXPECT_EQ( player.down, ( Down{ "gone", false, {}, 0s } ) );
   }
}

TEST( PeeringTest, ResetsHardWhatIsToGo ) {
   Player player;
   player.establish();
   player.peering.stop( shuts, "shut down", player.now );
   player.actions();
   EXPECT_EQ( player.sent, hardReset( shuts ) );
   // To a peer that does not know of it, plainly; nor before the session is up.
   Player plain;
   plain.restart->notifications = false;
   plain.establish();
   plain.peering.stop( shuts, "shut down", plain.now );
   plain.actions();
   EXPECT_EQ( plain.sent, shuts );
   Player early;
   early.connect();
   early.peering.stop( shuts, "shut down", early.now );
   early.actions();
   EXPECT_EQ( early.sent, shuts );
}

TEST( PeeringTest, TakesAPeerThatCameBack ) {
   Player player;
   player.establish();
   player.now += 4s;
   EXPECT_FALSE( player.peering.accept( player.now ) ) << "begun at the same time";
   EXPECT_EQ( player.peering.refusal(),
              ( Notification{ ErrorCode::cease, Cease::collision, {} } ) );
   player.now += 2s;
   EXPECT_TRUE( player.peering.accept( player.now ) );
   EXPECT_THAT( player.actions(), ElementsAre( std::pair( Slot::outgoing, Do::drop ),
                                               std::pair( Slot::outgoing, Do::leave ),
                                               std::pair( Slot::incoming, Do::sendOpen ) ) );
   EXPECT_EQ( player.down, ( Down{ "the peer connected again", true, { ipv4Flow }, 77s } ) );
   player.open( Slot::incoming );
   player.keepalive( Slot::incoming );
   // And once more, in the place of the connection that it made before.
   player.now += 6s;
   EXPECT_TRUE( player.peering.accept( player.now ) );
   EXPECT_EQ( player.peering.state( Slot::incoming ), State::openSent );

   Player without;
   without.restart.reset();
   without.establish();
   without.now += 6s;
   EXPECT_FALSE( without.peering.accept( without.now ) );
   EXPECT_EQ( without.peering.state(), State::established );
}

TEST( PeeringTest, SaysThatItWasRestarted ) {
   const auto ours = []( Player& player ) {
      return *player.peering.ours( Slot::outgoing ).capabilities.gracefulRestart;
   };
   Player cold;
   cold.connect();
   EXPECT_EQ( ours( cold ), ( GracefulRestart{
                               false, true, 120, { { ipv4Flow, false }, { ipv6Flow, false } } } ) );

   Player warm;
   warm.peering.stop( shuts, "", warm.now );
   warm.peering.start( warm.now, true );
   warm.connect();
   EXPECT_EQ( ours( warm ),
              ( GracefulRestart{ true, true, 120, { { ipv4Flow, true }, { ipv6Flow, true } } } ) );
   // Once the session was there, it is only a connection that was lost.
   warm.peering.on( Slot::outgoing, tcpConnectionFails, warm.now, {}, "gone" );
   warm.pass( 2s );
   warm.establish();
   warm.peering.on( Slot::outgoing, tcpConnectionFails, warm.now, {}, "gone" );
   warm.pass( 4s );
   warm.connect();
   EXPECT_EQ( ours( warm ),
              ( GracefulRestart{ false, true, 120, { { ipv4Flow, true }, { ipv6Flow, true } } } ) );

   Player late;
   late.peering.stop( shuts, "", late.now );
   late.peering.start( late.now, true );
   late.peering.on( Slot::outgoing, tcpConnectionFails, late.now, {}, "gone" );
   late.now += 121s;
   late.peering.tick( late.now );
   late.connect();
   EXPECT_FALSE( ours( late ).restarting ) << "its time is over";

   SessionConfig config = configured();
   config.gracefulRestart = false;
   Player without( config );
   without.connect();
   EXPECT_EQ( without.peering.ours( Slot::outgoing ).capabilities.gracefulRestart, std::nullopt );
}

TEST( PeeringTest, LeavesWithoutAWord ) {
   Player player;
   player.establish();
   player.peering.leave( player.now );
   EXPECT_THAT( player.actions(), ElementsAre( std::pair( Slot::outgoing, Do::drop ),
                                               std::pair( Slot::outgoing, Do::leave ),
                                               std::pair( Slot::incoming, Do::drop ) ) );
   EXPECT_EQ( player.peering.due(), Timer::never );
   EXPECT_FALSE( player.peering.accept( player.now ) );
   // Neither in OpenSent, from which a lost connection is tried again.
   Player early;
   early.connect();
   early.actions();
   early.peering.leave( early.now );
   EXPECT_EQ( early.peering.state(), State::idle );
   EXPECT_EQ( early.sent, Notification() );
}

TEST( PeeringTest, SaysWhyAnAttemptFailed ) {
   Player player;
   player.pass( 21s );
   EXPECT_EQ( player.peering.lastError(), "the connection attempt timed out" );
   EXPECT_EQ( player.peering.state(), State::connect ) << "it tries again";
   player.connect();
   player.pass( 241s );
   EXPECT_EQ( player.peering.lastError(), "hold timer expired" );
   player.pass( 4s );
   ASSERT_EQ( player.peering.state( Slot::outgoing ), State::connect );
   player.peering.on( Slot::outgoing, tcpConnectionFails, player.now );
   EXPECT_EQ( player.peering.lastError(), "the connection failed" );
}

TEST( SessionConfigTest, SaysWhatIsWrong ) {
   SessionConfig good = configured();
   good.peer.address = *Zorv::IpGenAddr::fromText( "192.0.2.1" );
   EXPECT_EQ( fault( good ), "" );
   const auto with = [&good]( auto change ) {
      SessionConfig config = good;
      change( config );
      return fault( config );
   };
   EXPECT_EQ( with( []( auto& c ) { c.peer.address = {}; } ), "the peer has no address" );
   EXPECT_EQ( with( []( auto& c ) { c.localAddress = *Zorv::IpGenAddr::fromText( "::1" ); } ),
              "the local address ::1 is not of the family of 192.0.2.1" );
   EXPECT_EQ( with( []( auto& c ) { c.localAs = 0; } ), "0 is not an AS number" );
   EXPECT_EQ( with( []( auto& c ) { c.peerAs = 0; } ), "0 is not an AS number" );
   EXPECT_EQ( with( []( auto& c ) { c.routerId = 0; } ), "0 is not a router id" );
   EXPECT_EQ( with( []( auto& c ) { c.families = {}; } ), "there is no address family" );
   EXPECT_EQ( with( []( auto& c ) {
                 c.families = { ipv4Flow, ipv6Flow, ipv4Flow };
              } ),
              "the address family ipv4-flow is there twice" );
   EXPECT_EQ( with( []( auto& c ) { c.holdTime = 2; } ),
              "the hold time 2 is neither 0 nor at least 3" );
   EXPECT_EQ( with( []( auto& c ) { c.holdTime = 0; } ), "" );
   EXPECT_EQ( with( []( auto& c ) { c.holdTime = 3; } ), "" );
   EXPECT_EQ( with( []( auto& c ) { c.connectRetryTime = 0; } ),
              "the connect retry time is 0, the least is 1" );
   EXPECT_EQ( with( []( auto& c ) { c.password = std::string( 81, 'x' ); } ),
              "the password has 81 octets, at most are 80" );
   EXPECT_EQ( with( []( auto& c ) { c.password = std::string( 80, 'x' ); } ), "" );
   EXPECT_EQ( with( []( auto& c ) { c.restartTime = 4096; } ),
              "the restart time is 4096 seconds, at most are 4095" );
}

} // namespace
