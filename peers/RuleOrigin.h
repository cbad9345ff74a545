#pragma once

#include "Osk/Types.h"

namespace Peers {

/// The rule id of a rule that a peer announced, in the root that the speaker files rules in: the
/// number of the peer in its upper half, any number of the speaker's own in the lower one.
constexpr U64 ruleIdOf( U32 peerNumber, U32 number ) { return U64{ peerNumber } << 32 | number; }

/// The number of the peer (`Peer::number`) that a filed rule is from; 0 for a rule of no peer.
constexpr U32 peerNumberOf( U64 ruleId ) { return static_cast< U32 >( ruleId >> 32 ); }

} // namespace Peers
