#pragma once

#include "Vek/text/Enum.h"
#include "Zorv/AddressFamily.h"

namespace Flowspec {

/// The type of a match component. The numbers are the component type codes of RFC 8955 section 4.2
/// and, for `flowLabel`, of RFC 8956 section 3.7; 0 stands for none.
enum class MatchCompType : U8 {
   invalid = 0,
   destPrefix = 1,
   srcPrefix = 2,
   ipProto = 3,
   port = 4, ///< source or destination port
   destPort = 5,
   srcPort = 6,
   icmpType = 7,
   icmpCode = 8,
   tcpFlags = 9,
   packetLength = 10,
   dscp = 11,
   fragment = 12,
   flowLabel = 13,
};

using enum MatchCompType;

/// What a component of a type holds.
enum class ComponentKind : U8 {
   none,    ///< there is no such component
   prefix,  ///< an address prefix
   number,  ///< terms that compare a number
   bitmask, ///< terms that test bits
};

/// The field of packets of one family that a component is about.
struct ComponentField {
   U32 bits = 0;                ///< that it has; 0 when packets of the family do not have the field
   bool isInEachPacket = false; ///< not only in those of some protocols
};

/// Sets of value lengths: bit `n` stands for values of `1 << n` octets.
struct LengthSets {
   static constexpr U8 one = 0b0001;
   static constexpr U8 upToTwo = 0b0011;
   static constexpr U8 four = 0b0100;
   static constexpr U8 any = 0b1111;

   U8 allowed = 0;  ///< others make an NLRI malformed
   U8 expected = 0; ///< others should not be sent
};

/// All that the system knows of one component type, in the order in which people read its row.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding)
struct ComponentType {
   MatchCompType type;
   std::string_view name;        ///< of the enumerator
   std::string_view label;       ///< in short forms; empty for prefixes, which print by position
   std::string_view detailLabel; ///< for people
   ComponentKind kind = ComponentKind::none;
   ComponentField ipv4{};
   ComponentField ipv6{};
   LengthSets lengths{};
   /// Bits of a value that the field does not have do not count. Otherwise they do: no packet is
   /// equal to such a number, or has such a bit set.
   bool ignoresOtherBits = false;

   constexpr const ComponentField& field( Zorv::AddressFamily family ) const {
      return family == Zorv::AddressFamily::ipv6 ? ipv6 : ipv4;
   }
   /// The largest value of the field in any family.
   constexpr U32 maximum() const { return ipv4.bits > ipv6.bits ? ipv4.bits : ipv6.bits; }
   constexpr bool hasTerms() const {
      return kind == ComponentKind::number || kind == ComponentKind::bitmask;
   }
};

/// The component types by their numbers: fields and value lengths are those of RFC 8955 section
/// 4.2.2 and RFC 8956 section 3. The code has no other list of them.
inline constexpr ComponentType componentTypes[] = {
   { invalid, "invalid", "INVALID", "INVALID" },
   { destPrefix, "destPrefix", "", "Destination Prefix", ComponentKind::prefix },
   { srcPrefix, "srcPrefix", "", "Source Prefix", ComponentKind::prefix },
   // clang-format off
   { ipProto, "ipProto", "IP", "IP Protocol", ComponentKind::number,
     { 0xFF, true }, { 0xFF }, { LengthSets::any, LengthSets::one } },
   { port, "port", "P", "Port", ComponentKind::number,
     { 0xFFFF }, { 0xFFFF }, { LengthSets::any, LengthSets::upToTwo } },
   { destPort, "destPort", "DP", "Destination Port", ComponentKind::number,
     { 0xFFFF }, { 0xFFFF }, { LengthSets::any, LengthSets::upToTwo } },
   { srcPort, "srcPort", "SP", "Source Port", ComponentKind::number,
     { 0xFFFF }, { 0xFFFF }, { LengthSets::any, LengthSets::upToTwo } },
   { icmpType, "icmpType", "IT", "ICMP Type", ComponentKind::number,
     { 0xFF }, { 0xFF }, { LengthSets::any, LengthSets::one } },
   { icmpCode, "icmpCode", "IC", "ICMP Code", ComponentKind::number,
     { 0xFF }, { 0xFF }, { LengthSets::any, LengthSets::one } },
   { tcpFlags, "tcpFlags", "TCP", "TCP Flags", ComponentKind::bitmask,
     { 0x0FFF }, { 0x0FFF }, { LengthSets::upToTwo, LengthSets::upToTwo } },
   { packetLength, "packetLength", "LEN", "Packet Length", ComponentKind::number,
     { 0xFFFF, true }, { 0xFFFF, true }, { LengthSets::any, LengthSets::upToTwo } },
   { dscp, "dscp", "DSCP", "DSCP", ComponentKind::number,
     { 0x3F, true }, { 0x3F, true }, { LengthSets::one, LengthSets::one }, true },
   { fragment, "fragment", "FRAG", "Fragment Flags", ComponentKind::bitmask,
     { 0x0F, true }, { 0x0E }, { LengthSets::one, LengthSets::one }, true },
   { flowLabel, "flowLabel", "FL", "Flow Label", ComponentKind::number,
     {}, { 0xFFFFF, true }, { LengthSets::any, LengthSets::four } },
   // clang-format on
};

/// How many component types there are, `invalid` included.
inline constexpr U8 numComponentTypes = std::size( componentTypes );

/// The row of a type below `numComponentTypes`.
constexpr const ComponentType& componentType( MatchCompType type ) {
   return componentTypes[static_cast< U8 >( type )];
}

/// Whether components of `type` have terms; false for an unknown type.
constexpr bool hasTerms( MatchCompType type ) {
   return static_cast< U8 >( type ) < numComponentTypes && componentType( type ).hasTerms();
}

/// The names of the component types in the form that all enumerations have.
struct MatchCompTypeNames {
   Vek::Enumerator rows[numComponentTypes];

