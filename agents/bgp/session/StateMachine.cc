#include "agents/bgp/session/StateMachine.h"

#include "agents/bgp/message/Header.h"

#include <algorithm>
#include <array>
#include <utility>

namespace Bgp {

namespace {

using enum State;
using enum Event;

// What a reaction consists of.
using Steps = U16;
constexpr Steps release = 1 << 0;    // stop all timers
constexpr Steps notify = 1 << 1;     // tell the peer why
constexpr Steps drop = 1 << 2;       // the connection
constexpr Steps connects = 1 << 3;   // initiate a connection
constexpr Steps startRetry = 1 << 4; // ConnectRetryTimer
constexpr Steps sendOpen = 1 << 5;
constexpr Steps longHold = 1 << 6;      // HoldTimer, with a large value
constexpr Steps sendKeepalive = 1 << 7; // and restart the KeepaliveTimer
constexpr Steps restartHold = 1 << 8;   // HoldTimer, with the time agreed on
constexpr Steps startSendHold = 1 << 9;
constexpr Steps establish = 1 << 10;

constexpr Steps toEnd = release | drop;
constexpr Steps toEndWithReason = release | notify | drop;

struct Reaction {
   State state;
   Event event;
   State next;
   Steps steps;
};

// RFC 4271 section 8.2.2, state by state. Where it says "any other event" there is a last row;
// starts are ignored in all states but Idle, and Idle ignores all but starts.
class Table {
public:
   static constexpr Reaction rows[] = {
      { idle, manualStart, connect, startRetry | connects },
      { idle, automaticStart, connect, startRetry | connects },
      { idle, manualStartPassive, active, startRetry },
      { idle, automaticStartPassive, active, startRetry },

      { connect, manualStop, idle, toEnd },
      { connect, connectRetryTimerExpires, connect, drop | startRetry | connects },
      { connect, tcpCrAcked, openSent, release | sendOpen | longHold },
      { connect, tcpConnectionFails, idle, toEnd },

      { active, manualStop, idle, toEnd },
      { active, connectRetryTimerExpires, connect, startRetry | connects },
      { active, tcpConnectionConfirmed, openSent, release | sendOpen | longHold },
      { active, tcpConnectionFails, idle, toEnd },

      { openSent, manualStop, idle, toEndWithReason },
      { openSent, automaticStop, idle, toEndWithReason },
      { openSent, holdTimerExpires, idle, toEndWithReason },
      { openSent, tcpConnectionFails, active, toEnd | startRetry },
      { openSent, bgpOpen, openConfirm, release | sendKeepalive | restartHold },
      { openSent, bgpHeaderErr, idle, toEndWithReason },
      { openSent, bgpOpenMsgErr, idle, toEndWithReason },
      { openSent, openCollisionDump, idle, toEndWithReason },
      { openSent, notifMsgVerErr, idle, toEnd },
      // By the letter this is an unexpected message; but who said farewell reads no answer.
      { openSent, notifMsg, idle, toEnd },

      { openConfirm, manualStop, idle, toEndWithReason },
      { openConfirm, automaticStop, idle, toEndWithReason },
      { openConfirm, holdTimerExpires, idle, toEndWithReason },
      { openConfirm, keepaliveTimerExpires, openConfirm, sendKeepalive },
      { openConfirm, tcpConnectionFails, idle, toEnd },
      { openConfirm, bgpHeaderErr, idle, toEndWithReason },
      { openConfirm, openCollisionDump, idle, toEndWithReason },
      { openConfirm, notifMsgVerErr, idle, toEnd },
      { openConfirm, notifMsg, idle, toEnd },
      { openConfirm, keepAliveMsg, established, restartHold | startSendHold | establish },

      { established, manualStop, idle, toEndWithReason },
      { established, automaticStop, idle, toEndWithReason },
      { established, holdTimerExpires, idle, toEndWithReason },
      { established, keepaliveTimerExpires, established, sendKeepalive },
      { established, sendHoldTimerExpires, idle, toEndWithReason },
      { established, tcpConnectionFails, idle, toEnd },
      { established, bgpHeaderErr, idle, toEndWithReason },
      { established, openCollisionDump, idle, toEndWithReason },
      { established, notifMsgVerErr, idle, toEnd },
      { established, notifMsg, idle, toEnd },
      { established, keepAliveMsg, established, restartHold },
      { established, updateMsg, established, restartHold },
      { established, updateMsgErr, idle, toEndWithReason },
      // A message like others, which RFC 2918 does not name an event for.
      { established, routeRefreshMsg, established, restartHold },
   };

   constexpr Table() {
      for ( U8 state = 0; state < states; ++state ) {
         for ( U8 event = 0; event < eventNumbers; ++event ) {
            cells_[state][event] = anyOther( State( state ), Event( event ) );
         }
      }
      for ( const Reaction& row : rows ) {
         cells_[U8( row.state )][U8( row.event )] = row;
      }
   }

