#include "agents/peerd/rib/Decision.h"

#include <algorithm>
#include <functional>
#include <tuple>

namespace Peerd {

namespace {

// The lowest is the best; of equal ones the MED decides among those of one neighbour.
auto beforeMed( const Route& route ) {
   const AttributeSet& attributes = *route.attributes;
   return std::tuple( ~attributes.path().localPref.value_or( 100 ), attributes.pathLength(),
                      attributes.path().origin );
}

auto afterMed( const Route& route ) {
   const Bgp::PathAttributes& path = route.attributes->path();
   return std::tuple( path.originatorId.value_or( route.peer->identifier ), path.clusterList.size(),
                      route.peer->import.address, route.peer->id, route.nlri->id() );
}

// Leaves of the routes of each neighbour AS those with the lowest MED.
void keepLowestMeds( std::vector< const Route* >& routes ) {
   const auto med = []( const Route* route ) {
      return std::pair( route->attributes->neighborAs(),
                        route->attributes->path().med.value_or( 0 ) );
   };
   std::ranges::sort( routes, {}, med );
   std::optional< std::pair< U32, U32 > > lowest;
   std::erase_if( routes, [&]( const Route* route ) {
      const auto own = med( route );
      if ( !lowest || lowest->first != own.first ) {
         lowest = own;
      }
      return own != *lowest;
   } );
}

} // namespace

const Route& bestOf( std::vector< const Route* >& routes ) {
   if ( routes.size() == 1 ) {
      return *routes.front();
   }
   auto lowest = beforeMed( *routes.front() );
   for ( const Route* const route : routes ) {
      lowest = std::min( lowest, beforeMed( *route ) );
   }
   std::erase_if( routes, [&]( const Route* route ) { return beforeMed( *route ) != lowest; } );

   keepLowestMeds( routes );

   const auto isExternal = []( const Route* route ) { return !route->peer->import.isInternal(); };
   if ( std::ranges::any_of( routes, isExternal ) ) {
      std::erase_if( routes, std::not_fn( isExternal ) );
   }
   return **std::ranges::min_element(
      routes, []( const Route* a, const Route* b ) { return afterMed( *a ) < afterMed( *b ); } );
}

} // namespace Peerd
