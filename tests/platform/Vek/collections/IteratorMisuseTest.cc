#include "Vek/collections/FlatMap.h"
#include "Vek/collections/FlatSet.h"
#include "Vek/collections/HashMap.h"
#include "Vek/collections/HashSet.h"
#include "Vek/collections/OnDemand.h"
#include "Vek/collections/OrderedMap.h"
#include "tests/support/ExpectFailure.h"

#include <iterator>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

namespace {

constexpr const char* changed = "version == collection.version()";
constexpr const char* atEnd = "iterator != collection.end()";

struct Item {
   U64 key;
};
struct KeyOfItem {
   const U64& operator()( const std::shared_ptr< Item >& item ) const { return item->key; }
};
struct Ascending {
   bool operator()( U64 a, U64 b ) const { return a < b; }
};
using Tree = Vek::OrderedMap< std::shared_ptr< Item >, KeyOfItem, Ascending >;
using Map = Vek::HashMap< U64, U64 >;
using Set = Vek::HashSet< U64 >;
using FlatMap = Vek::FlatMap< U64, U64 >;
using FlatSet = Vek::FlatSet< U64 >;

void add( Tree& tree, U64 key ) { tree.insert( std::make_shared< Item >( Item{ key } ) ); }
void add( Map& map, U64 key ) { map.insert( key, key ); }
void add( Set& set, U64 key ) { set.insert( key ); }
void add( FlatMap& map, U64 key ) { map.insert( key, key ); }
void add( FlatSet& set, U64 key ) { set.insert( key ); }

template < typename Collection >
class Iterators : public testing::Test {
protected:
   using Iterator = typename Collection::const_iterator;

   static Collection filled( U64 count ) {
      Collection collection;
      for ( U64 key = 0; key < count; ++key ) {
         add( collection, key );
      }
      return collection;
   }

   // Each use of an iterator of `collection`, where the text is that of the assertion.
   template < typename Make >
   static void expectRefused( Make make, const char* text ) {
      const auto use = [&]( auto access ) {
         std::optional< Collection > collection( filled( 40 ) );
         Iterator at = make( collection );
         access( collection, at );
      };
      EXPECT_ASSERTION( use( []( auto&, Iterator& at ) { static_cast< void >( *at ); } ), text );
      EXPECT_ASSERTION(
         use( []( auto&, Iterator& at ) { static_cast< void >( at.operator->() ); } ), text );
      EXPECT_ASSERTION( use( []( auto&, Iterator& at ) { ++at; } ), text );
      EXPECT_ASSERTION( use( []( auto&, Iterator& at ) { at++; } ), text );
      EXPECT_ASSERTION( use( []( auto& collection, Iterator& at ) {
                           collection ? collection->erase( at ) : ++at;
                        } ),
                        text );
   }

