#include "Vek/mount/Greeting.h"
#include "fuzz/Check.h"

#include <algorithm>

using Vek::log::Greeting;

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   const std::string_view line = Fuzz::text( data, std::min( size, Greeting::maxSize - 1 ) );
   if ( const auto greeting = Greeting::fromText( line ) ) {
      Fuzz::require( greeting->text() == Vek::concat( line, '\n' ), "the greeting reads back" );
   }
   return 0;
}
