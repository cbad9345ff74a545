#include "Vek/collections/OrderedMap.h"
#include "tests/support/AllocationCounter.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace Vek {

/// Looks behind the face of a collection: whether its tree is whole.
template < typename Map >
struct TreeCheck {
   using Tree = typename Map::Tree;

   static void check( const Map& map ) {
      const Tree& tree = map.tree_;
      if ( !tree.root_ ) {
         ASSERT_EQ( tree.size_, 0U );
         return;
      }
      const typename Tree::Leaf* leaf = nullptr;
      U32 members = 0;
      check( tree, tree.root_, tree.height_, leaf, members );
      ASSERT_EQ( leaf, tree.last_ );
      ASSERT_EQ( leaf->next, nullptr );
      ASSERT_EQ( members, tree.size_ );
   }

private:
   // Goes through the leaves from left to right; `leaf` is the one before.
   static void check( const Tree& tree, const detail::NodeOrder* node, U32 level,
                      const typename Tree::Leaf*& leaf, U32& members ) {
      ASSERT_GT( node->count, 0U );
      ASSERT_TRUE( std::is_sorted( node->high, node->high + node->count ) || level > 0 );
      for ( U32 i = node->count; i < detail::NodeOrder::capacity; ++i ) {
         ASSERT_EQ( node->high[i], ~U64{ 0 } );
      }
      if ( level > 0 ) {
         for ( U32 i = 0; i < node->count; ++i ) {
            ASSERT_NO_FATAL_FAILURE(
               check( tree, Tree::asInner( node ).items[i], level - 1, leaf, members ) );
         }
         return;
      }
      const auto& here = Tree::asLeaf( node );
      ASSERT_EQ( here.previous, leaf );
      ASSERT_EQ( leaf ? leaf->next : tree.first_, &here );
      leaf = &here;
      members += here.count;
   }
};

} // namespace Vek

namespace {

struct Item {
   U64 key;
};
using ItemPtr = std::shared_ptr< Item >;

struct KeyOfItem {
   const U64& operator()( const ItemPtr& item ) const { return item->key; }
};

/// No key prefixes: all are equal.
struct Plain {
   bool operator()( U64 a, U64 b ) const { return a < b; }
};
/// Each key prefix is that of 16 keys, in its upper half.
struct Coarse : Plain {
   static Vek::KeyPrefix keyPrefix( U64 key ) { return { key / 16, 0 }; }
};
/// The upper half of a key prefix is that of 64 keys, the lower that of 4.
struct Fine : Plain {
   static Vek::KeyPrefix keyPrefix( U64 key ) { return { key / 64, key / 4 % 16 }; }
};
/// The greatest upper half stands for unused places as well.
struct Greatest : Plain {
   static Vek::KeyPrefix keyPrefix( U64 key ) { return { ~U64{ 0 }, key / 8 }; }
};

template < typename Compare >
class OrderedMap : public testing::Test {
protected:
   using Map = Vek::OrderedMap< ItemPtr, KeyOfItem, Compare >;
   using Model = std::map< U64, ItemPtr >;

   static ItemPtr item( U64 key ) { return std::make_shared< Item >( Item{ key } ); }

   static void expectEqual( const Map& map, const Model& model ) {
      ASSERT_NO_FATAL_FAILURE( Vek::TreeCheck< Map >::check( map ) );
      ASSERT_EQ( map.size(), model.size() );
      ASSERT_EQ( map.empty(), model.empty() );
      ASSERT_TRUE( std::equal( map.begin(), map.end(), model.begin(), model.end(),
                               []( const ItemPtr& a, const auto& b ) { return a == b.second; } ) );
      auto at = map.end();
      for ( auto expected = model.rbegin(); expected != model.rend(); ++expected ) {
         ASSERT_EQ( *--at, expected->second );
      }
      ASSERT_EQ( at, map.begin() );
   }

