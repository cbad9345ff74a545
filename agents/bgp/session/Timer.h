#pragma once

#include "Osk/Types.h"

#include <chrono>

namespace Bgp {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;
using Duration = Clock::duration;

/// A timer that someone asks what time it is.
class Timer {
public:
   static constexpr Time never = Time::max();

   void start( Time due ) { due_ = due; }
   void stop() { due_ = never; }
   bool isRunning() const { return due_ != never; }
   Time due() const { return due_; }

   /// Whether its time has come; it stops then.
   bool takeExpiry( Time now ) {
      const bool expired = due_ <= now;
      if ( expired ) {
         stop();
      }
      return expired;
   }

private:
   Time due_ = never;
};

/// Shortens durations at random, so that speakers that began at once do not go on in step (RFC 4271
/// section 10).
class Jitter {
public:
   explicit Jitter( U64 seed ) : state_( seed ) {}

   /// 75 to 100 hundredths of `duration`.
   Duration of( Duration duration ) {
      // Knuth's MMIX generator; its high bits are the random ones.
      state_ = state_ * 6364136223846793005U + 1442695040888963407U;
      return duration * ( 750 + static_cast< int >( ( state_ >> 33 ) % 251 ) ) / 1000;
   }

private:
   U64 state_;
};

} // namespace Bgp
