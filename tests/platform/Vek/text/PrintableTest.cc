#include "Vek/text/Printable.h"

#include <random>

#include <gtest/gtest.h>

namespace Vek {
namespace {

TEST( Printable, KeepsPrintableAsciiAndNothingElse ) {
   for ( int c = 0; c < 256; ++c ) {
      const String text( 1, static_cast< char >( c ) );
      char escaped[5];
      std::snprintf( escaped, sizeof escaped, "\\x%02X", static_cast< unsigned >( c ) );
      EXPECT_EQ( printable( text ), c >= 0x20 && c <= 0x7E ? text : escaped );
   }
   EXPECT_EQ( printable( "" ), "" );
   EXPECT_EQ( printable( "a\nstatedbd: \x1B[2J" ), "a\\x0Astatedbd: \\x1B[2J" );
   EXPECT_EQ( printable( std::string_view( "\0", 1 ) ), "\\x00" );
}

TEST( Printable, CutsBetweenCharacters ) {
   EXPECT_EQ( printable( "1234567", 7 ), "1234567" );
   EXPECT_EQ( printable( "12345678", 7 ), "1234..." );
   EXPECT_EQ( printable( "123\n", 7 ), "123\\x0A" );
   EXPECT_EQ( printable( "123\n4", 7 ), "123..." );
   EXPECT_EQ( printable( "\n\n", 7 ), "\\x0A..." );
   EXPECT_EQ( printable( "\n", 3 ), "..." );
   EXPECT_EQ( printable( "123", 3 ), "123" );
   EXPECT_EQ( printable( "1234", 3 ), "..." );
   EXPECT_EQ( printable( String( 1U << 20, 'x' ) ), String( printableSize - 3, 'x' ) + "..." );
}

TEST( Printable, IsBoundedAndChangesNothingTheSecondTime ) {
   std::mt19937_64 random( 1 );
   for ( int round = 0; round < 10000; ++round ) {
      String foreign( random() % 30, ' ' );
      for ( char& c : foreign ) {
         c = static_cast< char >( random() % 4 ? 'a' + random() % 26 : random() );
      }
      const std::size_t atMost = 3 + random() % 40;
      const String text = printable( foreign, atMost );
      ASSERT_LE( text.size(), atMost );
      ASSERT_EQ( printable( text, atMost ), text );
      const String whole = printable( foreign, 4 * foreign.size() + 3 );
      if ( whole.size() <= atMost ) {
         ASSERT_EQ( text, whole );
      } else {
         ASSERT_TRUE( text.ends_with( "..." ) );
         ASSERT_TRUE( whole.starts_with( text.substr( 0, text.size() - 3 ) ) );
         // One more character would not have left room for the mark.
         ASSERT_GT( text.size() + 4, atMost );
      }
   }
}

} // namespace
} // namespace Vek
