#pragma once

#include "match/PacketSet.h"
#include "tools/flowspecctl/Options.h"

#include <vector>

namespace Tools {

/// Packets that rules had better not touch.
struct GuardedPackets {
   const char* what; ///< "protected" or "session"
   Vek::String text; ///< the prefix or the address
   Match::PacketSet packets;
};

/// Those to a prefix.
GuardedPackets protectedPrefix( const Zorv::IpGenPrefix& prefix );
/// Those of a BGP session, from a peer's address: TCP with port 179 on either side.
GuardedPackets sessionWith( const Zorv::IpGenAddr& address );

/// Adds `--protect` and `--session`, each of which may be given several times.
void addGuarded( CLI::App& command, std::vector< GuardedPackets >& guarded );

} // namespace Tools
