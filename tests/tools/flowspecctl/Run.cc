#include "tests/tools/flowspecctl/Run.h"

#include "tests/support/Process.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
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

std::vector< char* > pointers( const std::vector< Vek::String >& texts ) {
   std::vector< char* > all;
   for ( const Vek::String& text : texts ) {
      all.push_back( const_cast< char* >( text.c_str() ) );
   }
   return all;
}

// The program's own variables come first: the first of a name is the one that is found.
std::vector< char* > environmentOf( const Run& run ) {
   std::vector< char* > all = pointers( run.environment );
   for ( char* const* variable = environ; *variable; ++variable ) {
      const std::string_view text = *variable;
      if ( !text.starts_with( "COLUMNS=" ) && !text.starts_with( "NO_COLOR=" ) ) {
         all.push_back( *variable );
      }
   }
   all.push_back( nullptr );
   return all;
}

// Not by fork: a test may have threads, whose locks stay locked in a child.
pid_t start( const Run& run, int in, int out, int err ) {
   std::vector< char* > arguments = pointers( run.command );
   arguments.push_back( nullptr );
   posix_spawn_file_actions_t streams;
   ::posix_spawn_file_actions_init( &streams );
   ::posix_spawn_file_actions_adddup2( &streams, in, STDIN_FILENO );
   ::posix_spawn_file_actions_adddup2( &streams, out, STDOUT_FILENO );
   ::posix_spawn_file_actions_adddup2( &streams, err, STDERR_FILENO );
   pid_t child = -1;
   EXPECT_EQ( ::posix_spawnp( &child, arguments[0], &streams, nullptr, arguments.data(),
                              environmentOf( run ).data() ),
              0 )
      << arguments[0];
   ::posix_spawn_file_actions_destroy( &streams );
   return child;
}

} // namespace

Result run( const Run& run ) {
   Stream in( false );
   in.write( run.input );
   Stream out( run.outputToTerminal );
   Stream err( run.errorsToTerminal );
   const int outFd = run.output ? ::open( run.output, O_WRONLY | O_CREAT, 0666 ) : out.fd();
   EXPECT_GE( outFd, 0 ) << run.output;
   const pid_t child = start( run, in.fd(), outFd, err.fd() );
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