   constexpr MatchCompTypeNames() : rows{} {
      for ( U8 number = 0; number < numComponentTypes; ++number ) {
         rows[number] = { number, componentTypes[number].name };
      }
   }
};
inline constexpr MatchCompTypeNames matchCompTypeNames;
static_assert( Vek::enumeratorsAreDense( matchCompTypeNames.rows ) );
static_assert(
   [] {
      for ( U8 number = 0; number < numComponentTypes; ++number ) {
         if ( componentTypes[number].type != static_cast< MatchCompType >( number ) ) {
            return false;
         }
      }
      return true;
   }(),
   "each type is at the place of its number" );

inline constexpr Vek::EnumInfo matchCompTypeInfo{ "Flowspec::MatchCompType",
                                                  matchCompTypeNames.rows };

constexpr const Vek::EnumInfo& enumInfo( MatchCompType ) { return matchCompTypeInfo; }

// The name of an enumerator, the stream output of the name and the reading of a name.
using Vek::operator<<;
using Vek::sequenceToValue;
using Vek::stringValue;

/// The component type with a number or a name; `Vek::RangeException` when there is none.
inline MatchCompType MatchCompTypeInstance( U64 number ) {
   return Vek::enumInstance< MatchCompType >( number );
}
inline MatchCompType MatchCompTypeInstance( std::string_view name ) {
   return Vek::enumInstance< MatchCompType >( name );
}

/// Whether the terms of `type` use the bitmask operator (RFC 8955 section 4.2.1.2): true for the
/// types of that kind, `tcpFlags` and `fragment`, and any number above the last type, false for the
/// others.
constexpr bool isBitmask( MatchCompType type ) {
   constexpr U32 bitmaskTypes = [] {
      U32 types = 0;
      for ( U8 number = 0; number < numComponentTypes; ++number ) {
         types |= U32{ componentTypes[number].kind == ComponentKind::bitmask } << number;
      }
      return types;
   }();
   const U8 number = static_cast< U8 >( type );
   return number >= numComponentTypes || bitmaskTypes >> number & 1;
}

/// The same; for `invalid` it also traces "Found invalid type in routeKey" at level 2.
OSK_EXPORT bool isBitfieldType( MatchCompType type );

/// The component type whose short label `text` begins with, of those that have terms; the first one
/// by number when several match. `invalid` when none does.
OSK_EXPORT MatchCompType getCompType( std::string_view text );

} // namespace Flowspec
