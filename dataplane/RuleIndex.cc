#include "dataplane/RuleIndex.h"

#include <algorithm>
#include <numeric>

namespace Dataplane {

using namespace Flowspec;
using Wire::AddressBits;
using Wire::CanonicalComponent;
using Zorv::IpGenPrefix;

namespace {

// A rule is not filed by the numbers of a component that has more.
constexpr std::size_t maxListed = 16;

bool listsNumbers( const CanonicalComponent& component ) {
   return !isBitmask( component.type ) && component.ranges.size() <= maxListed &&
          std::ranges::all_of( component.ranges,
                               []( const auto& range ) { return range.low == range.high; } );
}

// The entries from `first` on that are less than `end`.
template < typename Entry >
std::span< const Entry > between( const std::vector< Entry >& list, const Entry& first,
                                  const Entry& end ) {
   const auto from = std::ranges::lower_bound( list, first );
   return { from, std::lower_bound( from, list.end(), end ) };
}

template < typename Parts >
U64 sizeOf( const Parts& parts ) {
   return std::accumulate( parts.begin(), parts.end(), U64{ 0 },
                           []( U64 sum, const auto& part ) { return sum + part.size(); } );
}

} // namespace

bool contains( const IpGenPrefix& outer, const IpGenPrefix& inner ) {
   return outer.length() <= inner.length() &&
          AddressBits::of( inner.address() ).masked( outer.length() ) ==
             AddressBits::of( outer.address() ).masked( outer.length() );
}

RuleIndex::RuleIndex( std::vector< Wire::CanonicalRule > rules ) : rules_( std::move( rules ) ) {
   for ( Position at = 0; at < rules_.size(); ++at ) {
      file( at );
   }
   std::ranges::sort( numbers_ );
   std::ranges::sort( sources_ );
}

void RuleIndex::file( Position at ) {
   const IpGenPrefix& source = rules_[at].srcPrefix();
   sources_.emplace_back( AddressBits::of( source.address() ), source.length(), at );
   sourceLengths_[source.length()] = true;
   std::bitset< numComponentTypes > listed;
   for ( const CanonicalComponent& component : rules_[at].components() ) {
      if ( listsNumbers( component ) ) {
         listed[static_cast< U8 >( component.type )] = true;
         for ( const Wire::ValueRange& range : component.ranges ) {
            numbers_.emplace_back( component.type, range.low, at );
         }
      }
   }
   for ( std::size_t type = 0; type < numComponentTypes; ++type ) {
      if ( !listed[type] ) {
         others_[type].push_back( at );
      }
   }
}

// Where the rules begin whose destinations are inside that of `at`; they end there.
RuleIndex::Position RuleIndex::firstInside( Position at ) const {
   const auto first = std::partition_point(
      rules_.begin(), rules_.begin() + at, [&]( const Wire::CanonicalRule& rule ) {
         return !contains( rules_[at].destPrefix(), rule.destPrefix() );
      } );
   return static_cast< Position >( first - rules_.begin() );
}

RuleIndex::Numbers RuleIndex::withNumbersOf( const CanonicalComponent& component, Position first,
                                             Position end ) const {
   Numbers parts;
   for ( const Wire::ValueRange& range : component.ranges ) {
      parts.push_back( between( numbers_, { component.type, range.low, first },
                                { component.type, range.low, end } ) );
   }
   return parts;
}

std::span< const RuleIndex::Position > RuleIndex::others( MatchCompType type, Position first,
                                                          Position end ) const {
   return between( others_[static_cast< U8 >( type )], first, end );
}

// The sources that contain `source`, and then those inside it, wherever their rules are.
RuleIndex::Sources RuleIndex::withSourcesOf( const IpGenPrefix& source, Position first,
                                             Position end ) const {
   Sources parts;
   const AddressBits bits = AddressBits::of( source.address() );
   for ( U32 length = 0; length < source.length(); ++length ) {
      if ( sourceLengths_[length] ) {
         parts.push_back( between( sources_, { bits.masked( length ), length, first },
                                   { bits.masked( length ), length, end } ) );
      }
   }
   const AddressBits mask = AddressBits{ ~U64{ 0 }, ~U64{ 0 } }.masked( source.length() );
   const AddressBits last{ bits.high | ~mask.high, bits.low | ~mask.low };
   parts.push_back( between( sources_, { bits, source.length(), 0 }, { last, 129, 0 } ) );
   return parts;
}

RuleIndex::Candidates RuleIndex::before( Position at, std::size_t limit ) const {
   const Wire::CanonicalRule& rule = rules_[at];
   const Position first = firstInside( at );
   const Sources sources = withSourcesOf( rule.srcPrefix(), first, at );
   const CanonicalComponent* listed = nullptr;
   U64 fewest = std::min< U64 >( at - first, sizeOf( sources ) );
   for ( const CanonicalComponent& component : rule.components() ) {
      if ( listsNumbers( component ) ) {
         const U64 size = sizeOf( withNumbersOf( component, first, at ) ) +
                          others( component.type, first, at ).size();
         if ( size < fewest ) {
            fewest = size;
            listed = &component;
         }
      }
   }

   Candidates found;
   const auto add = [&]( Position position ) {
      if ( found.positions.size() < limit ) {
         found.positions.push_back( position );
      } else {
         ++found.left;
      }
   };
   if ( listed ) {
      for ( const auto& part : withNumbersOf( *listed, first, at ) ) {
         for ( const auto& [type, value, position] : part ) {
            add( position );
         }
      }
      std::ranges::for_each( others( listed->type, first, at ), add );
   } else if ( fewest == at - first ) {
      found.left = fewest > limit ? fewest - limit : 0;
      for ( Position position = at; position > first + found.left; ) {
         found.positions.push_back( --position );
      }
   } else {
      for ( const auto& part : sources ) {
         for ( const auto& [bits, length, position] : part ) {
            if ( position >= first && position < at ) {
               add( position );
            }
         }
      }
   }
   return found;
}

} // namespace Dataplane
