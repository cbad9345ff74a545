#include "Vek/text/Text.h"

#include <limits>

#include <gtest/gtest.h>

namespace {

using Vek::CharRange;
using Vek::decimal;

TEST( CharRange, TakesACharacterOnlyWhenItIsNext ) {
   CharRange range( "::x" );
   EXPECT_FALSE( range.take( 'x' ) );
   EXPECT_EQ( range.rest(), "::x" );
   EXPECT_TRUE( range.take( ':' ) );
   EXPECT_TRUE( range.take( ':' ) );
   EXPECT_FALSE( range.take( ':' ) );
   EXPECT_FALSE( range.empty() );
   EXPECT_TRUE( range.take( 'x' ) );
   EXPECT_TRUE( range.empty() );
   EXPECT_FALSE( range.take( 'x' ) );
   EXPECT_FALSE( range.take( '\0' ) );
}

TEST( CharRange, TakesAsManyCharactersAsAsked ) {
   CharRange range( "abcdef" );
   EXPECT_EQ( range.take( std::size_t{ 0 } ), "" );
   EXPECT_EQ( range.take( std::size_t{ 2 } ), "ab" );
   EXPECT_EQ( range.take( std::size_t{ 4 } ), "cdef" );
   EXPECT_TRUE( range.empty() );
   EXPECT_EQ( range.rest(), "" );
}

TEST( CharRange, TakesTheLongestNameAndLeavesTheRest ) {
   CharRange range( "af11_Ab;next" );
   EXPECT_EQ( range.takeName(), "af11_Ab" );
   EXPECT_EQ( range.rest(), ";next" );
   EXPECT_EQ( range.takeName(), "" );
   EXPECT_EQ( range.rest(), ";next" );
   EXPECT_TRUE( range.take( ';' ) );
   EXPECT_EQ( range.takeName(), "next" );
   EXPECT_TRUE( range.empty() );
   EXPECT_EQ( range.takeName(), "" );
}

TEST( CharRange, NameIsOfAsciiLettersDigitsAndUnderscores ) {
   const std::string_view name = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";
   for ( int i = 0; i < 256; ++i ) {
      const char c = static_cast< char >( i );
      CharRange range( { &c, 1 } );
      EXPECT_EQ( range.takeName().size(), name.find( c ) == std::string_view::npos ? 0U : 1U ) << i;
   }
}

TEST( CharRange, EmptyTextGivesNothing ) {
   CharRange range{ std::string_view() };
   EXPECT_TRUE( range.empty() );
   EXPECT_EQ( range.rest(), "" );
   EXPECT_FALSE( range.take( 'a' ) );
   EXPECT_EQ( range.takeName(), "" );
}

TEST( IsDigit, IsTrueForTheTenDigitsOnly ) {
   const std::string_view digits = "0123456789";
   for ( int i = 0; i < 256; ++i ) {
      const char c = static_cast< char >( i );
      EXPECT_EQ( Vek::isDigit( c ), digits.find( c ) != std::string_view::npos ) << i;
   }
}

TEST( Decimal, ReadsEveryNumberUpToTheMaximumAndNoneAbove ) {
   for ( const U64 max : { 0U, 1U, 5U, 8U, 9U, 10U, 11U, 32U, 99U, 128U, 255U, 1000U } ) {
      for ( U64 number = 0; number <= 2100; ++number ) {
         const auto read = decimal( std::to_string( number ), max );
         EXPECT_EQ( read.has_value(), number <= max ) << number << " of " << max;
         EXPECT_EQ( read.value_or( number ), number );
      }
   }
}

TEST( Decimal, ReadsTheLimitsOfTheWidths ) {
   EXPECT_EQ( decimal( "65535", 0xFFFF ), 65535U );
   EXPECT_EQ( decimal( "65536", 0xFFFF ), std::nullopt );
   EXPECT_EQ( decimal( "4294967295", 0xFFFFFFFF ), 4294967295U );
   EXPECT_EQ( decimal( "4294967296", 0xFFFFFFFF ), std::nullopt );
   constexpr U64 max = std::numeric_limits< U64 >::max();
   EXPECT_EQ( decimal( "18446744073709551615", max ), max );
   EXPECT_EQ( decimal( "18446744073709551616", max ), std::nullopt );
   EXPECT_EQ( decimal( "18446744073709551625", max ), std::nullopt );
   EXPECT_EQ( decimal( "28446744073709551615", max ), std::nullopt );
   EXPECT_EQ( decimal( "184467440737095516150", max ), std::nullopt );
   EXPECT_EQ( decimal( "99999999999999999999999999999999", max ), std::nullopt );
   EXPECT_EQ( decimal( "18446744073709551614", max - 1 ), max - 1 );
   EXPECT_EQ( decimal( "18446744073709551615", max - 1 ), std::nullopt );
}

TEST( Decimal, RefusesEverythingButDigits ) {
   for ( const std::string_view text :
         { std::string_view(), std::string_view( "" ), std::string_view( "1\0", 2 ),
           std::string_view( "\0", 1 ), std::string_view( "+8" ), std::string_view( "-8" ),
           std::string_view( "-0" ), std::string_view( " 8" ), std::string_view( "8 " ),
           std::string_view( "8/" ), std::string_view( "8:" ), std::string_view( "0x8" ),
           std::string_view( "8a" ), std::string_view( "1e3" ), std::string_view( "1.0" ),
           std::string_view( "1,000" ), std::string_view( "\xB2" ) } ) {
      EXPECT_EQ( decimal( text, 1000 ), std::nullopt ) << text;
   }
}

TEST( Decimal, RefusesLeadingZerosButReadsZero ) {
   EXPECT_EQ( decimal( "0", 1000 ), 0U );
   EXPECT_EQ( decimal( "0", 0 ), 0U );
   for ( const std::string_view text : { "00", "01", "033", "000", "0010" } ) {
      EXPECT_EQ( decimal( text, 1000 ), std::nullopt ) << text;
   }
}

TEST( Decimal, IsAvailableToTheCompiler ) {
   static_assert( decimal( "128", 128 ) == 128U );
   static_assert( !decimal( "129", 128 ) );
   static_assert( !decimal( "9", 5 ) );
}

} // namespace
