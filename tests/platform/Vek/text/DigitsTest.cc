#include "Vek/text/Digits.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Vek::eightCharacters;
using Vek::eightDigitNumber;
using Vek::eightDigits;
using Vek::LeadingNumber;

/// All lengths, their limits, and numbers of each length at random.
std::vector< U32 > numbers() {
   std::vector< U32 > result = { 0, 0xFFFFFFFF };
   std::mt19937 random( 1 );
   for ( U64 limit = 10; limit <= 10'000'000'000; limit *= 10 ) {
      for ( const U64 number : { limit / 10, limit / 10 + 1, limit - 2, limit - 1 } ) {
         result.push_back( static_cast< U32 >( std::min( number, U64{ 0xFFFFFFFF } ) ) );
      }
      for ( unsigned i = 0; i < 2000; ++i ) {
         result.push_back( static_cast< U32 >( random() % limit ) );
      }
   }
   return result;
}

std::string decimalText( U32 value ) {
   char text[10];
   return { text, Vek::writeDecimal( text, value ) };
}

/// A copy on the heap that ends where its memory does, for sanitizers to see reads beyond it.
class ExactCopy {
public:
   explicit ExactCopy( std::string_view text )
      : memory_( new char[text.size()] ), size_( text.size() ) {
      text.copy( memory_.get(), size_ );
   }
   std::string_view text() const { return { memory_.get(), size_ }; }

private:
   std::unique_ptr< char[] > memory_;
   std::size_t size_;
};

TEST( Digits, NumbersAreWrittenInDecimal ) {
   for ( const U32 number : numbers() ) {
      EXPECT_EQ( decimalText( number ), std::to_string( number ) );
   }
}

TEST( Digits, FourDigitsAreRightForAllOfThem ) {
   for ( U32 number = 0; number < 10'000; ++number ) {
      ASSERT_EQ( decimalText( number ), std::to_string( number ) );
      ASSERT_EQ( decimalText( number * 10'000 + 9'999 - number ),
                 std::to_string( number * 10'000 + 9'999 - number ) );
   }
}

TEST( Digits, NumberOfDigitsIsTheInverse ) {
   static_assert( eightDigits( 12'345'678 ) == 0x0102030405060708 );
   static_assert( eightDigits( 90 ) == 0x0900 );
   static_assert( eightDigitNumber( 0x0102030405060708 ) == 12'345'678 );
   static_assert( eightDigitNumber( 0x0909090909090909 ) == 99'999'999 );
   for ( const U32 number : numbers() ) {
      EXPECT_EQ( eightDigitNumber( eightDigits( number % 100'000'000 ) ), number % 100'000'000 );
   }
}

TEST( Digits, EightCharactersEndInZerosBehindTheText ) {
   const std::string letters = "abcdefghijkl";
   for ( std::size_t size = 1; size <= letters.size(); ++size ) {
      const ExactCopy copy( letters.substr( 0, size ) );
      for ( std::size_t offset = 0; offset < size; ++offset ) {
         std::string expected =
            letters.substr( offset, std::min( size - offset, std::size_t{ 8 } ) );
         expected.resize( 8 );
         EXPECT_EQ( eightCharacters( copy.text(), offset ), Osk::loadBig64( expected.data() ) )
            << size << ' ' << offset;
      }
   }
}

TEST( Digits, LeadingNumberEndsAtTheFirstOtherCharacter ) {
   for ( const U32 number : numbers() ) {
      const std::string digits = std::to_string( number ).substr( 0, 8 );
      for ( const std::string_view rest :
            { "", ";", "|=", "/", ":", "L", "a0", "\x80", "\xB0", " 1" } ) {
         const LeadingNumber read( eightCharacters( digits + std::string( rest ), 0 ) );
         EXPECT_EQ( read.length, digits.size() );
         EXPECT_EQ( read.value, std::strtoul( digits.c_str(), nullptr, 10 ) ) << digits << rest;
      }
   }
}

TEST( Digits, EveryOtherCharacterEndsANumber ) {
   for ( unsigned c = 0; c < 256; ++c ) {
      if ( c >= '0' && c <= '9' ) {
         continue;
      }
      const std::string text = { '4', '2', static_cast< char >( c ), '9', '9', '9', '9', '9' };
      const LeadingNumber read( eightCharacters( text, 0 ) );
      EXPECT_EQ( read.length, 2U ) << c;
      EXPECT_EQ( read.value, 42U ) << c;
   }
}

} // namespace
