#include "fuzz/DialectCheck.h"

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   Fuzz::checkDialect( "exabgp", data, size );
   return 0;
}
