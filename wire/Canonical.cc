#include "wire/Canonical.h"

#include "Flowspec/key/FlowspecKeyReader.h"
#include "wire/TermRules.h"

#include <algorithm>
#include <bit>

namespace Wire {

namespace {

using namespace Flowspec;
using Zorv::AddressFamily;

constexpr U8 comparison = OpBits::lt | OpBits::gt | OpBits::eq;

struct Term {
   U32 value;
   U8 op;
};
using Terms = std::vector< Term >;

// The greatest value of a numeric field.
U32 fieldMax( MatchCompType type, AddressFamily family ) {
   constexpr U32 ipv6HeaderSize = 40;
   const U32 bits = termRules( family )[static_cast< U8 >( type )].fieldBits;
   return type == packetLength && family == AddressFamily::ipv6 ? bits + ipv6HeaderSize : bits;
}

// Whether each packet of the family has the field.
bool isOfEachPacket( MatchCompType type, AddressFamily family ) {
   return componentType( type ).field( family ).isInEachPacket;
}

// Calls `take` with each alternative: terms that are joined by AND.
template < typename Take >
void forEachAlternative( const Terms& terms, Take take ) {
   for ( auto begin = terms.begin(); begin != terms.end(); ) {
      auto end = begin + 1;
      while ( end != terms.end() && end->op & OpBits::andPrevious ) {
         ++end;
      }
      take( std::span( begin, end ) );
      begin = end;
   }
}

// Appends the values up to `max` that satisfy all of `terms`.
void addRanges( std::span< const Term > terms, U32 max, std::vector< ValueRange >& ranges ) {
   U64 low = 0;
   U64 end = U64{ max } + 1;
   std::vector< U32 > excepted;
   for ( const Term& term : terms ) {
      const U8 holds = term.op & comparison;
      const bool below = holds & OpBits::lt;
      const bool above = holds & OpBits::gt;
      if ( holds == 0 ) {
         return;
      }
      if ( !below ) {
         low = std::max( low, term.value + U64{ !( holds & OpBits::eq ) } );
      }
      if ( !above ) {
         end = std::min( end, term.value + U64{ ( holds & OpBits::eq ) != 0 } );
      }
      if ( below && above && !( holds & OpBits::eq ) ) {
         excepted.push_back( term.value );
      }
   }
   std::ranges::sort( excepted );
   for ( const U32 value : excepted ) {
      if ( value >= low && value < end ) {
         if ( value > low ) {
            ranges.push_back( { static_cast< U32 >( low ), value - 1 } );
         }
         low = value + U64{ 1 };
      }
   }
   if ( low < end ) {
      ranges.push_back( { static_cast< U32 >( low ), static_cast< U32 >( end - 1 ) } );
   }
}

// Puts ranges in order and joins those that touch.
void join( std::vector< ValueRange >& ranges ) {
   std::ranges::sort( ranges, {}, &ValueRange::low );
   std::size_t count = 0;
   for ( const ValueRange range : ranges ) {
      if ( count != 0 && range.low <= ranges[count - 1].high + U64{ 1 } ) {
         ranges[count - 1].high = std::max( ranges[count - 1].high, range.high );
      } else {
         ranges[count++] = range;
      }
   }
   ranges.resize( count, ValueRange{ 0, 0 } );
}

FlagFunction functionOf( const Terms& terms, unsigned flags ) {
   FlagFunction function( flags, false );
   forEachAlternative( terms, [&]( std::span< const Term > alternative ) {
      FlagFunction all( flags, true );
      for ( const Term& term : alternative ) {
         const FlagFunction holds = term.op & OpBits::match
                                       ? FlagFunction::all( flags, term.value )
                                       : FlagFunction::any( flags, term.value );
         all &= term.op & OpBits::invert ? ~holds : holds;
      }
      function |= all;
   } );
   return function;
}

CanonicalComponent componentOf( MatchCompType type, Terms terms, AddressFamily family ) {
   CanonicalComponent component{ type, {} };
   const ComponentType& row = componentType( type );
   if ( row.ignoresOtherBits ) {
      for ( Term& term : terms ) {
         term.value &= row.field( family ).bits;
      }
   }
   if ( isBitmask( type ) ) {
      component.flags = functionOf( terms, std::bit_width( row.maximum() ) );
      return component;
   }
   const U32 max = fieldMax( type, family );
   forEachAlternative( terms, [&]( std::span< const Term > alternative ) {
      addRanges( alternative, max, component.ranges );
   } );
   join( component.ranges );
   return component;
}

bool admitsNone( const CanonicalComponent& component ) {
   return isBitmask( component.type ) ? component.flags.admitsNone() : component.ranges.empty();
}

bool admitsAll( const CanonicalComponent& component, AddressFamily family ) {
   if ( isBitmask( component.type ) ) {
      return component.flags.admitsAll();
   }
   return component.ranges.front() == ValueRange{ 0, fieldMax( component.type, family ) };
}

// The terms of ranges; `max` is the greatest value of the field.
Terms termsOf( const std::vector< ValueRange >& ranges, U32 max ) {
   Terms terms;
   for ( const ValueRange range : ranges ) {
      constexpr U8 atLeast = OpBits::gt | OpBits::eq;
      constexpr U8 atMost = OpBits::lt | OpBits::eq;
      if ( range.low == range.high ) {
         terms.push_back( { range.low, OpBits::eq } );
      } else if ( range.high == max ) {
         terms.push_back( { range.low, atLeast } );
      } else if ( range.low == 0 ) {
         terms.push_back( { range.high, atMost } );
      } else {
         terms.push_back( { range.low, atLeast } );
         terms.push_back( { range.high, atMost | OpBits::andPrevious } );
      }
   }
   return terms;
}

// The one term that is as good as the function, if there is one. `mask` are the flags that count.
std::optional< Term > singleTerm( const FlagFunction& function, U32 mask ) {
   for ( const U8 op : { U8{ 0 }, OpBits::match, OpBits::invert,
                         static_cast< U8 >( OpBits::match | OpBits::invert ) } ) {
      const Term term{ mask, op };
      if ( functionOf( { term }, function.flags() ) == function ) {
         return term;
      }
   }
   return std::nullopt;
}

Terms termsOf( const FlagFunction& function ) {
   const auto cubes = function.cubes();
   U32 mask = 0;
   for ( const FlagFunction::Cube cube : cubes ) {
      mask |= cube.set | cube.clear;
   }
   if ( const auto term = singleTerm( function, mask ) ) {
      return { *term };
   }
   Terms terms;
   for ( const FlagFunction::Cube cube : cubes ) {
      if ( cube.set != 0 ) {
         terms.push_back( { cube.set, OpBits::match } );
      }
      if ( cube.clear != 0 ) {
         constexpr U8 joined = OpBits::invert | OpBits::andPrevious;
         terms.push_back( { cube.clear, cube.set != 0 ? joined : OpBits::invert } );
      }
   }
   return terms;
}

// Appends a component to a key; false when it does not fit.
bool append( FlowspecKey& key, MatchCompType type, const Terms& terms ) {
   const TermRules& rules = termRules( key.addressFamily() )[static_cast< U8 >( type )];
   for ( std::size_t i = 0; i < terms.size(); ++i ) {
      const unsigned end = i + 1 == terms.size() ? OpBits::endOfList : 0U;
      const unsigned length = *rules.shortest( terms[i].value );
      if ( !key.trySetOpVal( key.matchOpVals(), type,
                             static_cast< U8 >( terms[i].op | end | length << 4 ),
                             terms[i].value ) ) {
         return false;
      }
   }
   return true;
}

} // namespace

CanonicalRule::CanonicalRule( const FlowspecKey& key ) {
   if ( readKey( key ) ) {
      settle();
   } else {
      nothing_ = MatchCompType::invalid;
   }
   if ( nothing_ ) {
      family_ = AddressFamily::none;
      destPrefix_ = {};
      srcPrefix_ = {};
      components_.clear();
   }
}

bool CanonicalRule::readKey( const FlowspecKey& key ) {
   family_ = key.addressFamily();
   const auto isOfFamily = [this]( const Zorv::IpGenPrefix& prefix ) {
      return prefix.empty() || prefix.family() == family_;
   };
   if ( ( family_ != AddressFamily::ipv4 && family_ != AddressFamily::ipv6 ) ||
        !isOfFamily( key.destPrefix() ) || !isOfFamily( key.srcPrefix() ) ||
        unprintableTerm( key ) ) {
      return false;
   }
   destPrefix_ = key.destPrefix();
   srcPrefix_ = key.srcPrefix();
   Terms terms;
   for ( U32 index = 0; index < key.matchOpVals(); ) {
      const MatchOpValResult term = key.getOptVal( index );
      const MatchCompType type = term.matchType();
      terms.push_back( { term.val32(), term.op() } );
      index = term.nextIndex().value();
      if ( index < key.matchOpVals() && key.matchOpVal( index ).matchType() == type ) {
         continue;
      }
      if ( !hasTerms( type ) || std::ranges::find( components_, type, &CanonicalComponent::type ) !=
                                   components_.end() ) {
         return false;
      }
      components_.push_back( componentOf( type, std::exchange( terms, {} ), family_ ) );
   }
   std::ranges::sort( components_, {}, &CanonicalComponent::type );
   return true;
}

void CanonicalRule::settle() {
   for ( const CanonicalComponent& component : components_ ) {
      const bool isMissing = componentType( component.type ).field( family_ ).bits == 0;
      if ( isMissing || admitsNone( component ) ) {
         nothing_ = component.type;
         return;
      }
   }
   std::erase_if( components_, [this]( const CanonicalComponent& component ) {
      return isOfEachPacket( component.type, family_ ) && admitsAll( component, family_ );
   } );
   for ( Zorv::IpGenPrefix* const prefix : { &destPrefix_, &srcPrefix_ } ) {
      if ( prefix->length() == 0 ) {
         *prefix = {};
      }
   }
}

std::optional< NoKey > CanonicalRule::toKey( FlowspecKey& key ) const {
   if ( nothing_ ) {
      return NoKey::admitsNothing;
   }
   FlowspecKey written = key;
   written.matchOpValDelAll();
   written.addressFamilyIs( family_ );
   written.destPrefixIs( destPrefix_ );
   written.srcPrefixIs( srcPrefix_ );
   if ( destPrefix_.empty() && srcPrefix_.empty() && components_.empty() ) {
      constexpr U8 anyAddress[16] = {};
      written.destPrefixIs( { Zorv::IpGenAddr::ofFamily( family_, anyAddress, 0 ), 0 } );
   }
   for ( const CanonicalComponent& component : components_ ) {
      const Terms terms = isBitmask( component.type )
                             ? termsOf( component.flags )
                             : termsOf( component.ranges, fieldMax( component.type, family_ ) );
      if ( !append( written, component.type, terms ) ) {
         return NoKey::tooManyWords;
      }
   }
   key = std::move( written );
   return std::nullopt;
}

bool equivalent( const FlowspecKey& a, const FlowspecKey& b ) {
   const CanonicalRule ruleA( a );
   const CanonicalRule ruleB( b );
   return ruleA.nothing() || ruleB.nothing() ? ruleA.nothing() && ruleB.nothing() : ruleA == ruleB;
}

} // namespace Wire
