#include "Vek/collections/KeyWalk.h"

#include "Vek/types/CollectionAccess.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <random>
#include <set>

namespace Vek {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct NumberOf {
   const U32& operator()( const U32& member ) const { return member; }
};
struct IsLess {
   bool operator()( U32 a, U32 b ) const { return a < b; }
};
using Ordered = OrderedMap< U32, NumberOf, IsLess >;

// What a row says about a collection that is an object by itself.
template < typename C >
struct Row {
   using Access = CollectionAccess< C >;
   using Key = typename Access::Key;

   static const C& collection( const void* object ) { return *static_cast< const C* >( object ); }
   static const void* find( const void* object, const void* key ) {
      return Access::find( collection( object ), *static_cast< const Key* >( key ) );
   }
};

void insert( FlatSet< U32 >& collection, U32 key ) { collection.insert( key ); }
void insert( HashSet< U32 >& collection, U32 key ) { collection.insert( key ); }
void insert( Ordered& collection, U32 key ) { collection.insert( key ); }
void insert( FlatMap< U32, U32 >& collection, U32 key ) { collection.insert( key, ~key ); }
void insert( HashMap< U32, U32 >& collection, U32 key ) { collection.insert( key, ~key ); }

// Of a set a member is its key.
template < typename C >
constexpr bool isMap = false;
template < typename... T >
constexpr bool isMap< FlatMap< T... > > = true;
template < typename... T >
constexpr bool isMap< HashMap< T... > > = true;

template < typename C >
class KeyWalks : public testing::Test {
protected:
   KeyWalks() : walk( detail::KeyWalkOf< Row< C > >::make()() ) {}

   // Goes on for some steps, of which none may be left over before all was visited, and until the
   // visitor has taken `count` members.
   bool go( U64 steps, std::size_t count = ~std::size_t{ 0 } ) {
      const std::size_t before = visited.size();
      const U64 given = steps;
      const bool all = walk->visit( &collection, steps, [&]( const void* key, const void* member ) {
         if ( visited.size() - before == count ) {
            return false;
         }
         visited.push_back( *static_cast< const U32* >( key ) );
         const U32 expected = isMap< C > ? ~visited.back() : visited.back();
         EXPECT_EQ( *static_cast< const U32* >( member ), expected );
         return true;
      } );
      EXPECT_LE( steps, given );
      EXPECT_LE( visited.size() - before, given );
      EXPECT_TRUE( all || steps == 0 || visited.size() - before == count );
      return all;
   }

   bool covers( U32 key ) const { return walk->covers( &key ); }

