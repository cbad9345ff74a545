#include "Flowspec/vocab/FlagSetLog.h"

#include "Osk/Assert.h"

namespace Flowspec {

U8 readFlagByte( Vek::LogReader& in, std::string_view type ) {
   constexpr U32 blockMask = 0xFF;
   const U32 b = in.u32();
   if ( in.checked() && ( b & ~blockMask ) != 0 ) {
      in.fail( Vek::concat( "no ", type, " has the bits ", b ) );
   }
   OSK_ASSERT( ( b & ~blockMask ) == U32( 0 ), "( b & ~blockMask ) == U32( 0 )" );
   return static_cast< U8 >( b );
}

} // namespace Flowspec
