#include "agents/programd/CaptureStart.h"

#include <algorithm>

namespace Agents {

CaptureStart::CaptureStart( EventLoop& loop, std::function< void() > start,
                            EventLoop::Clock::duration atMost )
   : loop_( loop ), atMost_( atMost ), start_( std::move( start ) ) {
   loop_.add( *this );
}

void CaptureStart::configured() {
   if ( started_ ) {
      return;
   }
   const auto now = EventLoop::Clock::now();
   if ( !isConfigured() ) {
      latest_ = now + atMost_;
   }
   due_ = std::min< EventLoop::Clock::time_point >( now + quiet, latest_ );
}

void CaptureStart::ready() {
   due_ = EventLoop::Clock::time_point::max();
   started_ = true;
   start_();
}

} // namespace Agents
