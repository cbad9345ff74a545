#include "forms/Printable.h"

#include "Vek/text/Text.h"

namespace Forms {

void appendPrintable( Vek::String& out, std::string_view text ) {
   static constexpr char digits[] = "0123456789abcdef";
   for ( const char c : text ) {
      if ( c >= ' ' && c <= '~' ) {
         out += c;
      } else {
         const auto byte = static_cast< unsigned char >( c );
         out += "\\x";
         out += digits[byte >> 4];
         out += digits[byte & 15];
      }
   }
}

Vek::String shortened( std::string_view text ) {
   constexpr std::size_t longest = 1000;
   constexpr std::size_t front = 600;
   constexpr std::size_t back = 300;
   return text.size() <= longest
             ? Vek::String( text )
             : Vek::concat( text.substr( 0, front ), " ... (", text.size() - front - back,
                            " bytes) ... ", text.substr( text.size() - back ) );
}

Vek::String printable( std::string_view text ) {
   Vek::String out;
   appendPrintable( out, shortened( text ) );
   return out;
}

} // namespace Forms
