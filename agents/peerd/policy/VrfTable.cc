#include "agents/peerd/policy/VrfTable.h"

#include <algorithm>

namespace Peerd {

const VrfEntry* VrfTable::find( Vrf::VrfIdMap::VrfId vrf ) const {
   const auto found = std::ranges::find( vrfs, vrf, &VrfEntry::vrf );
   return found == vrfs.end() ? nullptr : &*found;
}

Wire::RouteTargetTable VrfTable::importTable() const {
   Wire::RouteTargetTable table;
   for ( const VrfEntry& entry : vrfs ) {
      for ( const Wire::RouteTarget& target : entry.importTargets ) {
         table.add( target, entry.vrf );
      }
   }
   return table;
}

} // namespace Peerd