   C collection;
   std::unique_ptr< KeyWalk > walk;
   std::vector< U32 > visited;
};

using Collections = testing::Types< FlatSet< U32 >, FlatMap< U32, U32 >, HashSet< U32 >,
                                    HashMap< U32, U32 >, Ordered >;
TYPED_TEST_SUITE( KeyWalks, Collections );

TYPED_TEST( KeyWalks, AnEmptyCollectionTakesNoStep ) {
   EXPECT_TRUE( this->covers( 5 ) );
   EXPECT_TRUE( this->go( 0 ) );
   EXPECT_THAT( this->visited, IsEmpty() );
}

TYPED_TEST( KeyWalks, VisitsInAscendingOrderAsFarAsTheVisitorTakesMembers ) {
   for ( const U32 key : { 8U, 2U, 6U, 4U } ) {
      insert( this->collection, key );
   }
   EXPECT_FALSE( this->go( 1000, 0 ) );
   EXPECT_THAT( this->visited, IsEmpty() );
   EXPECT_FALSE( this->go( 1000, 2 ) );
   EXPECT_THAT( this->visited, ElementsAre( 2, 4 ) );
   EXPECT_FALSE( this->go( 0 ) );
   EXPECT_TRUE( this->go( 1000 ) );
   EXPECT_THAT( this->visited, ElementsAre( 2, 4, 6, 8 ) );
}

TYPED_TEST( KeyWalks, DoesNotVisitWhatIsGone ) {
   for ( U32 key = 0; key < 20; ++key ) {
      insert( this->collection, key );
   }
   EXPECT_FALSE( this->go( 1000, 2 ) );
   for ( const U32 key : { 1U, 2U, 4U, 19U } ) {
      this->collection.erase( key );
   }
   EXPECT_FALSE( this->go( 1000, 2 ) );
   EXPECT_THAT( this->visited, ElementsAre( 0, 1, 3, 5 ) );
   this->collection.clear();
   EXPECT_TRUE( this->go( 1000 ) );
   EXPECT_EQ( this->visited.size(), 4U );
}

// Against a plain set: members that stay are visited once, in order; a key is covered only if it is
// visited when it is inserted then.
TYPED_TEST( KeyWalks, MissesNothingWhileTheCollectionChanges ) {
   std::mt19937 engine( 1 );
   const auto random = [&]( U32 range ) { return static_cast< U32 >( engine() % range ); };
   for ( const U32 size : { 10U, 700U, 9000U, 40000U } ) {
      constexpr bool isFlat = std::is_base_of_v< detail::SortedVector< U32, Itself >, TypeParam > ||
                              std::is_same_v< TypeParam, FlatMap< U32, U32 > >;
      if ( isFlat && size > 1000 ) {
         continue;
      }
      this->collection = TypeParam();
      this->walk.reset( detail::KeyWalkOf< Row< TypeParam > >::make()() );
      this->visited.clear();
      std::set< U32 > stays;
      for ( U32 i = 0; i < size; ++i ) {
         const U32 key = random( 1U << 24 );
         insert( this->collection, key );
         stays.insert( key );
      }
      std::set< U32 > mayBeVisited = stays;
      for ( U32 round = 0; !this->go( 1 + random( size / 3 ) ); ++round ) {
         ASSERT_LT( round, 1000U );
         for ( U32 i = 0; i < size / 50; ++i ) {
            const U32 key = random( 1U << 24 );
            const bool isNew = stays.count( key ) == 0;
            const bool covered = this->covers( key );
            insert( this->collection, key );
            mayBeVisited.insert( key );
            if ( isNew && covered ) {
               stays.insert( key );
            }
            const auto at = stays.lower_bound( random( 1U << 24 ) );
            if ( at != stays.end() &&
                 !std::binary_search( this->visited.begin(), this->visited.end(), *at ) ) {
               this->collection.erase( *at );
               stays.erase( at );
            }
         }
      }
      EXPECT_TRUE(
         std::is_sorted( this->visited.begin(), this->visited.end(), std::less_equal<>() ) );
      EXPECT_TRUE( std::includes( mayBeVisited.begin(), mayBeVisited.end(), this->visited.begin(),
                                  this->visited.end() ) );
      EXPECT_TRUE(
         std::includes( this->visited.begin(), this->visited.end(), stays.begin(), stays.end() ) );
   }
}

// A copy of all keys of a large collection would be as large as the collection.
TEST( HashWalk, HoldsAPartOfTheKeys ) {
   HashSet< U32 > collection;
   for ( U32 key = 0; key < 100'000; ++key ) {
      collection.insert( key * 7 );
   }
   const std::unique_ptr< KeyWalk > walk( detail::KeyWalkOf< Row< HashSet< U32 > > >::make()() );
   U64 steps = 1U << 20;
   EXPECT_FALSE( walk->visit( &collection, steps, []( auto... ) { return false; } ) );
   // All were looked at, four for a step.
   EXPECT_EQ( ( 1U << 20 ) - steps, 25'001U );
   U32 covered = 0;
   for ( U32 key = 0; key < 100'000; ++key ) {
      const U32 number = key * 7;
      covered += walk->covers( &number );
   }
   EXPECT_GT( covered, 80'000U );
}

} // namespace
} // namespace Vek
