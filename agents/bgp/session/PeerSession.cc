#include "agents/bgp/session/PeerSession.h"

#include "Vek/text/Text.h"

#include <cstring>
#include <system_error>

namespace Bgp {

using enum Event;

PeerSession::PeerSession( const Common& common, const SessionConfig& config, U64 seed )
   : common_( common ), peering_( std::make_unique< Peering >( config, seed ) ), seed_( seed ),
     since_( now() ) {
   common_.loop.add( *this );
}

PeerSession::~PeerSession() { common_.loop.remove( *this ); }

void PeerSession::configIs( const SessionConfig& config ) {
   peering_ = std::make_unique< Peering >( config, seed_ );
   shownErrors_ = 0;
}

void PeerSession::start( bool restarted ) {
   peering_->start( now(), restarted );
   perform();
}

void PeerSession::stop( const Notification& cease, std::string_view reason ) {
   peering_->stop( cease, reason, now() );
   perform();
}

void PeerSession::leave() {
   peering_->leave( now() );
   perform();
}

void PeerSession::accept( Socket socket ) {
   try {
      Bgp::take( socket, config() );
   } catch ( const std::system_error& error ) {
      log( error.what() );
      return;
   }
   // It may have closed the connection before, or said farewell on it.
   for ( const Slot slot : slots ) {
      read( slot );
   }
   arriving_ = std::move( socket );
   if ( peering_->accept( now() ) ) {
      perform();
   } else {
      scratch_.clear();
      writeNotification( peering_->refusal(), scratch_ );
      common_.farewells.add( std::move( arriving_ ), scratch_ );
   }
}

void PeerSession::end( const Notification& notification, const Vek::String& reason ) {
   if ( const auto slot = peering_->established() ) {
      peering_->on( *slot, automaticStop, now(), notification, reason );
      perform();
   }
}

const Agreed* PeerSession::agreed() const {
   const auto slot = peering_->established();
   return slot ? &peering_->agreed( *slot ) : nullptr;
}

const Connection* PeerSession::current() const {
   const auto slot = peering_->established();
   return slot ? connections_[static_cast< std::size_t >( *slot )].get() : nullptr;
}

SocketAddress PeerSession::localEnd() const {
   return current() ? Bgp::localEnd( current()->socket() ) : SocketAddress{ {}, 0 };
}

SocketAddress PeerSession::peerEnd() const {
   return current() ? remoteEnd( current()->socket() ) : SocketAddress{ {}, 0 };
}

bool PeerSession::canSend() const { return current() && !full_; }

void PeerSession::send( std::span< const U8 > messages ) {
   const auto slot = peering_->established();
   if ( slot && at( *slot ) ) {
      queue( *slot, messages );
      full_ = at( *slot )->pending().size() >= Connection::sendRoom;
   }
}

Agents::EventLoop::Clock::time_point PeerSession::due() const {
   const Time due = peering_->due();
   return due <= now() ? Time() : due;
}

// A timer has expired. What the peer sent before is read first: that nobody looked is not its
// fault.
void PeerSession::ready() {
   for ( const Slot slot : slots ) {
      read( slot );
   }
   peering_->tick( now() );
   perform();
}

void PeerSession::ready( Slot slot ) {
   finishConnecting( slot );
   flush( slot );
   read( slot );
}

void PeerSession::finishConnecting( Slot slot ) {
   Connection* const connection = at( slot ).get();
   if ( !connection || !connection->isConnecting() ) {
      return;
   }
   const int error = connectError( connection->socket() );
   if ( error == EINPROGRESS ) {
      return;
   }
   if ( error == 0 ) {
      connection->connected();
      peering_->on( slot, tcpCrAcked, now() );
   } else {
      peering_->on( slot, tcpConnectionFails, now(), {},
                    Vek::concat( "cannot connect to ", config().peer.text(), ": ",
                                 std::string_view( std::strerror( error ) ) ) );
   }
   perform();
}

void PeerSession::flush( Slot slot ) {
   Connection* const connection = at( slot ).get();
   if ( connection && connection->flush() ) {
      peering_->sent( slot, now() );
      if ( full_ && connection->pending().size() <= Connection::sendRoom / 2 ) {
         full_ = false;
         common_.handler.writable( *this );
      }
   }
}

// Does what is to be done, and what comes of that.
void PeerSession::perform() {
   if ( busy_ ) {
      return;
   }
   busy_ = true;
   for ( auto actions = peering_->takeActions(); !actions.empty();
         actions = peering_->takeActions() ) {
      for ( PeerAction& action : actions ) {
         perform( action );
      }
   }
   busy_ = false;
   show();
}

void PeerSession::perform( PeerAction& action ) {
   const Slot slot = action.slot;
   scratch_.clear();
   switch ( action.what ) {
   case Do::sendNotification:
      writeNotification( action.notification, scratch_ );
      queue( slot, scratch_ );
      notified_ = true;
      break;
   case Do::drop:
      drop( slot, std::exchange( notified_, false ) );
      break;
   case Do::connect:
      try {
         at( slot ) =
            std::make_unique< Connection >( common_.loop, *this, slot, connectTo( config() ) );
      } catch ( const std::system_error& error ) {
         peering_->on( slot, tcpConnectionFails, now(), {}, error.what() );
      }
      break;
   case Do::sendOpen:
      if ( slot == Slot::incoming ) {
         at( slot ) =
            std::make_unique< Connection >( common_.loop, *this, slot, std::move( arriving_ ) );
      }
      writeOpen( peering_->ours( slot ), scratch_ );
      queue( slot, scratch_ );
      break;
   case Do::sendKeepalive:
      writeKeepalive( scratch_ );
      queue( slot, scratch_ );
      break;
   case Do::establish:
      full_ = false;
      ++establishments_;
      loggedError_.clear();
      log( Vek::concat( "established with ", remoteEnd( at( slot )->socket() ).text() ) );
      show();
      common_.handler.established( *this, peering_->agreed( slot ) );
      break;
   case Do::leave:
      ++flaps_;
      show();
      common_.handler.down( *this, action.down );
      break;
   }
}

void PeerSession::drop( Slot slot, bool withReason ) {
   if ( const auto connection = std::move( at( slot ) ); connection && withReason ) {
      common_.farewells.add( connection->release(), connection->pending() );
   }
}

void PeerSession::queue( Slot slot, std::span< const U8 > messages ) {
   Connection* const connection = at( slot ).get();
   if ( !connection ) {
      return;
   }
   connection->queue( messages );
   sent_.add( messages );
}

// Tells the handler, and people, what became of the session.
void PeerSession::show() {
   const State state = peering_->state();
   const bool hasFailed = shownErrors_ != peering_->errors();
   shownErrors_ = peering_->errors();
   if ( hasFailed && loggedError_ != lastError() ) {
      loggedError_ = lastError();
      log( loggedError_ );
   }
   if ( state != shown_ ) {
      shown_ = state;
      since_ = now();
   } else if ( !hasFailed ) {
      return;
   }
   common_.handler.changed( *this );
}

void PeerSession::log( std::string_view text ) const {
   common_.options.log( Vek::concat( config().name, ": ", text ) );
}

} // namespace Bgp