   template < typename Change >
   static void expectNoticed( Change change ) {
      expectRefused(
         [&]( std::optional< Collection >& collection ) {
            const Iterator at = collection->find( 7 );
            change( collection );
            return at;
         },
         changed );
   }
};

using Collections = testing::Types< Tree, Map, Set, FlatMap, FlatSet >;
TYPED_TEST_SUITE( Iterators, Collections );

TYPED_TEST( Iterators, NoticeEachChangeOfTheirCollection ) {
   using Collection = std::optional< TypeParam >;
   this->expectNoticed( []( Collection& collection ) { add( *collection, 100 ); } );
   this->expectNoticed( []( Collection& collection ) { collection->erase( 7 ); } );
   this->expectNoticed( []( Collection& collection ) { collection->erase( 39 ); } );
   this->expectNoticed(
      []( Collection& collection ) { collection->erase( collection->begin() ); } );
   this->expectNoticed( []( Collection& collection ) { collection->clear(); } );
   this->expectNoticed( []( Collection& collection ) {
      collection->clear();
      add( *collection, 7 );
   } );
   this->expectNoticed( []( Collection& collection ) {
      *collection = TypeParam();
      add( *collection, 7 );
   } );
   this->expectNoticed( []( Collection& collection ) {
      TypeParam moved = std::move( *collection );
      *collection = std::move( moved );
   } );
}

TYPED_TEST( Iterators, NoticeThatTheirCollectionIsGone ) {
   using Collection = std::optional< TypeParam >;
   this->expectNoticed( []( Collection& collection ) { collection.reset(); } );
   this->expectNoticed( []( Collection& collection ) {
      collection.reset();
      // Another one takes its memory and what it kept its version in, and changes as often.
      static std::optional< TypeParam > other( TestFixture::filled( 40 ) );
   } );
}

TYPED_TEST( Iterators, AreNotFollowedAtTheEnd ) {
   using Collection = std::optional< TypeParam >;
   this->expectRefused( []( Collection& collection ) { return collection->end(); }, atEnd );
   this->expectRefused( []( Collection& collection ) { return collection->find( 40 ); }, atEnd );
   this->expectRefused(
      []( Collection& collection ) { return std::next( collection->begin(), collection->size() ); },
      atEnd );
   this->expectRefused( []( Collection& ) { return typename TypeParam::const_iterator(); }, atEnd );
   this->expectRefused(
      []( Collection& collection ) {
         collection.emplace();
         return collection->begin();
      },
      atEnd );
}

TYPED_TEST( Iterators, EraseOnlyMembersOfTheirCollection ) {
   TypeParam collection = this->filled( 3 );
   TypeParam other = this->filled( 3 );
   EXPECT_ASSERTION( collection.erase( other.begin() ), "iterator.collection() == collection" );
   EXPECT_ASSERTION( TypeParam().erase( other.begin() ), "iterator.collection() == collection" );
   EXPECT_EQ( collection.size(), 3U );
}

TYPED_TEST( Iterators, GoOnFromWhereAMemberWasErased ) {
   TypeParam collection = this->filled( 100 );
   U32 rounds = 0;
   for ( auto at = collection.begin(); at != collection.end(); ++rounds ) {
      at = rounds % 2 ? collection.erase( at ) : std::next( at );
   }
   EXPECT_EQ( rounds, 100U );
   EXPECT_EQ( collection.size(), 50U );
   for ( auto at = collection.begin(); at != collection.end(); ) {
      at = collection.erase( at );
   }
   EXPECT_TRUE( collection.empty() );
}

TYPED_TEST( Iterators, StayGoodWhenNothingChanges ) {
   TypeParam collection;
   EXPECT_EQ( collection.version(), 0U );
   collection.clear();
   EXPECT_FALSE( collection.erase( 7 ) );
   EXPECT_EQ( collection.version(), 0U );
   collection = this->filled( 40 );
   const auto at = collection.find( 7 );
   const U64 version = collection.version();
   add( collection, 7 );
   EXPECT_FALSE( collection.erase( 400 ) );
   const auto& same = collection;
   EXPECT_NE( same.find( 8 ), same.end() );
   EXPECT_EQ( collection.version(), version );
   EXPECT_EQ( at, collection.find( 7 ) );
   static_cast< void >( *at );
   collection.erase( 7 );
   EXPECT_NE( collection.version(), version );
}

TYPED_TEST( Iterators, ExchangedCollectionsHaveBothChanged ) {
   TypeParam a = this->filled( 5 );
   TypeParam b = this->filled( 3 );
   const auto inA = a.begin();
   const auto inB = b.begin();
   std::swap( a, b );
   EXPECT_EQ( a.size(), 3U );
   EXPECT_ASSERTION( static_cast< void >( *inA ), changed );
   EXPECT_ASSERTION( static_cast< void >( *inB ), changed );
}

template < typename Collection >
class MapIterators : public testing::Test {};
using Maps = testing::Types< Map, FlatMap >;
TYPED_TEST_SUITE( MapIterators, Maps );

TYPED_TEST( MapIterators, NoticeThatAValueWasReplacedButNotThatItWasChangedInPlace ) {
   TypeParam map;
   add( map, 1 );
   const auto at = map.begin();
   map.valueAt( at ) = 2;
   EXPECT_EQ( at->second, 2U );
   const auto [next, isNew] = map.insertOrAssign( 1, 3 );
   EXPECT_FALSE( isNew );
   EXPECT_EQ( next->second, 3U );
   EXPECT_ASSERTION( static_cast< void >( *at ), changed );
   EXPECT_ASSERTION( map.valueAt( at ) = 4, changed );
   TypeParam other = map;
   EXPECT_ASSERTION( map.valueAt( other.begin() ) = 4, "iterator.collection() == collection" );
}

TEST( OrderedMapIterators, DoNotGoBeforeTheFirstMember ) {
   Tree tree;
   EXPECT_ASSERTION( --tree.begin(), "iterator != collection.begin()" );
   EXPECT_ASSERTION( --Tree::const_iterator(), "iterator != collection.begin()" );
   add( tree, 1 );
   EXPECT_ASSERTION( --tree.begin(), "iterator != collection.begin()" );
   auto at = tree.end();
   EXPECT_EQ( ( *--at )->key, 1U );
   at = tree.end();
   add( tree, 2 );
   EXPECT_ASSERTION( --at, changed );
}

TEST( SortedMembers, NoticeAChange ) {
   Set set{ 3, 1, 2 };
   const auto sorted = set.sorted();
   EXPECT_EQ( **sorted.begin(), 1U );
   EXPECT_EQ( sorted.size(), 3U );
   const auto eraseAll = [&] {
      for ( const U64* const member : set.sorted() ) {
         set.erase( *member );
      }
   };
   EXPECT_ASSERTION( eraseAll(), changed );
   EXPECT_ASSERTION( *sorted.end(), atEnd );
   EXPECT_ASSERTION( *Set().sorted().begin(), atEnd );
}

TEST( OnDemandIterators, OutliveWhatIsFreed ) {
   using OnDemand = Vek::OnDemand< Set >;
   const auto use = []( auto change ) {
      OnDemand set;
      set.edit() = { 1, 2, 3 };
      for ( [[maybe_unused]] const U64 member : set.get() ) {
         change( set );
      }
   };
   EXPECT_ASSERTION( use( []( OnDemand& set ) { set.reset(); } ), changed );
   EXPECT_ASSERTION( use( []( OnDemand& set ) { set = OnDemand(); } ), changed );
   EXPECT_ASSERTION( use( []( OnDemand& set ) { set = OnDemand( set ); } ), changed );
   EXPECT_ASSERTION( use( []( OnDemand& set ) { const OnDemand moved = std::move( set ); } ),
                     changed )
      << "it is freed at another place";
   OnDemand set;
   EXPECT_EQ( set.get().begin(), set.get().end() );
   EXPECT_ASSERTION( static_cast< void >( *set.get().begin() ), atEnd );
}

TEST( Version, ThreadsTakeAndGiveBackAtTheSameTime ) {
   const auto run = [] {
      std::vector< Set > sets( 50 );
      for ( U64 round = 0; round < 200; ++round ) {
         for ( Set& set : sets ) {
            set = Set{ round };
            const auto at = set.begin();
            const Set copy = set;
            ASSERT_EQ( *at, round );
            ASSERT_EQ( *copy.begin(), round );
         }
      }
   };
   std::thread other( run );
   run();
   other.join();
}

} // namespace
