#include "fuzz/CliCheck.h"

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   Fuzz::checkCli( Fuzz::text( data, size ), false );
   return 0;
}
