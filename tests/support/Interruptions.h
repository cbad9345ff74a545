#pragma once

#include <chrono>
#include <csignal>
#include <thread>

#include <pthread.h>

namespace TestSupport {

/// Interrupts this thread, so that a system call that waits fails with EINTR, some times; then
/// `done` is called in another thread.
class Interruptions {
public:
   template < typename Done >
   explicit Interruptions( Done done ) {
      struct sigaction action {};
      action.sa_handler = []( int ) {}; // without SA_RESTART
      ::sigaction( SIGUSR1, &action, nullptr );
      thread_ = std::thread( [target = ::pthread_self(), done] {
         for ( int i = 0; i < 5; ++i ) {
            std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) );
            ::pthread_kill( target, SIGUSR1 );
         }
         done();
      } );
   }
   Interruptions( const Interruptions& ) = delete;
   Interruptions& operator=( const Interruptions& ) = delete;
   ~Interruptions() { thread_.join(); }

private:
   std::thread thread_;
};

} // namespace TestSupport
