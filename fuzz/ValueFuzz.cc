#include "fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   const std::string_view text = Fuzz::text( data, size );
   Flowspec::FlowspecKey key;
   if ( const auto error = Flowspec::readStringValue( text, key ) ) {
      Fuzz::checkError( *error, text );
      return 0;
   }
   // Text that the checked reader takes is no assertion's business.
   Flowspec::FlowspecKey second;
   second.copyInStringValue( text );
   Fuzz::require( second == key, "the keys agree" );
   Fuzz::checkForms( key );
   Flowspec::FlowspecKey read;
   Fuzz::require( !Flowspec::readStringValue( key.stringValue(), read ), "the value reads back" );
   Fuzz::require( read.stringValue() == key.stringValue(), "the value form is the same again" );
   return 0;
}
