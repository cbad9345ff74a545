#include "Vek/log/OutBuffer.h"

#include <algorithm>
#include <deque>
#include <random>

#include <gtest/gtest.h>

namespace Vek::log {
namespace {

TEST( OutBuffer, GivesBackWhatWasCommittedInOrder ) {
   std::mt19937_64 random( 1 );
   OutBuffer buffer( 100 );
   std::deque< U8 > model;
   U8 next = 0;
   for ( int step = 0; step < 100000; ++step ) {
      const std::size_t size = 1 + random() % 40;
      if ( random() % 2 ) {
         if ( U8* const at = buffer.reserve( size ) ) {
            for ( std::size_t i = 0; i < size; ++i ) {
               at[i] = next;
               model.push_back( next++ );
            }
            buffer.commit( size );
         }
      } else {
         const std::size_t count = std::min( size, model.size() );
         const auto pending = buffer.pending();
         ASSERT_TRUE( std::equal( pending.begin(), pending.end(), model.begin(), model.end() ) );
         buffer.sent( count );
         model.erase( model.begin(), model.begin() + static_cast< std::ptrdiff_t >( count ) );
      }
      ASSERT_LE( model.size(), 100U );
      ASSERT_EQ( buffer.empty(), model.empty() );
   }
}

TEST( OutBuffer, WhatIsNotCommittedIsNotSent ) {
   OutBuffer buffer( 10 );
   ASSERT_NE( buffer.reserve( 5 ), nullptr );
   EXPECT_TRUE( buffer.pending().empty() );
}

TEST( OutBuffer, OneMessageMayBeLargerThanTheBuffer ) {
   OutBuffer buffer( 10 );
   ASSERT_NE( buffer.reserve( 1000 ), nullptr );
   buffer.commit( 1000 );
   EXPECT_EQ( buffer.reserve( 1 ), nullptr );
   buffer.sent( 999 );
   EXPECT_EQ( buffer.pending().size(), 1U );
   buffer.sent( 1 );
   EXPECT_TRUE( buffer.empty() );
   ASSERT_NE( buffer.reserve( 10 ), nullptr );
   buffer.commit( 10 );
   EXPECT_EQ( buffer.reserve( 1 ), nullptr );
}

} // namespace
} // namespace Vek::log
