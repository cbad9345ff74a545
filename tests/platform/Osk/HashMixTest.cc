#include "Osk/HashMix.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Osk::HashMix;

/// The hash of one sequence of quantities of any widths.
template < typename... Quantities >
constexpr U32 hashOf( Quantities... quantities ) {
   HashMix mix;
   ( mix.mix( quantities ), ... );
   return mix.value();
}

TEST( HashMix, OrderOfQuantitiesCounts ) {
   EXPECT_NE( hashOf( U32{ 1 }, U32{ 2 } ), hashOf( U32{ 2 }, U32{ 1 } ) );
   EXPECT_NE( hashOf( U16{ 1 }, U32{ 2 } ), hashOf( U32{ 2 }, U16{ 1 } ) );
   EXPECT_NE( hashOf( U64{ 1 }, U64{ 2 } ), hashOf( U64{ 2 }, U64{ 1 } ) );
   HashMix pair;
   pair.mix( U64{ 1 }, U64{ 2 } );
   HashMix swapped;
   swapped.mix( U64{ 2 }, U64{ 1 } );
   EXPECT_NE( pair.value(), swapped.value() );
   HashMix smallPair;
   smallPair.mixSmall( 1, 2 );
   HashMix smallSwapped;
   smallSwapped.mixSmall( 2, 1 );
   EXPECT_NE( smallPair.value(), smallSwapped.value() );
}

