#include "agents/programd/CaptureStart.h"

#include "tests/agents/daemon/LoopTimer.h"

#include <gtest/gtest.h>

namespace Agents {
namespace {

using std::chrono::milliseconds;
using Clock = EventLoop::Clock;

struct CaptureStartTest : testing::Test {
   // Lets the loop run for a while.
   void run( milliseconds time ) { TestSupport::runFor( loop, time ); }

   EventLoop loop;
   int starts = 0;
   CaptureStart capture{ loop, [this] { ++starts; } };
};

TEST_F( CaptureStartTest, WaitsForAConfiguration ) {
   EXPECT_FALSE( capture.isConfigured() );
   run( CaptureStart::quiet * 2 );
   EXPECT_EQ( starts, 0 );
   EXPECT_FALSE( capture.started() );
}

TEST_F( CaptureStartTest, BeginsOnceWhenNothingChangesAnyMore ) {
   const auto begin = Clock::now();
   capture.configured();
   EXPECT_TRUE( capture.isConfigured() );
   EXPECT_EQ( starts, 0 );
   run( CaptureStart::quiet / 2 );
   if ( Clock::now() - begin < CaptureStart::quiet ) {
      EXPECT_EQ( starts, 0 );
   }
   capture.configured();
   EXPECT_GE( capture.due(), begin + CaptureStart::quiet + CaptureStart::quiet / 2 );
   run( CaptureStart::quiet * 2 );
   EXPECT_EQ( starts, 1 );
   EXPECT_TRUE( capture.started() );
   capture.configured();
   run( CaptureStart::quiet * 2 );
   EXPECT_EQ( starts, 1 );
}

TEST( CaptureStart, WaitsForChangesToEndOnlySoLong ) {
   EventLoop loop;
   const auto begin = Clock::now();
   CaptureStart capture(
      loop, [] {}, milliseconds( 50 ) );
   capture.configured();
   const auto due = capture.due();
   EXPECT_LT( due - begin, CaptureStart::quiet );
   TestSupport::runFor( loop, milliseconds( 20 ) );
   capture.configured();
   EXPECT_EQ( capture.due(), due );
}

} // namespace
} // namespace Agents
