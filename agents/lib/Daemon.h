#pragma once

#include "Vek/String.h"
#include "agents/lib/EventLoop.h"

#include <functional>

namespace Agents {

/// How a daemon ended, for `exit`.
enum class ExitStatus : int {
   good = 0,     ///< told to end by SIGTERM or SIGINT
   failed = 1,   ///< the reason stands on standard error
   badUsage = 2, ///< of the command line
};

/// The frame of a daemon: its event loop, its signals, its pid file and its log.
///
/// SIGTERM and SIGINT end the loop, SIGHUP calls `onHangup`; they reach the process between two
/// calls of handlers. SIGPIPE is ignored.
class Daemon final : private EventLoop::Handler {
public:
   /// Takes the signals. `std::system_error` when it cannot.
   explicit Daemon( const Vek::String& name );
   Daemon( const Daemon& ) = delete;
   Daemon& operator=( const Daemon& ) = delete;
   ~Daemon();

   const Vek::String& name() const { return name_; }
   EventLoop& loop() { return loop_; }

   /// What to do on SIGHUP; nothing when it is not set.
   void onHangup( std::function< void() > action ) { onHangup_ = std::move( action ); }

   /// Writes the process's number into a file that goes with the daemon. `std::system_error`,
   /// "cannot write FILE: REASON".
   void pidFileIs( const Vek::String& file );

   /// Writes a line, "NAME: TEXT", to standard error.
   void log( std::string_view text ) const;

   /// Runs until a signal ends it.
   void run() { loop_.run(); }

private:
   int fd() const override { return signals_; }
   void ready() override;

   const Vek::String name_;
   EventLoop loop_;
   std::function< void() > onHangup_;
   Vek::String pidFile_;
   int signals_;
};

/// The main function of a daemon: calls `run`, and turns what it throws into a line on standard
/// error and a status.
int daemonMain( const Vek::String& name, const std::function< ExitStatus() >& run );

} // namespace Agents
