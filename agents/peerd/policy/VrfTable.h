#pragma once

#include "Zorv/RouteDistinguisher.h"
#include "wire/Community.h"

#include <vector>

namespace Peerd {

/// A VRF as BGP knows it.
struct VrfEntry {
   Vrf::VrfIdMap::VrfId vrf = 0;
   /// In front of rules of the VRF that are announced in a VPN family. Without one (0) they are
   /// announced as if they were of the default VRF.
   Zorv::RouteDistinguisher distinguisher;
   std::vector< Wire::RouteTarget > importTargets; ///< rules with one of these are the VRF's
   std::vector< Wire::RouteTarget > exportTargets; ///< of rules that are announced

   bool operator==( const VrfEntry& ) const = default;
};

/// All VRFs, each once. A redirect to a route target is one to the first VRF that imports it. A
/// plain value.
struct VrfTable {
   std::vector< VrfEntry > vrfs;

   /// The entry of `vrf`, or null.
   const VrfEntry* find( Vrf::VrfIdMap::VrfId vrf ) const;
   Wire::RouteTargetTable importTable() const;

   bool operator==( const VrfTable& ) const = default;
};

} // namespace Peerd
