#include "Flowspec/config/MatchSetBuilder.h"

#include "Flowspec/key/FlowspecKeyReader.h"

#include <algorithm>

namespace Flowspec {

namespace {

constexpr std::size_t maxMasks = 4096;
constexpr U32 maxBits = 0xFFFF;

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

// The values up to `max` that one comparison leaves, ascending.
Ranges rangesOf( const MatchOpValResult& term, U32 max ) {
   const U32 value = term.val32();
   Ranges ranges;
   if ( term.lt() && value > 0 ) {
      ranges.emplace_back( 0, value - 1 );
   }
   if ( term.eq() ) {
      ranges.emplace_back( value, value );
   }
   if ( term.gt() && value < max ) {
      ranges.emplace_back( value + 1, max );
   }
   return ranges;
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

// Sorted, with those that overlap or touch joined.
Ranges joined( Ranges ranges ) {
   std::ranges::sort( ranges );
   Ranges result;
   for ( const NumericalRange& range : ranges ) {
      if ( !result.empty() && range.rangeMin() <= result.back().rangeMax() + 1 ) {
         result.back() = NumericalRange( result.back().rangeMin(),
                                         std::max( result.back().rangeMax(), range.rangeMax() ) );
      } else {
         result.push_back( range );
      }
   }
   return result;
}

void addRanges( const Terms& terms, MatchComponent& component ) {
   const U32 max = NumericalRange::matchCompTypeMax( component.compType() );
   Ranges all;
   forEachGroup( terms, [&]( std::span< const MatchOpValResult > group ) {
      Ranges left{ NumericalRange( 0, max ) };
      for ( const MatchOpValResult& term : group ) {
         left = intersection( left, joined( rangesOf( term, max ) ) );
      }
      all.insert( all.end(), left.begin(), left.end() );
      return true;
   } );
   for ( const NumericalRange& range : joined( std::move( all ) ) ) {
      component.numericalRangeIs( range );
   }
}

// A test of bits: all of `mask` as in `val`, or any of them.
BitMask maskOf( const MatchOpValResult& term ) {
   const U16 bits = static_cast< U16 >( term.val32() );
   // What is not all set has any clear; what is not any set has all clear.
   return BitMask( term.match() != term.invert(), term.invert() ? U16{ 0 } : bits, bits );
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

void addMask( MatchComponent& component, const BitMask& mask ) {
   if ( component.compType() == tcpFlags ) {
      component.tcpBitMaskIs( TcpBitMask( mask.matchAll(), mask.val(), mask.mask() ) );
      return;
   }
   const IpBitMask ipMask( mask.matchAll(), mask.val(), mask.mask() );
   // A fragment that cannot be is no alternative; a test of no bits is always passed.
   if ( mask.mask() == 0 || !mask.matchAll() || ipMask.isValid() ) {
      component.ipBitMaskIs( ipMask );
   }
}

// False when there are too many.
bool addMasks( const Terms& terms, MatchComponent& component ) {
   return forEachGroup( terms, [&]( std::span< const MatchOpValResult > group ) {
      const BitMask first = maskOf( group.front() );
      if ( group.size() == 1 && first.mask() != 0 ) {
         addMask( component, first );
         return true;
      }
      std::vector< BitMask > left = alternatives( first );
      for ( const MatchOpValResult& term : group.subspan( 1 ) ) {
         left = both( left, alternatives( maskOf( term ) ) );
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

// The first thing about the terms of a component that cannot be.
std::optional< MatchSetError > checkTerms( MatchCompType type, const Terms& terms ) {
   if ( type < ipProto || type > flowLabel ) {
      return MatchSetError{
         type, Vek::concat( "component type ", stringValue( type ), " has no terms" ) };
   }
   const U32 max = isBitfieldType( type ) ? maxBits : NumericalRange::matchCompTypeMax( type );
   for ( const MatchOpValResult& term : terms ) {
      if ( term.val32() > max ) {
         return MatchSetError{ type,
                               Vek::concat( "value ", term.val32(), " is above the maximum of ",
                                            stringValue( type ), ", ", max ) };
      }
   }
   return std::nullopt;
}

std::optional< MatchSetError > addComponent( const Terms& terms,
                                             std::vector< MatchComponent >& components ) {
   const MatchCompType type = terms.front().matchType();
   if ( auto error = checkTerms( type, terms ) ) {
      return error;
   }
   if ( std::ranges::find( components, type, &MatchComponent::compType ) != components.end() ) {
      return MatchSetError{ type, Vek::concat( stringValue( type ), " stands at two places" ) };
   }
   MatchComponent& component = components.emplace_back( type );
   if ( !isBitfieldType( type ) ) {
      addRanges( terms, component );
   } else if ( !addMasks( terms, component ) ) {
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
   for ( MatchOpValResult term = key.getOptVal( 0 ); !term.isEnd();
         term = key.getOptVal( term.nextIndex() ) ) {
      if ( !terms.empty() && terms.front().matchType() != term.matchType() ) {
         if ( auto error = addComponent( terms, components ) ) {
            return error;
         }
         terms.clear();
      }
      terms.push_back( term );
   }
   return terms.empty() ? std::nullopt : addComponent( terms, components );
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
