#include "tests/agents/statedbd/Database.h"

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using TestSupport::Database;
using TestSupport::Folder;
using TestSupport::Process;
using Vek::log::Mount;

struct Ended {
   int status;
   Vek::String errors;
};

// A statedbd that is to end by itself.
Ended statedbd( std::vector< Vek::String > arguments ) {
   const Folder folder;
   arguments.insert( arguments.begin(), STATEDBD );
   Process process( std::move( arguments ), folder.path() + "/errors" );
   const int status = process.wait();
   return { status, process.errors() };
}

bool exists( const Vek::String& path ) { return ::access( path.c_str(), F_OK ) == 0; }

void waitForPidFile( const Database& database ) {
   for ( int i = 0; i < 1000 && !exists( database.pidFile() ); ++i ) {
      ::usleep( 10000 );
   }
}

TEST( StateDatabaseLife, EndsCleanlyOnSigtermAndOnSigint ) {
   for ( const int number : { SIGTERM, SIGINT } ) {
      Database database;
      waitForPidFile( database );
      struct stat found {};
      ASSERT_EQ( ::stat( database.endpoint().text().c_str(), &found ), 0 );
      EXPECT_EQ( found.st_mode & 0777, 0660U );
      database.process().signal( number );
      EXPECT_EQ( database.process().wait(), 0 );
      EXPECT_FALSE( exists( database.endpoint().text() ) );
      EXPECT_FALSE( exists( database.pidFile() ) );
   }
}

TEST( StateDatabaseLife, SighupChangesNothing ) {
   Database database;
   waitForPidFile( database );
   database.process().signal( SIGHUP );
   database.process().signal( SIGTERM );
   EXPECT_EQ( database.process().wait(), 0 );
}

TEST( StateDatabaseLife, ReplacesTheSocketOfOneThatDiedButNotOfOneThatLives ) {
   Database database;
   waitForPidFile( database );
   const Ended second = statedbd( { "--socket", database.endpoint().text() } );
   EXPECT_EQ( second.status, 1 );
   EXPECT_EQ( second.errors, "statedbd: cannot listen on " + database.endpoint().text() +
                                ": Address already in use\n" );
   database.process().kill();
   ::unlink( database.pidFile().c_str() );
   database.start();
   waitForPidFile( database );
   Vek::Directory directory;
   Mount reader( database.endpoint(), "show", "x", directory );
   EXPECT_TRUE( TestSupport::untilAllStand( { &reader } ) );
}

TEST( StateDatabaseLife, SaysWhyItCannotListen ) {
   const Ended ended = statedbd( { "--socket", "/nowhere/statedb.sock" } );
   EXPECT_EQ( ended.status, 1 );
   EXPECT_EQ( ended.errors,
              "statedbd: cannot listen on /nowhere/statedb.sock: No such file or directory\n" );
}

TEST( StateDatabaseLife, SaysWhyItCannotWriteItsPidFile ) {
   const Folder folder;
   const Ended ended = statedbd( { "--socket", folder.path() + "/s", "--pid-file", "/dev/full" } );
   EXPECT_EQ( ended.status, 1 );
   EXPECT_EQ( ended.errors, "statedbd: cannot write /dev/full: No space left on device\n" );
   EXPECT_FALSE( exists( folder.path() + "/s" ) );
}

TEST( StateDatabaseLife, WrongUsageIsStatus2 ) {
   for ( const std::vector< Vek::String >& arguments :
         { std::vector< Vek::String >{ "--socket", "nonsense" },
           { "--unknown" },
           { "surplus" } } ) {
      const Ended ended = statedbd( arguments );
      EXPECT_EQ( ended.status, 2 );
      EXPECT_THAT( ended.errors, StartsWith( "statedbd: " ) );
      EXPECT_THAT( ended.errors, HasSubstr( "Try 'statedbd --help'.\n" ) );
   }
}

TEST( StateDatabaseLife, ListensOnTheLoopbackInterface ) {
   const Folder folder;
   const Vek::log::Endpoint endpoint( "127.0.0.1:" + std::to_string( 20000 + ::getpid() % 20000 ) );
   Process process( { STATEDBD, "--socket", endpoint.text() }, folder.path() + "/errors" );
   Vek::Directory directory;
   Mount reader( endpoint, "show", "x", directory );
   EXPECT_TRUE( TestSupport::untilAllStand( { &reader } ) );
}

} // namespace
