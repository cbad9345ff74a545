#include "agents/bgp/session/Listener.h"

#include "Vek/text/Text.h"

#include <cerrno>
#include <cstring>

#include <sys/socket.h>

namespace Bgp {

Listener::Listener( Agents::EventLoop& loop, const SocketAddress& address,
                    const std::function< Time() >& now, std::function< void( Socket ) > accepted,
                    std::function< void( std::string_view ) > failed )
   : loop_( loop ), address_( address ), now_( now ), accepted_( std::move( accepted ) ),
     failed_( std::move( failed ) ), socket_( listenOn( address, backlog ) ) {
   loop_.add( *this );
}

Listener::~Listener() { loop_.remove( *this ); }

void Listener::ready() {
   if ( resume_.isRunning() && !resume_.takeExpiry( now_() ) ) {
      return;
   }
   for ( int i = 0; i < mostPerTurn; ++i ) {
      Socket connection(
         ::accept4( socket_.fd(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC ) );
      if ( connection ) {
         accepted_( std::move( connection ) );
         continue;
      }
      // It would be ready again at once, and take all of the time.
      if ( errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM ) {
         failed_( Vek::concat( "cannot take a connection on ", localEnd( socket_ ).text(), ": ",
                               std::string_view( std::strerror( errno ) ) ) );
         resume_.start( now_() + pause );
         return;
      }
      if ( errno == EAGAIN || errno == EWOULDBLOCK ) {
         return;
      }
   }
}

} // namespace Bgp
