#include "agents/bgp/session/Connection.h"

#include "Osk/Endian.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <sys/socket.h>

namespace Bgp {

namespace {

bool wouldWait() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

} // namespace

Connection::Connection( Agents::EventLoop& loop, Owner& owner, Slot slot, Socket socket )
   : loop_( loop ), owner_( owner ), slot_( slot ), socket_( std::move( socket ) ),
     connecting_( slot == Slot::outgoing ), in_( maxExtendedMessage + 1 ) {
   loop_.add( *this );
}

Connection::~Connection() { loop_.remove( *this ); }

bool Connection::hasMessage() const {
   const std::span< const U8 > octets = unread().subspan( taken_ );
   if ( octets.size() < headerSize ) {
      return false;
   }
   // One that is too short or too long is not waited for.
   const std::size_t length = Osk::loadBig16( &octets[16] );
   return length <= octets.size() || length > maxLength_;
}

void Connection::receive() {
   if ( closed_ || connecting_ || hasMessage() ) {
      return;
   }
   begin_ += std::exchange( taken_, 0 );
   std::memmove( in_.data(), in_.data() + begin_, end_ - begin_ );
   end_ -= std::exchange( begin_, 0 );
   const ssize_t count = ::recv( socket_.fd(), in_.data() + end_, in_.size() - end_, 0 );
   if ( count > 0 ) {
      end_ += static_cast< std::size_t >( count );
   } else if ( count == 0 || !wouldWait() ) {
      closed_ = true;
      closeReason_ = count == 0 ? "the peer closed the connection" : std::strerror( errno );
   }
}

Connection::Input Connection::next() {
   begin_ += std::exchange( taken_, 0 );
   const std::span< const U8 > octets = unread();
   if ( octets.size() < headerSize ) {
      return closed_ ? Input::closed : Input::nothing;
   }
   if ( auto fault = readHeader( octets.first< headerSize >(), maxLength_, header_ ) ) {
      fault_ = std::move( *fault );
      return Input::fault;
   }
   if ( octets.size() < header_.length ) {
      return closed_ ? Input::closed : Input::nothing;
   }
   taken_ = header_.length;
   return Input::message;
}

std::span< const U8 > Connection::body() const {
   return unread().subspan( headerSize, header_.length - headerSize );
}

void Connection::queue( std::span< const U8 > messages ) {
   out_.insert( out_.end(), messages.begin(), messages.end() );
}

bool Connection::flush() {
   if ( connecting_ || pending().empty() ) {
      return false;
   }
   const ssize_t count = ::send( socket_.fd(), pending().data(), pending().size(), MSG_NOSIGNAL );
   if ( count < 0 && !wouldWait() && !closed_ ) {
      // Why is in what the peer sent before, if it said so.
      out_.clear();
      sent_ = 0;
      closeReason_ = std::strerror( errno );
      receive();
      closed_ = true;
   }
   if ( count <= 0 ) {
      return false;
   }
   sent_ += static_cast< std::size_t >( count );
   if ( sent_ >= out_.size() / 2 ) {
      out_.erase( out_.begin(), out_.begin() + static_cast< std::ptrdiff_t >( sent_ ) );
      sent_ = 0;
   }
   return true;
}

} // namespace Bgp
