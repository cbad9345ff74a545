#include "agents/bgp/session/Peering.h"

#include <algorithm>
#include <utility>

namespace Bgp {

namespace {

using enum Event;

constexpr Slot otherThan( Slot slot ) {
   return slot == Slot::outgoing ? Slot::incoming : Slot::outgoing;
}

Notification collision() { return { ErrorCode::cease, Cease::collision, {} }; }

} // namespace

Peering::Peering( SessionConfig config, U64 seed )
   : config_( std::move( config ) ), jitter_( seed ), outgoing_( jitter_ ), incoming_( jitter_ ) {}

void Peering::start( Time now, bool restarted ) {
   restarted_ = restarted;
   started_ = true;
   start_ = manualStart;
   failures_ = 0;
   restartEnd_ = now + std::chrono::seconds( restarted_ ? config_.restartTime : 0 );
   settle( now );
}

void Peering::stop( const Notification& cease, std::string_view reason, Time now ) {
   started_ = false;
   idleHold_.stop();
   for ( const Slot slot : slots ) {
      step( slot, manualStop, now, cease, reason );
   }
}

void Peering::leave( Time now ) {
   started_ = false;
   idleHold_.stop();
   for ( const Slot slot : slots ) {
      step( slot, tcpConnectionFails, now, {}, "left" );
      step( slot, manualStop, now );
   }
}

bool Peering::accept( Time now ) {
   if ( !started_ || idleHold_.isRunning() ) {
      return false;
   }
   if ( established_ ) {
      // A peer that was killed comes back before its old connection is known to be lost.
      if ( !agreed( *established_ ).gracefulRestart || now < establishedTime_ + collisionTime ) {
         return false;
      }
      on( *established_, tcpConnectionFails, now, {}, "the peer connected again" );
   } else if ( incoming_.machine.state() == State::openSent ) {
      // One that says nothing must not keep the next one out.
      on( Slot::incoming, tcpConnectionFails, now, {}, "the peer connected again" );
   }
   if ( incoming_.machine.state() != State::active ) {
      return false;
   }
   on( Slot::incoming, tcpConnectionConfirmed, now );
   return true;
}

Notification Peering::refusal() const {
   const bool twice = established_ || incoming_.machine.state() == State::openConfirm;
   return twice ? collision() : Notification{ ErrorCode::cease, Cease::connectionRejected, {} };
}

void Peering::on( Slot slot, Event event, Time now, const Notification& notification,
                  std::string_view reason ) {
   const State before = state( slot );
   step( slot, event, now, notification, reason );
   if ( state( slot ) != before ) {
      settle( now );
   }
}

void Peering::open( Slot slot, const Open& theirs, Time now ) {
   Link& link = at( slot );
   if ( link.machine.state() == State::openSent ) {
      if ( const auto fault = checkOpen( link.ours, theirs, config_.peerAs ) ) {
         on( slot, bgpOpenMsgErr, now, fault->notification, fault->text );
         return;
      }
      if ( state( otherThan( slot ) ) == State::openConfirm ) {
         // The connection stays that was begun by the side with the higher identifier; of equal
         // ones, by the side with the higher AS.
         const bool weWin = std::pair( config_.routerId, config_.localAs ) >
                            std::pair( theirs.identifier, theirs.as );
         const Slot loser = weWin ? Slot::incoming : Slot::outgoing;
         on( loser, openCollisionDump, now, collision() );
         if ( loser == slot ) {
            return;
         }
      }
      link.agreed = negotiate( link.ours, theirs );
      link.machine.holdTimeIs( link.agreed.holdTime );
   }
   on( slot, bgpOpen, now );
}

Time Peering::due() const {
   return std::min( { outgoing_.machine.due(), incoming_.machine.due(), idleHold_.due() } );
}

void Peering::tick( Time now ) {
   for ( const Slot slot : slots ) {
      while ( const auto event = at( slot ).machine.takeExpiry( now ) ) {
         on( slot, *event, now );
      }
   }
   if ( idleHold_.takeExpiry( now ) ) {
      start_ = automaticStart;
      settle( now );
   }
}

std::vector< PeerAction > Peering::takeActions() { return std::exchange( actions_, {} ); }

State Peering::state() const {
   // A connection that is only waited for is less than one that is being made.
   const State ours = state( Slot::outgoing );
   const State theirs = state( Slot::incoming );
   return theirs == State::active && ours != State::idle ? ours : std::max( ours, theirs );
}

// Takes an event to the machine of a connection, and what the machine wants to the actions.
void Peering::step( Slot slot, Event event, Time now, const Notification& notification,
                    std::string_view reason ) {
   Link& link = at( slot );
   const State before = link.machine.state();
   steps_.clear();
   link.machine.on( event, now, steps_, notification );
   if ( steps_.empty() && link.machine.state() == before ) {
      return;
   }
   Notification told = notification;
   for ( Action& action : steps_ ) {
      PeerAction done{ slot, action.what };
      switch ( action.what ) {
      case Do::sendNotification:
         told = std::move( action.notification );
         if ( before == State::established && link.agreed.gracefulNotifications &&
              isHard( told ) ) {
            told = hardReset( told );
         }
         done.notification = told;
         break;
      case Do::sendOpen:
         link.ours = makeOpen( now );
         break;
      case Do::establish:
         established_ = slot;
         establishedTime_ = now;
         hadSession_ = true;
         break;
      case Do::leave:
         done.down = endOf( link.agreed, told, endReason( event, told, reason ) );
         established_.reset();
         break;
      case Do::drop:
      case Do::connect:
      case Do::sendKeepalive:
         break;
      }
      actions_.push_back( std::move( done ) );
   }
   const bool isOver = link.machine.state() < State::openSent && before >= State::openSent;
   const bool cannotConnect = before == State::connect &&
                              ( event == tcpConnectionFails || event == connectRetryTimerExpires );
   if ( isOver || cannotConnect ) {
      fail( slot, before, event, told, reason, now );
   }
}

// Sees to it that there is a connection, or that one is waited for, and no more of them than
// needed.
void Peering::settle( Time now ) {
   if ( !started_ || idleHold_.isRunning() ) {
      return;
   }
   if ( established_ && state( otherThan( *established_ ) ) >= State::openSent ) {
      step( otherThan( *established_ ), openCollisionDump, now, collision() );
   }
   if ( state( Slot::incoming ) == State::idle ) {
      step( Slot::incoming, automaticStartPassive, now );
   }
   const bool peerConnected = state( Slot::incoming ) >= State::openConfirm;
   const State ours = state( Slot::outgoing );
   if ( ours == State::idle && !peerConnected && !config_.passive ) {
      outgoing_.machine.connectRetryTimeIs( pause() );
      step( Slot::outgoing, std::exchange( start_, automaticStartPassive ), now );
   } else if ( peerConnected && ( ours == State::connect || ours == State::active ) ) {
      step( Slot::outgoing, manualStop, now );
   }
}

// Notes that a connection did not come about or ended, and decides when there may be the next.
void Peering::fail( Slot slot, State before, Event event, const Notification& told,
                    std::string_view words, Time now ) {
   if ( event == openCollisionDump ||
        ( slot == Slot::incoming && before == State::openSent && event == tcpConnectionFails ) ) {
      return; // Another connection stays, or someone only looked whether we listen.
   }
   lastError_ = endReason( event, told, words );
   lastErrorTime_ = now;
   ++errors_;
   if ( before == State::established && now >= establishedTime_ + stableTime ) {
      failures_ = 0;
   }
   ++failures_;
   if ( state( Slot::outgoing ) == State::active ) {
      // Lost in OpenSent: the machine waits already, for the pause before this one.
      outgoing_.machine.connectRetryTimeIs( pause() );
   }
   if ( started_ && isError( event, told ) && config_.idleHoldTime != 0 &&
        state( otherThan( slot ) ) < State::openSent ) {
      for ( const Slot each : slots ) {
         step( each, manualStop, now );
      }
      const Duration longest = std::chrono::seconds( config_.idleHoldTime );
      idleHold_.start( now + jitter_.of( std::min( pause(), longest ) ) );
   }
}

Open Peering::makeOpen( Time now ) const {
   Open open{ config_.localAs, config_.holdTime, config_.routerId, {} };
   Capabilities& can = open.capabilities;
   can.families = config_.families;
   can.routeRefresh = true;
   can.enhancedRefresh = true;
   can.extendedMessages = config_.extendedMessages;
   can.fourOctetAs = config_.localAs;
   if ( config_.gracefulRestart ) {
      GracefulRestart& restart = can.gracefulRestart.emplace();
      restart.restarting = !hadSession_ && now < restartEnd_;
      restart.notifications = true;
      restart.seconds = config_.restartTime;
      for ( const Family family : config_.families ) {
         // What was announced in this process's life, or that of the one before, is still so.
         restart.families.push_back( { family, hadSession_ || restarted_ } );
      }
   }
   return open;
}

Duration Peering::pause() const {
   const Duration doubled = std::chrono::seconds( 1 ) * ( 1 << std::min( failures_, 13U ) ) / 2;
   return std::clamp< Duration >( doubled, std::chrono::seconds( 1 ),
                                  std::chrono::seconds( config_.connectRetryTime ) );
}

} // namespace Bgp
