#include "Vek/collections/DirtyKeys.h"

#include <memory>
#include <random>

#include <gtest/gtest.h>

namespace Vek {
namespace {

using Keys = detail::DirtyKeysOf< U32, std::less<> >;

std::vector< U32 > taken( DirtyKeys& keys ) {
   std::vector< U32 > all;
   for ( ; !keys.empty(); keys.eraseFirst() ) {
      all.push_back( *static_cast< const U32* >( keys.first() ) );
   }
   return all;
}

void insert( DirtyKeys& keys, std::initializer_list< U32 > list ) {
   for ( const U32 key : list ) {
      keys.insert( &key );
   }
}

void erase( DirtyKeys& keys, U32 key ) { keys.erase( &key ); }

TEST( DirtyKeys, ComeInAscendingOrderEachOnce ) {
   Keys keys;
   EXPECT_TRUE( keys.empty() );
   insert( keys, { 3, 5, 9, 5, 4, 1, 9, 4, 7, 12, 12 } );
   EXPECT_FALSE( keys.empty() );
   EXPECT_EQ( taken( keys ), ( std::vector< U32 >{ 1, 3, 4, 5, 7, 9, 12 } ) );
   insert( keys, { 2 } );
   EXPECT_EQ( taken( keys ), ( std::vector< U32 >{ 2 } ) );
}

TEST( DirtyKeys, AreCounted ) {
   Keys keys;
   EXPECT_EQ( keys.size(), 0U );
   insert( keys, { 3, 5, 9, 5, 4, 1 } );
   EXPECT_EQ( keys.size(), 5U );
   keys.eraseFirst();
   keys.eraseFirst();
   EXPECT_EQ( keys.size(), 3U );
   erase( keys, 4 );
   EXPECT_EQ( keys.size(), 2U );
}

TEST( DirtyKeys, MayComeAgainWhileOthersWait ) {
   Keys keys;
   insert( keys, { 3, 5, 9 } );
   keys.eraseFirst();
   insert( keys, { 3, 5, 10 } );
   EXPECT_EQ( taken( keys ), ( std::vector< U32 >{ 3, 5, 9, 10 } ) );
}

TEST( DirtyKeys, AreErasedWhereverTheyAre ) {
   Keys keys;
   insert( keys, { 3, 5, 7, 9, 1, 6 } );
   for ( const U32 key : { 3U, 7U, 6U, 8U } ) {
      erase( keys, key );
   }
   insert( keys, { 7 } );
   erase( keys, 9 );
   EXPECT_EQ( taken( keys ), ( std::vector< U32 >{ 1, 5, 7 } ) );
   erase( keys, 5 );
   EXPECT_TRUE( keys.empty() );
}

TEST( DirtyKeys, TakeNoPlaceForWhatCameAndWent ) {
   Keys keys;
   insert( keys, { 0, 1 } );
   for ( U32 key = 1; key < 10'000; ++key ) {
      insert( keys, { key + 1 } );
      erase( keys, key );
      ASSERT_LE( keys.size(), 40U );
   }
   EXPECT_EQ( taken( keys ), ( std::vector< U32 >{ 0, 10'000 } ) );
}

TEST( DirtyKeys, AgreeWithASet ) {
   std::mt19937 engine( 1 );
   const auto random = [&] { return static_cast< U32 >( engine() ); };
   for ( const U32 range : { 20U, 300U, 100'000U } ) {
      Keys keys;
      std::set< U32 > model;
      U32 ascending = 0;
      for ( int i = 0; i < 50'000; ++i ) {
         const U32 key = random() % range;
         switch ( random() % 8 ) {
         case 0:
            insert( keys, { key } );
            model.insert( key );
            break;
         case 1:
            erase( keys, key );
            model.erase( key );
            break;
         case 2: // all of a collection, of which some are erased in turn
            for ( U32 k = key; k < key + 5; ++k ) {
               insert( keys, { k } );
               model.insert( k );
            }
            for ( U32 k = key; k < key + 5; k += 1 + random() % 3 ) {
               erase( keys, k );
               model.erase( k );
            }
            break;
         case 3:
            if ( random() % 50 == 0 ) {
               EXPECT_EQ( taken( keys ), std::vector( model.begin(), model.end() ) );
               model.clear();
               ascending = 0;
            }
            break;
         case 4:
            if ( !model.empty() ) {
               keys.eraseFirst();
               model.erase( model.begin() );
            }
            break;
         default:
            ascending += 1 + random() % 3;
            insert( keys, { ascending } );
            model.insert( ascending );
         }
         ASSERT_EQ( keys.empty(), model.empty() );
         if ( !model.empty() ) {
            ASSERT_EQ( *static_cast< const U32* >( keys.first() ), *model.begin() );
         }
      }
   }
}

// More than a few are gone, and fewer than are left.
TEST( DirtyKeys, ThatAreErasedAmongManyAreSteppedOver ) {
   Keys keys;
   std::vector< U32 > left;
   for ( U32 key = 0; key < 200; ++key ) {
      keys.insert( &key );
   }
   for ( U32 key = 0; key < 200; ++key ) {
      if ( key % 4 == 1 ) {
         erase( keys, key );
      } else {
         left.push_back( key );
      }
   }
   EXPECT_EQ( taken( keys ), left );
}

} // namespace
} // namespace Vek
