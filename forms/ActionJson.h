#pragma once

#include "Flowspec/config/RuleAction.h"

#include <nlohmann/json_fwd.hpp>

/// The JSON object of a rule's action, which stands beside the members of its key:
///
/// `{"rateLimit":{"bytes":1250000},"markDscp":"af21","redirect":{"vrf":7,"copy":true},
/// "sample":true}`
///
/// - `drop`: no packet passes.
/// - `rateLimit`: at most `bytes` (RFC 8955 section 7.1) or `packets` (7.2) a second pass, one of
///   the two, a number from 0 on.
/// - `markDscp`: the DSCP is set (7.5), from 0 to 63 or by a name of `FlowspecUtil::dscpNames`.
/// - `redirect`: packets go to the VRF `vrf` (7.4), to the address `addr`, or to the policy
///   `srTePolicy` with a `color` from 1 on and an `endpoint` (RFC 9256 section 2.1).
/// - `sample`: packets are sampled and logged (7.3).
/// - `continue`: the rules after this one are tried as well (7.3).
///
/// `copy` in a redirect asks for a copy of the packet to go there, while itself it is forwarded.
/// `drop`, `sample`, `continue` and `copy` are truth values; false is as good as none. All may
/// stand together but `drop` with `rateLimit`, `markDscp` or `redirect`. An object that asks for
/// nothing permits.
namespace Forms {

/// Reads an action. A reason, which names the member and what is wrong with it, when `json` is
/// none; `action` is then unchanged. A rate is kept with the precision of a `float`.
[[nodiscard]] std::optional< Vek::String > readAction( const nlohmann::json& json,
                                                       Flowspec::RuleAction& action );

/// The object from which `readAction` reads an equal action, for one that it gave. A DSCP that has
/// a name goes by it.
nlohmann::json actionJson( const Flowspec::RuleAction& action );

/// What is done, in words for people, as in "at most 1250000 bytes/s, mark af21, copy to VRF 7";
/// "permit" when nothing is asked for.
Vek::String actionText( const Flowspec::RuleAction& action );

} // namespace Forms
