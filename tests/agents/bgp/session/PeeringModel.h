#pragma once

#include "agents/bgp/session/Peering.h"

#include <algorithm>
#include <functional>

namespace TestSupport {

/// Plays the sockets and the peer of a `Bgp::Peering`, as it likes, and knows what may follow. It
/// keeps of each connection only what anyone sees who looks at the wire.
class PeeringModel {
public:
   /// A number below the one given.
   using Choice = std::function< unsigned( unsigned ) >;
   using Require = std::function< void( bool holds, const char* what ) >;

   PeeringModel( Choice choice, Require require )
      : choice_( std::move( choice ) ), require_( std::move( require ) ),
        peering_( someConfig(), choice_( 256 ) ) {}

   /// Something happens.
   void step() {
      const auto slot = Bgp::slots[choice_( 2 )];
      switch ( choice_( 12 ) ) {
      case 0:
         started_ ? stop() : start();
         break;
      case 1:
      case 2:
         pass( std::chrono::seconds( choice_( 8 ) == 0 ? choice_( 600 ) : choice_( 20 ) ) );
         break;
      case 3:
      case 4:
         arrive();
         break;
      case 5:
      case 6:
         answer();
         break;
      case 7:
         break_( slot );
         break;
      case 8:
         misbehave( slot );
         break;
      default:
         behave( slot );
         break;
      }
      check();
   }

   /// From here on all goes well: the session is up within some minutes, whatever was before.
   void recover() {
      if ( !started_ ) {
         start();
      }
      for ( const auto slot : Bgp::slots ) {
         break_( slot );
      }
      for ( int i = 0; i < 300 && !up_; ++i ) {
         pass( std::chrono::seconds( 1 ) );
         if ( peering_.config().passive && !at( Bgp::Slot::incoming ).isThere ) {
            arrive();
         }
         if ( at( Bgp::Slot::outgoing ).isConnecting ) {
            isAnswered( true );
         }
         for ( const auto slot : Bgp::slots ) {
            if ( at( slot ).isThere && !at( slot ).hasOpened ) {
               open( slot, goodOpen() );
            }
            if ( at( slot ).isThere ) {
               keepalive( slot );
            }
         }
         check();
      }
      require_( up_.has_value(), "a session comes up when nothing is in its way" );
   }

   int sessions() const { return sessions_; }

private:
   struct Wire {
      bool isConnecting = false;
      bool isThere = false;
      bool openSent = false;
      bool hasOpened = false; ///< the peer
      bool keepaliveSent = false;
      bool hasKeptAlive = false; ///< the peer
      bool isOver = false;       ///< a NOTIFICATION was sent
      Bgp::Time heard{};
      Bgp::Time spoken{};
      Bgp::Time moved{}; ///< octets
   };

   Wire& at( Bgp::Slot slot ) { return wires_[static_cast< std::size_t >( slot )]; }

   Bgp::SessionConfig someConfig() const {
      Bgp::SessionConfig config;
      config.name = "peer";
      config.localAs = 64500;
      config.peerAs = choice_( 2 ) ? 64500 : 64501;
      config.routerId = 1000;
      config.families = { Bgp::ipv4Flow };
      config.passive = choice_( 4 ) == 0;
      config.idleHoldTime = choice_( 2 ) ? 60 : 0;
      config.holdTime = static_cast< U16 >( std::array{ 0, 3, 90 }[choice_( 3 )] );
      config.gracefulRestart = choice_( 2 );
      return config;
   }

   Bgp::Open goodOpen() const {
      const Bgp::SessionConfig& config = peering_.config();
      Bgp::Open open{ config.peerAs, 90, choice_( 2 ) ? 999U : 1001U, {} };
      open.capabilities.families = config.families;
      if ( choice_( 2 ) ) {
         open.capabilities.gracefulRestart.emplace();
         open.capabilities.gracefulRestart->seconds = 120;
         open.capabilities.gracefulRestart->notifications = choice_( 2 );
         open.capabilities.gracefulRestart->families = { { Bgp::ipv4Flow, false } };
      }
      return open;
   }

   void start() {
      started_ = true;
      peering_.start( now_ );
      perform();
   }
   void stop() {
      started_ = false;
      peering_.stop( { Bgp::ErrorCode::cease, Bgp::Cease::administrativeShutdown, {} }, "stopped",
                     now_ );
      perform();
      for ( const Wire& wire : wires_ ) {
         require_( !wire.isThere && !wire.isConnecting, "nothing is left after a stop" );
      }
      require_( peering_.due() == Bgp::Timer::never, "no timer runs after a stop" );
   }

