#pragma once

#include "Flowspec/vocab/MatchOpVal.h"
#include "Zorv/AddressFamily.h"

#include <array>
#include <optional>

namespace Wire {

/// What the RFCs say about the terms of one component type (RFC 8955 section 4.2.2, RFC 8956
/// section 3). Lengths are sets of length codes: bit `n` stands for values of `1 << n` octets.
struct TermRules {
   U8 allowedLengths;  ///< others make the NLRI malformed
   U8 expectedLengths; ///< others should not be sent
   U8 reservedOpBits;
   U32 fieldBits; ///< those that the packet's field has

   /// The shortest length code whose values hold `value` and which is expected, else allowed;
   /// nothing when no allowed one does.
   constexpr std::optional< U8 > shortest( U32 value ) const {
      for ( const U8 lengths : { expectedLengths, allowedLengths } ) {
         for ( U8 code = 0; code < 3; ++code ) {
            if ( lengths >> code & 1 && value <= maxValue( code ) ) {
               return code;
            }
         }
      }
      return std::nullopt;
   }

   /// Whether a length code below 3 is allowed and its values hold `value`.
   constexpr bool holds( U8 code, U32 value ) const {
      return allowedLengths >> code & 1 && value <= maxValue( code );
   }

   /// The greatest value of a length code below 3.
   static constexpr U32 maxValue( U8 code ) { return ~U32{ 0 } >> ( 32 - ( 8U << code ) ); }
};

/// The rules of each type of a family; types that it does not have, and prefixes, allow no length.
using TermRuleTable = std::array< TermRules, Flowspec::numComponentTypes >;

constexpr TermRuleTable termRulesOf( Zorv::AddressFamily family ) {
   using namespace Flowspec;
   constexpr U8 numeric = 0x08;
   constexpr U8 bitmask = 0x0C;
   TermRuleTable rules{};
   for ( U8 type = 0; type < numComponentTypes; ++type ) {
      const ComponentType& row = componentTypes[type];
      const U32 bits = row.field( family ).bits;
      if ( row.hasTerms() && bits != 0 ) {
         rules[type] = { row.lengths.allowed, row.lengths.expected,
                         row.kind == ComponentKind::number ? numeric : bitmask, bits };
      }
   }
   return rules;
}

/// The table of `family`, IPv4 or IPv6.
inline const TermRuleTable& termRules( Zorv::AddressFamily family ) {
   static constexpr TermRuleTable ipv4 = termRulesOf( Zorv::AddressFamily::ipv4 );
   static constexpr TermRuleTable ipv6 = termRulesOf( Zorv::AddressFamily::ipv6 );
   return family == Zorv::AddressFamily::ipv6 ? ipv6 : ipv4;
}

constexpr U32 typesOf( Zorv::AddressFamily family ) {
   U32 types = 0;
   for ( const Flowspec::ComponentType& row : Flowspec::componentTypes ) {
      const bool isPrefix = row.kind == Flowspec::ComponentKind::prefix;
      const bool hasField = row.hasTerms() && row.field( family ).bits != 0;
      types |= U32{ isPrefix || hasField } << static_cast< U8 >( row.type );
   }
   return types;
}

/// The types that `family`, IPv4 or IPv6, has, prefixes included: bit `n` stands for type `n`.
inline U32 assignedTypes( Zorv::AddressFamily family ) {
   static constexpr U32 ipv4 = typesOf( Zorv::AddressFamily::ipv4 );
   static constexpr U32 ipv6 = typesOf( Zorv::AddressFamily::ipv6 );
   return family == Zorv::AddressFamily::ipv6 ? ipv6 : ipv4;
}

} // namespace Wire
