#pragma once

#include <chrono>
#include <vector>

#include <poll.h>

namespace Agents {

/// Waits for descriptors and for points in time, and calls the handlers that wait for them. One
/// thread.
class EventLoop {
public:
   using Clock = std::chrono::steady_clock;

   /// Someone who waits. What it answers may change from turn to turn.
   class Handler {
   public:
      /// The descriptor to wait for until it can be read; below 0 when there is none for now.
      virtual int fd() const = 0;
      /// Whether to wait until it can be written, too.
      virtual bool wantsToSend() const { return false; }
      /// A point in time to be called at, whatever the descriptor does.
      virtual Clock::time_point due() const { return Clock::time_point::max(); }

      /// The descriptor is ready, has failed, or the point in time has come.
      virtual void ready() = 0;

   protected:
      ~Handler() = default;
   };

   /// A handler lives until it is removed; both may be called by handlers. `std::bad_alloc` when
   /// there is no memory for one more, which is not added then.
   void add( Handler& handler );
   void remove( Handler& handler );

   /// Waits and calls until someone calls `stop`. `std::system_error` when it cannot wait.
   void run();
   void stop() { stopped_ = true; }

private:
   void turn();

   std::vector< Handler* > handlers_; ///< null where one was removed in this turn
   std::vector< pollfd > polled_; ///< has room for all of them, so that a turn allocates nothing
   bool stopped_ = false;
};

} // namespace Agents
