#include "tools/lib/NlriText.h"

namespace Flowspec::Tools {

namespace {

std::optional< unsigned > digit( char c ) {
   if ( c >= '0' && c <= '9' ) {
      return static_cast< unsigned >( c - '0' );
   }
   const char lower = static_cast< char >( c | 0x20 );
   return lower >= 'a' && lower <= 'f'
             ? std::optional( static_cast< unsigned >( lower - 'a' + 10 ) )
             : std::nullopt;
}

bool isBetween( char c ) { return c == ' ' || c == '\t' || c == ':'; }

} // namespace

std::optional< std::size_t > readHex( std::string_view text, std::vector< U8 >& octets ) {
   octets.clear();
   for ( std::size_t at = 0; at < text.size(); ++at ) {
      if ( isBetween( text[at] ) ) {
         continue;
      }
      const auto high = digit( text[at] );
      if ( !high ) {
         return at;
      }
      const auto low = ++at < text.size() ? digit( text[at] ) : std::nullopt;
      if ( !low ) {
         return at;
      }
      octets.push_back( static_cast< U8 >( *high << 4 | *low ) );
   }
   return std::nullopt;
}

void appendHex( Vek::String& out, std::span< const U8 > octets ) {
   static constexpr char digits[] = "0123456789abcdef";
   for ( const U8 octet : octets ) {
      out += digits[octet >> 4];
      out += digits[octet & 15];
   }
}

} // namespace Flowspec::Tools
