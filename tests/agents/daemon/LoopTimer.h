#pragma once

#include "agents/daemon/EventLoop.h"

#include <gtest/gtest.h>

namespace TestSupport {

/// Ends a loop at a point in time, by throwing itself out of it: a loop that was stopped cannot be
/// run again.
class LoopTimer final : public Agents::EventLoop::Handler {
public:
   struct Over {};

   explicit LoopTimer( Agents::EventLoop::Clock::time_point end ) : end_( end ) {}

   int fd() const override { return -1; }
   Agents::EventLoop::Clock::time_point due() const override { return end_; }
   void ready() override { throw Over(); }

private:
   const Agents::EventLoop::Clock::time_point end_;
};

/// Lets a loop run for a while; it may be run again.
inline void runFor( Agents::EventLoop& loop, Agents::EventLoop::Clock::duration time ) {
   LoopTimer timer( Agents::EventLoop::Clock::now() + time );
   loop.add( timer );
   EXPECT_THROW( loop.run(), LoopTimer::Over );
   loop.remove( timer );
}

} // namespace TestSupport
