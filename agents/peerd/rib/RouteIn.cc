#include "agents/peerd/rib/RouteIn.h"

#include "Osk/Assert.h"
#include "agents/peerd/rib/RouteTable.h"

#include <algorithm>
#include <iterator>
#include <map>

namespace Peerd {

namespace {

using Octets = std::span< const U8 >;

U8 positionOf( Bgp::Family family ) {
   const auto found = std::ranges::find( Bgp::flowFamilies, family );
   OSK_ASSERT( found != Bgp::flowFamilies.end(), "found != Bgp::flowFamilies.end()" );
   return static_cast< U8 >( found - Bgp::flowFamilies.begin() );
}

bool contains( std::span< const Bgp::Family > families, Bgp::Family family ) {
   return std::ranges::find( families, family ) != families.end();
}

// The NLRI that a field begins with, which is whole; it is taken from the field.
NlriId takeId( Octets& field, U8 family ) {
   const std::size_t lengthSize = field[0] < 0xF0 ? 1 : 2;
   const std::size_t size = lengthSize == 1 ? field[0] : ( field[0] & 0x0FU ) << 8 | field[1];
   const NlriId id{ field.data() + lengthSize, static_cast< U16 >( size ), family };
   field = field.subspan( lengthSize + size );
   return id;
}

void forgetBeyond( PeerIn& peer, NlriId id ) {
   if ( !peer.beyond.empty() ) {
      std::erase_if( peer.beyond, [&]( const PeerIn::Beyond& beyond ) {
         return beyond.family == id.family && std::ranges::equal( beyond.octets, id.span() );
      } );
   }
}

void noteBeyond( PeerIn& peer, NlriId id ) {
   ++peer.beyondCount;
   forgetBeyond( peer, id );
   if ( peer.beyond.size() < PeerIn::maxBeyond ) {
      peer.beyond.push_back( { id.family, { id.octets, id.octets + id.size } } );
   }
   ++peer.unfiledVersion;
}

} // namespace

class RouteIn::State {
public:
   explicit State( RuleSink& sink ) : table( sink ) {}

   PeerIn& peer( PeerId id ) {
      const auto found = peers.find( id );
      const bool isKnown = found != peers.end() && !found->second->gone;
      OSK_ASSERT( isKnown, "isKnown" );
      return *found->second;
   }

   void judgeAnew( PeerIn& peer ) { table.judgeAnew( peer, sessions ); }
   void judgeAllAnew() {
      for ( auto& [id, peer] : peers ) {
         judgeAnew( *peer );
      }
      table.settle();
   }

   void withdraw( PeerIn& peer, const Bgp::Routes& routes ) {
      const U8 family = positionOf( routes.family );
      for ( Octets field = routes.nlri; !field.empty(); ) {
         const NlriId id = takeId( field, family );
         if ( Route* const route = table.find( peer, id ) ) {
            table.remove( *route );
         } else {
            forgetBeyond( peer, id );
         }
      }
   }

   // False when there was no room for some of them.
   bool announce( PeerIn& peer, const Bgp::Update& update ) {
      const U8 family = positionOf( update.reach->family );
      const AttributesRef attributes = pool.intern( update, peer.import.localAs );
      bool hadRoom = true;
      Octets field = update.reach->nlri;
      Wire::NlriList list( field, *update.reach->family.format() );
      while ( !list.atEnd() ) {
         const bool malformed = list.next( nlri ).has_value();
         const NlriId id = takeId( field, family );
         if ( table.announce( peer, id, malformed ? nullptr : &nlri.key, attributes, sessions ) ) {
            forgetBeyond( peer, id );
         } else {
            noteBeyond( peer, id );
            hadRoom = false;
         }
      }
      return hadRoom;
   }

