#pragma once

#include "agents/peerd/policy/RuleCondition.h"

namespace Peerd {

/// The two ends of a session, so that no rule takes its packets. A plain value.
struct SessionEnds {
   Zorv::IpGenAddr local; ///< empty while it is not known: then nothing is guarded
   Zorv::IpGenAddr peer;
   U16 localPort = 179; ///< where we listen
   U16 peerPort = 179;  ///< where the peer does

   bool operator==( const SessionEnds& ) const = default;
};

/// What no rule of a peer may do, whatever the import policy says. Each guard is on unless it is
/// switched off. A plain value.
struct GuardRails {
   bool everything = true;   ///< no rule that matches each packet of its family
   bool sessions = true;     ///< none that matches packets of a configured session
   bool destinations = true; ///< where `PeerImport::prefixes` stand: none with another destination
   /// How many rules are taken from the peer, refused ones included, and on average 512 octets of
   /// NLRI and attributes for each.
   U32 maxRules = 1000000;
   bool ceases = false; ///< at one more the session ends; else that one is refused

   /// The number of rules that the operator is warned at.
   U32 warningAt() const { return static_cast< U32 >( U64{ maxRules } * 4 / 5 ); }

   bool operator==( const GuardRails& ) const = default;
};

/// Whether the rule matches each packet of its family.
bool matchesEverything( const Flowspec::FlowspecKey& key );

/// Whether the rule matches some packet of the session's, in either direction: a TCP segment
/// between the addresses to or from the port at which one end listens, whatever its other port (but
/// 0), flags, length, DSCP and flow label are, and not a later fragment. VRF, interface sets and
/// action do not count.
bool coversSession( const Flowspec::FlowspecKey& key, const SessionEnds& session );

} // namespace Peerd
