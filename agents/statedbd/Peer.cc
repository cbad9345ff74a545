#include "agents/statedbd/Peer.h"

#include "Vek/text/Text.h"

#include <sys/socket.h>

namespace Agents {

Peer Peer::of( int fd ) {
   Peer peer;
   ucred credentials{};
   socklen_t size = sizeof credentials;
   // A TCP socket answers as well, with no process.
   if ( ::getsockopt( fd, SOL_SOCKET, SO_PEERCRED, &credentials, &size ) < 0 ||
        credentials.pid == 0 ) {
      return peer;
   }
   peer.known = true;
   peer.user = credentials.uid;
   peer.process = credentials.pid;
   // Fails with the size that it needs, when there are more.
   socklen_t bytes = 0;
   ::getsockopt( fd, SOL_SOCKET, SO_PEERGROUPS, nullptr, &bytes );
   peer.groups.resize( bytes / sizeof( gid_t ) );
   if ( bytes != 0 &&
        ::getsockopt( fd, SOL_SOCKET, SO_PEERGROUPS, peer.groups.data(), &bytes ) < 0 ) {
      peer.groups.clear();
   }
   peer.groups.push_back( credentials.gid );
   return peer;
}

Vek::String Peer::text() const {
   return known ? Vek::concat( "user ", user, ", process ", process ) : Vek::String( "TCP" );
}

} // namespace Agents
