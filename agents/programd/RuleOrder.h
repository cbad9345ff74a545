#pragma once

#include "wire/Precedence.h"

namespace Agents {

/// The order in which room is given to rules: VRFs ascending, IPv4 before IPv6, then as RFC 8955
/// section 5.1 orders rules.
struct RuleOrder {
   bool operator()( const Flowspec::FlowspecKey& a, const Flowspec::FlowspecKey& b ) const {
      if ( a.vrfId() != b.vrfId() ) {
         return a.vrfId() < b.vrfId();
      }
      if ( a.addressFamily() != b.addressFamily() ) {
         return a.addressFamily() < b.addressFamily();
      }
      return Wire::precedes( a, b );
   }
};

} // namespace Agents
