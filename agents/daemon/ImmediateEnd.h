#pragma once

#include "Vek/text/String.h"

namespace Agents {

/// While one is there, SIGTERM and SIGINT end the process at once and with status 0, whatever it is
/// doing: for long work of a daemon that has nothing to bring to an end but its pid file. Otherwise
/// the signals wait until the event loop takes them.
class ImmediateEnd {
public:
   /// `pidFile`, which outlives this, is removed first; none when empty. One at a time. A signal
   /// that waits already ends the process here.
   explicit ImmediateEnd( const Vek::String& pidFile );
   ImmediateEnd( const ImmediateEnd& ) = delete;
   ImmediateEnd& operator=( const ImmediateEnd& ) = delete;
   ~ImmediateEnd();
};

} // namespace Agents
