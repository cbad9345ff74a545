#include "agents/bgp/session/StateMachine.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace Bgp;
using namespace std::chrono_literals;
using enum Event;

const Time start = Time() + std::chrono::hours( 1 );

constexpr Event allEvents[] = { manualStart,
                                manualStop,
                                automaticStart,
                                manualStartPassive,
                                automaticStartPassive,
                                automaticStop,
                                connectRetryTimerExpires,
                                holdTimerExpires,
                                keepaliveTimerExpires,
                                tcpCrAcked,
                                tcpConnectionConfirmed,
                                tcpConnectionFails,
                                bgpOpen,
                                bgpHeaderErr,
                                bgpOpenMsgErr,
                                openCollisionDump,
                                notifMsgVerErr,
                                notifMsg,
                                keepAliveMsg,
                                updateMsg,
                                updateMsgErr,
                                sendHoldTimerExpires,
                                routeRefreshMsg };

// What a caller of the machine has to send with an event.
Notification given( Event event ) {
   switch ( event ) {
   case manualStop:
   case automaticStop:
      return { ErrorCode::cease, Cease::administrativeShutdown, {} };
   case bgpHeaderErr:
      return { ErrorCode::header, HeaderError::notSynchronized, {} };
   case bgpOpenMsgErr:
      return { ErrorCode::open, OpenError::peerAs, {} };
   case openCollisionDump:
      return { ErrorCode::cease, Cease::collision, {} };
   case updateMsgErr:
      return { ErrorCode::update, UpdateError::attributeList, {} };
   default:
      return {};
   }
}

class Machine {
public:
   explicit Machine( State state, U16 holdTime = 90 ) {
      machine.connectRetryTimeIs( 100s );
      machine.holdTimeIs( holdTime );
      if ( state == State::active ) {
         on( manualStartPassive );
      } else {
         // By way of Connect, as our own connections do.
         const std::pair< State, Event > way[] = { { State::connect, manualStart },
                                                   { State::openSent, tcpCrAcked },
                                                   { State::openConfirm, bgpOpen },
                                                   { State::established, keepAliveMsg } };
         for ( const auto& [reached, event] : way ) {
            if ( reached <= state ) {
               on( event );
            }
         }
      }
      EXPECT_EQ( machine.state(), state );
   }
   Machine( const Machine& ) = delete;
   Machine& operator=( const Machine& ) = delete;

   std::vector< Action > on( Event event ) {
      std::vector< Action > out;
      machine.on( event, now, out, given( event ) );
      return out;
   }

   /// The timers that expire from now on, while each event is only taken.
   std::vector< std::pair< Event, Duration > > timers() {
      std::vector< std::pair< Event, Duration > > all;
      while ( machine.due() != Timer::never ) {
         const Time due = machine.due();
         while ( const auto event = machine.takeExpiry( due ) ) {
            all.emplace_back( *event, due - now );
         }
      }
      return all;
   }

   Jitter jitter{ 1 };
   StateMachine machine{ jitter };
   Time now = start;
};

Action sends( U8 code, U8 subcode = 0, std::vector< U8 > data = {} ) {
   return { Do::sendNotification, { code, subcode, std::move( data ) } };
}

struct Clause {
   State state;
   Event event;
   State next;
   std::vector< Action > actions;
};

using Actions = std::vector< Action >;

const Action drops{ Do::drop };
const Action leaves{ Do::leave };
const Action stops = sends( ErrorCode::cease, Cease::administrativeShutdown );
const Action dumps = sends( ErrorCode::cease, Cease::collision );
const Action badHeader = sends( ErrorCode::header, HeaderError::notSynchronized );

Action unexpected( U8 subcode, std::vector< U8 > type ) {
   return sends( ErrorCode::stateMachine, subcode, std::move( type ) );
}

