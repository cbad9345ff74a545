#include "Vek/types/Arguments.h"

#include <gmock/gmock.h>

namespace Vek {
namespace {

using Types = std::vector< const ValueType* >;

// Where a value stands: all of it in the object, or none.
bool isInPlace( const Arguments& arguments, std::size_t position, std::size_t size ) {
   const auto* const begin = reinterpret_cast< const U8* >( &arguments );
   const auto* const at = static_cast< const U8* >( arguments[position] );
   const bool begins = at >= begin && at < begin + sizeof arguments;
   const bool ends = at + size > begin && at + size <= begin + sizeof arguments;
   EXPECT_EQ( begins, ends );
   return begins;
}

// 32 bytes each.
TEST( Arguments, OfUpTo512BytesStandInPlace ) {
   const ValueType& text = valueType< String >;
   ASSERT_EQ( text.size, 32U );
   for ( const std::size_t count : { 1U, 8U, 9U, 16U, 17U, 31U, 32U, 33U } ) {
      const Types types( count, &text );
      const Arguments arguments( types );
      for ( std::size_t i = 0; i < count; ++i ) {
         EXPECT_EQ( isInPlace( arguments, i, text.size ), count <= 16 ) << count;
         auto& value = *static_cast< String* >( arguments[i] );
         EXPECT_EQ( value, "" );
         value = String( 100 + i, 'x' );
      }
      for ( std::size_t i = 0; i < count; ++i ) {
         EXPECT_EQ( static_cast< const String* >( arguments.data()[i] )->size(), 100 + i );
      }
   }
}

std::vector< char > ended;

TEST( Arguments, EndAsWhatTheyAreTheLastFirst ) {
   ended.clear();
   ValueType a = valueType< U32 >;
   ValueType b = valueType< U32 >;
   a.destroy = []( void* ) { ended.push_back( 'a' ); };
   b.destroy = []( void* ) { ended.push_back( 'b' ); };
   {
      const Types types{ &a, &b, &b };
      const Arguments arguments( types );
   }
   EXPECT_THAT( ended, testing::ElementsAre( 'b', 'b', 'a' ) );
}

} // namespace
} // namespace Vek
