#pragma once

#include "Osk/Assert.h"
#include "Vek/FlagSet.h"
#include "Vek/LogReader.h"

namespace Flowspec {

/// Reads a set of flags, a U32 in the attribute log. Bits above the byte that stores it fail an
/// assertion; bits of the byte that are no flags are dropped.
template < typename Set >
Set readFlagSet( Vek::LogReader& in ) {
   constexpr U32 blockMask = 0xFF;
   const U32 b = in.u32();
   if ( in.checked() && ( b & ~blockMask ) != 0 ) {
      in.fail( Vek::concat( "no ", Set::typeName, " has the bits ", b ) );
   }
   OSK_ASSERT( ( b & ~blockMask ) == U32( 0 ), "( b & ~blockMask ) == U32( 0 )" );
   return Set( b & ( ( 1U << std::size( Set::flagNames ) ) - 1 ) );
}

} // namespace Flowspec
