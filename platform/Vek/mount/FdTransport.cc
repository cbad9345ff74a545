#include "Vek/mount/FdTransport.h"

#include "Vek/text/Exceptions.h"
#include "Vek/text/Text.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Vek::log {

namespace {

[[noreturn]] void throwErrno( std::string_view doing ) {
   const int error = errno;
   throw StreamException( concat( doing, ": ", std::strerror( error ) ) );
}

bool wouldWait() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

} // namespace

FdTransport::FdTransport( int fd ) : fd_( fd ) {
   const int flags = ::fcntl( fd_, F_GETFL );
   if ( flags < 0 || ::fcntl( fd_, F_SETFL, flags | O_NONBLOCK ) < 0 ) {
      throwErrno( "cannot make a connection non-blocking" );
   }
}

FdTransport::~FdTransport() { ::close( fd_ ); }

std::size_t FdTransport::send( std::span< const U8 > bytes ) {
   ssize_t count = ::send( fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL );
   if ( count < 0 && errno == ENOTSOCK ) {
      count = ::write( fd_, bytes.data(), bytes.size() );
   }
   if ( count < 0 && !wouldWait() ) {
      throwErrno( "cannot send" );
   }
   return count < 0 ? 0 : static_cast< std::size_t >( count );
}

std::optional< std::size_t > FdTransport::receive( std::span< U8 > room ) {
   const ssize_t count = ::read( fd_, room.data(), room.size() );
   // A peer that closes without having read all resets the connection.
   if ( count == 0 || ( count < 0 && errno == ECONNRESET ) ) {
      return std::nullopt;
   }
   if ( count < 0 && !wouldWait() ) {
      throwErrno( "cannot receive" );
   }
   return count < 0 ? 0 : static_cast< std::size_t >( count );
}

} // namespace Vek::log
