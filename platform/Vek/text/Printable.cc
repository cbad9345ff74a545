#include "Vek/text/Printable.h"

namespace Vek {

String printable( std::string_view foreign, std::size_t atMost ) {
   constexpr std::string_view digits = "0123456789ABCDEF";
   constexpr std::string_view mark = "...";
   String text;
   std::size_t beforeMark = 0;
   for ( const char c : foreign ) {
      if ( text.size() + mark.size() <= atMost ) {
         beforeMark = text.size();
      }
      if ( c >= ' ' && c <= '~' ) {
         text += c;
      } else {
         const auto byte = static_cast< U8 >( c );
         text += { '\\', 'x', digits[byte >> 4], digits[byte & 0xF] };
      }
      if ( text.size() > atMost ) {
         text.replace( beforeMark, text.npos, mark );
         break;
      }
   }
   return text;
}

} // namespace Vek
