#include "agents/daemon/Log.h"

#include "Vek/text/Printable.h"
#include "Vek/text/Text.h"

#include <algorithm>

namespace Agents {

void Log::line( std::string_view text ) const {
   const Vek::String start = Vek::printable( name_, maxLine / 2 ) + ": ";
   const Vek::String line =
      Vek::concat( start, Vek::printable( text, maxLine - 1 - start.size() ), '\n' );
   // There is nobody to tell when it fails.
   [[maybe_unused]] const ssize_t written = ::write( fd_, line.data(), line.size() );
}

void Log::peerLine( std::string_view text, Clock::time_point now ) {
   const Clock::time_point next = std::max( full_, now ) + interval;
   if ( next > now + burst * interval ) {
      if ( ++suppressed_ == 1 ) {
         due_ = now + silence;
      }
      return;
   }
   full_ = next;
   line( text );
}

void Log::tellSuppressed( Clock::time_point now ) {
   if ( now >= due_ ) {
      line( Vek::concat( suppressed_, " lines suppressed" ) );
      suppressed_ = 0;
      due_ = Clock::time_point::max();
   }
}

} // namespace Agents
