#pragma once

#include "Osk/Types.h"
#include "Vek/text/String.h"

#include <chrono>

#include <unistd.h>

namespace Agents {

/// The log of a daemon: lines "NAME: TEXT" on standard error, none longer than 1 KiB, with
/// everything escaped that is not a printable ASCII character.
///
/// Lines that peers cause are limited: ten at once, then three a second. What is left out is
/// counted, and the number told every ten seconds.
class Log {
public:
   using Clock = std::chrono::steady_clock;

   static constexpr std::size_t maxLine = 1024; ///< with its end
   static constexpr int burst = 10;
   static constexpr std::chrono::nanoseconds interval =
      std::chrono::nanoseconds( 1'000'000'000 ) / 3;
   static constexpr std::chrono::seconds silence{ 10 };

   /// `fd` is where it writes.
   explicit Log( Vek::String name, int fd = STDERR_FILENO )
      : name_( std::move( name ) ), fd_( fd ) {}

   const Vek::String& name() const { return name_; }

   /// Writes a line of the daemon's own.
   void line( std::string_view text ) const;
   /// Writes a line that a peer caused, or counts it.
   void peerLine( std::string_view text, Clock::time_point now = Clock::now() );

   /// When `tellSuppressed` is to be called; never while nothing was left out.
   Clock::time_point due() const { return due_; }
   /// Tells how many lines were left out, when it is due.
   void tellSuppressed( Clock::time_point now = Clock::now() );

private:
   const Vek::String name_;
   const int fd_;
   /// When all lines of a burst may be written again; it moves on with each line.
   Clock::time_point full_{};
   Clock::time_point due_ = Clock::time_point::max();
   U64 suppressed_ = 0;
};

} // namespace Agents