// RFC 4271 section 8.2.2, written out once more. Whatever is not here is ignored in Idle, as are
// starts in all other states.
const Clause clauses[] = {
   { State::idle, manualStart, State::connect, { { Do::connect } } },
   { State::idle, automaticStart, State::connect, { { Do::connect } } },
   { State::idle, manualStartPassive, State::active, {} },
   { State::idle, automaticStartPassive, State::active, {} },

   { State::connect, manualStop, State::idle, { drops } },
   { State::connect, connectRetryTimerExpires, State::connect, { drops, { Do::connect } } },
   { State::connect, tcpCrAcked, State::openSent, { { Do::sendOpen } } },
   { State::connect, tcpConnectionFails, State::idle, { drops } },
   { State::connect, automaticStop, State::idle, { drops } },
   { State::connect, holdTimerExpires, State::idle, { drops } },
   { State::connect, keepaliveTimerExpires, State::idle, { drops } },
   { State::connect, bgpHeaderErr, State::idle, { drops } },
   { State::connect, notifMsg, State::idle, { drops } },
   { State::connect, updateMsg, State::idle, { drops } },

   { State::active, manualStop, State::idle, { drops } },
   { State::active, connectRetryTimerExpires, State::connect, { { Do::connect } } },
   { State::active, tcpConnectionConfirmed, State::openSent, { { Do::sendOpen } } },
   { State::active, tcpConnectionFails, State::idle, { drops } },
   { State::active, automaticStop, State::idle, { drops } },
   { State::active, keepAliveMsg, State::idle, { drops } },
   { State::active, bgpOpenMsgErr, State::idle, { drops } },

   { State::openSent, manualStop, State::idle, { stops, drops } },
   { State::openSent, automaticStop, State::idle, { stops, drops } },
   { State::openSent, holdTimerExpires, State::idle, { sends( ErrorCode::holdTimer ), drops } },
   { State::openSent, tcpConnectionFails, State::active, { drops } },
   { State::openSent, bgpOpen, State::openConfirm, { { Do::sendKeepalive } } },
   { State::openSent, bgpHeaderErr, State::idle, { badHeader, drops } },
   { State::openSent,
     bgpOpenMsgErr,
     State::idle,
     { sends( ErrorCode::open, OpenError::peerAs ), drops } },
   { State::openSent, openCollisionDump, State::idle, { dumps, drops } },
   { State::openSent, notifMsgVerErr, State::idle, { drops } },
   { State::openSent, notifMsg, State::idle, { drops } },
   { State::openSent, keepAliveMsg, State::idle, { unexpected( 1, { 4 } ), drops } },
   { State::openSent, updateMsg, State::idle, { unexpected( 1, { 2 } ), drops } },
   { State::openSent, routeRefreshMsg, State::idle, { unexpected( 1, { 5 } ), drops } },
   { State::openSent, connectRetryTimerExpires, State::idle, { unexpected( 1, {} ), drops } },
   { State::openSent, keepaliveTimerExpires, State::idle, { unexpected( 1, {} ), drops } },

   { State::openConfirm, manualStop, State::idle, { stops, drops } },
   { State::openConfirm, automaticStop, State::idle, { stops, drops } },
   { State::openConfirm, holdTimerExpires, State::idle, { sends( ErrorCode::holdTimer ), drops } },
   { State::openConfirm, keepaliveTimerExpires, State::openConfirm, { { Do::sendKeepalive } } },
   { State::openConfirm, tcpConnectionFails, State::idle, { drops } },
   { State::openConfirm, notifMsg, State::idle, { drops } },
   { State::openConfirm, notifMsgVerErr, State::idle, { drops } },
   { State::openConfirm, bgpHeaderErr, State::idle, { badHeader, drops } },
   { State::openConfirm, openCollisionDump, State::idle, { dumps, drops } },
   { State::openConfirm, keepAliveMsg, State::established, { { Do::establish } } },
   { State::openConfirm, bgpOpen, State::idle, { unexpected( 2, { 1 } ), drops } },
   { State::openConfirm, updateMsg, State::idle, { unexpected( 2, { 2 } ), drops } },
   { State::openConfirm, routeRefreshMsg, State::idle, { unexpected( 2, { 5 } ), drops } },

   { State::established, manualStop, State::idle, { stops, drops, leaves } },
   { State::established, automaticStop, State::idle, { stops, drops, leaves } },
   { State::established,
     holdTimerExpires,
     State::idle,
     { sends( ErrorCode::holdTimer ), drops, leaves } },
   { State::established,
     sendHoldTimerExpires,
     State::idle,
     { sends( ErrorCode::sendHoldTimer ), drops, leaves } },
   { State::established, keepaliveTimerExpires, State::established, { { Do::sendKeepalive } } },
   { State::established, tcpConnectionFails, State::idle, { drops, leaves } },
   { State::established, notifMsg, State::idle, { drops, leaves } },
   { State::established, notifMsgVerErr, State::idle, { drops, leaves } },
   { State::established, keepAliveMsg, State::established, {} },
   { State::established, updateMsg, State::established, {} },
   { State::established, routeRefreshMsg, State::established, {} },
   { State::established,
     updateMsgErr,
     State::idle,
     { sends( ErrorCode::update, UpdateError::attributeList ), drops, leaves } },
   { State::established, bgpHeaderErr, State::idle, { badHeader, drops, leaves } },
   { State::established, openCollisionDump, State::idle, { dumps, drops, leaves } },
   { State::established, bgpOpen, State::idle, { unexpected( 3, { 1 } ), drops, leaves } },
   { State::established,
     connectRetryTimerExpires,
     State::idle,
     { unexpected( 3, {} ), drops, leaves } },
};

