#pragma once

#include "Flowspec/config/TrafficActions.h"
#include "Zorv/IpTos.h"

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

} // namespace Flowspec
