#include "Vek/types/ValueBuffer.h"
#include "fuzz/Check.h"
#include "fuzz/ValueTypes.h"

#include <algorithm>

namespace {

// Types that hold a collection have no generic text: reading one is the program's fault.
bool holdsCollection( const Vek::ValueType& type ) {
   static const Vek::ValueType* const holders[] = {
      &Vek::valueType< Flowspec::FlowspecKey >, &Vek::valueType< Flowspec::MatchComponent >,
      &Vek::valueType< Flowspec::FlowspecIntfInterfaceSetConfig >,
      &Vek::valueType< Flowspec::UnsupportedQual > };
   return std::ranges::find( holders, &type ) != std::end( holders );
}

// Whether a text is one of a value; a text that is not changes nothing.
bool read( const Vek::ValueType& type, std::string_view text, void* value ) {
   try {
      type.read( text, value );
      return true;
   } catch ( const Vek::RangeException& exception ) {
      Fuzz::require( *exception.what() != '\0', "what is refused is told why" );
      return false;
   }
}

Vek::String written( const Vek::ValueType& type, const void* value ) {
   Vek::String text;
   Vek::TextWriter out( text );
   type.write( out, value );
   out.flush();
   return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   if ( size == 0 ) {
      return 0;
   }
   const Vek::ValueType& type = *Fuzz::valueTypes[data[0] % std::size( Fuzz::valueTypes )];
   if ( !type.read || !type.write || holdsCollection( type ) ) {
      return 0;
   }
   const Vek::ValueBuffer value( type );
   const Vek::String before = written( type, value.get() );
   if ( !read( type, Fuzz::text( data + 1, size - 1 ), value.get() ) ) {
      Fuzz::require( written( type, value.get() ) == before, "a refused text changes nothing" );
      return 0;
   }
   const Vek::String text = written( type, value.get() );
   const Vek::ValueBuffer again( type );
   Fuzz::require( read( type, text, again.get() ), "a text that was written is read" );
   Fuzz::require( written( type, again.get() ) == text, "the text is the same again" );
   // Not-a-number does not even equal itself.
   const bool comparable = type.equal && type.equal( value.get(), value.get() );
   Fuzz::require( !comparable || type.equal( value.get(), again.get() ), "the values are equal" );
   return 0;
}
