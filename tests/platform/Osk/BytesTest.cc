#include "Osk/Bytes.h"

#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace {

// Equal bytes, and such that differ in one, at any place and from any alignment.
template < typename Same >
void expectThatEachByteCounts( std::size_t size, Same same ) {
   std::mt19937 random( 1 );
   std::vector< char > a( size + 8 );
   for ( char& byte : a ) {
      byte = static_cast< char >( random() );
   }
   for ( std::size_t offset = 0; offset < 8; ++offset ) {
      std::vector< char > b = a;
      EXPECT_TRUE( same( a.data() + offset, b.data() + offset ) ) << size;
      for ( std::size_t at = 0; at < size + 8; ++at ) {
         b[at] = static_cast< char >( b[at] ^ 1 << random() % 8 );
         const bool isOutside = at < offset || at >= offset + size;
         EXPECT_EQ( same( a.data() + offset, b.data() + offset ), isOutside ) << size << ' ' << at;
         b[at] = a[at];
      }
   }
}

TEST( SameBytes, OfAnySize ) {
   for ( std::size_t size = 0; size <= 100; ++size ) {
      expectThatEachByteCounts(
         size, [&]( const void* a, const void* b ) { return Osk::sameBytes( a, b, size ); } );
   }
}

TEST( SameBytes, OfASizeThatIsKnownBeforehand ) {
   expectThatEachByteCounts( 16, Osk::sameBytes< 16 > );
   expectThatEachByteCounts( 32, Osk::sameBytes< 32 > );
   expectThatEachByteCounts( 144, Osk::sameBytes< 144 > );
}

} // namespace