   static void expectAt( const Map& map, typename Map::const_iterator at, const Model& model,
                         Model::const_iterator expected ) {
      if ( expected == model.end() ) {
         ASSERT_EQ( at, map.end() );
      } else {
         ASSERT_NE( at, map.end() );
         ASSERT_EQ( *at, expected->second );
      }
   }
};

using Orders = testing::Types< Plain, Coarse, Fine, Greatest >;
TYPED_TEST_SUITE( OrderedMap, Orders );

TYPED_TEST( OrderedMap, BehavesAsTheStandardMapUnderRandomOperations ) {
   std::mt19937_64 random( 20230611 );
   typename TestFixture::Map map;
   typename TestFixture::Model model;
   for ( int round = 0; round < 60'000; ++round ) {
      const U64 key = random() % 3000;
      const bool growing = round / 10'000 % 2 == 0;
      const U64 action = random() % 16;
      if ( action < ( growing ? 9U : 3U ) ) {
         const ItemPtr item = this->item( key );
         const auto [at, inserted] = map.insert( item );
         const auto [expected, isNew] = model.emplace( key, item );
         ASSERT_EQ( inserted, isNew );
         ASSERT_EQ( *at, expected->second );
      } else if ( action < 11 ) {
         ASSERT_EQ( map.erase( key ), model.erase( key ) == 1 );
      } else if ( action < 13 ) {
         // A run of members, by the places that are returned; the next place is found again.
         auto at = map.lowerBound( key );
         auto expected = model.lower_bound( key );
         for ( U64 n = random() % 5; n > 0 && expected != model.end(); --n ) {
            expected = model.erase( expected );
            at = map.erase( at );
            this->expectAt( map, at, model, expected );
         }
      } else {
         this->expectAt( map, map.find( key ), model, model.find( key ) );
         this->expectAt( map, map.lowerBound( key ), model, model.lower_bound( key ) );
      }
      if ( round % 500 == 0 ) {
         ASSERT_NO_FATAL_FAILURE( this->expectEqual( map, model ) );
      }
   }
   while ( !model.empty() ) {
      const U64 key =
         std::next( model.begin(), static_cast< S64 >( random() % model.size() ) )->first;
      ASSERT_TRUE( map.erase( key ) );
      model.erase( key );
   }
   this->expectEqual( map, model );
}

TYPED_TEST( OrderedMap, HasTheSameOrderWhateverThatOfInsertion ) {
   std::vector< ItemPtr > items;
   typename TestFixture::Model model;
   for ( U64 key = 0; key < 2000; ++key ) {
      items.push_back( this->item( key ) );
      model.emplace( key, items.back() );
   }
   std::mt19937_64 random( 7 );
   for ( int order = 0; order < 4; ++order ) {
      typename TestFixture::Map map;
      for ( const ItemPtr& item : items ) {
         map.insert( item );
      }
      ASSERT_NO_FATAL_FAILURE( this->expectEqual( map, model ) );
      order == 0 ? std::reverse( items.begin(), items.end() )
                 : std::shuffle( items.begin(), items.end(), random );
   }
}

TYPED_TEST( OrderedMap, DropsItsValues ) {
   const ItemPtr item = this->item( 1 );
   typename TestFixture::Map map;
   map.insert( item );
   EXPECT_FALSE( map.insert( item ).second );
   EXPECT_EQ( item.use_count(), 2 );
   typename TestFixture::Map moved = std::move( map );
   EXPECT_EQ( item.use_count(), 2 );
   moved.clear();
   EXPECT_EQ( item.use_count(), 1 );
   {
      typename TestFixture::Map other;
      other.insert( item );
      moved = std::move( other );
   }
   EXPECT_EQ( item.use_count(), 2 );
   const auto behind = moved.erase( moved.begin() );
   EXPECT_EQ( behind, moved.end() );
   EXPECT_EQ( item.use_count(), 1 );
}

TYPED_TEST( OrderedMap, TakesNoMemoryWhileItIsEmpty ) {
   const TestSupport::AllocationCounter allocations;
   typename TestFixture::Map map;
   const typename TestFixture::Map moved = std::move( map );
   EXPECT_EQ( moved.find( 3 ), moved.end() );
   EXPECT_EQ( moved.lowerBound( 3 ), moved.end() );
   EXPECT_EQ( moved.begin(), moved.end() );
   EXPECT_EQ( allocations.count(), 0U );
}

} // namespace
