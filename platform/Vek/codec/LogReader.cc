#include "Vek/codec/LogReader.h"

#include "Vek/text/Text.h"

namespace Vek {

String LogReader::string() {
   const U32 length = count( 1 );
   const U8* const text = take( length );
   if ( length != 0 && std::memchr( text, '\0', length ) ) {
      fail( "a string holds a NUL" );
   }
   return String( reinterpret_cast< const char* >( text ), length );
}

void LogReader::failCount( U32 elements ) {
   at_ -= sizeof elements;
   fail( concat( "a count of ", elements, " does not fit into what follows" ) );
}

void LogReader::fail( std::string_view reason ) const {
   throw StreamException( concat( "byte ", offset(), ": ", reason ) );
}

void LogReader::failShort( std::size_t count ) const {
   fail( concat( count, " bytes are wanted, ", left(), " are left" ) );
}

void LogReader::failLong() const { fail( concat( left(), " bytes too many" ) ); }

} // namespace Vek
