#pragma once

#include "Flowspec/config/RuleConfig.h"

namespace Flowspec {

/// What is done with the packets of a rule (RFC 8955 section 7). `fields` tells which of the others
/// are in force; those that are not have their defaults. A plain value; the default permits.
struct RuleAction {
   ActionFieldSet fields;
   TrafficAction trafficAction;
   TrafficRedirect redirect;
   Zorv::IpTos markDscp; ///< the DSCP as a number from 0 to 63
   float rateLimit = 0;  ///< bytes or packets a second, as `fields` says

   bool operator==( const RuleAction& ) const = default;
};

/// What a configured rule asks for, without the values that are not in force.
OSK_EXPORT RuleAction actionOf( const RuleConfig& rule );

/// Has `rule` ask for `action`, publishing what changes. The values of what is in
/// force change before it is said to be, those of the rest go afterwards: a reader of the rule
/// never sees a rate of 0 that is about to come or on its way out.
OSK_EXPORT void actionIs( RuleConfig& rule, const RuleAction& action );

} // namespace Flowspec