TEST( StateMachineTest, DoesWhatEachClauseSays ) {
   for ( const Clause& clause : clauses ) {
      SCOPED_TRACE( testing::Message()
                    << text( clause.state ) << ", event " << static_cast< int >( clause.event ) );
      Machine machine( clause.state );
      EXPECT_EQ( machine.on( clause.event ), clause.actions );
      EXPECT_EQ( machine.machine.state(), clause.next );
   }
}

TEST( StateMachineTest, IgnoresWhatAStateIsNotToHear ) {
   for ( const Event event : allEvents ) {
      if ( event == manualStart || event == automaticStart || event == manualStartPassive ||
           event == automaticStartPassive ) {
         for ( int state = 1; state < states; ++state ) {
            Machine machine( static_cast< State >( state ) );
            EXPECT_EQ( machine.on( event ), Actions{} );
            EXPECT_EQ( machine.machine.state(), static_cast< State >( state ) );
         }
      } else {
         Machine machine( State::idle );
         EXPECT_EQ( machine.on( event ), Actions{} );
         EXPECT_EQ( machine.machine.state(), State::idle );
      }
   }
}

TEST( StateMachineTest, EndsWithAnyOtherEvent ) {
   const auto listed = []( State state, Event event ) {
      return std::ranges::any_of( clauses, [&]( const Clause& clause ) {
         return clause.state == state && clause.event == event;
      } );
   };
   int checked = 0;
   for ( int number = 1; number < states; ++number ) {
      const auto state = static_cast< State >( number );
      for ( const Event event : allEvents ) {
         if ( listed( state, event ) || event == manualStart || event == automaticStart ||
              event == manualStartPassive || event == automaticStartPassive ) {
            continue;
         }
         SCOPED_TRACE( testing::Message()
                       << text( state ) << ", event " << static_cast< int >( event ) );
         ++checked;
         Machine machine( state );
         const auto actions = machine.on( event );
         EXPECT_EQ( machine.machine.state(), State::idle );
         EXPECT_EQ( machine.machine.due(), Timer::never );
         EXPECT_EQ( std::ranges::count( actions, Do::drop, &Action::what ), 1 );
         EXPECT_EQ( std::ranges::count( actions, Do::sendNotification, &Action::what ),
                    state >= State::openSent );
      }
   }
   EXPECT_GT( checked, 30 );
}

