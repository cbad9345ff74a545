#pragma once

#include "agents/bgp/message/Family.h"

#include "Vek/text/String.h"

#include <chrono>
#include <span>
#include <vector>

namespace Bgp {

struct Agreed;
struct Update;
class Session;

/// How a session that was established ended.
struct Down {
   /// In words, such as "hold timer expired" or "the peer sent Cease/Administrative Shutdown: bye".
   Vek::String reason;
   /// Whether what the peer announced stays as stale (graceful restart, RFC 4724 and RFC 8538), of
   /// which families, and for how long if the session does not come up again. What is of other
   /// families goes.
   bool keepsStale = false;
   std::vector< Family > staleFamilies;
   std::chrono::seconds restartTime{ 0 };
};

/// What is done with what sessions bring; the user of `SessionSet` implements it. A call comes from
/// the event loop and is to return soon. Within it `send` and `end` of any session may be called.
class SessionHandler {
public:
   /// The session is up. Of a family that was kept as stale and that the peer's graceful restart
   /// capability does not bear with the forwarding bit what is stale goes now.
   virtual void established( Session& session, const Agreed& agreed ) = 0;
   /// An UPDATE arrived that does not end the session, as RFC 7606 judges it; it refers to octets
   /// that are gone after the call. End-of-RIB comes as `endOfRib` alone.
   virtual void update( Session& session, const Update& update ) = 0;
   virtual void endOfRib( Session& session, Family family ) = 0;
   /// The peer wants all of a family again (RFC 2918, subtype 0), or tells the begin (1) or the end
   /// (2) of such an answer of its own (RFC 7313).
   virtual void routeRefresh( Session& session, Family family, U8 subtype ) = 0;
   /// The session is over. Called once for each `established`.
   virtual void down( Session& session, const Down& down ) = 0;
   /// `canSend`, which was false, is true again.
   virtual void writable( Session& session ) = 0;
   /// The state or the last error is another one. Not called for messages and other counts.
   virtual void changed( Session& session ) = 0;

protected:
   ~SessionHandler() = default;
};

} // namespace Bgp
