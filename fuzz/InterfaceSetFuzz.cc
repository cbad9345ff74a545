#include "Flowspec/vocab/FlowspecUtil.h"
#include "fuzz/Check.h"

#include <sstream>

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   const std::string_view text = Fuzz::text( data, size );
   Flowspec::FlowspecKey key;
   if ( const auto error = Flowspec::readInterfaceSet( text, key ) ) {
      Fuzz::checkError( *error, text );
      return 0;
   }
   Flowspec::FlowspecKey second;
   const std::size_t end = Flowspec::flowspecKeyCopyInInterfaceSet( text, second );
   Fuzz::require( second == key && text[end] == ';', "the keys agree" );
   Fuzz::require( Flowspec::FlowspecUtil::findInterfaceSet( text ) == text.substr( 0, end + 1 ),
                  "the segment is found" );
   std::ostringstream written;
   Flowspec::flowspecKeyInterfaceSetStrep( written, key );
   Flowspec::FlowspecKey read;
   Fuzz::require( key.interfaceSets() == 0 || !Flowspec::readInterfaceSet( written.str(), read ),
                  "the list reads back" );
   Fuzz::require( read.interfaceSet() == key.interfaceSet(), "the list is kept" );
   return 0;
}
