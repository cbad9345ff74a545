#pragma once

#include "match/PacketSet.h"
#include "tools/flowspecctl/Options.h"

#include <vector>

namespace Tools {

/// Packets that rules had better not touch.
struct GuardedPackets {
   bool isSession;   ///< packets of a BGP session; else those to a protected prefix
   Vek::String text; ///< the prefix or the address
   Match::PacketSet packets;

   const char* what() const { return isSession ? "session" : "protected"; }
   /// "packets to 10.0.0.0/8", "the BGP session with 192.0.2.1".
   Vek::String name() const {
      return ( isSession ? "the BGP session with " : "packets to " ) + text;
   }
};

/// Those to a prefix.
GuardedPackets protectedPrefix( const Zorv::IpGenPrefix& prefix );
/// Those of a BGP session, from a peer's address: TCP with port 179 on either side.
GuardedPackets sessionWith( const Zorv::IpGenAddr& address );

/// Adds `--protect` and `--session`, each of which may be given several times.
void addGuarded( CLI::App& command, std::vector< GuardedPackets >& guarded );

} // namespace Tools
