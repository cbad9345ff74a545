#pragma once

#include "agents/daemon/EventLoop.h"
#include "agents/daemon/Log.h"
#include "agents/daemon/PidFile.h"

#include <functional>
#include <memory>

namespace Agents {

/// How a daemon ended, for `exit`.
enum class ExitStatus : int {
   good = 0,     ///< told to end by SIGTERM or SIGINT
   failed = 1,   ///< the reason is on standard error
   badUsage = 2, ///< of the command line
};

/// The frame of a daemon: its event loop, its signals, its pid file and its log.
///
/// SIGTERM and SIGINT end the loop, or call `onEnd`; SIGHUP calls `onHangup`. They reach the
/// process between two calls of handlers. SIGPIPE and SIGXFSZ are ignored: the calls that cause
/// them fail.
class Daemon final : private EventLoop::Handler {
public:
   /// Takes the signals. `std::system_error` when it cannot.
   explicit Daemon( const Vek::String& name );
   Daemon( const Daemon& ) = delete;
   Daemon& operator=( const Daemon& ) = delete;
   ~Daemon();

   const Vek::String& name() const { return log_.name(); }
   EventLoop& loop() { return loop_; }

   /// What to do on SIGHUP; nothing when it is not set.
   void onHangup( std::function< void() > action ) { onHangup_ = std::move( action ); }

   /// What to do on the first SIGTERM or SIGINT instead of ending the loop: it is ended by the
   /// action or by what follows from it, or by the next of these signals.
   void onEnd( std::function< void() > action ) { onEnd_ = std::move( action ); }

   /// Writes the process's number into a file that goes with the daemon. `std::runtime_error`,
   /// "cannot write FILE: REASON".
   void pidFileIs( const Vek::String& file );

   /// Writes a line, "NAME: TEXT", to standard error.
   void log( std::string_view text ) const { log_.line( text ); }
   /// The same for one that a peer caused, of which there may be too many.
   void logPeer( std::string_view text ) { log_.peerLine( text ); }

   /// Runs until a signal ends it.
   void run() { loop_.run(); }

private:
   int fd() const override { return signals_; }
   EventLoop::Clock::time_point due() const override { return log_.due(); }
   void ready() override;

   Log log_;
   EventLoop loop_;
   std::function< void() > onHangup_;
   std::function< void() > onEnd_; ///< until it was called
   std::unique_ptr< PidFile > pidFile_;
   int signals_;
};

/// The main function of a daemon: calls `run`, and turns what it throws into a line on standard
/// error and a status.
int daemonMain( const Vek::String& name, const std::function< ExitStatus() >& run );

} // namespace Agents
