#include "Osk/Group.h"

#include <random>

#include <gtest/gtest.h>

namespace {

template < typename T >
class GroupTest : public testing::Test {};

using Groups = testing::Types< Osk::Group, Osk::PlainGroup >;
TYPED_TEST_SUITE( GroupTest, Groups );

struct Bytes {
   U8 bytes[16 + 8];

   // Bytes that a search is likely to take for each other beside the one that is looked for.
   explicit Bytes( std::mt19937& random ) {
      static constexpr U8 likely[] = { 0, 1, 0x2F, 0x30, 0x39, 0x3A, 0x7F, 0x80, 0xB0, 0xFE, 0xFF };
      for ( U8& byte : bytes ) {
         byte = random() % 2 ? likely[random() % sizeof likely] : static_cast< U8 >( random() );
      }
   }
};

template < typename Matches >
U32 maskOf( const U8* bytes, Matches matches ) {
   U32 mask = 0;
   for ( U32 i = 0; i < 16; ++i ) {
      mask |= matches( bytes[i] ) ? 1U << i : 0;
   }
   return mask;
}

TYPED_TEST( GroupTest, FindsEachByteAtEachPlace ) {
   std::mt19937 random( 1 );
   for ( int round = 0; round < 2000; ++round ) {
      const Bytes bytes( random );
      const U8* const at = bytes.bytes + round % 8;
      for ( U32 byte = 0; byte < 256; ++byte ) {
         ASSERT_EQ( TypeParam( at ).equal( static_cast< U8 >( byte ) ),
                    maskOf( at, [=]( U8 other ) { return other == byte; } ) )
            << byte << " in round " << round;
      }
   }
}

TYPED_TEST( GroupTest, FindsWhatIsNoDigit ) {
   std::mt19937 random( 1 );
   for ( int round = 0; round < 2000; ++round ) {
      const Bytes bytes( random );
      const U8* const at = bytes.bytes + round % 8;
      ASSERT_EQ( TypeParam( at ).otherThanDigits(),
                 maskOf( at, []( U8 byte ) { return byte < '0' || byte > '9'; } ) )
         << "in round " << round;
   }
   for ( U32 byte = 0; byte < 256; ++byte ) {
      U8 same[16];
      std::memset( same, static_cast< int >( byte ), sizeof same );
      ASSERT_EQ( TypeParam( same ).otherThanDigits(), byte >= '0' && byte <= '9' ? 0 : 0xFFFF );
   }
}

template < typename T >
class GroupComparisonTest : public testing::Test {};

using Comparisons = testing::Types< Osk::GroupComparison, Osk::PlainGroupComparison >;
TYPED_TEST_SUITE( GroupComparisonTest, Comparisons );

TYPED_TEST( GroupComparisonTest, SeesEachBitOfEachPair ) {
   std::mt19937 random( 1 );
   const Bytes pairs[]{ Bytes( random ), Bytes( random ), Bytes( random ) };
   const auto same = [&]( const Bytes( &others )[3] ) {
      TypeParam comparison;
      for ( int i = 0; i < 3; ++i ) {
         comparison.add( pairs[i].bytes + i, others[i].bytes + i );
      }
      return comparison.same();
   };
   EXPECT_TRUE( TypeParam().same() );
   Bytes others[]{ pairs[0], pairs[1], pairs[2] };
   EXPECT_TRUE( same( others ) );
   for ( U32 pair = 0; pair < 3; ++pair ) {
      for ( U32 bit = 0; bit < 128; ++bit ) {
         U8& byte = others[pair].bytes[pair + bit / 8];
         byte = static_cast< U8 >( byte ^ 1U << bit % 8 );
         EXPECT_FALSE( same( others ) ) << pair << ' ' << bit;
         byte = static_cast< U8 >( byte ^ 1U << bit % 8 );
      }
   }
}

} // namespace
