#pragma once

#include "agents/bgp/session/Down.h"

namespace Bgp {

struct Agreed;
struct Update;
class Session;

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
