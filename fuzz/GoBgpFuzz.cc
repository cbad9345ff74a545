#include "fuzz/DialectCheck.h"

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   Fuzz::checkDialect( "gobgp", data, size );
   return 0;
}
