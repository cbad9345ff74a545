#pragma once

#include "agents/peerd/rib/Judge.h"
#include "agents/peerd/rib/KeyTable.h"
#include "agents/peerd/rib/NlriTable.h"

namespace Peerd {

/// All routes, and which of them are the best and filed. Changes take effect with `settle`.
class RouteTable {
public:
   explicit RouteTable( RuleSink& sink ) : keys_( sink ) {}
   RouteTable( const RouteTable& ) = delete;
   RouteTable& operator=( const RouteTable& ) = delete;

   /// The route of `peer` for an NLRI, or null.
   Route* find( const PeerIn& peer, NlriId id ) const;

   /// `peer` announces an NLRI with these attributes; `key` is null for one that is malformed.
   /// False when there is no room for it: then the peer has no route for it.
   bool announce( PeerIn& peer, NlriId id, const Flowspec::FlowspecKey* key,
                  const AttributesRef& attributes, const GuardedSessions& sessions );
   void remove( Route& route );
   /// The peer's routes are judged and compared anew.
   void judgeAnew( PeerIn& peer, const GuardedSessions& sessions );

   void settle();

   const KeyTable& keys() const { return keys_; }

private:
   static Route& add( PeerIn& peer, NlriNode& node );
   void restate( Route& route );
   void unsettle( NlriNode& node );
   void judgeRoute( Route& route, const Flowspec::FlowspecKey* key,
                    const GuardedSessions& sessions );
   void decide( NlriNode& node, const Flowspec::FlowspecKey* key, const Route& changed, bool anew );
   void mapKeys( NlriNode& node, const Flowspec::FlowspecKey* key, bool anew );

   NlriTable nlris_;
   KeyTable keys_;
   std::vector< NlriNode* > unsettled_;     // whose routes may be in another state, or gone
   std::vector< const Route* > candidates_; // of the NLRI in work
   std::vector< FiledKey* > mapped_;
   Wire::Nlri read_;
};

} // namespace Peerd
