#include "fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   const std::string_view text = Fuzz::text( data, size );
   if ( const auto rd = Zorv::RouteDistinguisher::fromText( text ) ) {
      Fuzz::require( Zorv::RouteDistinguisher::fromText( rd->stringValue() ) == rd,
                     "the distinguisher reads back" );
   }
   if ( size >= sizeof( U64 ) ) {
      U64 value = 0;
      std::memcpy( &value, data, sizeof value );
      const Zorv::RouteDistinguisher rd( value );
      Fuzz::require( Zorv::RouteDistinguisher::fromText( rd.stringValue() ) == rd,
                     "any distinguisher reads back" );
   }
   return 0;
}
