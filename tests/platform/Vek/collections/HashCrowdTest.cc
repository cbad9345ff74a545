#include "Vek/collections/HashMap.h"
#include "Vek/collections/HashSet.h"

#include <algorithm>
#include <map>
#include <random>
#include <vector>

#include <gtest/gtest.h>

/// Keys as an enemy would choose them. What is counted are the comparisons of keys: without care,
/// 100,000 of one hash take 5,000,000,000.

namespace {

constexpr U64 count = 100'000;

U64 steps = 0;

/// A key whose comparisons are counted.
struct Key {
   U64 number;

   bool operator==( const Key& other ) const {
      ++steps;
      return number == other.number;
   }
   bool operator<( const Key& other ) const {
      ++steps;
      return number < other.number;
   }
};

/// The same for all keys.
struct OneHash {
   U32 operator()( const Key& ) const { return 0x12345678; }
};
/// Another one for each of 262,144 keys, but all alike in the bits that choose a place among as
/// many as 100,000 keys need.
struct OneSlot {
   U32 operator()( const Key& key ) const {
      return static_cast< U32 >( ( key.number & 0xFF ) | key.number >> 8 << 22 );
   }
};
/// Eight hashes.
struct FewHashes {
   U32 operator()( const Key& key ) const { return static_cast< U32 >( key.number % 8 ); }
};

std::vector< Key > shuffledKeys() {
   std::vector< Key > keys;
   for ( U64 number = 0; number < count; ++number ) {
      keys.push_back( { number } );
   }
   std::shuffle( keys.begin(), keys.end(), std::mt19937_64( 20261122 ) );
   return keys;
}

// How many comparisons a key takes on average in each of: insertion, look-up of what is there and
// of what is not, removal.
template < typename Hash >
void expectSteps( U64 most ) {
   const std::vector< Key > keys = shuffledKeys();
   Vek::HashMap< Key, U64, Hash > map;
   const auto perKey = [&]( auto work ) {
      steps = 0;
      for ( const Key& key : keys ) {
         ASSERT_TRUE( work( key ) );
      }
      EXPECT_LE( steps / count, most );
   };
   perKey( [&]( const Key& key ) { return map.insert( key, key.number ).second; } );
   perKey( [&]( const Key& key ) { return map.find( key )->second == key.number; } );
   perKey( [&]( const Key& key ) { return !map.contains( { key.number + count } ); } );
   auto copy = map;
   perKey( [&]( const Key& key ) { return copy.erase( key ); } );
   EXPECT_TRUE( copy.empty() );
   perKey( [&]( const Key& key ) { return map.find( key )->second == key.number; } );
}

TEST( HashCrowd, KeysOfOneHashTakeFewSteps ) { expectSteps< OneHash >( 500 ); }

TEST( HashCrowd, KeysOfEightHashesTakeFewSteps ) { expectSteps< FewHashes >( 500 ); }

TEST( HashCrowd, KeysOfOneSlotAreSpread ) { expectSteps< OneSlot >( 10 ); }

TEST( HashCrowd, BehavesAsTheStandardMapWhileItGrowsAndShrinks ) {
   std::mt19937_64 random( 20261122 );
   Vek::HashMap< Key, U64, FewHashes > map;
   std::map< U64, U64 > model;
   for ( U64 round = 0; round < 60'000; ++round ) {
      const U64 number = random() % 4000;
      if ( random() % 8 < ( round / 15'000 % 2 == 0 ? 6U : 2U ) ) {
         ASSERT_EQ( map.insert( { number }, round ).second, model.emplace( number, round ).second );
      } else {
         ASSERT_EQ( map.erase( Key{ number } ), model.erase( number ) == 1 );
      }
      const U64 other = random() % 4000;
      const auto at = map.find( { other } );
      ASSERT_EQ( at != map.end(), model.contains( other ) );
      ASSERT_TRUE( at == map.end() || at->second == model.at( other ) );
      if ( round % 5000 == 0 ) {
         const auto copy = map;
         ASSERT_EQ( copy, map );
         map = copy;
      }
   }
   auto expected = model.begin();
   for ( const auto* const member : map.sorted() ) {
      ASSERT_EQ( member->first.number, expected->first );
      ASSERT_EQ( member->second, expected++->second );
   }
   EXPECT_EQ( expected, model.end() );
}

} // namespace
