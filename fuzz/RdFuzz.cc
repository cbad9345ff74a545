#include "fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   const std::string_view text = Fuzz::text( data, size );
   for ( const bool includesValueLength : { false, true } ) {
      Flowspec::FlowspecKey key;
      Zorv::RouteDistinguisher rd;
      if ( const auto error = Flowspec::readStrCliWithRd( text, includesValueLength, rd, key ) ) {
         Fuzz::checkError( *error, text );
         continue;
      }
      Fuzz::checkForms( key );
      const Vek::String written = key.toStrepCliWithRd( rd, true );
      Flowspec::FlowspecKey read;
      Zorv::RouteDistinguisher readRd;
      Fuzz::require( !Flowspec::readStrCliWithRd( written, true, readRd, read ) && readRd == rd,
                     "the distinguisher reads back" );
      Fuzz::require( read.toStrepCliWithRd( rd, true ) == written, "the form is the same again" );
   }
   return 0;
}
