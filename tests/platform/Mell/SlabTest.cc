#include "Mell/Slab.h"

#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

/// Memory that was taken, filled with a byte of its own.
struct Block {
   unsigned char* memory;
   unsigned char fill;
};

template < typename Allocator >
class Allocators : public testing::Test {};

using Kinds = testing::Types< Mell::PagedSlab, Mell::TrackedHeap >;
TYPED_TEST_SUITE( Allocators, Kinds );

TYPED_TEST( Allocators, GiveAlignedMemoryThatNothingElseUses ) {
   for ( const std::size_t alignment : { 8U, 64U, 4096U } ) {
      for ( const std::size_t size : { 1U, 24U, 240U, 5000U } ) {
         TypeParam allocator( size, alignment );
         std::mt19937_64 random( size + alignment );
         std::vector< Block > blocks;
         U64 created = 0;
         for ( int round = 0; round < 3000; ++round ) {
            // Long stretches of growth and of decline.
            const bool growing = round / 500 % 2 == 0;
            if ( blocks.empty() || random() % 4 < ( growing ? 3U : 1U ) ) {
               const auto memory = static_cast< unsigned char* >( allocator.allocate() );
               ASSERT_EQ( reinterpret_cast< std::uintptr_t >( memory ) % alignment, 0U );
               const auto fill = static_cast< unsigned char >( random() );
               std::memset( memory, fill, size );
               blocks.push_back( { memory, fill } );
               ++created;
            } else {
               std::swap( blocks[random() % blocks.size()], blocks.back() );
               const Block block = blocks.back();
               blocks.pop_back();
               ASSERT_EQ( block.memory[0], block.fill );
               ASSERT_EQ( block.memory[size - 1], block.fill );
               allocator.free( block.memory );
            }
            ASSERT_EQ( allocator.live(), blocks.size() );
            ASSERT_EQ( allocator.created(), created );
            ASSERT_GE( allocator.bytes(), blocks.size() * size );
         }
         for ( const Block& block : blocks ) {
            for ( std::size_t i = 0; i < size; ++i ) {
               ASSERT_EQ( block.memory[i], block.fill );
            }
            allocator.free( block.memory );
         }
         EXPECT_EQ( allocator.live(), 0U );
         allocator.trim();
         EXPECT_EQ( allocator.bytes(), 0U );
      }
   }
}

TYPED_TEST( Allocators, ServeThreadsInTheThreadSafeMode ) {
   TypeParam allocator( 100, 8 );
   Mell::threadSafeModeIs( true );
   const auto work = [&]( unsigned char fill ) {
      std::vector< unsigned char* > taken;
      for ( int round = 0; round < 20'000; ++round ) {
         if ( taken.size() < 300 && round % 3 != 0 ) {
            taken.push_back( static_cast< unsigned char* >( allocator.allocate() ) );
            std::memset( taken.back(), fill, 100 );
         } else if ( !taken.empty() ) {
            EXPECT_EQ( taken.back()[99], fill );
            allocator.free( taken.back() );
            taken.pop_back();
         }
      }
      for ( unsigned char* const memory : taken ) {
         allocator.free( memory );
      }
   };
   std::thread other( work, 1 );
   work( 2 );
   other.join();
   Mell::threadSafeModeIs( false );
   EXPECT_EQ( allocator.live(), 0U );
   EXPECT_GT( allocator.created(), 0U );
   allocator.trim();
   EXPECT_EQ( allocator.bytes(), 0U );
}

TEST( PagedSlab, GivesEmptyPagesBackButForOne ) {
   Mell::PagedSlab slab( 100, 4 );
   EXPECT_EQ( slab.bytes(), 0U );
   std::vector< void* > taken( 1000 );
   for ( void*& memory : taken ) {
      memory = slab.allocate();
   }
   const U64 all = slab.bytes();
   EXPECT_LT( all, 1000U * 100U * 5 / 4 ) << "little is lost at the pages' ends";
   for ( void* const memory : taken ) {
      slab.free( memory );
   }
   const U64 kept = slab.bytes();
   EXPECT_GT( kept, 0U );
   EXPECT_LT( kept, all / 4 );
   for ( int i = 0; i < 100; ++i ) {
      slab.free( slab.allocate() );
   }
   EXPECT_EQ( slab.bytes(), kept ) << "the page that is kept serves the next objects";
   slab.trim();
   EXPECT_EQ( slab.bytes(), 0U );
}

TEST( PagedSlab, KeepsAPageThatIsInUse ) {
   Mell::PagedSlab slab( 100, 4 );
   slab.trim();
   EXPECT_EQ( slab.bytes(), 0U );
   void* const memory = slab.allocate();
   const U64 page = slab.bytes();
   slab.trim();
   EXPECT_EQ( slab.bytes(), page );
   slab.free( memory );
   slab.trim();
   EXPECT_EQ( slab.bytes(), 0U );
}

TEST( PagedSlab, UsesAPageToItsEnd ) {
   Mell::PagedSlab slab( 8, 8 );
   std::vector< void* > taken{ slab.allocate() };
   const U64 page = slab.bytes();
   // What the page begins with, and what is left for the heap.
   const U64 slots = ( page - 32 - 64 ) / 8;
   while ( taken.size() < slots ) {
      taken.push_back( slab.allocate() );
   }
   EXPECT_EQ( slab.bytes(), page );
   taken.push_back( slab.allocate() );
   EXPECT_EQ( slab.bytes(), 2 * page );
   for ( void* const memory : taken ) {
      slab.free( memory );
   }
   slab.trim();
   EXPECT_EQ( slab.bytes(), 0U );
}

TEST( Tracker, CountsAcrossThreadsInTheThreadSafeMode ) {
   Mell::Tracker tracker;
   Mell::threadSafeModeIs( true );
   const auto work = [&] {
      for ( int i = 0; i < 30'000; ++i ) {
         tracker.objectCreated();
         if ( i % 3 != 0 ) {
            tracker.objectDropped();
         }
      }
   };
   std::thread other( work );
   work();
   other.join();
   Mell::threadSafeModeIs( false );
   EXPECT_EQ( tracker.created(), 60'000U );
   EXPECT_EQ( tracker.live(), 20'000U );
}

} // namespace
