#include "Vek/types/ValueBuffer.h"
#include "fuzz/Check.h"
#include "fuzz/ValueTypes.h"

#include <vector>

namespace {

using namespace Flowspec;

std::vector< U8 > written( const Vek::ValueType& type, const void* value ) {
   std::vector< U8 > bytes( type.logSize( value ) );
   Vek::LogWriter out( bytes.data() );
   type.logWrite( out, value );
   Fuzz::require( out.at() == bytes.data() + bytes.size(), "a value has the size that was said" );
   return bytes;
}

void read( const Vek::ValueType& type, std::span< const U8 > bytes, Vek::LogReader::Trust trust,
           void* value ) {
   Vek::LogReader in( bytes, trust );
   type.logRead( in, value );
   in.end();
}

// A value that was read is written as bytes from which, trusted or not, an equal one is read.
void check( const Vek::ValueType& type, std::span< const U8 > bytes ) {
   using Trust = Vek::LogReader::Trust;
   const Vek::ValueBuffer value( type );
   try {
      read( type, bytes, Trust::checked, value.get() );
   } catch ( const Vek::StreamException& exception ) {
      Fuzz::require( std::string_view( exception.what() ).starts_with( "byte " ),
                     "what is refused is told with its place" );
      return;
   } catch ( const Vek::RangeException& ) {
      return; // a value that the type's constructor refuses
   }
   const std::vector< U8 > first = written( type, value.get() );
   for ( const Trust trust : { Trust::checked, Trust::trusted } ) {
      const Vek::ValueBuffer again( type );
      read( type, first, trust, again.get() );
      const std::vector< U8 > second = written( type, again.get() );
      Fuzz::require( second == first, "a value that was written reads back to the same" );
      // Not-a-number does not even equal itself.
      const bool comparable = type.equal && type.equal( value.get(), value.get() );
      Fuzz::require( !comparable || type.equal( value.get(), again.get() ),
                     "the values are equal" );
   }
   if ( type.write ) {
      Vek::String text;
      Vek::TextWriter out( text );
      type.write( out, value.get() );
   }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   if ( size > 0 ) {
      check( *Fuzz::valueTypes[data[0] % std::size( Fuzz::valueTypes )],
             std::span( data, size ).subspan( 1 ) );
   }
   return 0;
}
