#pragma once

#include "Vek/codec/LogReader.h"
#include "Vek/text/FlagSet.h"

namespace Flowspec {

/// Reads the byte of a set of flags, a U32 in the attribute log; `type` is the set's name. Bits
/// above the byte fail an assertion, or are refused when they come from a peer.
U8 readFlagByte( Vek::LogReader& in, std::string_view type );

/// Reads a set of flags; bits of its byte that are no flags are dropped.
template < typename Set >
Set readFlagSet( Vek::LogReader& in ) {
   return Set( readFlagByte( in, Set::typeName ) & ( ( 1U << std::size( Set::flagNames ) ) - 1 ) );
}

} // namespace Flowspec
