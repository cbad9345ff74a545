#include "fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   const std::string_view text = Fuzz::text( data, size );
   Flowspec::FlowspecKey key;
   const auto error = Flowspec::readStrep( text, key );
   Flowspec::FlowspecKey second;
   bool raised = false;
   try {
      second.copyInStr( text );
   } catch ( const Vek::RangeException& ) {
      raised = true;
   }
   Fuzz::require( raised == error.has_value(), "the verdicts agree" );
   if ( error ) {
      Fuzz::checkError( *error, text );
      Fuzz::require( !second, "a key that was not read is unchanged" );
      return 0;
   }
   Fuzz::require( second == key, "the keys agree" );
   Fuzz::checkForms( key );
   return 0;
}
