#include "agents/daemon/Daemon.h"

#include <cerrno>
#include <csignal>
#include <new>
#include <system_error>
#include <utility>

#include <sys/signalfd.h>
#include <unistd.h>

namespace Agents {

namespace {

[[noreturn]] void fail( const Vek::String& doing ) {
   throw std::system_error( errno, std::generic_category(), doing );
}

} // namespace

Daemon::Daemon( const Vek::String& name ) : log_( name ) {
   ::signal( SIGPIPE, SIG_IGN );
   ::signal( SIGXFSZ, SIG_IGN );
   sigset_t set;
   sigemptyset( &set );
   for ( const int number : { SIGTERM, SIGINT, SIGHUP } ) {
      sigaddset( &set, number );
   }
   if ( ::sigprocmask( SIG_BLOCK, &set, nullptr ) < 0 ) {
      fail( "cannot block signals" );
   }
   signals_ = ::signalfd( -1, &set, SFD_NONBLOCK | SFD_CLOEXEC );
   if ( signals_ < 0 ) {
      fail( "cannot take signals" );
   }
   loop_.add( *this );
}

Daemon::~Daemon() { ::close( signals_ ); }

void Daemon::pidFileIs( const Vek::String& file ) {
   pidFile_ = std::make_unique< PidFile >( file, "write " + file );
}

void Daemon::ready() {
   log_.tellSuppressed();
   signalfd_siginfo signal;
   while ( ::read( signals_, &signal, sizeof signal ) == sizeof signal ) {
      if ( signal.ssi_signo == SIGHUP ) {
         if ( onHangup_ ) {
            onHangup_();
         }
      } else if ( const auto action = std::exchange( onEnd_, {} ) ) {
         action();
      } else {
         loop_.stop();
      }
   }
}

int daemonMain( const Vek::String& name, const std::function< ExitStatus() >& run ) {
   try {
      return static_cast< int >( run() );
   } catch ( const std::bad_alloc& ) {
      Log( name ).line( "out of memory" );
   } catch ( const std::exception& error ) {
      Log( name ).line( error.what() );
   }
   return static_cast< int >( ExitStatus::failed );
}

} // namespace Agents
