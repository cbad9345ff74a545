#pragma once

#include "agents/bgp/session/SessionConfig.h"

#include <utility>

namespace Bgp {

/// A socket, closed with the object. The functions below make non-blocking ones and throw
/// `std::system_error`, "cannot DO THIS: REASON".
class Socket {
public:
   Socket() = default;
   explicit Socket( int fd ) : fd_( fd ) {}
   Socket( Socket&& other ) noexcept : fd_( std::exchange( other.fd_, -1 ) ) {}
   Socket& operator=( Socket&& other ) noexcept {
      std::swap( fd_, other.fd_ );
      return *this;
   }
   ~Socket();

   int fd() const { return fd_; }
   explicit operator bool() const { return fd_ >= 0; }

private:
   int fd_ = -1;
};

/// Begins to connect to a peer, from the address of its session and with what `take` sets.
Socket connectTo( const SessionConfig& config );

/// Listens, with the largest hop limit: what peers that connect are to see of it is known only
/// later. `backlog` connections may wait to be taken.
Socket listenOn( const SocketAddress& address, int backlog );

/// Sets what a session wants of a connection: hop limits, password, traffic class.
void take( const Socket& connection, const SessionConfig& config );

/// Wants the segments of connections from `peer` signed (RFC 2385); with no password, unsigned
/// again.
void passwordIs( const Socket& socket, const Zorv::IpGenAddr& peer, const Vek::String& password );

/// The ends of a connection; empty when there is none.
SocketAddress localEnd( const Socket& socket );
SocketAddress remoteEnd( const Socket& socket );

/// Whether a connection that was begun is there: 0, `EINPROGRESS` while it is not known, or the
/// error.
int connectError( const Socket& socket );

} // namespace Bgp
