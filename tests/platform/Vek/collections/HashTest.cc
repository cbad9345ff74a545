#include "Vek/collections/HashMap.h"
#include "Vek/collections/HashSet.h"
#include "tests/support/AllocationCounter.h"

#include <csignal>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>

#include <gmock/gmock.h>

namespace {

/// `statement` uses an iterator of a collection that has changed.
#define EXPECT_VERSION_CHECKED( statement )                                                        \
   EXPECT_EXIT( statement, testing::KilledBySignal( SIGABRT ),                                     \
                testing::StartsWith(                                                               \
                   "FlowspecDalb: assertion \"version == collection.version()\" failed in " ) )

/// All keys meet in a few chunks, under a few tags, one of them that of slots not in use.
struct PoorHash {
   U32 operator()( U64 key ) const { return static_cast< U32 >( key % 5 << 8 | key % 3 ); }
};
/// All keys have the same hash.
struct NoHash {
   U32 operator()( U64 ) const { return 0; }
};

template < typename Hash >
class HashMap : public testing::Test {
protected:
   using Map = Vek::HashMap< U64, std::string, Hash >;
   using Model = std::map< U64, std::string >;

   static void expectEqual( const Map& map, const Model& model ) {
      ASSERT_EQ( map.size(), model.size() );
      ASSERT_EQ( map.empty(), model.empty() );
      auto expected = model.begin();
      for ( const auto* const member : map.sorted() ) {
         ASSERT_EQ( member->first, expected->first );
         ASSERT_EQ( member->second, expected->second );
         ++expected;
      }
      U32 visited = 0;
      for ( const auto& [key, value] : map ) {
         ASSERT_EQ( value, model.at( key ) );
         ++visited;
      }
      ASSERT_EQ( visited, map.size() );
   }
};

using Hashes = testing::Types< Vek::Hasher< U64 >, PoorHash, NoHash >;
TYPED_TEST_SUITE( HashMap, Hashes );

TYPED_TEST( HashMap, BehavesAsTheStandardMapUnderRandomOperations ) {
   std::mt19937_64 random( 19991231 );
   typename TestFixture::Map maps[2];
   typename TestFixture::Model models[2];
   for ( int round = 0; round < 20'000; ++round ) {
      const U64 which = random() % 2;
      auto& map = maps[which];
      auto& model = models[which];
      const U64 key = random() % 400;
      const std::string value = std::to_string( random() % 1'000'000 ) + " is a value on the heap";
      const bool growing = round / 4000 % 2 == 0;
      const U64 action = random() % 32;
      if ( action < ( growing ? 14U : 6U ) ) {
         const auto [at, inserted] = map.insert( key, value );
         ASSERT_EQ( inserted, model.emplace( key, value ).second );
         ASSERT_EQ( at->second, model.at( key ) );
      } else if ( action < ( growing ? 18U : 8U ) ) {
         const auto [at, inserted] = map.insertOrAssign( key, value );
         ASSERT_EQ( inserted, model.insert_or_assign( key, value ).second );
         ASSERT_EQ( at->second, value );
      } else if ( action < 24 ) {
         ASSERT_EQ( map.erase( key ), model.erase( key ) == 1 );
      } else if ( action < 30 ) {
         const auto at = map.find( key );
         ASSERT_EQ( at != map.end(), model.contains( key ) );
         ASSERT_EQ( map.contains( key ), model.contains( key ) );
         if ( at != map.end() ) {
            ASSERT_EQ( at->second, model.at( key ) );
            map.valueAt( at ) = value;
            model.at( key ) = value;
            ASSERT_EQ( at->second, value ) << "the place stays usable";
         }
      } else if ( random() % 50 == 0 ) {
         switch ( random() % 3 ) {
         case 0:
            map = maps[1 - which];
            model = models[1 - which];
            break;
         case 1:
            map = std::move( maps[1 - which] );
            model = std::exchange( models[1 - which], {} );
            break;
         default:
            map.clear();
            model.clear();
         }
      }
      if ( round % 100 == 0 ) {
         ASSERT_NO_FATAL_FAILURE( this->expectEqual( maps[0], models[0] ) );
         ASSERT_NO_FATAL_FAILURE( this->expectEqual( maps[1], models[1] ) );
         ASSERT_EQ( maps[0] == maps[1], models[0] == models[1] );
      }
   }
}

TYPED_TEST( HashMap, FindsNearTheLastOneAsAnywhereWhateverChangesMeanwhile ) {
   std::mt19937_64 random( 20261122 );
   typename TestFixture::Map map;
   typename TestFixture::Model model;
   U64 key = 0;
   for ( int round = 0; round < 20'000; ++round ) {
      key = ( key + random() % 3 ) % 320;
      const auto at = map.findNear( key );
      ASSERT_EQ( at != map.end(), model.contains( key ) );
      if ( at != map.end() ) {
         ASSERT_EQ( at->first, key );
         ASSERT_EQ( at->second, model.at( key ) );
      }
      const U64 other = random() % 2 == 0 ? key + 1 : random() % 320;
      if ( random() % 4 == 0 ) {
         ASSERT_EQ( map.erase( other ), model.erase( other ) == 1 );
      } else {
         const std::string value = std::to_string( round );
         ASSERT_EQ( map.insert( other, value ).second, model.emplace( other, value ).second );
      }
      if ( round % 5000 == 0 ) {
         map.clear();
         model.clear();
      }
   }
   ASSERT_NO_FATAL_FAILURE( this->expectEqual( map, model ) );
}

TYPED_TEST( HashMap, EveryMemberIsMetOnceWhenSomeAreErasedOnTheWay ) {
   typename TestFixture::Map map;
   for ( U64 key = 0; key < 500; ++key ) {
      map.insert( key, std::to_string( key ) );
   }
   std::set< U64 > met;
   for ( auto at = map.begin(); at != map.end(); ) {
      ASSERT_TRUE( met.insert( at->first ).second );
      at = at->first % 3 == 0 ? map.erase( at ) : std::next( at );
   }
   EXPECT_EQ( met.size(), 500U );
   EXPECT_EQ( map.size(), 333U );
   for ( U64 key = 0; key < 500; ++key ) {
      EXPECT_EQ( map.contains( key ), key % 3 != 0 );
   }
}

TYPED_TEST( HashMap, EqualityIsThatOfTheMembersInWhateverOrder ) {
   typename TestFixture::Map up;
   typename TestFixture::Map down;
   for ( U64 key = 0; key < 100; ++key ) {
      up.insert( key, "value" );
      down.insert( 99 - key, "value" );
   }
   EXPECT_EQ( up, down );
   down.insertOrAssign( 50, "other" );
   EXPECT_FALSE( up == down );
   down.insertOrAssign( 50, "value" );
   down.erase( 7 );
   EXPECT_FALSE( up == down );
   down.insert( 700, "value" );
   EXPECT_FALSE( up == down ) << "as many members, but another key";
}

using Numbers = Vek::HashSet< U64 >;

// Each use of an iterator from before a change.
template < typename Change >
void expectVersionChecked( Change change ) {
   const auto use = [&]( auto access ) {
      Numbers numbers{ 1, 2, 3 };
      const auto at = numbers.begin();
      change( numbers );
      access( numbers, at );
   };
   EXPECT_VERSION_CHECKED( use( []( Numbers&, auto at ) { static_cast< void >( *at ); } ) );
   EXPECT_VERSION_CHECKED( use( []( Numbers&, auto at ) { ++at; } ) );
   EXPECT_VERSION_CHECKED( use( []( Numbers& numbers, auto at ) { numbers.erase( at ); } ) );
}

TEST( HashCollectionDeathTest, IteratorFromBeforeAChangeEndsTheProcess ) {
   expectVersionChecked( []( Numbers& numbers ) { numbers.insert( 4 ); } );
   expectVersionChecked( []( Numbers& numbers ) { numbers.erase( 3 ); } );
   expectVersionChecked( []( Numbers& numbers ) { numbers.clear(); } );
   expectVersionChecked( []( Numbers& numbers ) { numbers = { 1, 2, 3 }; } );
   expectVersionChecked( []( Numbers& numbers ) { const Numbers taken = std::move( numbers ); } );
   const auto insertInLoop = [] {
      Numbers numbers( { 1, 2, 3 } );
      for ( const U64 number : numbers ) {
         numbers.insert( number + 10 );
      }
   };
   EXPECT_VERSION_CHECKED( insertInLoop() );
   const auto replaceValue = [] {
      Vek::HashMap< U64, U64 > map;
      map.insert( 1, 1 );
      const auto at = map.begin();
      map.insertOrAssign( 1, 2 );
      static_cast< void >( at->second );
   };
   EXPECT_VERSION_CHECKED( replaceValue() );
}

TEST( HashCollection, IteratorStaysUsableWhenNothingChanges ) {
   Numbers numbers{ 1, 2, 3 };
   const auto at = numbers.find( 2 );
   const U64 version = numbers.version();
   EXPECT_FALSE( numbers.insert( 2 ).second );
   EXPECT_FALSE( numbers.erase( 4 ) );
   EXPECT_EQ( numbers.version(), version );
   EXPECT_EQ( *at, 2U );
   numbers.insert( 4 );
   EXPECT_NE( numbers.version(), version );
}

TEST( HashCollection, EmptyOneTakesNoMemory ) {
   const TestSupport::AllocationCounter allocations;
   Numbers numbers;
   const Numbers copy = numbers;
   const Numbers moved = std::move( numbers );
   EXPECT_FALSE( moved.contains( 1 ) );
   EXPECT_EQ( moved.begin(), moved.end() );
   EXPECT_EQ( copy, moved );
   EXPECT_EQ( allocations.count(), 0U );
}

TEST( HashCollection, SetIsSortedForOutput ) {
   Numbers numbers;
   std::set< U64 > model;
   std::mt19937_64 random( 5 );
   for ( int i = 0; i < 1000; ++i ) {
      const U64 number = random() % 700;
      EXPECT_EQ( numbers.insert( number ).second, model.insert( number ).second );
   }
   const auto sorted = numbers.sorted();
   ASSERT_EQ( sorted.size(), model.size() );
   auto expected = model.begin();
   for ( const U64* const number : sorted ) {
      EXPECT_EQ( *number, *expected++ );
   }
}

/// A value whose copies fail when told to.
struct Fragile {
   static inline bool fails = false;

   Fragile() = default;
   Fragile( const Fragile& ) {
      if ( fails ) {
         throw std::bad_alloc();
      }
   }
   Fragile( Fragile&& ) noexcept = default;
   Fragile& operator=( const Fragile& ) = default;
   Fragile& operator=( Fragile&& ) noexcept = default;
};

TEST( HashCollection, FailedCopyLeavesBothAsTheyWere ) {
   Vek::HashMap< U64, Fragile > map;
   for ( U64 key = 0; key < 20; ++key ) {
      map.insert( key, Fragile() );
   }
   Vek::HashMap< U64, Fragile > target;
   target.insert( 77, Fragile() );
   Fragile::fails = true;
   EXPECT_THROW( target = map, std::bad_alloc );
   Fragile::fails = false;
   EXPECT_EQ( target.size(), 1U );
   EXPECT_TRUE( target.contains( 77 ) );
   EXPECT_EQ( map.size(), 20U );
   EXPECT_TRUE( map.contains( 19 ) );
}

} // namespace
