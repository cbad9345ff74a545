#include "Flowspec/config/MatchSetBuilder.h"

#include "Flowspec/key/FlowspecKeyReader.h"

#include <algorithm>

namespace Flowspec {

namespace {

using Zorv::AddressFamily;

constexpr std::size_t maxMasks = 4096;

// The terms of one component; the first of each group has no AND bit, or is the first of all.
using Terms = std::vector< MatchOpValResult >;

// Calls with each group of terms that are joined by AND; stops when `use` returns false.
template < typename Use >
bool forEachGroup( const Terms& terms, Use use ) {
   for ( auto begin = terms.begin(); begin != terms.end(); ) {
      const auto end = std::find_if( begin + 1, terms.end(),
                                     []( const auto& term ) { return !term.andPrevious(); } );
      if ( !use( std::span( begin, end ) ) ) {
         return false;
      }
      begin = end;
   }
   return true;
}

using Ranges = std::vector< NumericalRange >;

// Appends the values up to `max` that one comparison leaves, ascending. What is compared with may
// be more than any packet has.
void appendRanges( const MatchOpValResult& term, U32 max, Ranges& ranges ) {
   const bool ignoresOthers = componentType( term.matchType() ).ignoresOtherBits;
   const U32 value = ignoresOthers ? term.val32() & max : term.val32();
   if ( term.lt() && value > 0 ) {
      ranges.emplace_back( 0, std::min( value - 1, max ) );
   }
   if ( term.eq() && value <= max ) {
      ranges.emplace_back( value, value );
   }
   if ( term.gt() && value < max ) {
      ranges.emplace_back( value + 1, max );
   }
}

Ranges intersection( const Ranges& a, const Ranges& b ) {
   Ranges common;
   for ( const NumericalRange& x : a ) {
      for ( const NumericalRange& y : b ) {
         if ( x.isRangeOverlap( y ) ) {
            common.push_back( x.rangeIntersection( y ) );
         }
      }
   }
   return common;
}

// Sorts them, and joins those that overlap or touch.
void join( Ranges& ranges ) {
   std::ranges::sort( ranges );
   std::size_t count = 0;
   for ( const NumericalRange& range : ranges ) {
      if ( count != 0 && range.rangeMin() <= ranges[count - 1].rangeMax() + 1 ) {
         NumericalRange& last = ranges[count - 1];
         last = NumericalRange( last.rangeMin(), std::max( last.rangeMax(), range.rangeMax() ) );
      } else {
         ranges[count++] = range;
      }
   }
   ranges.resize( count );
}

// The values that all terms of a group leave.
Ranges rangesOf( std::span< const MatchOpValResult > group, U32 max ) {
   Ranges left{ NumericalRange( 0, max ) };
   for ( const MatchOpValResult& term : group ) {
      Ranges ranges;
      appendRanges( term, max, ranges );
      join( ranges );
      left = intersection( left, ranges );
   }
   return left;
}

void addRanges( const Terms& terms, MatchComponent& component ) {
   const U32 max = NumericalRange::matchCompTypeMax( component.compType() );
   Ranges all;
   all.reserve( 2 * terms.size() );
   forEachGroup( terms, [&]( std::span< const MatchOpValResult > group ) {
      if ( group.size() == 1 ) {
         appendRanges( group.front(), max, all );
      } else {
         const Ranges left = rangesOf( group, max );
         all.insert( all.end(), left.begin(), left.end() );
      }
      return true;
   } );
   join( all );
   for ( const NumericalRange& range : all ) {
      component.numericalRangeIs( range );
   }
}

// A test of bits: all of `mask` as in `val`, or any of them.
BitMask maskOf( const MatchOpValResult& term, AddressFamily family ) {
   // What is not all set has any clear; what is not any set has all clear.
   const bool matchAll = term.match() != term.invert();
   const bool wantsSet = !term.invert();
   const ComponentType& type = componentType( term.matchType() );
   const U32 fieldBits = type.field( family ).bits;
   const bool hasOthers = !type.ignoresOtherBits && ( term.val32() & ~fieldBits );
   if ( hasOthers && matchAll == wantsSet ) {
      // A bit that is always clear is one too many of all that are to be set, or enough of any that
      // are to be clear.
      return BitMask( !wantsSet, 0, 0 );
   }
   const U16 bits = static_cast< U16 >( term.val32() & fieldBits );
   return BitMask( matchAll, wantsSet ? bits : U16{ 0 }, bits );
}

// The single bits of a mask, each a test of its own.
std::vector< BitMask > bitsOf( const BitMask& mask ) {
   std::vector< BitMask > bits;
   for ( unsigned i = 0; i < 16; ++i ) {
      const U16 bit = static_cast< U16 >( 1U << i );
      if ( mask.mask() & bit ) {
         bits.emplace_back( true, static_cast< U16 >( mask.val() & bit ), bit );
      }
   }
   return bits;
}

// Alternatives that all ask for all of their bits.
std::vector< BitMask > alternatives( const BitMask& mask ) {
   return mask.matchAll() ? std::vector{ mask } : bitsOf( mask );
}

// The masks that satisfy one of `a` and one of `b`.
std::vector< BitMask > both( const std::vector< BitMask >& a, const std::vector< BitMask >& b ) {
   std::vector< BitMask > result;
   for ( const BitMask& x : a ) {
      for ( const BitMask& y : b ) {
         const bool agree = ( ( x.val() ^ y.val() ) & x.mask() & y.mask() ) == 0;
         if ( agree ) {
            result.emplace_back( true, static_cast< U16 >( x.val() | y.val() ),
                                 static_cast< U16 >( x.mask() | y.mask() ) );
         }
      }
   }
   std::ranges::sort( result );
   result.erase( std::unique( result.begin(), result.end() ), result.end() );
   return result;
}

// Whether there are packets that pass. Beside "don't fragment", which goes with anything, a whole
// packet has no bits, the first fragment one, later ones another, and the last of these both
// of its own.
bool someFragmentPasses( const BitMask& mask ) {
   constexpr U16 isFragment = 0x02;
   constexpr U16 first = 0x04;
   constexpr U16 last = 0x08;
   for ( const U16 kind : { U16{ 0 }, first, isFragment, U16{ isFragment | last } } ) {
      for ( const U16 dontFragment : { U16{ 0 }, U16{ 1 } } ) {
         const int wrong = ( ( kind | dontFragment ) ^ mask.val() ) & mask.mask();
         if ( mask.matchAll() ? wrong == 0 : wrong != mask.mask() ) {
            return true;
         }
      }
   }
   return false;
}

void addMask( MatchComponent& component, const BitMask& mask ) {
   if ( component.compType() == tcpFlags ) {
      component.tcpBitMaskIs( TcpBitMask( mask.matchAll(), mask.val(), mask.mask() ) );
      return;
   }
   // Alternatives that no packet can satisfy are none.
   if ( someFragmentPasses( mask ) ) {
      component.ipBitMaskIs( IpBitMask( mask.matchAll(), mask.val(), mask.mask() ) );
   }
}

// False when there are too many.
bool addMasks( const Terms& terms, AddressFamily family, MatchComponent& component ) {
   return forEachGroup( terms, [&]( std::span< const MatchOpValResult > group ) {
      const BitMask first = maskOf( group.front(), family );
      const bool isMask = group.size() == 1 && first.mask() != 0;
      std::vector< BitMask > left = isMask ? std::vector{ first } : alternatives( first );
      for ( const MatchOpValResult& term : group.subspan( 1 ) ) {
         left = both( left, alternatives( maskOf( term, family ) ) );
         if ( left.size() > maxMasks ) {
            return false;
         }
      }
      for ( const BitMask& mask : left ) {
         addMask( component, mask );
      }
      return component.tcpBitMask().size() + component.ipBitMask().size() <= maxMasks;
   } );
}

std::optional< MatchSetError > addComponent( const Terms& terms, AddressFamily family,
                                             std::vector< MatchComponent >& components ) {
   const MatchCompType type = terms.front().matchType();
   if ( !hasTerms( type ) ) {
      return MatchSetError{
         type, Vek::concat( "component type ", stringValue( type ), " has no terms" ) };
   }
   if ( std::ranges::find( components, type, &MatchComponent::compType ) != components.end() ) {
      return MatchSetError{ type, Vek::concat( stringValue( type ), " occurs at two places" ) };
   }
   MatchComponent& component = components.emplace_back( type );
   if ( !isBitfieldType( type ) ) {
      addRanges( terms, component );
   } else if ( !addMasks( terms, family, component ) ) {
      return MatchSetError{ type,
                            Vek::concat( "the masks of ", stringValue( type ), " are too many" ) };
   }
   return std::nullopt;
}

std::optional< MatchSetError > addTerms( const FlowspecKey& key,
                                         std::vector< MatchComponent >& components ) {
   if ( const auto broken = unprintableTerm( key ) ) {
      return MatchSetError{
         key.matchOpVal( broken->index ).matchType(),
         Vek::concat( "the term at index ", broken->index, " cannot be read: ", broken->reason ) };
   }
   Terms terms;
   terms.reserve( key.matchOpVals() );
   for ( MatchOpValResult term = key.getOptVal( 0 ); !term.isEnd();
         term = key.getOptVal( term.nextIndex() ) ) {
      if ( !terms.empty() && terms.front().matchType() != term.matchType() ) {
         if ( auto error = addComponent( terms, key.addressFamily(), components ) ) {
            return error;
         }
         terms.clear();
      }
      terms.push_back( term );
   }
   return terms.empty() ? std::nullopt : addComponent( terms, key.addressFamily(), components );
}

void addPrefix( MatchCompType type, const Zorv::IpGenPrefix& prefix,
                std::vector< MatchComponent >& components ) {
   if ( !prefix.empty() ) {
      components.emplace_back( type ).prefixIs( prefix );
   }
}

} // namespace

std::optional< MatchSetError > matchSetFromKey( const FlowspecKey& key,
                                                std::vector< MatchComponent >& components ) {
   components.clear();
   addPrefix( destPrefix, key.destPrefix(), components );
   addPrefix( srcPrefix, key.srcPrefix(), components );
   auto error = addTerms( key, components );
   if ( error ) {
      components.clear();
   }
   return error;
}

bool matchesNothing( const MatchComponent& component ) {
   return !component.matchTypePrefix() && component.numericalRange().empty() &&
          component.ipBitMask().empty() && component.tcpBitMask().empty();
}

void matchSetReplace( RuleConfig& rule, const std::vector< MatchComponent >& components ) {
   const Vek::Ptr< RuleConfig > hold( &rule );
   std::vector< MatchCompType > gone;
   for ( const auto& [type, component] : rule.matchSet() ) {
      if ( std::ranges::find( components, type, &MatchComponent::compType ) == components.end() ) {
         gone.push_back( type );
      }
   }
   for ( const MatchCompType type : gone ) {
      rule.matchSetDel( type );
   }
   for ( const MatchComponent& component : components ) {
      rule.matchSetIs( component );
   }
}

} // namespace Flowspec
