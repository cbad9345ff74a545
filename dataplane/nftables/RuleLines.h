#pragma once

#include "Flowspec/config/RuleAction.h"
#include "dataplane/Action.h"
#include "dataplane/nftables/Expression.h"

namespace Dataplane::Nftables {

/// The tests for the packets of a rule, but for its destination and its interface sets: a packet
/// matches when all tests of one of the lines hold. Lines may overlap. No line for a rule that no
/// packet matches; an empty one for a rule of all packets.
///
/// Exact for each packet that the kernel gives to the hook, with these exceptions of IPv6:
///
/// - What is after an authentication header the kernel does not reach, apart from the protocol:
///   rules with ports, ICMP types or TCP flags do not match there, and no protocol does when
///   another extension header follows.
/// - What no host sends: a second fragment header in one packet, and a routing header of which less
///   than 4 bytes are there.
std::vector< Line > matchLines( const Wire::CanonicalRule& rule );

/// The highest rates that the kernel can count with; see `whyNot`.
inline constexpr U64 maxByteRate = 18'000'000'000;
inline constexpr U64 maxPacketRate = 1'000'000'000;

/// Why a value of the action cannot be programmed, such as "the rate is more than 1000000000
/// packets a second"; "" when it can.
Vek::String whyNot( const Flowspec::RuleAction& action, Actions done );

/// The bucket for a rate above 0, within 0.1 % of it but not below one a week. It holds a
/// tenth of a second's packets, at least 5, or one unit's bytes.
Limit limitOf( double rate, bool bytes );

/// The group that samples go to.
inline constexpr U16 sampleGroup = 1;

/// What is done with the packets of a rule.
struct ActionLines {
   /// Ends with a verdict unless packets go on to the next rules.
   std::vector< Line > lines;
   std::optional< Limit > limit; ///< the one that the lines name
   bool continues = false;
};

/// The lines for those of an action's parts that are `done`. Counter and limit have `name`. A
/// packet that is dropped goes nowhere else, also with "continue".
ActionLines actionLines( const Flowspec::RuleAction& action, Actions done,
                         const Vek::String& name );

} // namespace Dataplane::Nftables
