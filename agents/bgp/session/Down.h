#pragma once

#include "agents/bgp/message/Open.h"
#include "agents/bgp/session/State.h"

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

/// Why a connection ended, in words. `told` is the NOTIFICATION that was sent or received, of code
/// 0 when there was none; `words` say more than it, unless they are empty or it was received.
Vek::String endReason( Event event, const Notification& told, std::string_view words );

/// How a session ended in which `agreed` was agreed on.
Down endOf( const Agreed& agreed, const Notification& told, Vek::String reason );

/// Whether a NOTIFICATION that is sent takes the rules with the session although both sides could
/// keep them over one (RFC 8538 section 3.1).
bool isHard( const Notification& sent );

/// Whether one of the two sides is wrong, as opposed to gone or told to end: it does
/// not help to try again at once.
bool isError( Event event, const Notification& told );

} // namespace Bgp
