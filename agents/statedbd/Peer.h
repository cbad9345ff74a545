#pragma once

#include "Osk/Types.h"
#include "Vek/text/String.h"

#include <vector>

#include <sys/types.h>

namespace Agents {

/// Who is at the other end of a connection, as the kernel has it from when that one connected.
struct Peer {
   /// Of a connected socket. One over TCP has no user.
   static Peer of( int fd );

   bool known = false; ///< the other end of a Unix socket
   uid_t user = static_cast< uid_t >( -1 );
   pid_t process = 0;
   std::vector< gid_t > groups; ///< all of them

   /// "user 991, process 4242", or "TCP".
   Vek::String text() const;
};

} // namespace Agents
