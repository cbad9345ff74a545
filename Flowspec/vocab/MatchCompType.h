#pragma once

#include "Vek/text/Enum.h"

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

/// How many component types there are, `invalid` included.
inline constexpr U8 numComponentTypes = 14;

inline constexpr Vek::Enumerator matchCompTypeRows[] = {
   { 0, "invalid" },   { 1, "destPrefix" }, { 2, "srcPrefix" },     { 3, "ipProto" },
   { 4, "port" },      { 5, "destPort" },   { 6, "srcPort" },       { 7, "icmpType" },
   { 8, "icmpCode" },  { 9, "tcpFlags" },   { 10, "packetLength" }, { 11, "dscp" },
   { 12, "fragment" }, { 13, "flowLabel" },
};
static_assert( std::size( matchCompTypeRows ) == numComponentTypes &&
               Vek::enumeratorsAreDense( matchCompTypeRows ) );

inline constexpr Vek::EnumInfo matchCompTypeInfo{ "Flowspec::MatchCompType", matchCompTypeRows };

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

/// Whether the terms of `type` use the bitmask operator (RFC 8955 section 4.2.1.2): true for
/// `tcpFlags`, `fragment` and any number above 13, false for the others. For `invalid` it also
/// traces "Found invalid type in routeKey" at level 2.
OSK_EXPORT bool isBitfieldType( MatchCompType type );

/// The component type whose short label `text` begins with, of those from `ipProto` to
/// `flowLabel`; the first one by number when several match. `invalid` when none does.
OSK_EXPORT MatchCompType getCompType( std::string_view text );

} // namespace Flowspec