   void pass( Bgp::Duration time ) {
      const Bgp::Time end = now_ + time;
      while ( peering_.due() <= end ) {
         now_ = std::max( now_, peering_.due() );
         peering_.tick( now_ );
         require_( peering_.due() > now_, "what is due is done" );
         perform();
      }
      now_ = end;
   }

   void arrive() {
      if ( peering_.accept( now_ ) ) {
         require_( started_, "a session that was stopped takes no connection" );
         arriving_ = true;
         perform();
         require_( !arriving_, "a connection that is taken is told an OPEN" );
      } else {
         require_( peering_.takeActions().empty(), "a connection is refused without a word" );
         require_( peering_.refusal().code == Bgp::ErrorCode::cease, "with a reason" );
      }
   }

   void answer() {
      if ( at( Bgp::Slot::outgoing ).isConnecting ) {
         isAnswered( choice_( 3 ) != 0 );
      }
   }
   void isAnswered( bool there ) {
      at( Bgp::Slot::outgoing ).isConnecting = false;
      at( Bgp::Slot::outgoing ).isThere = there;
      on( Bgp::Slot::outgoing, there ? Bgp::Event::tcpCrAcked : Bgp::Event::tcpConnectionFails );
   }

   void break_( Bgp::Slot slot ) {
      if ( at( slot ).isThere ) {
         on( slot, Bgp::Event::tcpConnectionFails );
         require_( !at( slot ).isThere, "a connection that is lost is let go" );
      }
   }

   void behave( Bgp::Slot slot ) {
      if ( !at( slot ).isThere ) {
         return;
      }
      if ( !at( slot ).hasOpened ) {
         open( slot, goodOpen() );
      } else if ( choice_( 2 ) || up_ != slot ) {
         keepalive( slot );
      } else {
         at( slot ).heard = now_;
         on( slot, choice_( 2 ) ? Bgp::Event::updateMsg : Bgp::Event::routeRefreshMsg );
      }
      if ( at( slot ).isThere && choice_( 2 ) ) {
         at( slot ).moved = now_;
         peering_.sent( slot, now_ );
      }
   }

   void open( Bgp::Slot slot, const Bgp::Open& open ) {
      Wire& wire = at( slot );
      wire.hasOpened = true;
      wire.heard = now_;
      peering_.open( slot, open, now_ );
      perform();
   }
   void keepalive( Bgp::Slot slot ) {
      at( slot ).hasKeptAlive = at( slot ).hasOpened;
      at( slot ).heard = now_;
      on( slot, Bgp::Event::keepAliveMsg );
   }

   void misbehave( Bgp::Slot slot ) {
      if ( !at( slot ).isThere ) {
         return;
      }
      Bgp::Open open = goodOpen();
      switch ( choice_( 7 ) ) {
      case 0:
         on( slot, Bgp::Event::bgpHeaderErr, { Bgp::ErrorCode::header, 1, {} } );
         break;
      case 1:
         on( slot, Bgp::Event::updateMsgErr, { Bgp::ErrorCode::update, 1, {} } );
         break;
      case 2:
         on( slot, Bgp::Event::notifMsg, { Bgp::ErrorCode::cease, 2, {} } );
         break;
      case 3:
         on( slot, Bgp::Event::notifMsg, { Bgp::ErrorCode::update, 3, {} } );
         break;
      case 4:
         open.as = 1;
         this->open( slot, open );
         break;
      case 5:
         this->open( slot, open ); // perhaps the second one
         return;
      default:
         if ( up_ == slot ) {
            on( slot, Bgp::Event::automaticStop,
                { Bgp::ErrorCode::cease, Bgp::Cease::maximumPrefixes, {} } );
         } else {
            on( slot, Bgp::Event::updateMsg );
         }
         break;
      }
      require_( !at( slot ).isThere, "an error ends its connection" );
   }

   void on( Bgp::Slot slot, Bgp::Event event, const Bgp::Notification& notification = {} ) {
      peering_.on( slot, event, now_, notification );
      perform();
   }

   void perform() {
      for ( const Bgp::PeerAction& action : peering_.takeActions() ) {
         perform( action );
      }
   }

