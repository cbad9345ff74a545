#include "tests/support/Process.h"

#include "tests/support/Folder.h"

#include <csignal>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace TestSupport {

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
