#include "agents/match/Precedence.h"

#include "Flowspec/key/FlowspecKeyReader.h"
#include "agents/match/AddressBits.h"

#include <algorithm>
#include <string>
#include <vector>

namespace Match {

namespace {

using namespace Flowspec;

// Below 0 when the first goes before the second, 0 when nothing tells them apart.
using Order = int;

Order before( bool first ) { return first ? -1 : 1; }

Order comparePrefixes( const Zorv::IpGenPrefix& a, const Zorv::IpGenPrefix& b ) {
   if ( a == b ) {
      return 0;
   }
   // One that is there goes before none.
   if ( a.empty() || b.empty() ) {
      return before( b.empty() );
   }
   if ( a.family() != b.family() ) {
      return before( a.family() < b.family() );
   }
   const unsigned common = std::min( a.length(), b.length() );
   const AddressBits bitsA = AddressBits::of( a.address() ).masked( common );
   const AddressBits bitsB = AddressBits::of( b.address() ).masked( common );
   return bitsA == bitsB ? before( a.length() > b.length() ) : before( bitsA < bitsB );
}

struct Component {
   MatchCompType type;
   std::string bytes;
};

// The components of a key as bytes of the NLRI, without their types, in the order of the types.
std::vector< Component > encoded( const FlowspecKey& key ) {
   std::vector< Component > components;
   for ( U32 index = 0; index < key.matchOpVals(); ) {
      const MatchOpValResult term = key.getOptVal( index );
      if ( components.empty() || components.back().type != term.matchType() ) {
         components.push_back( { term.matchType(), {} } );
      }
      std::string& bytes = components.back().bytes;
      bytes += static_cast< char >( term.op() );
      for ( unsigned shift = term.byteLength() * 8U; shift > 0; ) {
         shift -= 8;
         bytes += static_cast< char >( term.val32() >> shift );
      }
      index = term.nextIndex().value();
   }
   std::ranges::stable_sort( components, {}, &Component::type );
   return components;
}

Order compareBytes( const std::string& a, const std::string& b ) {
   const std::size_t common = std::min( a.size(), b.size() );
   if ( const Order order = std::memcmp( a.data(), b.data(), common ) ) {
      return order;
   }
   return a.size() == b.size() ? 0 : before( a.size() > b.size() );
}

Order compareComponents( const FlowspecKey& a, const FlowspecKey& b ) {
   const std::vector< Component > componentsA = encoded( a );
   const std::vector< Component > componentsB = encoded( b );
   const std::size_t common = std::min( componentsA.size(), componentsB.size() );
   for ( std::size_t i = 0; i < common; ++i ) {
      if ( componentsA[i].type != componentsB[i].type ) {
         return before( componentsA[i].type < componentsB[i].type );
      }
      if ( const Order order = compareBytes( componentsA[i].bytes, componentsB[i].bytes ) ) {
         return order;
      }
   }
   return componentsA.size() == componentsB.size()
             ? 0
             : before( componentsA.size() > componentsB.size() );
}

Order compare( const FlowspecKey& a, const FlowspecKey& b ) {
   const bool walkableA = !unprintableTerm( a );
   const bool walkableB = !unprintableTerm( b );
   if ( !walkableA || !walkableB ) {
      return walkableA == walkableB ? 0 : before( walkableA );
   }
   if ( const Order order = comparePrefixes( a.destPrefix(), b.destPrefix() ) ) {
      return order;
   }
   if ( const Order order = comparePrefixes( a.srcPrefix(), b.srcPrefix() ) ) {
      return order;
   }
   return compareComponents( a, b );
}

} // namespace

bool precedes( const FlowspecKey& a, const FlowspecKey& b ) {
   const Order order = compare( a, b );
   return order == 0 ? FlowspecKeyOrder()( a, b ) : order < 0;
}

} // namespace Match
