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

/// The VRFs that packets can be redirected to; 0 is the main table, others are tables of their
/// number.
inline constexpr U32 mainTable = 254;

/// Where packets that carry a mark go: into a routing table by its number, or to a next hop.
struct Target {
   Zorv::AddressFamily family;
   U32 table;                 ///< 0 for a next hop
   Zorv::IpGenAddr nextHop{}; ///< of this family
   auto operator<=>( const Target& ) const = default;
};

/// Where an action redirects packets of a family; nothing when it does not, or copies them.
std::optional< Target > targetOf( const Flowspec::RuleAction& action, Actions done,
                                  Zorv::AddressFamily family );

/// A mark for a target, the same in each process. Two targets may have one.
U32 markOf( const Target& target );
/// The mark to try when one is taken.
U32 markAfter( U32 mark );

/// Why a value of the action cannot be programmed for a rule of a family, such as "the rate is more
/// than 1000000000 packets a second"; "" when it can.
Vek::String whyNot( const Flowspec::RuleAction& action, Actions done, Zorv::AddressFamily family );

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

/// The lines for those of an action's parts that are `done`. Counter and limit have `name`;
/// packets that are redirected get `mark`. A packet that is dropped goes nowhere else, also with
/// "continue".
ActionLines actionLines( const Flowspec::RuleAction& action, Actions done, const Vek::String& name,
                         U32 mark = 0 );

} // namespace Dataplane::Nftables