   void perform( const Bgp::PeerAction& action ) {
      Wire& wire = at( action.slot );
      switch ( action.what ) {
      case Bgp::Do::connect:
         require_( started_ && !peering_.config().passive, "only an active session connects" );
         require_( action.slot == Bgp::Slot::outgoing, "by the connection that is ours" );
         require_( !wire.isThere && !wire.isConnecting, "to connect there is no connection" );
         wire = {};
         wire.isConnecting = true;
         break;
      case Bgp::Do::drop:
         wire = {};
         break;
      case Bgp::Do::sendOpen:
         if ( action.slot == Bgp::Slot::incoming ) {
            require_( std::exchange( arriving_, false ), "an incoming connection was accepted" );
            require_( !wire.isThere, "and its place is free" );
            wire = {};
            wire.isThere = true;
         }
         require_( wire.isThere && !wire.openSent, "an OPEN is the first message" );
         wire.openSent = true;
         wire.heard = wire.moved = now_;
         break;
      case Bgp::Do::sendKeepalive:
         require_( wire.isThere && wire.openSent && wire.hasOpened && !wire.isOver,
                   "a KEEPALIVE comes after both OPENs" );
         wire.keepaliveSent = true;
         wire.spoken = now_;
         break;
      case Bgp::Do::sendNotification:
         require_( wire.isThere && wire.openSent && !wire.isOver,
                   "a NOTIFICATION is the last message, and not the first" );
         require_( action.notification.code != 0, "it has a code" );
         wire.isOver = true;
         break;
      case Bgp::Do::establish:
         require_( !up_, "there is one session at a time" );
         require_( wire.hasKeptAlive && wire.keepaliveSent, "both sides agreed" );
         up_ = action.slot;
         wire.moved = now_;
         ++sessions_;
         break;
      case Bgp::Do::leave:
         require_( up_ == action.slot, "the session that ends was up" );
         require_( !action.down.reason.empty(), "and there is a reason" );
         require_( !action.down.keepsStale ||
                      peering_.agreed( action.slot ).gracefulRestart.has_value(),
                   "rules stay only when that was agreed on" );
         up_.reset();
         break;
      }
      require_( !wire.isOver || action.what == Bgp::Do::sendNotification,
                "after a NOTIFICATION the connection is dropped" );
   }

   void check() {
      using enum Bgp::State;
      for ( const auto slot : Bgp::slots ) {
         const Wire& wire = at( slot );
         const Bgp::State state = peering_.state( slot );
         require_( !wire.isOver, "no connection is left after its NOTIFICATION" );
         require_( wire.isConnecting == ( state == connect ), "it connects in Connect" );
         require_( wire.isThere == ( state >= openSent ),
                   "there is a connection from OpenSent on" );
         require_( ( up_ == slot ) == ( state == established ),
                   "the session is up in Established" );
         require_( wire.keepaliveSent == ( state >= openConfirm ), "OpenConfirm has said so" );
         if ( state == openSent ) {
            isDueBy( wire.heard + std::chrono::minutes( 4 ) );
         } else if ( state == connect ) {
            isDueBy( now_ + std::chrono::minutes( 2 ) );
         } else if ( state >= openConfirm ) {
            const std::chrono::seconds hold( std::min< U16 >( 90, peering_.config().holdTime ) );
            if ( hold.count() != 0 ) {
               require_( now_ < wire.heard + hold, "a silent peer is not kept" );
               isDueBy( wire.heard + hold );
               isDueBy( wire.spoken + hold / 3 + std::chrono::seconds( 1 ) );
            }
            if ( hold.count() != 0 && state == established ) {
               require_( now_ < wire.moved + std::chrono::minutes( 8 ),
                         "nor one that never reads" );
            }
         }
      }
      if ( !started_ ) {
         return;
      }
      const Bgp::State ours = peering_.state( Bgp::Slot::outgoing );
      const Bgp::State theirs = peering_.state( Bgp::Slot::incoming );
      if ( ours == idle && theirs == idle ) {
         isDueBy( now_ + std::chrono::seconds( peering_.config().idleHoldTime ) );
      }
      if ( !peering_.config().passive && ours < openSent && theirs < openSent ) {
         isDueBy( now_ + std::chrono::minutes( 2 ) );
      }
   }

   void isDueBy( Bgp::Time time ) {
      require_( peering_.due() <= time, "a timer runs that gets it out of here" );
   }

   Choice choice_;
   Require require_;
   Bgp::Peering peering_;
   Bgp::Time now_ = Bgp::Time() + std::chrono::hours( 1 );
   std::array< Wire, 2 > wires_;
   bool started_ = false;
   bool arriving_ = false; ///< a connection of the peer was accepted
   std::optional< Bgp::Slot > up_;
   int sessions_ = 0;
};

} // namespace TestSupport
