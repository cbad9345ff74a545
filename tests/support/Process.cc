#include "tests/support/Process.h"

#include "tests/support/Folder.h"

#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace TestSupport {

bool endsWithin( pid_t child, std::chrono::milliseconds patience ) {
   const int fd = static_cast< int >( ::syscall( SYS_pidfd_open, child, 0 ) );
   EXPECT_GE( fd, 0 );
   pollfd polled{ .fd = fd, .events = POLLIN, .revents = 0 };
   const bool ended = ::poll( &polled, 1, static_cast< int >( patience.count() ) ) == 1;
   ::close( fd );
   if ( !ended ) {
      ::kill( child, SIGKILL );
   }
   return ended;
}

Process::Process( std::vector< Vek::String > command, Vek::String errors )
   : errors_( std::move( errors ) ) {
   std::vector< char* > arguments;
   for ( Vek::String& argument : command ) {
      arguments.push_back( argument.data() );
   }
   arguments.push_back( nullptr );
   const int fd = ::open( errors_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600 );
   EXPECT_GE( fd, 0 ) << errors_;
   pid_ = ::fork();
   if ( pid_ == 0 ) {
      // It does not outlive a test that crashes.
      ::prctl( PR_SET_PDEATHSIG, SIGKILL );
      // Whatever started the tests may ignore or block signals; the program takes its own.
      sigset_t none;
      sigemptyset( &none );
      ::sigprocmask( SIG_SETMASK, &none, nullptr );
      for ( const int number : { SIGHUP, SIGINT, SIGPIPE, SIGTERM } ) {
         ::signal( number, SIG_DFL );
      }
      ::dup2( fd, STDOUT_FILENO );
      ::dup2( fd, STDERR_FILENO );
      ::execvp( arguments[0], arguments.data() );
      ::_exit( 127 );
   }
   EXPECT_GT( pid_, 0 );
   ::close( fd );
}

void Process::signal( int number ) const { EXPECT_EQ( ::kill( pid_, number ), 0 ); }

void Process::kill() {
   if ( pid_ > 0 ) {
      signal( SIGKILL );
      wait();
   }
}

int Process::wait() {
   int status = 0;
   EXPECT_TRUE( endsWithin( pid_, std::chrono::seconds( 60 ) ) ) << "it is killed";
   EXPECT_EQ( ::waitpid( pid_, &status, 0 ), pid_ );
   pid_ = -1;
   return WIFEXITED( status ) ? WEXITSTATUS( status ) : -WTERMSIG( status );
}

Vek::String Process::errors() const { return contents( errors_ ); }

U64 Process::memory() const {
   std::istringstream statm( contents( "/proc/" + std::to_string( pid_ ) + "/statm" ) );
   U64 total = 0;
   U64 resident = 0;
   statm >> total >> resident;
   return resident * static_cast< U64 >( ::sysconf( _SC_PAGESIZE ) ) / 1024;
}

} // namespace TestSupport
