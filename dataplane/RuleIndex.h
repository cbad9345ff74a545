#pragma once

#include "wire/AddressBits.h"
#include "wire/Canonical.h"

#include <array>
#include <bitset>
#include <span>
#include <tuple>
#include <vector>

namespace Dataplane {

/// Whether all addresses of `inner` are in `outer`; the empty prefix contains all.
bool contains( const Zorv::IpGenPrefix& outer, const Zorv::IpGenPrefix& inner );

/// The rules of one VRF and family, filed to find those that may meet one of them. Rules with a
/// destination inside that of a rule are side by side before it, as is the order in which rules are
/// tried; beside that they are filed by source and by the numbers that they list.
class RuleIndex {
public:
   using Position = U32;

   /// The positions of some rules, and how many more there are.
   struct Candidates {
      std::vector< Position > positions;
      U64 left = 0;
   };

   /// The rules in the order in which they are tried; each admits something
   /// (`Wire::CanonicalRule::nothing`).
   explicit RuleIndex( std::vector< Wire::CanonicalRule > rules );

   const Wire::CanonicalRule& rule( Position at ) const { return rules_[at]; }

   /// All rules before that at `at` which packets of it may match, and perhaps others, by what
   /// leaves the fewest; a rule may be there twice. No more than `limit` are listed; where the
   /// destination leaves the fewest, they are the nearest, and the nearest is first.
   Candidates before( Position at, std::size_t limit ) const;

private:
   // A number that a rule lists, or its source with its length, and the position of the rule.
   using Number = std::tuple< Flowspec::MatchCompType, U32, Position >;
   using Source = std::tuple< Wire::AddressBits, U32, Position >;
   using Numbers = std::vector< std::span< const Number > >;
   using Sources = std::vector< std::span< const Source > >;

   void file( Position at );
   Position firstInside( Position at ) const;
   Numbers withNumbersOf( const Wire::CanonicalComponent& component, Position first,
                          Position end ) const;
   Sources withSourcesOf( const Zorv::IpGenPrefix& source, Position first, Position end ) const;
   std::span< const Position > others( Flowspec::MatchCompType type, Position first,
                                       Position end ) const;

   std::vector< Wire::CanonicalRule > rules_;
   std::vector< Number > numbers_; // ascending, as is the next
   std::vector< Source > sources_;
   std::bitset< 129 > sourceLengths_;
   // By type, the rules that do not list its numbers.
   std::array< std::vector< Position >, Flowspec::numComponentTypes > others_;
};

} // namespace Dataplane
