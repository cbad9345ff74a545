#include "tests/agents/bgp/session/RawPeer.h"

#include <algorithm>

namespace {

using namespace Bgp;
using namespace TestSupport;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST( PeerFaultTest, SaysWhatIsWrongWithAnOpen ) {
   const auto with = []( auto change ) {
      Open open = RawPeer::open();
      change( open );
      return RawPeer::octets( open );
   };
   const auto raw = []( std::size_t at, U8 value ) {
      std::vector< U8 > octets = RawPeer::octets( RawPeer::open() );
      octets.at( headerSize + at ) = value;
      return octets;
   };
   const std::vector< U8 > missed{ 1, 4, 0, 1, 0, 133, 1, 4, 0, 2, 0, 133 };
   const std::pair< std::vector< U8 >, Notification > cases[] = {
      { raw( 0, 5 ), { ErrorCode::open, OpenError::version, { 0, 4 } } },
      { with( []( Open& open ) { open.as = open.capabilities.fourOctetAs.emplace( 64501 ); } ),
        { ErrorCode::open, OpenError::peerAs, {} } },
      { with( []( Open& open ) { open.holdTime = 1; } ),
        { ErrorCode::open, OpenError::holdTime, {} } },
      { with( []( Open& open ) { open.holdTime = 2; } ),
        { ErrorCode::open, OpenError::holdTime, {} } },
      { with( []( Open& open ) { open.identifier = 0; } ),
        { ErrorCode::open, OpenError::identifier, {} } },
      { with( []( Open& open ) { open.identifier = 0x7F00000B; } ),
        { ErrorCode::open, OpenError::identifier, {} } },
      { with( []( Open& open ) { open.capabilities.families = { ipv4Unicast }; } ),
        { ErrorCode::open, OpenError::capability, missed } },
      { with( []( Open& open ) { open.capabilities.families = {}; } ),
        { ErrorCode::open, OpenError::capability, missed } },
   };
   for ( const auto& [octets, expected] : cases ) {
      Waiting waiting;
      RawPeer peer( waiting.listening() );
      peer.send( octets );
      EXPECT_EQ( waiting.farewell( peer ), expected );
      EXPECT_THAT( peer.types(), ElementsAre( 1, 3 ) );
      EXPECT_THAT( waiting.side.heard, IsEmpty() );
      EXPECT_NE( waiting.side.session().lastError(), "" );
   }
}

TEST( PeerFaultTest, RefusesMessagesThatAStateDoesNotExpect ) {
   const std::vector< U8 > update = RawPeer::message( 2, { 0, 0, 0, 0 } );
   const std::vector< U8 > refresh = RawPeer::message( 5, { 0, 1, 0, 133 } );
   const std::vector< U8 > open = RawPeer::octets( RawPeer::open() );
   struct Case {
      std::vector< std::vector< U8 > > before;
      std::vector< U8 > message;
      U8 subcode;
   };
   const Case cases[] = {
      { {}, RawPeer::keepalive(), StateMachineError::openSent },
      { {}, update, StateMachineError::openSent },
      { {}, refresh, StateMachineError::openSent },
      { { open }, open, StateMachineError::openConfirm },
      { { open }, update, StateMachineError::openConfirm },
      { { open }, refresh, StateMachineError::openConfirm },
      { { open, RawPeer::keepalive() }, open, StateMachineError::established },
   };
   for ( const auto& [before, message, subcode] : cases ) {
      Waiting waiting;
      RawPeer peer( waiting.listening() );
      for ( const auto& each : before ) {
         peer.send( each );
      }
      peer.send( message );
      EXPECT_EQ( waiting.farewell( peer ),
                 ( Notification{ ErrorCode::stateMachine, subcode, { message.at( 18 ) } } ) );
   }
}

TEST( PeerFaultTest, RefusesHeadersThatAreWrong ) {
   std::vector< U8 > marker = RawPeer::keepalive();
   marker[3] = 0xFE;
   std::vector< U8 > tooShort = RawPeer::keepalive();
   tooShort[17] = 18;
   std::vector< U8 > tooLong = RawPeer::message( 2, { 0, 0, 0, 0 } );
   tooLong[16] = 0x10;
   tooLong[17] = 0x01; // 4097, which is not waited for
   const std::pair< std::vector< U8 >, Notification > cases[] = {
      { marker, { ErrorCode::header, HeaderError::notSynchronized, {} } },
      { tooShort, { ErrorCode::header, HeaderError::badLength, { 0, 18 } } },
      { tooLong, { ErrorCode::header, HeaderError::badLength, { 0x10, 0x01 } } },
      { RawPeer::message( 9, {} ), { ErrorCode::header, HeaderError::badType, { 9 } } },
   };
   for ( const auto& [octets, expected] : cases ) {
      Waiting waiting;
      waiting.configured.extendedMessages = false;
      waiting.side.set.apply( { waiting.configured } );
      RawPeer peer( waiting.listening() );
      ASSERT_TRUE( waiting.establish( peer ) );
      peer.send( octets );
      EXPECT_EQ( waiting.farewell( peer ), expected );
      EXPECT_EQ( waiting.side.up, 0 );
      EXPECT_EQ( waiting.side.session().flaps(), 1U );
   }
}

TEST( PeerFaultTest, TakesLongMessagesOnlyWhereThatWasSaid ) {
   std::vector< U8 > body( 4080, 0 );
   // An attribute that nobody knows fills the message.
   body[2] = 0x0F;
   body[3] = 0xEC;
   body[4] = 0xD0;
   body[5] = 99;
   body[6] = 0x0F;
   body[7] = 0xE8;
   const std::vector< U8 > message = RawPeer::message( 2, body );
   ASSERT_GT( message.size(), maxMessage );
   Waiting waiting;
   RawPeer peer( waiting.listening() );
   ASSERT_TRUE( waiting.establish( peer ) );
   peer.send( message );
   EXPECT_TRUE( waiting.world.until( [&] { return waiting.side.updates == 1; } ) );
   EXPECT_EQ( waiting.side.up, 1 );
}

TEST( PeerFaultTest, EndsASessionWhoseFramingIsLost ) {
   Waiting waiting;
   RawPeer peer( waiting.listening() );
   ASSERT_TRUE( waiting.establish( peer ) );
   peer.send( RawPeer::message( 2, { 0, 0, 0, 9 } ) );
   EXPECT_EQ( waiting.farewell( peer ),
              ( Notification{ ErrorCode::update, UpdateError::attributeList, {} } ) );
}

TEST( PeerFaultTest, EndsASessionWhoseRefreshHasAnotherLength ) {
   Waiting waiting;
   RawPeer peer( waiting.listening() );
   ASSERT_TRUE( waiting.establish( peer ) );
   const std::vector< U8 > refresh = RawPeer::message( 5, { 0, 1, 0, 133, 0 } );
   peer.send( refresh );
   EXPECT_EQ( waiting.farewell( peer ), ( Notification{ ErrorCode::routeRefresh, 1, refresh } ) );
}

TEST( PeerFaultTest, PassesOverRefreshesThatItDoesNotKnow ) {
   Waiting waiting;
   RawPeer peer( waiting.listening() );
   ASSERT_TRUE( waiting.establish( peer ) );
   waiting.side.heard.clear();
   peer.send( RawPeer::message( 5, { 0, 1, 3, 133 } ) ); // no such subtype
   peer.send( RawPeer::message( 5, { 0, 1, 0, 134 } ) ); // a family that was not agreed
   peer.send( RawPeer::message( 5, { 0, 2, 2, 133 } ) );
   ASSERT_TRUE( waiting.world.until( [&] { return !waiting.side.heard.empty(); } ) );
   EXPECT_THAT( waiting.side.heard, ElementsAre( "refresh ipv6-flow 2" ) );
   EXPECT_EQ( waiting.side.session().received().routeRefreshes, 3U );
}

TEST( PeerFaultTest, TellsThatThePeerHasAnotherVersion ) {
   Waiting waiting;
   RawPeer peer( waiting.listening() );
   peer.send( RawPeer::octets( Notification{ ErrorCode::open, OpenError::version, { 0, 3 } } ) );
   ASSERT_TRUE( waiting.world.until( [&] { return peer.read(); } ) );
   EXPECT_THAT( waiting.side.session().lastError(), HasSubstr( "version" ) );
   EXPECT_THAT( peer.types(), ElementsAre( 1 ) ) << "a NOTIFICATION is not answered by one";
}

TEST( PeerFaultTest, EndsASessionThatGoesSilent ) {
   Waiting waiting;
   RawPeer peer( waiting.listening() );
   ASSERT_TRUE( waiting.establish( peer ) );
   waiting.world.advance( 89s );
   waiting.world.settle();
   EXPECT_EQ( waiting.side.up, 1 );
   waiting.world.advance( 2s );
   EXPECT_EQ( waiting.farewell( peer ), ( Notification{ ErrorCode::holdTimer, 0, {} } ) );
   EXPECT_EQ( waiting.side.lastDown.reason, "hold timer expired" );
   EXPECT_EQ( waiting.side.lastDown.keepsStale, false );
}

TEST( PeerFaultTest, ReadsWhatCameBeforeTheHoldTimerExpires ) {
   Waiting waiting;
   RawPeer peer( waiting.listening() );
   ASSERT_TRUE( waiting.establish( peer ) );
   // The process did not run for a while, but the peer did.
   peer.send( RawPeer::keepalive() );
   waiting.world.advance( 91s );
   waiting.world.settle();
   EXPECT_EQ( waiting.side.up, 1 );
}

TEST( PeerFaultTest, WaitsForAnOpenForFourMinutes ) {
   Waiting waiting;
   RawPeer peer( waiting.listening() );
   ASSERT_TRUE( waiting.world.until( [&] {
      peer.read();
      return peer.types() == std::vector{ 1 };
   } ) );
   EXPECT_EQ( waiting.side.session().state(), State::openSent );
   waiting.world.advance( 239s );
   waiting.world.settle();
   EXPECT_EQ( waiting.side.session().state(), State::openSent );
   waiting.world.advance( 2s );
   EXPECT_EQ( waiting.farewell( peer ), ( Notification{ ErrorCode::holdTimer, 0, {} } ) );
   EXPECT_EQ( waiting.side.session().state(), State::active );
}

TEST( PeerFaultTest, LetsASilentConnectionNotKeepTheNextOneOut ) {
   Waiting waiting;
   RawPeer silent( waiting.listening() );
   ASSERT_TRUE(
      waiting.world.until( [&] { return waiting.side.session().state() == State::openSent; } ) );
   RawPeer peer( waiting.listening() );
   EXPECT_TRUE( waiting.establish( peer ) );
   EXPECT_EQ( waiting.farewell( silent ), std::nullopt );
   EXPECT_EQ( waiting.side.session().lastError(), "" );
}

TEST( PeerFaultTest, ReadsAnOctetAtATime ) {
   Waiting waiting;
   RawPeer peer( waiting.listening() );
   std::vector< U8 > words = RawPeer::octets( RawPeer::open() );
   const auto add = [&words]( const std::vector< U8 >& more ) {
      words.insert( words.end(), more.begin(), more.end() );
   };
   add( RawPeer::keepalive() );
   add( RawPeer::message( 2, { 0, 0, 0, 6, 0x80, 15, 3, 0, 1, 133 } ) );
   add( RawPeer::message( 5, { 0, 2, 1, 133 } ) );
   for ( const U8 octet : words ) {
      ASSERT_EQ( peer.send( std::span( &octet, 1 ) ), 1U );
      int turns = 0;
      waiting.world.until( [&] { return ++turns > 3; }, Duration( 0 ) );
   }
   ASSERT_TRUE( waiting.world.until( [&] { return waiting.side.heard.size() == 3; } ) );
   EXPECT_THAT( waiting.side.heard,
                ElementsAre( "up raw", "end of ipv4-flow", "refresh ipv6-flow 1" ) );
   // A message that is never whole does not keep the session up.
   ASSERT_EQ( peer.send( std::span( words ).first( 18 ) ), 18U );
   waiting.world.settle();
   waiting.world.advance( 91s );
   EXPECT_EQ( waiting.farewell( peer ), ( Notification{ ErrorCode::holdTimer, 0, {} } ) );
}

TEST( PeerFaultTest, EndsTheSessionOfAPeerThatNeverReads ) {
   Waiting waiting;
   RawPeer peer( waiting.listening(), "127.0.0.12", 4096 );
   ASSERT_TRUE( waiting.establish( peer ) );
   Session& session = waiting.side.session();
   const std::vector< U8 > message = RawPeer::message( 5, std::vector< U8 >( 4000 ) );
   int minutes = 0;
   for ( ; minutes < 5000 && waiting.side.up == 1; ++minutes ) {
      // It takes a while until neither the kernel nor the session has room.
      for ( int i = 0; session.canSend(); ++i ) {
         ASSERT_LT( i, 1000 ) << "the buffer has no end";
         session.send( message );
      }
      peer.send( RawPeer::keepalive() );
      waiting.world.settle();
      waiting.world.advance( 60s );
      waiting.world.settle();
   }
   EXPECT_GE( minutes, 8 );
   EXPECT_EQ( waiting.side.lastDown.reason, "send hold timer expired" );
   // Who reads nothing reads no farewell.
   EXPECT_FALSE( waiting.side.set.stopped() );
   waiting.world.advance( 2s );
   EXPECT_TRUE( waiting.world.until( [&] { return waiting.side.set.stopped(); } ) );
}

TEST( PeerFaultTest, ClosesConnectionsOfStrangersAtOnce ) {
   Waiting waiting;
   RawPeer peer( waiting.listening() );
   ASSERT_TRUE( waiting.establish( peer ) );
   std::deque< RawPeer > strangers;
   for ( int i = 0; i < 50; ++i ) {
      strangers.emplace_back( waiting.listening(), Vek::concat( "127.0.1.", i + 1 ) );
   }
   EXPECT_TRUE( waiting.world.until( [&] {
      return std::ranges::all_of( strangers, []( RawPeer& each ) { return each.read(); } );
   } ) );
   for ( const RawPeer& stranger : strangers ) {
      EXPECT_THAT( stranger.heard, IsEmpty() );
   }
   ASSERT_EQ( waiting.side.log.size(), 51U );
   EXPECT_EQ( waiting.side.log.back(),
              "refused a connection from 127.0.1.50, which is not the address of a peer" );
   peer.send( RawPeer::keepalive() );
   EXPECT_TRUE(
      waiting.world.until( [&] { return waiting.side.session().received().keepalives == 2; } ) );
   EXPECT_EQ( waiting.side.up, 1 );
}

TEST( PeerFaultTest, TellsWhatThePeerSaid ) {
   Waiting waiting;
   RawPeer peer( waiting.listening() );
   ASSERT_TRUE( waiting.establish( peer ) );
   peer.send( RawPeer::octets( shutdown( Cease::administrativeReset, "new \x1b[31mcolours" ) ) );
   ASSERT_TRUE( waiting.world.until( [&] { return waiting.side.up == 0; } ) );
   EXPECT_THAT( waiting.side.lastDown.reason, HasSubstr( "received cease, administrative reset" ) );
   EXPECT_THAT( waiting.side.lastDown.reason, testing::Not( HasSubstr( "\x1b" ) ) );
   EXPECT_TRUE( peer.read() );
   EXPECT_EQ( peer.farewell(), std::nullopt );
}

// A flood of messages is taken in parts, between which others have their turns.
TEST( PeerFaultTest, TakesABoundedPartOfAFloodInATurn ) {
   Waiting waiting;
   SessionConfig other = config( "quiet", "127.0.0.11", "127.0.0.13" );
   other.passive = true;
   waiting.side.set.apply( { waiting.configured, other } );
   RawPeer flood( waiting.listening() );
   ASSERT_TRUE( waiting.establish( flood ) );
   std::vector< U8 > many;
   for ( int i = 0; i < 2000; ++i ) {
      const auto message = RawPeer::message( 2, { 0, 0, 0, 0 } );
      many.insert( many.end(), message.begin(), message.end() );
   }
   ASSERT_EQ( flood.send( many ), many.size() );
   RawPeer quiet( waiting.listening(), "127.0.0.13" );
   Open open = RawPeer::open();
   open.identifier = 77;
   quiet.send( RawPeer::octets( open ) );
   quiet.send( RawPeer::keepalive() );
   U64 most = 0;
   U64 last = waiting.side.session().received().total();
   U64 atQuiet = 0;
   ASSERT_TRUE( waiting.world.until(
      [&] {
         const U64 now = waiting.side.session().received().total();
         most = std::max( most, now - std::exchange( last, now ) );
         if ( waiting.side.up == 2 && atQuiet == 0 ) {
            atQuiet = now;
         }
         return now == 2002;
      },
      Duration( 0 ) ) );
   EXPECT_LE( most, 64U );
   EXPECT_GT( atQuiet, 0U );
   EXPECT_LT( atQuiet, 1000U ) << "the other one waited";
}

// An update may be full of rules, so long ones end the turn sooner.
TEST( PeerFaultTest, TakesABoundedPartOfAFloodOfLongMessagesInATurn ) {
   Waiting waiting;
   RawPeer flood( waiting.listening() );
   ASSERT_TRUE( waiting.establish( flood ) );
   // As long as may be, with an optional attribute that is not known.
   constexpr std::size_t valueSize = maxMessage - headerSize - 4 - 4;
   std::vector< U8 > body{ 0,    0,   ( valueSize + 4 ) >> 8, ( valueSize + 4 ) & 0xFF,
                           0xD0, 200, valueSize >> 8,         valueSize & 0xFF };
   body.resize( body.size() + valueSize );
   const std::vector< U8 > message = RawPeer::message( 2, body );
   ASSERT_EQ( message.size(), std::size_t{ maxMessage } );
   constexpr U64 count = 20;
   std::vector< U8 > many;
   for ( U64 i = 0; i < count; ++i ) {
      many.insert( many.end(), message.begin(), message.end() );
   }
   ASSERT_EQ( flood.send( many ), many.size() );
   U64 most = 0;
   U64 last = 0;
   ASSERT_TRUE( waiting.world.until(
      [&] {
         most =
            std::max( most, waiting.side.updates - std::exchange( last, waiting.side.updates ) );
         return last == count;
      },
      Duration( 0 ) ) );
   EXPECT_LE( most, 3U ) << "8 KiB, and what is left of the message that reaches it";
}

} // namespace
