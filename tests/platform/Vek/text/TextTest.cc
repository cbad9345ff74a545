#include "Vek/text/Text.h"

#include "tests/support/AllocationCounter.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <random>
#include <sstream>

#include <gtest/gtest.h>

namespace {

using Vek::String;
using Vek::TextWriter;

String hexText( U64 value ) {
   char text[17];
   std::snprintf( text, sizeof text, "%llx", static_cast< unsigned long long >( value ) );
   return text;
}

/// Letters that tell their position.
String letters( std::size_t length ) {
   String text;
   for ( std::size_t i = 0; i < length; ++i ) {
      text += static_cast< char >( 'a' + i % 26 );
   }
   return text;
}

template < typename T >
concept Writable = requires( TextWriter& out, T value ) {
   out << value;
};
// Whoever writes a truth value says how it is spelled; it is neither a number nor a character.
static_assert( !Writable< bool > && !Writable< const bool& > );
static_assert( Writable< char > && Writable< signed char > && Writable< U8 > && Writable< U64 > &&
               Writable< int > && Writable< const char* > && Writable< std::string_view > );

TEST( TextWriter, AppendsToWhatTheStringHolds ) {
   String text = "before ";
   {
      TextWriter writer( text );
      writer << "after" << ' ' << 1;
   }
   EXPECT_EQ( text, "before after 1" );
}

TEST( TextWriter, EndsInPeaceAfterItRanOutOfMemory ) {
   const auto write = []( bool flushes ) {
      String text;
      const TestSupport::AllocationLimit limit( 0 );
      TextWriter writer( text );
      writer << letters( 10 ) << letters( 10 );
      if ( flushes ) {
         writer.flush();
      }
   };
   EXPECT_THROW( write( true ), std::bad_alloc );
   EXPECT_THROW( write( false ), std::bad_alloc );
   struct AnotherReason {};
   const auto failWithTextLeft = [] {
      String text;
      const TestSupport::AllocationLimit limit( 0 );
      TextWriter writer( text );
      writer << letters( 10 ) << letters( 10 );
      throw AnotherReason();
   };
   EXPECT_THROW( failWithTextLeft(), AnotherReason );
}

TEST( TextWriter, StringHoldsTheWholeTextOnceFlushed ) {
   String text;
   TextWriter writer( text );
   writer << "one";
   writer.flush();
   EXPECT_EQ( text, "one" );
   writer.flush();
   EXPECT_EQ( text, "one" );
   writer << "two";
   writer.flush();
   EXPECT_EQ( text, "onetwo" );
}

TEST( TextWriter, WritesBytesOfAnyContentAndEmptyTexts ) {
   const std::string_view bytes( "a\0b\xFF", 4 );
   String text;
   TextWriter( text ) << bytes << "" << std::string_view() << String() << '\0' << "end";
   EXPECT_EQ( text, String( bytes ) + String( 1, '\0' ) + "end" );
}

// Wherever the buffer ends, some of these lengths end just before, at and just after it.
TEST( TextWriter, PieceOfEveryKindMayCrossTheEndOfTheBuffer ) {
   for ( std::size_t length = 0; length <= 1100; ++length ) {
      const String start = letters( length );
      String text;
      TextWriter( text ) << start << 'X' << start << 18446744073709551615U << start;
      EXPECT_EQ( text, start + 'X' + start + "18446744073709551615" + start );

      String pieces;
      {
         TextWriter writer( pieces );
         for ( const char c : start ) {
            writer << c;
         }
         writer.hex( 0xFEDCBA9876543210 ) << S64{ -5 } << "tail" << '.';
      }
      EXPECT_EQ( pieces, start + "fedcba9876543210-5tail." );
   }
}

TEST( TextWriter, RoomIsFoundAtEveryPlaceOfTheBuffer ) {
   for ( std::size_t before = 440; before < 500; ++before ) {
      const String start = letters( before );
      String text;
      {
         TextWriter writer( text );
         writer << start;
         char* const at = writer.room( 30 );
         writer.written( std::fill_n( at, 20, '#' ) );
         writer << 'X';
      }
      EXPECT_EQ( text, start + String( 20, '#' ) + 'X' );
   }
}

TEST( TextWriter, TextLongerThanTheBufferKeepsItsPlace ) {
   const String longText = letters( 10'000 );
   String text;
   TextWriter( text ) << "first," << longText << ",last";
   EXPECT_EQ( text, "first," + longText + ",last" );
}

TEST( TextWriter, WritesWhatAStandardStreamWrites ) {
   std::mt19937_64 random( 20210104 );
   const String source = letters( 2000 );
   for ( int round = 0; round < 200; ++round ) {
      String text;
      std::ostringstream model;
      {
         TextWriter writer( text );
         for ( U64 pieces = random() % 200; pieces != 0; --pieces ) {
            const U64 value = random() >> random() % 64;
            switch ( random() % 5 ) {
            case 0:
               writer << value;
               model << value;
               break;
            case 1:
               writer << static_cast< S64 >( value );
               model << static_cast< S64 >( value );
               break;
            case 2:
               writer.hex( value );
               model << std::hex << value << std::dec;
               break;
            case 3:
               writer << source[value % source.size()];
               model << source[value % source.size()];
               break;
            default:
               const std::size_t length = value % ( random() % 16 == 0 ? source.size() : 20 );
               writer << std::string_view( source ).substr( 0, length );
               model << source.substr( 0, length );
            }
         }
      }
      ASSERT_EQ( text, model.str() );
   }
}

template < typename Integer >
class TextWriterInteger : public testing::Test {};
using Integers = testing::Types< S8, U8, S16, U16, S32, U32, S64, U64, long long,
                                 unsigned long long, std::size_t >;
TYPED_TEST_SUITE( TextWriterInteger, Integers );

TYPED_TEST( TextWriterInteger, IsWrittenInDecimalToItsExtremes ) {
   using Limits = std::numeric_limits< TypeParam >;
   for ( const TypeParam value :
         { TypeParam{ 0 }, TypeParam{ 9 }, TypeParam{ 10 }, static_cast< TypeParam >( -1 ),
           Limits::min(), Limits::max(), static_cast< TypeParam >( Limits::min() + 1 ) } ) {
      EXPECT_EQ( Vek::concat( value ), std::to_string( value ) );
      EXPECT_EQ( Vek::concat( '<', value, '>' ), '<' + std::to_string( value ) + '>' );
   }
}

TEST( TextWriter, HexadecimalIsLowerCaseWithoutLeadingZeros ) {
   String text;
   TextWriter( text ).hex( 0 ).hex( 0x1BB ) << '/';
   EXPECT_EQ( text, "01bb/" );
   for ( unsigned shift = 0; shift < 64; ++shift ) {
      for ( const U64 value :
            { U64{ 1 } << shift, 0xFEDCBA9876543210 >> shift, ~U64{ 0 } >> shift } ) {
         String digits;
         TextWriter( digits ).hex( value );
         EXPECT_EQ( digits, hexText( value ) );
      }
   }
}

TEST( TextWriter, NothingIsAllocatedWhenTheCapacitySuffices ) {
   const String longText = letters( 3000 );
   String text;
   text.reserve( 8000 );
   const TestSupport::AllocationCounter allocations;
   {
      TextWriter writer( text );
      for ( int i = 0; i < 100; ++i ) {
         writer << "destPort" << ':' << i;
         writer.hex( 0xABCDEF );
      }
      writer << longText;
   }
   EXPECT_EQ( allocations.count(), 0U );
   EXPECT_GT( text.size(), 4000U );
}

TEST( Concat, JoinsTextsCharactersAndIntegers ) {
   const String owned = "owned";
   const char* const pointer = "pointer";
   EXPECT_EQ( Vek::concat( "literal ", owned, ' ', std::string_view( "view" ), ' ', pointer, ' ',
                           U8{ 65 }, ' ', S16{ -7 }, ' ', ~U64{ 0 } ),
              "literal owned view pointer 65 -7 18446744073709551615" );
   EXPECT_EQ( Vek::concat( "" ), "" );
}

TEST( Concat, ShortTextTakesNoMemory ) {
   const TestSupport::AllocationCounter allocations;
   const String text = Vek::concat( "port ", 65535 );
   EXPECT_EQ( allocations.count(), 0U );
   EXPECT_EQ( text, "port 65535" );
}

} // namespace
