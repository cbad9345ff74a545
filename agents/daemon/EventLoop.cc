#include "agents/daemon/EventLoop.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <system_error>

namespace Agents {

void EventLoop::add( Handler& handler ) {
   handlers_.push_back( &handler );
   try {
      polled_.reserve( handlers_.capacity() );
   } catch ( const std::bad_alloc& ) {
      handlers_.pop_back();
      throw;
   }
}

void EventLoop::remove( Handler& handler ) {
   std::replace( handlers_.begin(), handlers_.end(), &handler, static_cast< Handler* >( nullptr ) );
}

void EventLoop::run() {
   while ( !stopped_ ) {
      turn();
   }
}

void EventLoop::turn() {
   std::erase( handlers_, nullptr );
   polled_.resize( handlers_.size() );
   auto first = Clock::time_point::max();
   for ( std::size_t i = 0; i < polled_.size(); ++i ) {
      const int events = handlers_[i]->wantsToSend() ? POLLIN | POLLOUT : POLLIN;
      polled_[i] = {
         .fd = handlers_[i]->fd(), .events = static_cast< short >( events ), .revents = 0 };
      first = std::min( first, handlers_[i]->due() );
   }
   int timeout = -1;
   if ( first != Clock::time_point::max() ) {
      // Never for longer than an hour: a count of milliseconds is an int.
      const auto wait = std::chrono::ceil< std::chrono::milliseconds >( first - Clock::now() );
      timeout = static_cast< int >( std::clamp( wait.count(), 0L, 3'600'000L ) );
   }
   if ( ::poll( polled_.data(), polled_.size(), timeout ) < 0 && errno != EINTR ) {
      throw std::system_error( errno, std::generic_category(), "cannot wait" );
   }
   for ( std::size_t i = 0; i < polled_.size() && !stopped_; ++i ) {
      Handler* const handler = handlers_[i];
      if ( handler && ( polled_[i].revents || handler->due() <= Clock::now() ) ) {
         handler->ready();
      }
   }
}

} // namespace Agents
