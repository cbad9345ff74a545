#pragma once

#include "Osk/Endian.h"

#include <bit>
#include <string_view>

/// Decimal numbers by eight characters at a time. Numbers in texts are short, of all lengths, and
/// in no order, so that a branch for each digit is guessed wrong about once a number; here nothing
/// depends on how many digits there are.
namespace Vek {

/// The eight decimal digits of a number below 100,000,000, one a byte, the first the highest.
constexpr U64 eightDigits( U32 value ) {
   // Halves, then quarters, then digits side by side, each cut in two by a multiplication.
   U64 digits = U64{ value / 10000 } << 32 | value % 10000;
   const U64 hundreds = ( digits * 5243 >> 19 ) & 0x0000'007F'0000'007F;
   digits = hundreds << 16 | ( digits - hundreds * 100 );
   const U64 tens = ( digits * 103 >> 10 ) & 0x000F'000F'000F'000F;
   return tens << 8 | ( digits - tens * 10 );
}

/// Writes `value` in decimal and returns the end. What is after the end, up to 10 characters from
/// `at`, is overwritten too: the work does not depend on the number of digits.
inline char* writeDecimal( char* at, U32 value ) {
   constexpr U64 zeros = 0x3030'3030'3030'3030;
   constexpr U32 limit = 100'000'000;
   if ( value >= limit ) [[unlikely]] {
      const U32 leading = value / limit;
      *at = static_cast< char >( '0' + leading / 10 );
      at += leading >= 10;
      *at++ = static_cast< char >( '0' + leading % 10 );
      Osk::storeBig64( at, eightDigits( value % limit ) | zeros );
      return at + 8;
   }
   const U64 digits = eightDigits( value );
   const int unused = std::countl_zero( digits | 1 ) / 8;
   Osk::storeBig64( at, ( digits | zeros ) << unused * 8 );
   return at + 8 - unused;
}

/// The same for a number of up to 20 digits.
inline char* writeDecimal( char* at, U64 value ) {
   if ( value <= 0xFFFF'FFFF ) [[likely]] {
      return writeDecimal( at, static_cast< U32 >( value ) );
   }
   constexpr U32 limit = 100'000'000;
   at = writeDecimal( at, value / limit );
   Osk::storeBig64( at,
                    eightDigits( static_cast< U32 >( value % limit ) ) | 0x3030'3030'3030'3030 );
   return at + 8;
}

/// The number with the given digits: the inverse of `eightDigits`.
constexpr U32 eightDigitNumber( U64 digits ) {
   // Each step joins neighbours: the left one times 10, 100 or 10000 and the right one.
   digits = digits * ( 1U << 8 | 10 ) >> 8 & 0x00FF'00FF'00FF'00FF;
   digits = digits * ( 1U << 16 | 100 ) >> 16 & 0x0000'FFFF'0000'FFFF;
   return static_cast< U32 >( digits * ( U64{ 1 } << 32 | 10000 ) >> 32 );
}

/// The eight characters of `text` from `offset` on, the first one in the highest byte; zeros after
/// the end. `offset` is below the size.
inline U64 eightCharacters( std::string_view text, std::size_t offset ) {
   if ( text.size() < 8 ) [[unlikely]] {
      char padded[8] = {};
      text.copy( padded, 8, offset );
      return Osk::loadBig64( padded );
   }
   const std::size_t from = offset < text.size() - 8 ? offset : text.size() - 8;
   return Osk::loadBig64( text.data() + from ) << ( offset - from ) * 8;
}

/// The decimal number that eight characters, the first one a digit, begin with.
struct LeadingNumber {
   unsigned length; ///< how many digits it has; when that is 8, there may be more
   U32 value;

   constexpr explicit LeadingNumber( U64 characters ) {
      const U64 digits = characters ^ 0x3030'3030'3030'3030;
      // The highest bit of each byte that is above 9.
      const U64 others =
         ( ( ( digits & 0x7F7F'7F7F'7F7F'7F7F ) + 0x7676'7676'7676'7676 ) | digits ) &
         0x8080'8080'8080'8080;
      length = static_cast< unsigned >( std::countl_zero( others ) ) / 8;
      value = eightDigitNumber( digits >> ( 8 - length ) * 8 );
   }
};

} // namespace Vek
