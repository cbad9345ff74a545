#include "wire/Precedence.h"

#include "Flowspec/key/FlowspecKeyReader.h"
#include "wire/AddressBits.h"
#include "wire/TermRules.h"

#include <algorithm>
#include <string>
#include <vector>

namespace Wire {

namespace {

using namespace Flowspec;
using Octets = std::span< const U8 >;
using Zorv::AddressFamily;

// Below 0 when the first goes before the second, 0 when nothing tells them apart.
using Order = int;

Order before( bool first ) { return first ? -1 : 1; }

Order compareBits( AddressBits a, unsigned lengthA, AddressBits b, unsigned lengthB ) {
   const unsigned common = std::min( lengthA, lengthB );
   const AddressBits bitsA = a.masked( common );
   const AddressBits bitsB = b.masked( common );
   if ( bitsA != bitsB ) {
      return before( bitsA < bitsB );
   }
   return lengthA == lengthB ? 0 : before( lengthA > lengthB );
}

Order compareOctets( Octets a, Octets b ) {
   if ( const Order order = std::memcmp( a.data(), b.data(), std::min( a.size(), b.size() ) ) ) {
      return order;
   }
   return a.size() == b.size() ? 0 : before( a.size() > b.size() );
}

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
   return compareBits( AddressBits::of( a.address() ), a.length(), AddressBits::of( b.address() ),
                       b.length() );
}

struct Component {
   MatchCompType type;
   std::vector< U8 > octets;
   std::size_t lastOp;
};

// The components of a key as octets of the NLRI, without their types, in the order of the types.
std::vector< Component > encoded( const FlowspecKey& key ) {
   const TermRuleTable& table = termRules( key.addressFamily() );
   std::vector< Component > components;
   for ( U32 index = 0; index < key.matchOpVals(); ) {
      const MatchOpValResult term = key.getOptVal( index );
      const TermRules& rules = table[static_cast< U8 >( term.matchType() )];
      U8 cleared = OpBits::endOfList | OpBits::len | rules.reservedOpBits;
      if ( components.empty() || components.back().type != term.matchType() ) {
         components.push_back( { term.matchType(), {}, 0 } );
         cleared |= OpBits::andPrevious;
      }
      Component& component = components.back();
      component.lastOp = component.octets.size();
      const U8 length = rules.holds( term.len(), term.val32() )
                           ? term.len()
                           : rules.shortest( term.val32() ).value_or( term.len() );
      component.octets.push_back( static_cast< U8 >( ( term.op() & ~cleared ) | length << 4 ) );
      for ( unsigned shift = 8U << length; shift > 0; ) {
         shift -= 8;
         component.octets.push_back( static_cast< U8 >( term.val32() >> shift ) );
      }
      index = term.nextIndex().value();
   }
   for ( Component& component : components ) {
      component.octets[component.lastOp] |= OpBits::endOfList;
   }
   std::ranges::stable_sort( components, {}, &Component::type );
   return components;
}

Order compareComponents( const FlowspecKey& a, const FlowspecKey& b ) {
   const std::vector< Component > componentsA = encoded( a );
   const std::vector< Component > componentsB = encoded( b );
   const std::size_t common = std::min( componentsA.size(), componentsB.size() );
   for ( std::size_t i = 0; i < common; ++i ) {
      if ( componentsA[i].type != componentsB[i].type ) {
         return before( componentsA[i].type < componentsB[i].type );
      }
      if ( const Order order = compareOctets( componentsA[i].octets, componentsB[i].octets ) ) {
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

// With its missing bits set a prefix is not less than those inside it; when it is equal to one, the
// longer goes first.
void appendPrefix( std::string& octets, const Zorv::IpGenPrefix& prefix ) {
   const bool v4 = prefix.family() == AddressFamily::ipv4;
   octets += prefix.empty() ? '\2' : v4 ? '\0' : '\1';
   if ( !prefix.empty() ) {
      AddressBits bits = AddressBits::of( prefix.address() );
      const AddressBits fixed = AddressBits{ ~U64{ 0 }, ~U64{ 0 } }.masked( prefix.length() );
      bits = { bits.high | ~fixed.high, bits.low | ~fixed.low };
      for ( const U64 half : { bits.high, bits.low } ) {
         for ( unsigned shift = 64; shift > 0; ) {
            shift -= 8;
            octets += static_cast< char >( half >> shift );
         }
      }
      octets.resize( octets.size() - ( v4 ? 12 : 0 ) );
      octets += static_cast< char >( 255 - prefix.length() );
   }
}

// One component after the other out of the octets of an NLRI.
class Walk {
public:
   Walk( Octets octets, Zorv::AddressFamily family ) : rest_( octets ), family_( family ) {}

   bool atEnd() const { return rest_.empty(); }

   // Takes the type.
   U8 type() { return takeOctet(); }

   struct Prefix {
      U8 offset;
      unsigned length; // of the bits after the offset
      AddressBits bits;
   };
   Prefix prefix() {
      const U8 length = takeOctet();
      const U8 offset = family_ == Zorv::AddressFamily::ipv6 ? takeOctet() : U8{ 0 };
      const unsigned bits = static_cast< unsigned >( std::clamp( length - offset, 0, 128 ) );
      U8 pattern[16] = {};
      std::ranges::copy( take( ( bits + 7 ) / 8 ), pattern );
      return { offset, bits, { Osk::loadBig64( pattern ), Osk::loadBig64( pattern + 8 ) } };
   }

   // The terms up to the one with the end-of-list bit.
   Octets terms() {
      std::size_t size = 0;
      for ( bool more = true; more && size < rest_.size(); ) {
         const U8 op = rest_[size];
         more = !( op & OpBits::endOfList );
         size += 1 + ( std::size_t{ 1 } << ( ( op & OpBits::len ) >> 4 ) );
      }
      return take( size );
   }

private:
   Octets take( std::size_t size ) {
      const Octets taken = rest_.first( std::min( size, rest_.size() ) );
      rest_ = rest_.subspan( taken.size() );
      return taken;
   }
   U8 takeOctet() {
      const Octets taken = take( 1 );
      return taken.empty() ? U8{ 0 } : taken[0];
   }

   Octets rest_;
   Zorv::AddressFamily family_;
};

Order compare( Walk a, Walk b ) {
   while ( !a.atEnd() && !b.atEnd() ) {
      const U8 type = a.type();
      if ( const U8 typeB = b.type(); type != typeB ) {
         return before( type < typeB );
      }
      Order order = 0;
      if ( type == static_cast< U8 >( destPrefix ) || type == static_cast< U8 >( srcPrefix ) ) {
         const Walk::Prefix prefixA = a.prefix();
         const Walk::Prefix prefixB = b.prefix();
         order = prefixA.offset != prefixB.offset
                    ? before( prefixA.offset < prefixB.offset )
                    : compareBits( prefixA.bits, prefixA.length, prefixB.bits, prefixB.length );
      } else {
         order = compareOctets( a.terms(), b.terms() );
      }
      if ( order != 0 ) {
         return order;
      }
   }
   return a.atEnd() == b.atEnd() ? 0 : before( b.atEnd() );
}

} // namespace

bool precedes( const FlowspecKey& a, const FlowspecKey& b ) {
   const Order order = compare( a, b );
   return order == 0 ? FlowspecKeyOrder()( a, b ) : order < 0;
}

std::string precedence( const FlowspecKey& key ) {
   if ( unprintableTerm( key ) ) {
      return "\1";
   }
   std::string octets( 1, '\0' );
   appendPrefix( octets, key.destPrefix() );
   appendPrefix( octets, key.srcPrefix() );
   for ( const Component& component : encoded( key ) ) {
      octets += static_cast< char >( component.type );
      // None begins with all of another: the last operator says that it is.
      octets.append( component.octets.begin(), component.octets.end() );
   }
   // After all types: the rule with more components goes first.
   octets += '\xFF';
   return octets;
}

bool precedes( Octets a, Octets b, Zorv::AddressFamily family ) {
   return compare( Walk( a, family ), Walk( b, family ) ) < 0;
}

} // namespace Wire