using Timers = std::vector< std::pair< Event, Duration > >;

TEST( StateMachineTest, HasTheTimersOfItsState ) {
   EXPECT_EQ( Machine( State::idle ).timers(), Timers{} );
   // Of jitter, 75 to 100 hundredths are left.
   for ( const State state : { State::connect, State::active } ) {
      const Timers timers = Machine( state ).timers();
      ASSERT_EQ( timers.size(), 1U );
      EXPECT_EQ( timers[0].first, connectRetryTimerExpires );
      EXPECT_GE( timers[0].second, 75s );
      EXPECT_LE( timers[0].second, 100s );
   }
   EXPECT_EQ( Machine( State::openSent ).timers(), ( Timers{ { holdTimerExpires, 240s } } ) );
   for ( const State state : { State::openConfirm, State::established } ) {
      const Timers timers = Machine( state ).timers();
      ASSERT_EQ( timers.size(), state == State::established ? 3U : 2U );
      EXPECT_EQ( timers[0].first, keepaliveTimerExpires );
      EXPECT_GE( timers[0].second, 22s );
      EXPECT_LE( timers[0].second, 30s );
      EXPECT_EQ( timers[1], std::pair( holdTimerExpires, Duration( 90s ) ) );
   }
   EXPECT_EQ( Machine( State::established ).timers()[2],
              std::pair( sendHoldTimerExpires, Duration( 480s ) ) );
}

TEST( StateMachineTest, HasNoTimersWhenTheHoldTimeIs0 ) {
   EXPECT_EQ( Machine( State::openConfirm, 0 ).timers(), Timers{} );
   Machine machine( State::established, 0 );
   machine.on( updateMsg );
   machine.machine.sent( machine.now );
   EXPECT_EQ( machine.timers(), Timers{} );
}

TEST( StateMachineTest, WaitsTwiceALongHoldTimeForThePeerToRead ) {
   EXPECT_EQ( Machine( State::established, 300 ).timers().back(),
              std::pair( sendHoldTimerExpires, Duration( 600s ) ) );
}

TEST( StateMachineTest, RestartsTheHoldTimerWithEachMessage ) {
   for ( const Event message : { keepAliveMsg, updateMsg, routeRefreshMsg } ) {
      Machine machine( State::established );
      machine.now += 80s;
      machine.on( message );
      machine.now -= 80s;
      EXPECT_EQ( machine.timers()[1], std::pair( holdTimerExpires, Duration( 170s ) ) );
   }
}

TEST( StateMachineTest, RestartsTheSendHoldTimerWithWhatIsSent ) {
   Machine machine( State::established );
   machine.machine.sent( machine.now + 100s );
   EXPECT_EQ( machine.timers().back(), std::pair( sendHoldTimerExpires, Duration( 580s ) ) );
   Machine earlier( State::openConfirm );
   earlier.machine.sent( earlier.now );
   EXPECT_EQ( earlier.timers().size(), 2U );
}

TEST( StateMachineTest, TriesForAWhileHoweverShortThePausesAre ) {
   Machine machine( State::idle );
   machine.machine.connectRetryTimeIs( 1s );
   machine.on( manualStart );
   EXPECT_GE( machine.timers().at( 0 ).second, 15s );
   Machine passive( State::idle );
   passive.machine.connectRetryTimeIs( 0s );
   passive.on( automaticStartPassive );
   EXPECT_EQ( passive.timers(), Timers{} );
}

TEST( StateMachineTest, NamesItsStates ) {
   EXPECT_EQ( text( State::idle ), "Idle" );
   EXPECT_EQ( text( State::connect ), "Connect" );
   EXPECT_EQ( text( State::active ), "Active" );
   EXPECT_EQ( text( State::openSent ), "OpenSent" );
   EXPECT_EQ( text( State::openConfirm ), "OpenConfirm" );
   EXPECT_EQ( text( State::established ), "Established" );
}

} // namespace
