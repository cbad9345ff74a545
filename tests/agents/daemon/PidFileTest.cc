#include "agents/daemon/PidFile.h"
#include "tests/support/ExpectFailure.h"
#include "tests/support/Folder.h"

#include <gmock/gmock.h>

#include <optional>

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Agents {
namespace {

using testing::ThrowsMessage;
using TestSupport::contents;

class PidFileOf : public testing::Test {
protected:
   bool exists() const { return ::access( path.c_str(), F_OK ) == 0; }
   void expectFault( const Vek::String& reason ) const {
      EXPECT_THAT( [&] { PidFile( path, "write it" ); },
                   ThrowsMessage< std::runtime_error >( "cannot write it: " + reason ) );
      EXPECT_NE( ::access( ( path + ".new" ).c_str(), F_OK ), 0 );
   }

   TestSupport::Folder folder;
   Vek::String path = folder.path() + "/pid";
   Vek::String number = std::to_string( ::getpid() );
};

TEST_F( PidFileOf, HoldsTheNumberAsLongAsItLives ) {
   {
      const PidFile file( path, "write it" );
      EXPECT_EQ( contents( path ), number + '\n' );
      struct stat found {};
      ASSERT_EQ( ::stat( path.c_str(), &found ), 0 );
      EXPECT_EQ( found.st_mode & 0133, 0U );
   }
   EXPECT_FALSE( exists() );
}

TEST_F( PidFileOf, IsHeldByOne ) {
   const PidFile file( path, "write it" );
   expectFault( "process " + number + " has it" );
   EXPECT_EQ( contents( path ), number + '\n' );
}

TEST_F( PidFileOf, IsTakenFromOneThatIsGone ) {
   for ( const char* const left : { "", "0\n", "4711\n", "2147483647\n" } ) {
      folder.file( "pid", left );
      const PidFile file( path, "write it" );
      EXPECT_EQ( contents( path ), number + '\n' ) << left;
   }
}

TEST_F( PidFileOf, LeavesAFileThatHoldsSomethingElse ) {
   for ( const char* const text : { "user = root\n", "4711", "\n", "2147483648\n", "47 11\n",
                                    "4711\nand more that is not read\n" } ) {
      folder.file( "pid", text );
      expectFault( "it holds something else than the number of a process" );
      EXPECT_EQ( contents( path ), text );
   }
}

TEST_F( PidFileOf, FollowsNoLink ) {
   const Vek::String target = folder.file( "target", "" );
   ASSERT_EQ( ::symlink( target.c_str(), path.c_str() ), 0 );
   expectFault( "it is not a regular file" );
   ::unlink( path.c_str() );
   ASSERT_EQ( ::mkfifo( path.c_str(), 0600 ), 0 );
   expectFault( "it is not a regular file" );
   path = "/nowhere/pid";
   expectFault( "No such file or directory" );
}

TEST_F( PidFileOf, AnotherFileOfTheNameStays ) {
   std::optional< PidFile > file( std::in_place, path, "write it" );
   ::unlink( path.c_str() );
   folder.file( "pid", "another's" );
   file.reset();
   EXPECT_EQ( contents( path ), "another's" );
}

TEST_F( PidFileOf, IsThereWholeOrNotAtAll ) {
   folder.file( "pid", "4711\n" );
   // In a process of its own, which may write no file of more than a byte.
   const pid_t child = ::fork();
   if ( child == 0 ) {
      ::signal( SIGXFSZ, SIG_IGN );
      const rlimit limit{ .rlim_cur = 1, .rlim_max = 1 };
      ::setrlimit( RLIMIT_FSIZE, &limit );
      try {
         const PidFile file( path, "write it" );
      } catch ( const std::runtime_error& error ) {
         ::_exit( error.what() == std::string_view( "cannot write it: No space left on device" ) );
      }
      ::_exit( 2 );
   }
   int status = 0;
   ASSERT_EQ( ::waitpid( child, &status, 0 ), child );
   EXPECT_EQ( WEXITSTATUS( status ), 1 );
   EXPECT_EQ( contents( path ), "4711\n" );
   EXPECT_NE( ::access( ( path + ".new" ).c_str(), F_OK ), 0 );
}

} // namespace
} // namespace Agents
