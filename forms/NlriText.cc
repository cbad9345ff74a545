#include "forms/NlriText.h"

#include <array>

namespace Forms {

namespace {

// What a character stands for: a digit's number, `between` for what may be between octets,
// `other` for the rest.
constexpr U8 between = 0x10;
constexpr U8 other = 0x20;
constexpr std::array< U8, 256 > makeDigits() {
   std::array< U8, 256 > digits{};
   digits.fill( other );
   for ( U8 i = 0; i < 10; ++i ) {
      digits['0' + i] = i;
   }
   for ( U8 i = 0; i < 6; ++i ) {
      digits['a' + i] = digits['A' + i] = static_cast< U8 >( 10 + i );
   }
   digits[' '] = digits['\t'] = digits[':'] = between;
   return digits;
}
constexpr std::array< U8, 256 > digits = makeDigits();

} // namespace

std::optional< std::size_t > readHex( std::string_view text, std::vector< U8 >& octets ) {
   octets.resize( text.size() / 2 );
   const auto digitAt = [text]( std::size_t at ) {
      return at < text.size() ? digits[static_cast< U8 >( text[at] )] : other;
   };
   std::size_t count = 0;
   for ( std::size_t at = 0; at < text.size(); ) {
      const U8 high = digitAt( at );
      if ( high == between ) {
         ++at;
         continue;
      }
      const U8 low = digitAt( at + 1 );
      if ( ( high | low ) > 0x0F ) {
         return at + ( high <= 0x0F );
      }
      octets[count++] = static_cast< U8 >( high << 4 | low );
      at += 2;
   }
   octets.resize( count );
   return std::nullopt;
}

void appendHex( Vek::String& out, std::span< const U8 > octets ) {
   static constexpr char texts[] = "0123456789abcdef";
   for ( const U8 octet : octets ) {
      out += texts[octet >> 4];
      out += texts[octet & 15];
   }
}

} // namespace Forms
