#include "dataplane/nftables/Addresses.h"
#include "dataplane/nftables/Names.h"
#include "dataplane/nftables/RuleChains.h"
#include "dataplane/nftables/Table.h"

/// What a table makes of destinations: intervals of addresses, and chains of which each goes on to
/// that of the next shorter prefix.
namespace Dataplane::Nftables {

using Zorv::IpGenAddr;
using Zorv::IpGenPrefix;

namespace {

// The kernel follows no more than 16 chains into each other. The others are the base chain, that of
// the VRF, that of the rules without destination and two of a rule.
constexpr unsigned maxNesting = 10;

} // namespace

// Finds out anew what addresses lead to, after a prefix came or went that `cover` covers.
void Table::nodeChanged( VrfId vrf, const IpGenPrefix& prefix, const Node* cover ) {
   const IpGenAddr last = lastOf( prefix );
   IpGenAddr begin = prefix.address();
   IpGenAddr end = last;
   std::set< Interval >& intervals = current_.destinations[destinationMap( vrf )];
   if ( cover ) {
      // With what there is of the cover on both sides.
      const Vek::String chain = prefixChain( vrf, cover->prefix );
      const auto left = intervals.lower_bound( { begin, begin, "" } );
      if ( left != intervals.begin() && std::prev( left )->chain == chain &&
           !( std::prev( left )->last < beside( begin, -1 ) ) ) {
         begin = std::prev( left )->first;
      }
      if ( !isLast( last ) ) {
         const IpGenAddr after = beside( last, 1 );
         const auto right = intervals.lower_bound( { after, after, "" } );
         if ( right != intervals.end() && right->first == after && right->chain == chain ) {
            end = right->last;
         } else if ( right != intervals.begin() && last < std::prev( right )->last ) {
            end = std::prev( right )->last;
         }
      }
   }
   const Vek::String map = destinationMap( vrf );
   if ( !changes_.after.destinations.contains( map ) ) {
      changes_.before.destinations[map];
      changes_.after.destinations[map];
   }
   for ( auto at = intervals.lower_bound( { begin, begin, "" } );
         at != intervals.end() && !( end < at->first ); at = intervals.erase( at ) ) {
      if ( changes_.after.destinations[map].erase( *at ) == 0 ) {
         changes_.before.destinations[map].insert( *at );
      }
   }
   walk( vrf, { prefix.address(), prefix.length() }, last, cover, begin, end );
}

// Gives the prefixes from `first` on whose addresses are up to `last` their covers, and the
// addresses from `begin` to `end` their intervals.
void Table::walk( VrfId vrf, const Key& first, const IpGenAddr& last, const Node* cover,
                  const IpGenAddr& begin, const IpGenAddr& end ) {
   const Vek::String map = destinationMap( vrf );
   std::vector< const Node* > open;         // each covers the next
   std::optional< IpGenAddr > next = begin; // the first address without an interval
   const auto addInterval = [&]( const Node& node, const IpGenAddr& to ) {
      if ( next && !( to < *next ) ) {
         intervalIs( map, { *next, to, prefixChain( vrf, node.prefix ) } );
         next = isLast( to ) ? std::nullopt : std::optional( beside( to, 1 ) );
      }
   };
   const auto close = [&] {
      addInterval( *open.back(), lastOf( open.back()->prefix ) );
      open.pop_back();
   };
   VrfRules& rules = vrfs_[vrf];
   for ( auto at = rules.nodes.lower_bound( first );
         at != rules.nodes.end() && !( last < at->first.first ); ++at ) {
      const IpGenAddr& address = at->first.first;
      while ( !open.empty() && lastOf( open.back()->prefix ) < address ) {
         close();
      }
      Node& node = at->second;
      node.cover = open.empty() ? cover : open.back();
      node.depth = node.cover ? node.cover->depth + 1 : 1;
      rules.deep = rules.deep || node.depth > maxNesting;
      if ( !node.cover ) {
         next = address;
      } else if ( next && *next < address ) {
         addInterval( *node.cover, beside( address, -1 ) );
      }
      open.push_back( &node );
      dirty_.insert( { vrf, at->first } );
   }
   while ( !open.empty() ) {
      close();
   }
   if ( cover ) {
      addInterval( *cover, end );
   }
}

void Table::intervalIs( const Vek::String& map, const Interval& interval ) {
   current_.destinations[map].insert( interval );
   const auto before = changes_.before.destinations.find( map );
   if ( before == changes_.before.destinations.end() || before->second.erase( interval ) == 0 ) {
      changes_.after.destinations[map].insert( interval );
   }
}

// The chains inside a prefix that may have copies of its rules.
void Table::copiesChanged( VrfId vrf, const IpGenPrefix& prefix ) {
   const VrfRules& rules = vrfs_[vrf];
   if ( !rules.deep ) {
      return;
   }
   const IpGenAddr last = lastOf( prefix );
   for ( auto at = rules.nodes.lower_bound( { prefix.address(), prefix.length() } );
         at != rules.nodes.end() && !( last < at->first.first ); ++at ) {
      dirty_.insert( { vrf, at->first } );
   }
}

Chain Table::chainOf( VrfId vrf, const Node& node ) const {
   Chain chain;
   const auto append = [&]( const Node& one ) {
      for ( const Placed& placed : one.rules ) {
         chain.parts.push_back( placed.lines );
      }
   };
   append( node );
   const Node* cover = node.cover;
   if ( cover && cover->depth % maxNesting == 0 ) {
      // What is to follow is copied instead; counters and limits count for all copies.
      for ( ; cover; cover = cover->cover ) {
         append( *cover );
      }
   }
   chain.parts.push_back( oneLine( { Verdict{
      Verdict::Kind::jumpTo, cover ? prefixChain( vrf, cover->prefix ) : anyChain( vrf ) } } ) );
   return chain;
}

} // namespace Dataplane::Nftables
