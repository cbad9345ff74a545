#include "tests/tools/flowspecctl/Run.h"

#include "tests/support/Process.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace TestSupport {

namespace {

// Where a stream of the program goes: a file or the far end of a terminal.
class Stream {
public:
   explicit Stream( bool terminal ) {
      if ( terminal ) {
         near_ = ::posix_openpt( O_RDWR | O_NOCTTY );
         EXPECT_EQ( ::grantpt( near_ ), 0 );
         EXPECT_EQ( ::unlockpt( near_ ), 0 );
         far_ = ::open( ::ptsname( near_ ), O_RDWR | O_NOCTTY );
         EXPECT_GE( far_, 0 );
      } else {
         file_ = std::tmpfile();
         far_ = fileno( file_ );
      }
   }
   Stream( const Stream& ) = delete;
   Stream& operator=( const Stream& ) = delete;
   ~Stream() {
      if ( file_ ) {
         std::fclose( file_ );
      }
      if ( near_ >= 0 ) {
         ::close( near_ );
      }
   }

   int fd() const { return far_; }

   void write( const Vek::String& text ) {
      EXPECT_EQ( std::fwrite( text.data(), 1, text.size(), file_ ), text.size() );
      std::rewind( file_ );
   }

   // All that was written, once the program is gone.
   Vek::String text() {
      if ( file_ ) {
         std::rewind( file_ );
      } else {
         ::close( far_ );
      }
      const int fd = file_ ? far_ : near_;
      Vek::String all;
      char block[65536];
      for ( ssize_t got; ( got = ::read( fd, block, sizeof block ) ) > 0; ) {
         all.append( block, static_cast< std::size_t >( got ) );
      }
      return all;
   }

private:
   std::FILE* file_ = nullptr;
   int near_ = -1;
   int far_ = -1;
};

[[noreturn]] void execute( const Run& run, int in, int out, int err ) {
   ::dup2( in, STDIN_FILENO );
   ::dup2( out, STDOUT_FILENO );
   ::dup2( err, STDERR_FILENO );
   ::unsetenv( "COLUMNS" );
   ::unsetenv( "NO_COLOR" );
   for ( const Vek::String& variable : run.environment ) {
      ::putenv( const_cast< char* >( variable.c_str() ) );
   }
   std::vector< char* > arguments;
   for ( const Vek::String& argument : run.command ) {
      arguments.push_back( const_cast< char* >( argument.c_str() ) );
   }
   arguments.push_back( nullptr );
   ::execvp( arguments[0], arguments.data() );
   ::_exit( 127 );
}

} // namespace

Result run( const Run& run ) {
   Stream in( false );
   in.write( run.input );
   Stream out( run.outputToTerminal );
   Stream err( run.errorsToTerminal );
   const int outFd = run.output ? ::open( run.output, O_WRONLY | O_CREAT, 0666 ) : out.fd();
   EXPECT_GE( outFd, 0 ) << run.output;
   const pid_t child = ::fork();
   if ( child == 0 ) {
      execute( run, in.fd(), outFd, err.fd() );
   }
   int status = 0;
   rusage usage{};
   EXPECT_TRUE( endsWithin( child, std::chrono::minutes( 4 ) ) ) << "it is killed";
   EXPECT_EQ( ::wait4( child, &status, 0, &usage ), child );
   if ( run.output ) {
      ::close( outFd );
   }
   return { WIFEXITED( status ) ? WEXITSTATUS( status ) : -WTERMSIG( status ), out.text(),
            err.text(), usage.ru_maxrss };
}

Result flowspecctl( std::vector< Vek::String > arguments, Vek::String input ) {
   arguments.insert( arguments.begin(), flowspecctlPath() );
   return run( { .command = std::move( arguments ), .input = std::move( input ) } );
}

Vek::String flowspecctlPath() { return FLOWSPECCTL; }

} // namespace TestSupport
