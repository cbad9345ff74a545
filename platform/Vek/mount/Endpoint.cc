#include "Vek/mount/Endpoint.h"

#include "Vek/text/Printable.h"
#include "Vek/text/Text.h"

#include <cerrno>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace Vek::log {

namespace {

constexpr std::string_view loopback = "127.0.0.1:";
constexpr int backlog = 128;

} // namespace

Endpoint::Endpoint( String text ) : text_( std::move( text ) ) {
   if ( text_.find( '/' ) != String::npos ) {
      if ( text_.size() >= sizeof( sockaddr_un::sun_path ) || text_.find( '\0' ) != String::npos ) {
         throwRange(
            concat( "'", printable( text_, 200 ), "' is too long for the path of a socket" ) );
      }
      return;
   }
   const auto port = text_.starts_with( loopback )
                        ? decimal( std::string_view( text_ ).substr( loopback.size() ), 65535 )
                        : std::nullopt;
   if ( !port || *port == 0 ) {
      throwRange( concat( "'", printable( text_, 200 ),
                          "' is neither a path with a '/' nor 127.0.0.1:PORT" ) );
   }
   port_ = static_cast< U16 >( *port );
}

String Endpoint::fault( const String& text ) {
   try {
      const Endpoint endpoint( text );
      return {};
   } catch ( const RangeException& exception ) {
      return exception.what();
   }
}

int Endpoint::open() const {
   return ::socket( isUnix() ? AF_UNIX : AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0 );
}

int Endpoint::with( int ( *call )( int, const sockaddr*, unsigned ), int fd ) const {
   sockaddr_un path{};
   sockaddr_in address{};
   if ( isUnix() ) {
      path.sun_family = AF_UNIX;
      text_.copy( path.sun_path, sizeof path.sun_path - 1 );
      return call( fd, reinterpret_cast< const sockaddr* >( &path ), sizeof path );
   }
   address.sin_family = AF_INET;
   address.sin_port = htons( port_ );
   address.sin_addr.s_addr = htonl( INADDR_LOOPBACK );
   return call( fd, reinterpret_cast< const sockaddr* >( &address ), sizeof address );
}

void Endpoint::fail( std::string_view doing ) const {
   const int error = errno;
   throw StreamException(
      concat( "cannot ", doing, " ", text_, ": ", std::string_view( std::strerror( error ) ) ) );
}

int Endpoint::connect() const {
   const int fd = open();
   if ( fd < 0 ) {
      fail( "connect to" );
   }
   if ( with( ::connect, fd ) < 0 && errno != EINPROGRESS ) {
      const int error = errno;
      ::close( fd );
      errno = error;
      fail( "connect to" );
   }
   return fd;
}

int Endpoint::listen() const {
   struct stat found {};
   if ( isUnix() && ::lstat( text_.c_str(), &found ) == 0 && !S_ISSOCK( found.st_mode ) ) {
      throw StreamException( concat( "cannot listen on ", text_, ": it is not a socket" ) );
   }
   const int fd = open();
   if ( fd < 0 ) {
      fail( "listen on" );
   }
   if ( bind( fd ) < 0 || ::listen( fd, backlog ) < 0 ) {
      const int reason = errno;
      ::close( fd );
      errno = reason;
      fail( "listen on" );
   }
   return fd;
}

int Endpoint::bind( int fd ) const {
   if ( !isUnix() ) {
      const int reuse = 1;
      ::setsockopt( fd, SOL_SOCKET, SO_REUSEADDR, &reuse, sizeof reuse );
      return with( ::bind, fd );
   }
   // The socket is never there with wider permissions, not even for a moment.
   const mode_t mask = ::umask( 0117 );
   int bound = with( ::bind, fd );
   if ( bound < 0 && errno == EADDRINUSE ) {
      const int probe = open();
      const bool dead = probe >= 0 && with( ::connect, probe ) < 0 && errno == ECONNREFUSED;
      ::close( probe );
      errno = EADDRINUSE;
      if ( dead ) {
         remove();
         bound = with( ::bind, fd );
      }
   }
   const int error = errno;
   ::umask( mask );
   errno = error;
   return bound;
}

void Endpoint::remove() const {
   struct stat found {};
   if ( isUnix() && ::lstat( text_.c_str(), &found ) == 0 && S_ISSOCK( found.st_mode ) ) {
      ::unlink( text_.c_str() );
   }
}

} // namespace Vek::log
