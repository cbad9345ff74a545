#include "Vek/types/Ptr.h"

#include <thread>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

namespace {

class Item : public Vek::Counted {
public:
   explicit Item( int& live ) : live_( live ) { ++live_; }

protected:
   ~Item() override { --live_; }

private:
   int& live_;
};

class Special : public Item {
public:
   using Item::Item;
};

using ItemPtr = Vek::Ptr< Item >;

class Ptr : public testing::Test {
protected:
   ~Ptr() override { EXPECT_EQ( live, 0 ) << "every object is dropped, once"; }

   ItemPtr make() { return Vek::make< Item >( live ); }

   int live = 0;
};

TEST_F( Ptr, CountsCopiesAndDropsTheObjectWithTheLast ) {
   ItemPtr first = make();
   EXPECT_EQ( first->useCount(), 1U );
   {
      const ItemPtr second = first;
      const ItemPtr third( first.get() );
      EXPECT_EQ( first->useCount(), 3U );
      EXPECT_EQ( second, third );
   }
   EXPECT_EQ( first->useCount(), 1U );
   EXPECT_EQ( live, 1 );
   first = nullptr;
   EXPECT_EQ( live, 0 );
   EXPECT_EQ( first, nullptr );
   EXPECT_FALSE( first );
}

TEST_F( Ptr, MovesTakeTheReferenceAlong ) {
   ItemPtr first = make();
   Item* const object = first.get();
   ItemPtr second = std::move( first );
   EXPECT_EQ( second.get(), object );
   EXPECT_EQ( second->useCount(), 1U );
   ItemPtr third = make();
   third = std::move( second );
   EXPECT_EQ( live, 1 ) << "what the target held is dropped";
   EXPECT_EQ( third.get(), object );
}

TEST_F( Ptr, AssignmentOfItselfKeepsTheObject ) {
   ItemPtr item = make();
   const ItemPtr& same = item;
   item = same;
   EXPECT_EQ( item->useCount(), 1U );
}

TEST_F( Ptr, ConvertsToTheBaseAndHashesAsThePointer ) {
   const auto special = Vek::make< Special >( live );
   ItemPtr base = special;
   EXPECT_EQ( base, special );
   EXPECT_EQ( special->useCount(), 2U );
   ItemPtr moved = Vek::Ptr< Special >( special );
   EXPECT_EQ( special->useCount(), 3U );
   const std::unordered_set< ItemPtr > set{ base, moved, nullptr };
   EXPECT_EQ( set.size(), 2U );
   EXPECT_TRUE( set.contains( base ) );
}

TEST_F( Ptr, NothingIsCopiedAndDroppedAsWell ) {
   const ItemPtr none;
   ItemPtr copy = none;
   copy = ItemPtr( static_cast< Item* >( nullptr ) );
   EXPECT_EQ( copy, none );
}

TEST_F( Ptr, ThreadsShareAnObjectInTheThreadSafeMode ) {
   EXPECT_FALSE( Vek::threadSafeMode() ) << "off at first";
   Vek::threadSafeModeIs( true );
   ItemPtr item = make();
   {
      std::vector< std::thread > threads;
      for ( int i = 0; i < 2; ++i ) {
         threads.emplace_back( [item] {
            std::vector< ItemPtr > held;
            for ( int round = 0; round < 50'000; ++round ) {
               held.push_back( item );
               if ( held.size() == 10 ) {
                  held.clear();
               }
            }
         } );
      }
      for ( std::thread& thread : threads ) {
         thread.join();
      }
   }
   EXPECT_EQ( item->useCount(), 1U );

   // Who drops the last reference is open; the object goes once.
   for ( int round = 0; round < 500; ++round ) {
      ItemPtr shared = make();
      std::thread other( [mine = shared]() mutable { mine = nullptr; } );
      shared = nullptr;
      other.join();
      ASSERT_EQ( live, 1 );
   }
   Vek::threadSafeModeIs( false );
}

} // namespace
