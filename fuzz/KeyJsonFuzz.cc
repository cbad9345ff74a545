#include "forms/KeyJson.h"
#include "fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   Flowspec::FlowspecKey key;
   if ( Forms::readKeyJson( Fuzz::text( data, size ), key ) ) {
      return 0;
   }
   Fuzz::checkForms( key );
   Fuzz::require( !Forms::unwritableJson( key ), "what was read has no holes" );
   Vek::String written;
   Forms::appendKeyJson( written, key );
   Flowspec::FlowspecKey read;
   Fuzz::require( !Forms::readKeyJson( written, read ) && read == key, "the key reads back" );
   return 0;
}
