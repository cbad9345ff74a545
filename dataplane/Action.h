#pragma once

#include "Flowspec/config/RuleAction.h"

#include <bitset>

namespace Dataplane {

/// One thing that hardware does with a packet. Those that a rule asks for together are told apart:
/// each kind of redirect, and each bit of the traffic-action community (RFC 8955 section 7.3).
enum class Action : U8 {
   trafficPermit = 0,
   trafficDrop = 1,
   trafficRate = 2,
   trafficRatePkt = 3,
   trafficMarking = 4,
   redirectVrf = 5,
   redirectAddr = 6,
   redirectSrTePolicy = 7,
   sample = 8,
   continueMatch = 9,
   invalid = 10, ///< no hardware can do it
};

/// A set of actions, by their numbers.
using Actions = std::bitset< 11 >;

constexpr std::size_t numberOf( Action action ) { return static_cast< std::size_t >( action ); }

/// What a name in a profile stands for: an action's own, "trafficRedirect" for all redirects, or
/// "trafficAction" for "sample" and "continue". Empty when it is no such name.
Actions actionsNamed( std::string_view name );

/// The names, joined by ", ".
Vek::String namesOf( Actions actions );

/// What hardware has to do for a rule's action.
Actions actionsOf( const Flowspec::RuleAction& action );

/// The fields of which no action can be done when only `supported` can.
Flowspec::ActionFieldSet unsupportedFlags( Actions supported );

} // namespace Dataplane
