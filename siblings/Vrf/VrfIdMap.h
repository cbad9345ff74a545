#pragma once

#include "Osk/Types.h"

namespace Vrf {

/// The identifiers under which VRFs are known to the state database.
struct VrfIdMap {
   /// Identifier of one VRF; any 32-bit number, of which `invalid()` stands for none.
   using VrfId = U32;

   /// The identifier of no VRF: 0xFFFFFF.
   static constexpr VrfId invalid() { return 16777215; }
};

} // namespace Vrf
