#include "Vek/collections/FlatMap.h"
#include "Vek/collections/FlatSet.h"
#include "tests/support/AllocationCounter.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

TEST( FlatMap, BehavesAsTheStandardMapUnderRandomOperations ) {
   std::mt19937_64 random( 20040229 );
   Vek::FlatMap< U32, std::string > map;
   std::map< U32, std::string > model;
   for ( int round = 0; round < 20'000; ++round ) {
      const U32 key = static_cast< U32 >( random() % 40 );
      const std::string value = std::to_string( random() % 1000 ) + " is a value on the heap";
      switch ( random() % 8 ) {
      case 0:
      case 1: {
         const auto [at, inserted] = map.insert( key, value );
         ASSERT_EQ( inserted, model.emplace( key, value ).second );
         ASSERT_EQ( at->second, model.at( key ) );
         break;
      }
      case 2: {
         const auto [at, inserted] = map.insertOrAssign( key, value );
         ASSERT_EQ( inserted, model.insert_or_assign( key, value ).second );
         ASSERT_EQ( at->second, value );
         break;
      }
      case 3:
      case 4:
         ASSERT_EQ( map.erase( key ), model.erase( key ) == 1 );
         break;
      case 5: {
         const auto at = map.lowerBound( key );
         const auto expected = model.lower_bound( key );
         ASSERT_EQ( at != map.end(), expected != model.end() );
         if ( at != map.end() ) {
            ASSERT_EQ( at->first, expected->first );
            const auto next = model.erase( expected );
            const auto behind = map.erase( at );
            ASSERT_EQ( behind != map.end(), next != model.end() );
            ASSERT_TRUE( behind == map.end() || behind->first == next->first );
         }
         break;
      }
      case 6: {
         const auto at = map.find( key );
         ASSERT_EQ( at != map.end(), model.contains( key ) );
         ASSERT_EQ( map.contains( key ), model.contains( key ) );
         if ( at != map.end() ) {
            map.valueAt( at ) = value;
            model.at( key ) = value;
         }
         break;
      }
      default:
         if ( random() % 100 == 0 ) {
            map.clear();
            model.clear();
         }
      }
      ASSERT_EQ( map.size(), model.size() );
      ASSERT_EQ( map.empty(), model.empty() );
      ASSERT_TRUE( std::equal( map.begin(), map.end(), model.begin(), model.end(),
                               []( const auto& a, const auto& b ) {
                                  return a.first == b.first && a.second == b.second;
                               } ) );
   }
}

TEST( FlatMap, CopiesAreDeepAndComparedByTheirMembers ) {
   Vek::FlatMap< U32, U32 > map;
   map.insert( 2, 20 );
   map.insert( 1, 10 );
   auto copy = map;
   EXPECT_EQ( copy, map );
   copy.insertOrAssign( 2, 21 );
   EXPECT_FALSE( copy == map );
   EXPECT_EQ( map.find( 2 )->second, 20U );
   const auto moved = std::move( map );
   EXPECT_EQ( moved.size(), 2U );
}

TEST( FlatSet, BehavesAsTheStandardSetUnderRandomOperations ) {
   std::mt19937_64 random( 20080229 );
   Vek::FlatSet< int > set;
   std::set< int > model;
   for ( int round = 0; round < 20'000; ++round ) {
      const int key = static_cast< int >( random() % 60 ) - 30;
      if ( random() % 2 == 0 ) {
         const auto [at, inserted] = set.insert( key );
         ASSERT_EQ( *at, key );
         ASSERT_EQ( inserted, model.insert( key ).second );
      } else {
         ASSERT_EQ( set.erase( key ), model.erase( key ) == 1 );
      }
      ASSERT_EQ( set.size(), model.size() );
      ASSERT_TRUE( std::equal( set.begin(), set.end(), model.begin(), model.end() ) );
      const auto at = set.lowerBound( key );
      const auto expected = model.lower_bound( key );
      ASSERT_EQ( std::distance( set.begin(), at ), std::distance( model.begin(), expected ) );
      ASSERT_EQ( set.contains( key ), model.contains( key ) );
   }
}

TEST( FlatSet, IsMadeFromAListInAnyOrder ) {
   const Vek::FlatSet< int > set{ 3, 1, 2, 3 };
   EXPECT_EQ( set, ( Vek::FlatSet< int >{ 1, 2, 3 } ) );
   EXPECT_EQ( std::vector< int >( set.begin(), set.end() ), ( std::vector{ 1, 2, 3 } ) );
}

TEST( FlatSet, EmptyOneTakesNoMemory ) {
   const TestSupport::AllocationCounter allocations;
   const Vek::FlatSet< int > set;
   const auto copy = set;
   EXPECT_FALSE( copy.contains( 1 ) );
   EXPECT_EQ( allocations.count(), 0U );
}

} // namespace
