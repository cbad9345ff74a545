#include "agents/lib/Daemon.h"

#include "Vek/Text.h"

#include <cerrno>
#include <csignal>
#include <new>
#include <system_error>

#include <fcntl.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace Agents {

namespace {

void writeLine( std::string_view name, std::string_view text ) {
   const Vek::String line = Vek::concat( name, ": ", text, '\n' );
   [[maybe_unused]] const ssize_t written = ::write( STDERR_FILENO, line.data(), line.size() );
}

[[noreturn]] void fail( const Vek::String& doing ) {
   throw std::system_error( errno, std::generic_category(), doing );
}

} // namespace

Daemon::Daemon( const Vek::String& name ) : name_( name ) {
   ::signal( SIGPIPE, SIG_IGN );
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

Daemon::~Daemon() {
   ::close( signals_ );
   if ( !pidFile_.empty() ) {
      ::unlink( pidFile_.c_str() );
   }
}

void Daemon::pidFileIs( const Vek::String& file ) {
   const Vek::String text = Vek::concat( ::getpid(), '\n' );
   const int fd = ::open( file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644 );
   const ssize_t written = fd < 0 ? -1 : ::write( fd, text.data(), text.size() );
   const int error = written < 0 ? errno : ENOSPC;
   const bool closed = fd >= 0 && ::close( fd ) == 0;
   if ( written != static_cast< ssize_t >( text.size() ) || !closed ) {
      errno = error;
      fail( "cannot write " + file );
   }
   pidFile_ = file;
}

void Daemon::log( std::string_view text ) const { writeLine( name_, text ); }

void Daemon::ready() {
   signalfd_siginfo signal;
   while ( ::read( signals_, &signal, sizeof signal ) == sizeof signal ) {
      if ( signal.ssi_signo != SIGHUP ) {
         loop_.stop();
      } else if ( onHangup_ ) {
         onHangup_();
      }
   }
}

int daemonMain( const Vek::String& name, const std::function< ExitStatus() >& run ) {
   try {
      return static_cast< int >( run() );
   } catch ( const std::bad_alloc& ) {
      writeLine( name, "out of memory" );
   } catch ( const std::exception& error ) {
      writeLine( name, error.what() );
   }
   return static_cast< int >( ExitStatus::failed );
}

} // namespace Agents
