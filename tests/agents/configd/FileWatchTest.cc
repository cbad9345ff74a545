#include "agents/configd/FileWatch.h"

#include "tests/agents/daemon/LoopTimer.h"
#include "tests/support/Folder.h"

#include <filesystem>
#include <fstream>
#include <system_error>

#include <gtest/gtest.h>

#include <unistd.h>

namespace Agents {
namespace {

using std::chrono::milliseconds;

struct FileWatchTest : testing::Test {
   void run( EventLoop::Clock::duration time = FileWatch::settling * 3 ) {
      TestSupport::runFor( loop, time );
   }

   TestSupport::Folder folder;
   const Vek::String file = folder.file( "rules", "1" );
   EventLoop loop;
   int changes = 0;
   FileWatch watch{ loop, { file }, [this] { ++changes; } };
};

TEST_F( FileWatchTest, TellsOfItsFilesAlone ) {
   folder.file( "other", "2" );
   std::filesystem::rename( folder.file( "another", "2" ), folder.path() + "/third" );
   run();
   EXPECT_EQ( changes, 0 );
   folder.file( "rules", "3" );
   run();
   EXPECT_EQ( changes, 1 );
   std::filesystem::rename( folder.path() + "/third", file );
   run();
   EXPECT_EQ( changes, 2 );
}

TEST_F( FileWatchTest, TellsOfManyChangesOnce ) {
   for ( int i = 0; i < 10; ++i ) {
      folder.file( "rules", std::to_string( i ) );
   }
   run();
   EXPECT_EQ( changes, 1 );
}

TEST_F( FileWatchTest, AFileThatIsDeletedIsNoChangeUntilItIsThereAgain ) {
   ::unlink( file.c_str() );
   run();
   EXPECT_EQ( changes, 0 );
   folder.file( "rules", "4" );
   run();
   EXPECT_EQ( changes, 1 );
}

// Events of other files fill the queue, so that one of the file may have been lost.
TEST_F( FileWatchTest, ALostEventMayHaveBeenOne ) {
   std::size_t most = 0;
   std::ifstream( "/proc/sys/fs/inotify/max_queued_events" ) >> most;
   if ( most == 0 || most > 200'000 ) {
      GTEST_SKIP() << "the queue holds " << most << " events";
   }
   // Two equal events in a row would be one.
   Vek::String from = folder.file( "other", "" );
   Vek::String to = folder.path() + "/another";
   for ( std::size_t i = 0; i <= most; ++i ) {
      ASSERT_EQ( ::rename( from.c_str(), to.c_str() ), 0 );
      std::swap( from, to );
   }
   run();
   EXPECT_EQ( changes, 1 );
}

TEST( FileWatch, AFileWithoutFolderIsInTheWorkingDirectory ) {
   EventLoop loop;
   EXPECT_NO_THROW( FileWatch( loop, { "rules" }, [] {} ) );
}

TEST( FileWatch, AFolderThatIsNotThereIsNamed ) {
   EventLoop loop;
   try {
      const FileWatch watch( loop, { "/nowhere/rules" }, [] {} );
      ADD_FAILURE();
   } catch ( const std::system_error& error ) {
      EXPECT_STREQ( error.what(), "cannot watch /nowhere: No such file or directory" );
   }
}

} // namespace
} // namespace Agents
