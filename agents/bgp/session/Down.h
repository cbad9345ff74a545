#pragma once

#include "agents/bgp/message/Family.h"

#include <chrono>
#include <vector>

namespace Bgp {

/// How a session that was established ended.
struct Down {
   /// In words, such as "hold timer expired" or "received cease, administrative shutdown".
   Vek::String reason;
   /// Whether what the peer announced stays as stale (graceful restart, RFC 4724 and RFC 8538), of
   /// which families, and for how long if the session does not come up again. What is of other
   /// families goes.
   bool keepsStale = false;
   std::vector< Family > staleFamilies;
   std::chrono::seconds restartTime{ 0 };

   bool operator==( const Down& ) const = default;
};

} // namespace Bgp
