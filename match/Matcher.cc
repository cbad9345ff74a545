#include "match/Matcher.h"

#include "Flowspec/vocab/MatchCompType.h"
#include "Osk/HashMix.h"

#include <algorithm>
#include <bit>
#include <numeric>
#include <unordered_map>

namespace Match {

namespace {

using namespace Flowspec;
using Wire::AddressBits;

// More numbers are not worth their slots.
constexpr std::size_t maxNumbers = 16;
// Few enough rules to try; looking for a still rarer attribute costs every packet a look-up.
constexpr U32 fewRules = 8;

// An attribute that a rule can be filed under. Rules that share none of them by chance have the
// same hash: that costs time only, as each rule is tried as a whole.
struct Attribute {
   MatchCompType type; // `invalid` for all rules that have nothing else
   U8 length = 0;      // of a prefix
   std::vector< U32 > hashes;
};

U32 hashOf( Zorv::AddressFamily family, MatchCompType type, U64 number, U64 more = 0 ) {
   const U64 kind = static_cast< U64 >( family ) << 8 | static_cast< U64 >( type );
   Osk::HashMix mix;
   mix.mix( number, more ^ ( kind << 48 ) );
   return mix.value();
}

U32 prefixHash( Zorv::AddressFamily family, MatchCompType type, const AddressBits& address,
                unsigned length ) {
   const AddressBits bits = address.masked( length );
   return hashOf( family, type, bits.high + length, bits.low );
}

// Whether the value of a packet that satisfies the terms is one of theirs.
bool listsNumbers( const RuleMatch::Component& component ) {
   constexpr U8 comparison = OpBits::lt | OpBits::gt | OpBits::eq;
   const auto& terms = component.terms;
   return !isBitmask( component.type ) && terms.size() <= maxNumbers &&
          std::ranges::all_of( terms, [&]( const RuleMatch::Term& term ) {
             return ( term.op & comparison ) == OpBits::eq;
          } );
}

// What a rule can be filed under, the best for its kind first.
std::vector< Attribute > attributesOf( const RuleMatch& rule ) {
   std::vector< Attribute > attributes;
   const auto addPrefix = [&]( MatchCompType type, const Zorv::IpGenPrefix& prefix ) {
      if ( prefix.length() != 0 ) {
         const auto bits = AddressBits::of( prefix.address() );
         attributes.push_back( { type,
                                 prefix.length(),
                                 { prefixHash( rule.family(), type, bits, prefix.length() ) } } );
      }
   };
   addPrefix( destPrefix, rule.destPrefix() );
   addPrefix( srcPrefix, rule.srcPrefix() );
   for ( const RuleMatch::Component& component : rule.components() ) {
      if ( listsNumbers( component ) ) {
         Attribute& attribute = attributes.emplace_back( Attribute{ component.type, 0, {} } );
         for ( const RuleMatch::Term& term : component.terms ) {
            attribute.hashes.push_back( hashOf( rule.family(), component.type, term.value ) );
         }
      }
   }
   attributes.push_back( { invalid, 0, { hashOf( rule.family(), invalid, 0 ) } } );
   return attributes;
}

using Counts = std::unordered_map< U32, U32 >;

// The first attribute that few rules share, else the one that the fewest do. That of all rules
// counts as the most.
const Attribute& rarest( const std::vector< Attribute >& attributes, const Counts& counts ) {
   const Attribute* best = &attributes.back();
   U32 bestCount = ~U32{ 0 };
   for ( const Attribute& attribute : attributes ) {
      U32 count = 0;
      for ( const U32 hash : attribute.hashes ) {
         count = std::max( count, counts.at( hash ) );
      }
      if ( attribute.type != invalid && count < bestCount ) {
         best = &attribute;
         bestCount = count;
      }
      if ( bestCount <= fewRules ) {
         break;
      }
   }
   return *best;
}

template < typename T >
void addOnce( std::vector< T >& values, T value ) {
   if ( std::ranges::find( values, value ) == values.end() ) {
      values.push_back( value );
   }
}

} // namespace

Matcher::Matcher( std::span< const Candidate > rules ) {
   std::vector< const Candidate* > order( rules.size() );
   std::iota( order.begin(), order.end(), rules.data() );
   std::ranges::stable_sort( order, {}, &Candidate::priority );
   Counts counts;
   std::vector< std::vector< Attribute > > attributes;
   for ( const Candidate* const rule : order ) {
      RuleMatch compiled( *rule->key );
      if ( compiled.valid() ) {
         attributes.push_back( attributesOf( compiled ) );
         for ( const Attribute& attribute : attributes.back() ) {
            for ( const U32 hash : attribute.hashes ) {
               ++counts[hash];
            }
         }
         rules_.push_back( std::move( compiled ) );
         ids_.push_back( rule->id );
      }
   }
   std::vector< std::vector< U32 > > hashes;
   for ( std::size_t i = 0; i < rules_.size(); ++i ) {
      const Attribute& attribute = rarest( attributes[i], counts );
      Filing& filing = filings_[rules_[i].family() == Zorv::AddressFamily::ipv6];
      if ( attribute.type == destPrefix ) {
         addOnce( filing.destLengths, attribute.length );
      } else if ( attribute.type == srcPrefix ) {
         addOnce( filing.srcLengths, attribute.length );
      } else if ( attribute.type != invalid ) {
         addOnce( filing.types, attribute.type );
      }
      hashes.push_back( attribute.hashes );
   }
   file( hashes );
}

// Lays the positions of the rules out by their hashes.
void Matcher::file( const std::vector< std::vector< U32 > >& hashes ) {
   std::vector< std::pair< U32, Position > > entries;
   for ( std::size_t i = 0; i < hashes.size(); ++i ) {
      for ( const U32 hash : hashes[i] ) {
         entries.emplace_back( hash, static_cast< Position >( i ) );
      }
   }
   std::ranges::sort( entries );
   entries.erase( std::unique( entries.begin(), entries.end() ), entries.end() );
   slots_.resize( std::bit_ceil( 2 * entries.size() + 1 ) );
   filter_.resize( std::bit_ceil( slots_.size() / 8 ) );
   for ( const auto& [hash, position] : entries ) {
      filter_[filterWord( hash )] |= U64{ 1 } << hash % 64;
      const U32 at = static_cast< U32 >( positions_.size() );
      std::size_t i = hash & ( slots_.size() - 1 );
      while ( slots_[i].end != 0 && slots_[i].hash != hash ) {
         i = ( i + 1 ) & ( slots_.size() - 1 );
      }
      if ( slots_[i].end == 0 ) {
         slots_[i] = { hash, at, at };
      }
      slots_[i].end = at + 1;
      positions_.push_back( position );
   }
}

std::span< const Matcher::Position > Matcher::find( U32 hash ) const {
   if ( !( filter_[filterWord( hash )] >> hash % 64 & 1 ) ) {
      return {};
   }
   std::size_t i = hash & ( slots_.size() - 1 );
   while ( slots_[i].end != 0 && slots_[i].hash != hash ) {
      i = ( i + 1 ) & ( slots_.size() - 1 );
   }
   return std::span( positions_ ).subspan( slots_[i].begin, slots_[i].end - slots_[i].begin );
}

template < typename MayWin >
std::optional< U32 > Matcher::best( const Packet& packet, MayWin mayWin ) const {
   const Zorv::AddressFamily family = packet.family;
   Position winner = static_cast< Position >( rules_.size() );
   const auto tryRules = [&]( U32 hash ) {
      for ( const Position position : find( hash ) ) {
         if ( position >= winner ) {
            return;
         }
         if ( rules_[position].matches( packet ) && mayWin( ids_[position] ) ) {
            winner = position;
            return;
         }
      }
   };
   const Filing& filed = filing( family );
   const AddressBits destination = AddressBits::of( packet.destination );
   for ( const U8 length : filed.destLengths ) {
      tryRules( prefixHash( family, destPrefix, destination, length ) );
   }
   const AddressBits source = AddressBits::of( packet.source );
   for ( const U8 length : filed.srcLengths ) {
      tryRules( prefixHash( family, srcPrefix, source, length ) );
   }
   for ( const MatchCompType type : filed.types ) {
      for ( const U32 value : packet.values( type ) ) {
         tryRules( hashOf( family, type, value ) );
      }
   }
   tryRules( hashOf( family, invalid, 0 ) );
   return winner < rules_.size() ? std::optional( ids_[winner] ) : std::nullopt;
}

std::optional< U32 > Matcher::match( const Packet& packet ) const {
   return best( packet, []( U32 ) { return true; } );
}

std::optional< U32 > Matcher::match( const Packet& packet, const Accepts& accepts ) const {
   return best( packet, accepts );
}

} // namespace Match