   constexpr const Reaction& operator()( State state, Event event ) const {
      return cells_[U8( state )][U8( event )];
   }

private:
   static constexpr bool isStart( Event event ) {
      return event == manualStart || event == automaticStart || event == manualStartPassive ||
             event == automaticStartPassive;
   }

   static constexpr Reaction anyOther( State state, Event event ) {
      if ( state == idle || isStart( event ) ) {
         return { state, event, state, 0 };
      }
      return { state, event, idle, state < openSent ? toEnd : toEndWithReason };
   }

   std::array< std::array< Reaction, eventNumbers >, states > cells_{};
};

// The type of a message that an event tells of; 0 when it tells of none.
U8 messageType( Event event ) {
   switch ( event ) {
   case bgpOpen:
      return static_cast< U8 >( MessageType::open );
   case updateMsg:
      return static_cast< U8 >( MessageType::update );
   case keepAliveMsg:
      return static_cast< U8 >( MessageType::keepalive );
   case routeRefreshMsg:
      return static_cast< U8 >( MessageType::routeRefresh );
   default:
      return 0;
   }
}

// What the peer is told of an event that its message or its silence caused.
Notification reason( State state, Event event ) {
   if ( event == holdTimerExpires ) {
      return { ErrorCode::holdTimer, 0, {} };
   }
   if ( event == sendHoldTimerExpires ) {
      return { ErrorCode::sendHoldTimer, 0, {} };
   }
   static_assert( StateMachineError::openSent == 1 && StateMachineError::openConfirm == 2 &&
                  StateMachineError::established == 3 );
   Notification notification{ ErrorCode::stateMachine,
                              static_cast< U8 >( static_cast< U8 >( state ) - U8( openSent ) + 1 ),
                              {} };
   if ( const U8 type = messageType( event ) ) {
      notification.data.push_back( type );
   }
   return notification;
}

} // namespace

void StateMachine::on( Event event, Time now, std::vector< Action >& out,
                       const Notification& notification ) {
   static constexpr Table table;
   const Reaction& reaction = table( state_, event );
   const Steps steps = reaction.steps;
   if ( steps & release ) {
      stopTimers();
   }
   if ( steps & notify ) {
      out.push_back( { Do::sendNotification,
                       notification.code != 0 ? notification : reason( state_, event ) } );
   }
   if ( steps & drop ) {
      out.push_back( { Do::drop } );
   }
   if ( steps & connects ) {
      out.push_back( { Do::connect } );
   }
   if ( ( steps & startRetry ) && connectRetryTime_ != Duration::zero() ) {
      const bool tries = reaction.next == connect;
      connectRetry_.start( now + jitter_.of( tries ? std::max( connectRetryTime_, connectTime )
                                                   : connectRetryTime_ ) );
   }
   if ( steps & sendOpen ) {
      out.push_back( { Do::sendOpen } );
   }
   if ( steps & longHold ) {
      hold_.start( now + openHoldTime );
   }
   if ( steps & sendKeepalive ) {
      out.push_back( { Do::sendKeepalive } );
      startKeepalive( now );
   }
   if ( steps & restartHold ) {
      startHold( now );
   }
   const State before = std::exchange( state_, reaction.next );
   if ( steps & startSendHold ) {
      sent( now );
   }
   if ( steps & establish ) {
      out.push_back( { Do::establish } );
   }
   if ( before == established && state_ != established ) {
      out.push_back( { Do::leave } );
   }
}

void StateMachine::sent( Time now ) {
   if ( state_ == established && holdTime_ != std::chrono::seconds::zero() ) {
      sendHold_.start( now + std::max< Duration >( leastSendHoldTime, 2 * holdTime_ ) );
   }
}

Time StateMachine::due() const {
   return std::min( { connectRetry_.due(), hold_.due(), keepalive_.due(), sendHold_.due() } );
}

std::optional< Event > StateMachine::takeExpiry( Time now ) {
   if ( connectRetry_.takeExpiry( now ) ) {
      return connectRetryTimerExpires;
   }
   if ( hold_.takeExpiry( now ) ) {
      return holdTimerExpires;
   }
   if ( sendHold_.takeExpiry( now ) ) {
      return sendHoldTimerExpires;
   }
   if ( keepalive_.takeExpiry( now ) ) {
      return keepaliveTimerExpires;
   }
   return std::nullopt;
}

void StateMachine::startHold( Time now ) {
   if ( holdTime_ != std::chrono::seconds::zero() ) {
      hold_.start( now + holdTime_ );
   }
}

void StateMachine::startKeepalive( Time now ) {
   if ( holdTime_ != std::chrono::seconds::zero() ) {
      keepalive_.start( now + jitter_.of( Duration( holdTime_ ) / 3 ) );
   }
}

void StateMachine::stopTimers() {
   connectRetry_.stop();
   hold_.stop();
   keepalive_.stop();
   sendHold_.stop();
}

} // namespace Bgp
