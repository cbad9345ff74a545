#pragma once

#include "agents/bgp/message/Update.h"
#include "agents/peerd/policy/PeerImport.h"
#include "agents/peerd/policy/VrfTable.h"
#include "agents/peerd/rib/RuleSink.h"

#include <functional>
#include <memory>

namespace Peerd {

/// How many rules of a peer there are now: those received are filed, hidden or refused.
struct RouteCounts {
   U32 received = 0;
   U32 filed = 0;
   U32 hidden = 0; ///< behind a better one, of another peer or of the same key
   U32 refused = 0;
   U32 stale = 0;     ///< of a session that is lost, or not told again yet of a refresh
   U32 beyondMax = 0; ///< announcements since the session began for which there was no room

   bool operator==( const RouteCounts& ) const = default;
};

/// A rule that a peer announced and that is not filed: a view, for the time of the call.
struct UnfiledRoute {
   Bgp::Family family;
   /// The NLRI without its length field, a distinguisher first in VPN families: what identifies the
   /// rule in BGP.
   std::span< const U8 > octets;
   Vek::String reason;
};

/// The Adj-RIBs-In of all peers, and what comes of them.
///
/// Routes are told apart by family, distinguisher and octets of the NLRI. A route that is
/// malformed, that may not be used (RFC 4271 section 9.1.2, RFC 4456, RFC 9117), that the peer's
/// policy refuses or a guard rail stops is kept as refused. Of the others with one NLRI, the best
/// path wins (RFC 4271 section 9.1.2.2 without the metric of the next hop, RFC 4456 section 9). The
/// winner is mapped to a key for each VRF that it is for; of several that give one key the best is
/// filed, by the same comparison and then by family and octets; beyond 1024 of one key it is the
/// first to come. All others are hidden and take over when it goes.
///
/// What changes of one call is told in one transaction of the sink. Nothing here blocks, throws for
/// what peers send, or knows the time; memory is bounded by `GuardRails::maxRules` of each peer.
/// Calls about a peer that is not known (`peerIs`) are mistakes of the caller and fail an
/// assertion.
class RouteIn {
public:
   /// `sink` must outlive this.
   explicit RouteIn( RuleSink& sink );
   ~RouteIn();
   RouteIn( const RouteIn& ) = delete;
   RouteIn& operator=( const RouteIn& ) = delete;

   /// The peer is configured so from now on; its routes are judged anew.
   void peerIs( PeerId peer, const PeerImport& import );
   /// The peer is gone, and with it its routes.
   void peerDel( PeerId peer );
   /// All routes are judged anew when the table is another one.
   void vrfTableIs( const VrfTable& table );
   /// The sessions that no rule may take packets of; routes are judged anew when they are others.
   void sessionsIs( const std::vector< SessionEnds >& sessions );

   /// A session is up. Routes of families that are stale and not among `kept` are withdrawn: `kept`
   /// are those that the peer says it kept forwarding for (the F bit).
   void established( PeerId peer, U32 peerIdentifier, std::span< const Bgp::Family > kept );

   /// What an update means for the session.
   struct Taken {
      bool nearMaximum = false; ///< a warning is due: there are 80 % of the rules that may be
      bool cease = false;       ///< there are more than may be, and the session is to end for it
   };

   /// Takes the routes of an update.
   Taken update( PeerId peer, const Bgp::Update& update );

   /// All was told of the family: what is still stale is withdrawn.
   void endOfRib( PeerId peer, Bgp::Family family );
   /// The peer begins to tell all of the family again (RFC 7313), and ends.
   void refreshBegins( PeerId peer, Bgp::Family family );
   void refreshEnds( PeerId peer, Bgp::Family family );

   /// The session is over. Routes of `stale` stay as stale, but those that were already are
   /// withdrawn (RFC 4724 section 4.2), and so is all of other families.
   void down( PeerId peer, std::span< const Bgp::Family > stale );
   /// The time for the session to come back is over: what is stale is withdrawn.
   void sweepStale( PeerId peer );

   /// The calls above mark what is to be withdrawn; this withdraws at most about `limit` of it, so
   /// that no session waits for long, and tells whether there is more.
   bool work( U32 limit );

   RouteCounts counts( PeerId peer ) const;
   /// Another number after each change of what `forEachRefused` or `forEachHidden` gives.
   U64 unfiledVersion( PeerId peer ) const;
   /// Calls with refused routes, at most `limit`: those that are refused the longest first, then
   /// some of those beyond the maximum.
   using Take = std::function< void( const UnfiledRoute& ) >;
   void forEachRefused( PeerId peer, U32 limit, const Take& take ) const;
   void forEachHidden( PeerId peer, U32 limit, const Take& take ) const;

   /// Whether a rule is filed under `key`, and how many are.
   bool isFiled( const Flowspec::FlowspecKey& key ) const;
   U32 filed() const;

private:
   class State;
   std::unique_ptr< State > state_;
};

} // namespace Peerd
