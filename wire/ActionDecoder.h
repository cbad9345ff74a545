#pragma once

#include "Flowspec/config/RuleAction.h"
#include "Vek/text/String.h"
#include "wire/Community.h"

#include <span>
#include <string_view>
#include <vector>

/// Reading what is done with the packets of a rule from the communities of its update (RFC 8955
/// section 7, RFC 8956 section 6, the drafts on redirection to an address and on interface sets).
/// Octets come from outside: nothing here throws or ends the process for any, and what is allocated
/// is at most a fixed multiple of them.
///
/// | type | what it becomes |
/// |---|---|
/// | 0x8006, 0x800c | `rateLimit` in bytes or packets a second, `trafficDrop` for 0; below 0, minus
/// infinity too, is 0 | | 0x8007 | `trafficAction`: bit 46 samples, bit 47 goes on to the next rule
/// | | 0x8008, 0x8108, 0x8208, IPv6 0x000d | `redirect` to the VRF of the route target | | 0x8009 |
/// `markDscp`: the lowest six bits | | 0x010c, IPv6 0x000c | `redirect` to the address; the lowest
/// bit of all asks for a copy | | 0x0800 | the same, to the next hop of MP_REACH_NLRI | | 0x030b |
/// the color that makes a redirect to an address one to an SR policy | | 0x0002, 0x0102, 0x0202,
/// IPv6 0x0002 | `importVrfs` | | 0x0702, 0x4702 | `interfaceSets` |
///
/// Any other type is kept as it is and has no effect. Where communities contradict each other (RFC
/// 8955 section 7.7) their order does not matter, and the winner is:
/// - of rates of one kind, and of DSCP values, the lowest; of the bits of traffic actions, those
///   that are set anywhere;
/// - of bytes and packets, a rate of 0, else bytes;
/// - of redirects, one to a VRF, else one by its own address, else one to the next hop; of one kind
///   the one with the lowest octets. One to a VRF that the table does not have is passed over when
///   there is another;
/// - of colors, the highest (RFC 9256 section 8.4.1);
/// - a dropped packet is neither marked nor redirected.
namespace Wire {

/// Why the communities are not taken. All make the rules of the update treated as withdrawn (RFC
/// 8955 section 10, RFC 7606 sections 7.14 and 7.15).
enum class ActionFault : U8 {
   attributeLength,       ///< the extended communities are not a multiple of 8 octets, or none
   ipv6AttributeLength,   ///< the IPv6 ones are not a multiple of 20 octets, or none
   rateNotFinite,         ///< a rate is not a number, or plus infinity
   unknownRouteTarget,    ///< a redirect to a VRF that the table does not have
   noNextHop,             ///< a redirect to the next hop where there is none
   interfaceSetAs,        ///< an interface set of another AS
   interfaceSetDirection, ///< an interface set for output alone, or for no direction
};

/// The name in texts and JSON, such as "rate-not-finite".
OSK_EXPORT std::string_view name( ActionFault fault );

/// The fault that was met first, and where.
struct ActionRejection {
   ActionFault fault;
   bool ipv6;  ///< in the IPv6 communities
   U16 offset; ///< of the community in its attribute

   /// For people, such as "the extended community at octet 8: its rate is not finite".
   OSK_EXPORT Vek::String message() const;
   bool operator==( const ActionRejection& ) const = default;
};

/// What was decided where communities contradict each other, or was changed.
enum class ActionRemark : U8 {
   negativeRate,    ///< taken as 0
   severalRates,    ///< of one kind
   bytesAndPackets, ///< one rate can be held
   severalMarkings,
   severalTrafficActions,
   severalRedirects,
   severalColors,
   dropOverrides, ///< marking and redirect of a packet that is dropped
   outputIgnored, ///< an interface set for both directions is one for input
};

/// The name in texts and JSON, such as "several-rates".
OSK_EXPORT std::string_view name( ActionRemark remark );

/// The attributes as received: of extended communities (type 16) and of IPv6-address-specific ones
/// (type 25), each without its header. Nothing when the update does not have the attribute.
struct Communities {
   std::optional< std::span< const U8 > > extended;
   std::optional< std::span< const U8 > > ipv6;
};

/// What the meaning of communities depends on beside their octets.
struct ActionContext {
   U32 localAs = 0;         ///< whose interface sets are ours
   Zorv::IpGenAddr nextHop; ///< of MP_REACH_NLRI; empty when it has none
   const RouteTargetTable& vrfs;
};

/// What communities ask for.
struct DecodedAction {
   Flowspec::RuleAction action;
   /// For the rule's key: ascending, each once. Empty when the rule is for all interfaces.
   std::vector< U16 > interfaceSets;
   /// The VRFs that import the rule by its route targets: ascending, each once.
   std::vector< Vrf::VrfIdMap::VrfId > importVrfs;
   /// What the action does not say, in the order received: unknown types, route targets, a color
   /// without a redirect to an address. To be sent on.
   std::vector< ExtendedCommunity > kept;
   std::vector< Ipv6Community > keptIpv6;
   std::vector< ActionRemark > remarks; ///< each once, in the order of the enumerators
};

/// Replaces all of `decoded`. Nothing when the communities were taken; otherwise the action is
/// `fields.invalid` alone, which no hardware can do: a refused action never permits.
[[nodiscard]] OSK_EXPORT std::optional< ActionRejection >
decodeAction( const Communities& communities, const ActionContext& context,
              DecodedAction& decoded );

} // namespace Wire
