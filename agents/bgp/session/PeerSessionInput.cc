#include "agents/bgp/message/RouteRefresh.h"
#include "agents/bgp/session/PeerSession.h"

// What a peer sends: its messages, as events of the session and calls of the handler.

namespace Bgp {

using enum Event;

void PeerSession::read( Slot slot ) {
   if ( !at( slot ) || busy_ ) {
      return;
   }
   at( slot )->receive();
   std::size_t octets = 0;
   for ( int i = 0; i < messagesPerTurn && octets < octetsPerTurn && at( slot ); ++i ) {
      Connection& connection = *at( slot );
      busy_ = true;
      const Connection::Input input = connection.next();
      switch ( input ) {
      case Connection::Input::nothing:
         break;
      case Connection::Input::message:
         octets += connection.body().size();
         take( slot, connection );
         break;
      case Connection::Input::fault:
         peering_->on( slot, bgpHeaderErr, now(), connection.fault().notification,
                       connection.fault().text );
         break;
      case Connection::Input::closed:
         peering_->on( slot, tcpConnectionFails, now(), {}, connection.closeReason() );
         break;
      }
      busy_ = false;
      perform();
      if ( input == Connection::Input::nothing ) {
         break;
      }
   }
}

void PeerSession::take( Slot slot, const Connection& connection ) {
   const MessageType type = connection.header().type;
   received_.add( type );
   switch ( type ) {
   case MessageType::open:
      takeOpen( slot, connection );
      break;
   case MessageType::update:
      takeUpdate( slot, connection );
      break;
   case MessageType::notification: {
      const Notification notification = readNotification( connection.body() );
      const bool version =
         notification.code == ErrorCode::open && notification.subcode == OpenError::version;
      peering_->on( slot, version ? notifMsgVerErr : notifMsg, now(), notification );
      break;
   }
   case MessageType::keepalive:
      peering_->on( slot, keepAliveMsg, now() );
      break;
   case MessageType::routeRefresh:
      takeRefresh( slot, connection );
      break;
   }
}

void PeerSession::takeOpen( Slot slot, const Connection& connection ) {
   Open theirs;
   if ( const auto fault = readOpen( connection.body(), theirs ) ) {
      peering_->on( slot, bgpOpenMsgErr, now(), fault->notification, fault->text );
      return;
   }
   peering_->open( slot, theirs, now() );
   if ( at( slot ) && peering_->state( slot ) == State::openConfirm ) {
      at( slot )->maxLengthIs( peering_->agreed( slot ).maxReceive );
   }
}

void PeerSession::takeUpdate( Slot slot, const Connection& connection ) {
   if ( peering_->state( slot ) != State::established ) {
      peering_->on( slot, updateMsg, now() );
      return;
   }
   if ( const auto fault = readUpdate( connection.body(), peering_->agreed( slot ), update_ ) ) {
      peering_->on( slot, updateMsgErr, now(), fault->notification, fault->text );
      return;
   }
   peering_->on( slot, updateMsg, now() );
   if ( update_.endOfRib ) {
      common_.handler.endOfRib( *this, *update_.endOfRib );
   } else {
      common_.handler.update( *this, update_ );
   }
}

void PeerSession::takeRefresh( Slot slot, const Connection& connection ) {
   if ( peering_->state( slot ) != State::established ) {
      peering_->on( slot, routeRefreshMsg, now() );
      return;
   }
   RouteRefresh refresh;
   if ( const auto fault = readRouteRefresh( connection.body(), refresh ) ) {
      peering_->on( slot, updateMsgErr, now(), fault->notification, fault->text );
      return;
   }
   peering_->on( slot, routeRefreshMsg, now() );
   if ( refresh.subtype <= RouteRefresh::end && peering_->agreed( slot ).has( refresh.family ) ) {
      common_.handler.routeRefresh( *this, refresh.family, refresh.subtype );
   }
}

} // namespace Bgp
