#include "agents/peerd/rib/RouteTable.h"

#include "agents/peerd/rib/Decision.h"

namespace Peerd {

namespace {

// What counts against the peer's octets.
U64 octetsOf( const Route& route ) { return route.nlri->size + route.attributes->size(); }

// Of the peer, or null.
Route* routeOf( const PeerIn& peer, const NlriNode& node ) {
   Route* route = node.routes;
   while ( route && route->peer != &peer ) {
      route = route->nextOfNlri;
   }
   return route;
}

void unlist( Route& route ) {
   PeerIn& peer = *route.peer;
   if ( route.state == Route::State::hidden ) {
      peer.hidden.erase( route );
      --peer.hiddenCount;
   } else if ( route.state == Route::State::refused ) {
      peer.refused.erase( route );
      --peer.refusedCount;
   }
   peer.unfiledVersion += route.state != Route::State::filed;
   route.state = Route::State::filed;
}

void list( Route& route, Route::State state ) {
   PeerIn& peer = *route.peer;
   if ( state == Route::State::hidden ) {
      peer.hidden.push( route );
      ++peer.hiddenCount;
   } else if ( state == Route::State::refused ) {
      peer.refused.push( route );
      ++peer.refusedCount;
   }
   peer.unfiledVersion += state != Route::State::filed;
   route.state = state;
}

} // namespace

Route* RouteTable::find( const PeerIn& peer, NlriId id ) const {
   const NlriNode* const node = nlris_.find( id );
   return node ? routeOf( peer, *node ) : nullptr;
}

Route& RouteTable::add( PeerIn& peer, NlriNode& node ) {
   Route& route = *new Route;
   route.nlri = &node;
   route.peer = &peer;
   route.nextOfNlri = node.routes;
   node.routes = &route;
   ++peer.count;
   ++peer.families[node.family].count;
   return route;
}

bool RouteTable::announce( PeerIn& peer, NlriId id, const Flowspec::FlowspecKey* key,
                           const AttributesRef& attributes, const GuardedSessions& sessions ) {
   constexpr U64 octetsPerRule = 512;
   const U32 most = peer.import.guards.maxRules;
   NlriNode* const node = nlris_.find( id );
   Route* route = node ? routeOf( peer, *node ) : nullptr;
   const U64 octets =
      peer.octets - ( route ? octetsOf( *route ) : 0 ) + id.size + attributes->size();
   if ( octets > most * octetsPerRule || ( !route && peer.count >= most ) ) {
      if ( route ) {
         remove( *route );
      }
      return false;
   }
   peer.octets = octets;
   FamilyIn& family = peer.families[id.family];
   const bool isNew = !route;
   if ( isNew ) {
      route = &add( peer, node ? *node : nlris_.add( id ) );
   } else {
      family.routes.erase( *route );
      family.current -= route->generation == family.generation;
   }
   family.routes.push( *route );
   route->generation = family.generation;
   ++family.current;
   if ( isNew || route->attributes != attributes ) {
      route->attributes = attributes;
      judgeRoute( *route, key, sessions );
      decide( *route->nlri, key, *route, false );
   }
   return true;
}

void RouteTable::remove( Route& route ) {
   PeerIn& peer = *route.peer;
   NlriNode& node = *route.nlri;
   FamilyIn& family = peer.families[node.family];
   family.routes.erase( route );
   --family.count;
   family.current -= route.generation == family.generation;
   --peer.count;
   peer.octets -= octetsOf( route );
   unlist( route );
   Route** at = &node.routes;
   while ( *at != &route ) {
      at = &( *at )->nextOfNlri;
   }
   *at = route.nextOfNlri;
   decide( node, nullptr, route, false );
   delete &route;
}

void RouteTable::judgeRoute( Route& route, const Flowspec::FlowspecKey* key,
                             const GuardedSessions& sessions ) {
   const Judgement judgement =
      judge( *route.peer, *route.attributes, route.nlri->family, key, sessions );
   route.refusal = judgement.refusal;
   route.detail = judgement.detail;
   route.term = judgement.term;
}

void RouteTable::judgeAnew( PeerIn& peer, const GuardedSessions& sessions ) {
   Wire::Nlri nlri;
   for ( FamilyIn& family : peer.families ) {
      for ( Route* route = family.routes.first(); route; route = AgeList::after( *route ) ) {
         NlriNode& node = *route->nlri;
         const bool malformed =
            Wire::decodeNlri( node.withLength(), *Bgp::flowFamilies[node.family].format(), nlri )
               .has_value();
         judgeRoute( *route, malformed ? nullptr : &nlri.key, sessions );
         decide( node, &nlri.key, *route, true );
      }
   }
}

// The best route of an NLRI of which `changed` came, changed or went, and its keys.
void RouteTable::decide( NlriNode& node, const Flowspec::FlowspecKey* key, const Route& changed,
                         bool anew ) {
   candidates_.clear();
   for ( Route* route = node.routes; route; route = route->nextOfNlri ) {
      if ( route->refusal == Refusal::none ) {
         candidates_.push_back( route );
      }
   }
   const Route* const before = node.best;
   node.best = candidates_.empty() ? nullptr : &bestOf( candidates_ );
   if ( node.best != before || node.best == &changed ) {
      mapKeys( node, key, anew );
   }
   unsettle( node );
}

void RouteTable::mapKeys( NlriNode& node, const Flowspec::FlowspecKey* key, bool anew ) {
   using Mark = FiledKey::Mark;
   mapped_.clear();
   for ( U32 i = 0; i < node.keys.size(); ++i ) {
      node.keys[i]->mark = Mark::before;
   }
   if ( node.best ) {
      if ( !key ) {
         (void)Wire::decodeNlri( node.withLength(), *Bgp::flowFamilies[node.family].format(),
                                 read_ ); // a route that may be used is not malformed
      } else if ( key != &read_.key ) {
         read_.key = *key;
      }
      read_.key.interfaceSetPopAll();
      for ( const U16 set : interfaceSetsOf( *node.best ) ) {
         read_.key.interfaceSetPush( set );
      }
      for ( const Vrf::VrfIdMap::VrfId vrf : vrfsOf( *node.best ) ) {
         read_.key.vrfIdIs( vrf );
         FiledKey& entry = keys_.get( read_.key );
         if ( entry.mark == Mark::before || keys_.claim( entry, node ) ) {
            entry.mark = Mark::now;
            mapped_.push_back( &entry );
            keys_.touch( entry, anew );
         }
      }
   }
   for ( U32 i = 0; i < node.keys.size(); ++i ) {
      if ( node.keys[i]->mark == Mark::before ) {
         node.keys[i]->mark = Mark::none;
         keys_.unclaim( *node.keys[i], node );
         keys_.touch( *node.keys[i], false );
      }
   }
   node.keys.clear();
   for ( FiledKey* const entry : mapped_ ) {
      entry->mark = Mark::none;
      node.keys.push( entry );
   }
}

void RouteTable::restate( Route& route ) {
   const Route::State state = route.refusal != Refusal::none ? Route::State::refused
                              : route.nlri->best == &route && route.nlri->filedKeys != 0
                                 ? Route::State::filed
                                 : Route::State::hidden;
   if ( state != route.state ) {
      unlist( route );
      list( route, state );
   } else if ( state == Route::State::refused ) {
      ++route.peer->unfiledVersion;
   }
}

void RouteTable::unsettle( NlriNode& node ) {
   if ( !node.unsettled ) {
      node.unsettled = true;
      unsettled_.push_back( &node );
   }
}

void RouteTable::settle() {
   keys_.settle( [this]( NlriNode& node ) { unsettle( node ); } );
   for ( NlriNode* const node : unsettled_ ) {
      node->unsettled = false;
      if ( !node->routes ) {
         nlris_.erase( *node );
         continue;
      }
      for ( Route* route = node->routes; route; route = route->nextOfNlri ) {
         restate( *route );
      }
   }
   unsettled_.clear();
}

} // namespace Peerd
