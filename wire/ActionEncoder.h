#pragma once

#include "Flowspec/config/RuleAction.h"
#include "Vek/text/String.h"
#include "wire/Community.h"

#include <span>
#include <string_view>
#include <vector>

/// Writing what is done with the packets of a rule as communities: the types of `ActionDecoder.h`,
/// of redirects to an address the newer form.
namespace Wire {

/// Why communities cannot say what an action asks for.
enum class ActionRefusal : U8 {
   invalidAction,   ///< its fields say that it is none, or two rates, or a drop and something else
   badRate,         ///< a rate that is below 0 or not finite
   badDscp,         ///< above 63
   unknownVrf,      ///< a redirect to a VRF for which the table has no route target
   noAddress,       ///< a redirect to no address
   noColor,         ///< a redirect to an SR policy of color 0, or of no endpoint
   badInterfaceSet, ///< an interface set above 16383
};

/// The name in texts and JSON, such as "unknown-vrf".
OSK_EXPORT std::string_view name( ActionRefusal refusal );
/// For people, such as "the VRF of the redirect has no route target".
OSK_EXPORT std::string_view message( ActionRefusal refusal );

/// The communities of a rule.
struct EncodedAction {
   std::vector< ExtendedCommunity > extended;
   std::vector< Ipv6Community > ipv6;
};

/// Appends the communities of an action and of the interface sets of its rule's key, as groups for
/// input of `localAs`. Nothing when all was said; otherwise `encoded` is as it was. What
/// `decodeAction` read without a remark is read again from what is written here.
///
/// A rate names `localAs` where it has 16 bits. The color of an SR policy stands beside the
/// redirect to its endpoint. A copy of packets that go to a VRF is refused as an invalid action, as
/// no community asks for it.
[[nodiscard]] OSK_EXPORT std::optional< ActionRefusal >
encodeAction( const Flowspec::RuleAction& action, std::span< const U16 > interfaceSets, U32 localAs,
              const RouteTargetTable& vrfs, EncodedAction& encoded );

} // namespace Wire