   AttributePool pool; // outlives the routes
   RouteTable table;
   std::map< PeerId, std::unique_ptr< PeerIn > > peers;
   GuardedSessions sessions;
   VrfTable vrfs;
   Wire::Nlri nlri; // in work
};

RouteIn::RouteIn( RuleSink& sink ) : state_( std::make_unique< State >( sink ) ) {}
RouteIn::~RouteIn() = default;

void RouteIn::peerIs( PeerId id, const PeerImport& import ) {
   auto& peer = state_->peers[id];
   if ( !peer ) {
      peer = std::make_unique< PeerIn >( id );
   }
   peer->gone = false;
   // What a former session brought was read for its AS numbers.
   if ( peer->import.localAs != import.localAs || peer->import.peerAs != import.peerAs ) {
      down( id, {} );
   }
   if ( peer->import != import ) {
      peer->import = import;
      state_->judgeAnew( *peer );
      state_->table.settle();
   }
}

void RouteIn::peerDel( PeerId id ) {
   down( id, {} );
   state_->peer( id ).gone = true;
}

void RouteIn::vrfTableIs( const VrfTable& table ) {
   if ( state_->vrfs == table ) {
      return;
   }
   state_->vrfs = table;
   state_->pool.vrfsAre( table.importTable() );
   state_->judgeAllAnew();
}

void RouteIn::sessionsIs( const std::vector< SessionEnds >& sessions ) {
   if ( state_->sessions.sessions() != sessions ) {
      state_->sessions = GuardedSessions( sessions );
      state_->judgeAllAnew();
   }
}

void RouteIn::established( PeerId id, U32 peerIdentifier, std::span< const Bgp::Family > kept ) {
   PeerIn& peer = state_->peer( id );
   for ( U8 i = 0; i < peer.families.size(); ++i ) {
      if ( !contains( kept, Bgp::flowFamilies[i] ) ) {
         peer.families[i].kept = peer.families[i].ofSession;
      }
   }
   if ( peer.identifier != peerIdentifier ) {
      peer.identifier = peerIdentifier;
      state_->judgeAnew( peer );
      state_->table.settle();
   }
}

RouteIn::Taken RouteIn::update( PeerId id, const Bgp::Update& update ) {
   PeerIn& peer = state_->peer( id );
   const GuardRails& guards = peer.import.guards;
   if ( update.unreach ) {
      state_->withdraw( peer, *update.unreach );
   }
   const bool hadRoom = !update.reach || state_->announce( peer, update );
   state_->table.settle();
   Taken taken;
   taken.cease = !hadRoom && guards.ceases;
   taken.nearMaximum = !peer.warned && peer.count >= guards.warningAt();
   peer.warned |= taken.nearMaximum;
   return taken;
}

void RouteIn::endOfRib( PeerId id, Bgp::Family ended ) {
   FamilyIn& family = state_->peer( id ).families[positionOf( ended )];
   family.kept = std::max( family.kept, family.ofSession );
}

void RouteIn::refreshBegins( PeerId id, Bgp::Family begun ) {
   FamilyIn& family = state_->peer( id ).families[positionOf( begun )];
   family.refreshing = true;
   ++family.generation;
   family.current = 0;
}

void RouteIn::refreshEnds( PeerId id, Bgp::Family ended ) {
   FamilyIn& family = state_->peer( id ).families[positionOf( ended )];
   if ( std::exchange( family.refreshing, false ) ) {
      family.kept = family.generation;
   }
}

void RouteIn::down( PeerId id, std::span< const Bgp::Family > stale ) {
   PeerIn& peer = state_->peer( id );
   for ( U8 i = 0; i < peer.families.size(); ++i ) {
      FamilyIn& family = peer.families[i];
      const U32 former = family.ofSession;
      family.ofSession = ++family.generation;
      family.kept = contains( stale, Bgp::flowFamilies[i] ) ? former : family.generation;
      family.current = 0;
      family.refreshing = false;
   }
   peer.beyond.clear();
   peer.beyondCount = 0;
   peer.warned = false;
   ++peer.unfiledVersion;
}

void RouteIn::sweepStale( PeerId id ) {
   for ( FamilyIn& family : state_->peer( id ).families ) {
      family.kept = std::max( family.kept, family.ofSession );
   }
}

bool RouteIn::work( U32 limit ) {
   U32 removed = 0;
   for ( auto at = state_->peers.begin(); at != state_->peers.end() && removed < limit; ) {
      PeerIn& peer = *at->second;
      for ( FamilyIn& family : peer.families ) {
         Route* route = family.routes.first();
         for ( ; route && route->generation < family.kept && removed < limit; ++removed ) {
            state_->table.remove( *route );
            route = family.routes.first();
         }
      }
      state_->table.settle();
      at = peer.gone && peer.count == 0 ? state_->peers.erase( at ) : std::next( at );
   }
   return removed == limit;
}

RouteCounts RouteIn::counts( PeerId id ) const {
   const PeerIn& peer = state_->peer( id );
   RouteCounts counts;
   counts.received = peer.count;
   counts.hidden = peer.hiddenCount;
   counts.refused = peer.refusedCount;
   counts.filed = peer.count - peer.hiddenCount - peer.refusedCount;
   for ( const FamilyIn& family : peer.families ) {
      counts.stale += family.count - family.current;
   }
   counts.beyondMax = peer.beyondCount;
   return counts;
}

U64 RouteIn::unfiledVersion( PeerId id ) const { return state_->peer( id ).unfiledVersion; }

void RouteIn::forEachRefused( PeerId id, U32 limit, const Take& take ) const {
   const PeerIn& peer = state_->peer( id );
   for ( Route* route = peer.refused.first(); route && limit > 0; --limit ) {
      const NlriId nlri = route->nlri->id();
      take( { Bgp::flowFamilies[nlri.family], nlri.span(), reasonOf( *route, state_->sessions ) } );
      route = ListedRoutes::after( *route );
   }
   for ( const PeerIn::Beyond& beyond : peer.beyond ) {
      if ( limit-- == 0 ) {
         return;
      }
      take( { Bgp::flowFamilies[beyond.family], beyond.octets, beyondReason( peer ) } );
   }
}

void RouteIn::forEachHidden( PeerId id, U32 limit, const Take& take ) const {
   const PeerIn& peer = state_->peer( id );
   for ( Route* route = peer.hidden.first(); route && limit > 0; --limit ) {
      const NlriId nlri = route->nlri->id();
      take( { Bgp::flowFamilies[nlri.family], nlri.span(), hiddenReason( *route ) } );
      route = ListedRoutes::after( *route );
   }
}

bool RouteIn::isFiled( const Flowspec::FlowspecKey& key ) const {
   return state_->table.keys().isFiled( key );
}

U32 RouteIn::filed() const { return state_->table.keys().filed(); }

} // namespace Peerd