TEST( HashMix, AllOrdersOfNineQuantitiesDiffer ) {
   std::array< U32, 9 > order{ 0, 1, 2, 3, 4, 5, 6, 7, 8 };
   std::vector< U32 > values;
   do {
      HashMix mix;
      for ( const U32 quantity : order ) {
         mix.mix( quantity );
      }
      values.push_back( mix.value() );
   } while ( std::next_permutation( order.begin(), order.end() ) );
   std::sort( values.begin(), values.end() );
   const auto distinct = std::unique( values.begin(), values.end() ) - values.begin();
   // 362,880 random values have 15.3 coincidences; 6 standard deviations more is 39.
   EXPECT_GE( distinct, 362'880 - 39 );
}

TEST( HashMix, WidthOfAQuantityCounts ) {
   std::mt19937_64 random( 20210104 );
   for ( int round = 0; round < 1000; ++round ) {
      const U16 v = static_cast< U16 >( random() );
      EXPECT_NE( hashOf( v ), hashOf( U32{ v } ) );
      EXPECT_NE( hashOf( v ), hashOf( U64{ v } ) );
      EXPECT_NE( hashOf( U32{ v } ), hashOf( U64{ v } ) );
   }
}

TEST( HashMix, NumberOfQuantitiesCounts ) {
   std::vector< U32 > values;
   HashMix mix;
   for ( int length = 0; length < 1000; ++length ) {
      values.push_back( mix.value() );
      mix.mix( U16{ 0 } );
   }
   std::sort( values.begin(), values.end() );
   EXPECT_EQ( std::adjacent_find( values.begin(), values.end() ), values.end() );
}

TEST( HashMix, ValueMayBeTakenAtAnyTimeAndChangesNothing ) {
   std::mt19937_64 random( 20210104 );
   HashMix watched;
   HashMix unwatched;
   for ( int round = 0; round < 1000; ++round ) {
      const U32 v = static_cast< U32 >( random() );
      watched.mix( v );
      unwatched.mix( v );
      const U32 value = watched.value();
      EXPECT_EQ( watched.value(), value );
   }
   EXPECT_EQ( watched.value(), unwatched.value() );
}

TEST( HashMix, CopyContinuesWhereItsOriginalStands ) {
   HashMix mix;
   mix.mix( U32{ 5 } );
   HashMix copy = mix;
   mix.mix( U16{ 6 } );
   EXPECT_NE( copy.value(), mix.value() );
   copy.mix( U16{ 6 } );
   EXPECT_EQ( copy.value(), mix.value() );
}

TEST( HashMix, ValueOfTheCompilerIsThatOfTheProcess ) {
   constexpr U32 compiled = hashOf( U32{ 7 }, U16{ 8 }, U64{ 9 } );
   volatile U32 first = 7;
   volatile U16 second = 8;
   volatile U64 third = 9;
   EXPECT_EQ( hashOf( U32{ first }, U16{ second }, U64{ third } ), compiled );
}

// --- Avalanche ---

constexpr int avalancheRounds = 20'000;

/// How often each of the 32 result bits changes when one bit of the input does.
struct Flips {
   std::array< int, 32 > count{};

   void add( U32 difference ) {
      for ( unsigned bit = 0; bit < 32; ++bit ) {
         count[bit] += static_cast< int >( difference >> bit & 1 );
      }
   }

   /// Each flips in half of the rounds, up to 5.6 standard deviations of a fair coin either way.
   bool areFair() const {
      const double deviation = std::sqrt( avalancheRounds ) / 2;
      return std::all_of( count.begin(), count.end(), [=]( int c ) {
         return std::abs( c - avalancheRounds / 2 ) < 5.6 * deviation;
      } );
   }
};

/// Flips each bit of the quantity at `position` in sequences of `length` random ones of type `T`.
template < typename T >
void expectAvalanche( std::size_t length, std::size_t position ) {
   std::mt19937_64 random( 20210104 );
   for ( unsigned bit = 0; bit < sizeof( T ) * 8; ++bit ) {
      Flips flips;
      for ( int round = 0; round < avalancheRounds; ++round ) {
         HashMix mix;
         HashMix flipped;
         for ( std::size_t i = 0; i < length; ++i ) {
            const T v = static_cast< T >( random() );
            mix.mix( v );
            flipped.mix( static_cast< T >( i == position ? v ^ T{ 1 } << bit : v ) );
         }
         flips.add( mix.value() ^ flipped.value() );
      }
      EXPECT_TRUE( flips.areFair() ) << "input bit " << bit << " of quantity " << position;
   }
}

TEST( HashMixAvalanche, EachBitOfALoneQuantityFlipsHalfOfTheResult ) {
   expectAvalanche< U16 >( 1, 0 );
   expectAvalanche< U32 >( 1, 0 );
   expectAvalanche< U64 >( 1, 0 );
}

TEST( HashMixAvalanche, EachBitOfAnyQuantityOfASequenceFlipsHalfOfTheResult ) {
   for ( const std::size_t position : { 0U, 1U, 3U } ) {
      expectAvalanche< U16 >( 4, position );
      expectAvalanche< U32 >( 4, position );
   }
   expectAvalanche< U64 >( 2, 0 );
   expectAvalanche< U64 >( 2, 1 );
}

TEST( HashMixAvalanche, EachBitOfAPairFlipsHalfOfTheResult ) {
   std::mt19937_64 random( 20210104 );
   for ( unsigned bit = 0; bit < 128; ++bit ) {
      Flips flips;
      const U64 inFirst = bit < 64 ? U64{ 1 } << bit : 0;
      const U64 inSecond = bit < 64 ? 0 : U64{ 1 } << ( bit - 64 );
      for ( int round = 0; round < avalancheRounds; ++round ) {
         const U64 first = random();
         const U64 second = random();
         HashMix mix;
         mix.mix( first, second );
         HashMix flipped;
         flipped.mix( first ^ inFirst, second ^ inSecond );
         flips.add( mix.value() ^ flipped.value() );
      }
      EXPECT_TRUE( flips.areFair() ) << "input bit " << bit;
   }
}

// --- Distribution over inputs that are anything but random ---

struct Structure {
   const char* name;
   void ( *feed )( HashMix& mix, U32 i ); ///< gives each i its own sequence
};

// Names the structure in messages and test lists, instead of its bytes.
void PrintTo( const Structure& structure, std::ostream* out ) { *out << structure.name; }

/// The digits of `i`, lowest first.
template < typename T >
void mixDigits( HashMix& mix, U32 i, U32 base, unsigned digits, unsigned shift = 0 ) {
   for ( ; digits != 0; --digits, i /= base ) {
      mix.mix( static_cast< T >( T{ static_cast< T >( i % base ) } << shift ) );
   }
}

const Structure structures[] = {
   { "denseU32", []( HashMix& mix, U32 i ) { mix.mix( i ); } },
   { "denseU64", []( HashMix& mix, U32 i ) { mix.mix( U64{ i } ); } },
   { "prefixes24", []( HashMix& mix, U32 i ) { mix.mix( i << 8 ); } },
   { "highHalf", []( HashMix& mix, U32 i ) { mix.mix( U64{ i } << 44 ); } },
   { "twoSmall", []( HashMix& mix, U32 i ) { mixDigits< U32 >( mix, i, 1000, 2 ); } },
   { "sixSmall", []( HashMix& mix, U32 i ) { mixDigits< U32 >( mix, i, 10, 6 ); } },
   { "lowBitsU16", []( HashMix& mix, U32 i ) { mixDigits< U16 >( mix, i, 2, 20 ); } },
   { "topBitsU32", []( HashMix& mix, U32 i ) { mixDigits< U32 >( mix, i, 2, 20, 31 ); } },
   { "topBitsU64", []( HashMix& mix, U32 i ) { mixDigits< U64 >( mix, i, 2, 20, 63 ); } },
   { "pairs", []( HashMix& mix, U32 i ) { mix.mix( U64{ i % 1000 }, U64{ i / 1000 } ); } },
   { "pairsOfOpposites", []( HashMix& mix, U32 i ) { mix.mix( U64{ i }, U64{ 0 } - i ); } },
   // The values that make a factor of the first multiplication 0.
   { "besideTheSecret", []( HashMix& mix, U32 i ) { mix.mix( 0xA0761D6478BD642F, U64{ i } ); } },
   { "besideTheFirstState",
     []( HashMix& mix, U32 i ) { mix.mix( U64{ i }, 0xE7037ED1A0B428DB ); } },
   { "smallPairs", []( HashMix& mix, U32 i ) { mix.mixSmall( i % 1000, i / 1000 ); } },
   { "smallPairsOfOpposites", []( HashMix& mix, U32 i ) { mix.mixSmall( i, U64{ 0 } - i ); } },
   { "hostsOfAnIpv6Prefix",
     []( HashMix& mix, U32 i ) { mix.mix( U64{ 0x20010DB800000000 }, U64{ i } ); } },
   { "ipv6Prefixes48",
     []( HashMix& mix, U32 i ) { mix.mix( 0x2001000000000000 | U64{ i } << 16, U64{ 0 } ); } },
   { "indexedWords",
     []( HashMix& mix, U32 i ) {
        mix.mix( U16{ 0 } );
        mix.mix( 0x05910000 | i % 1000 );
        mix.mix( U16{ 1 } );
        mix.mix( 0x06910000 | i / 1000 );
     } },
};

class HashMixStructure : public testing::TestWithParam< Structure > {
protected:
   static constexpr U32 inputs = 1'000'000U;

   HashMixStructure() {
      values_.reserve( inputs );
      for ( U32 i = 0; i < inputs; ++i ) {
         HashMix mix;
         GetParam().feed( mix, i );
         values_.push_back( mix.value() );
      }
   }

   /// Chi-square over `buckets`, as standard deviations above its mean.
   template < typename BucketOf >
   double excess( U32 buckets, BucketOf bucketOf ) const {
      std::vector< double > count( buckets );
      for ( const U32 value : values_ ) {
         ++count[bucketOf( value )];
      }
      const double mean = double{ inputs } / buckets;
      double sum = 0;
      for ( const double c : count ) {
         sum += ( c - mean ) * ( c - mean ) / mean;
      }
      const double freedom = buckets - 1.0;
      return ( sum - freedom ) / std::sqrt( 2 * freedom );
   }

   std::vector< U32 > values_;
};

TEST_P( HashMixStructure, FillsBucketsEvenly ) {
   EXPECT_LT( excess( 256, []( U32 v ) { return v & 0xFF; } ), 5 );
   EXPECT_LT( excess( 65536, []( U32 v ) { return v & 0xFFFF; } ), 5 );
   EXPECT_LT( excess( 256, []( U32 v ) { return v >> 24; } ), 5 );
   EXPECT_LT( excess( 65536, []( U32 v ) { return v >> 16; } ), 5 );
   EXPECT_LT( excess( 10'007, []( U32 v ) { return v % 10'007; } ), 5 );
}

TEST_P( HashMixStructure, CollidesNoMoreThanRandomValuesDo ) {
   std::sort( values_.begin(), values_.end() );
   U32 collisions = 0;
   for ( U32 i = 1; i < inputs; ++i ) {
      collisions += values_[i] == values_[i - 1];
   }
   // The mean is n * n / 2^33; six standard deviations more.
   const double mean = std::ldexp( double{ inputs } * inputs, -33 );
   EXPECT_LE( collisions, mean + 6 * std::sqrt( mean ) );
}

INSTANTIATE_TEST_SUITE_P( Inputs, HashMixStructure, testing::ValuesIn( structures ),
                          []( const auto& test ) { return std::string( test.param.name ); } );

} // namespace
