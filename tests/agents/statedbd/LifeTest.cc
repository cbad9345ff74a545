#include "tests/agents/statedbd/Database.h"

#include <algorithm>

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
   arguments.insert( arguments.begin(), { STATEDBD, "--state-dir", folder.path() + "/state" } );
   Process process( std::move( arguments ), folder.path() + "/errors" );
   const int status = process.wait();
   return { status, process.errors() };
}

bool exists( const Vek::String& path ) { return ::access( path.c_str(), F_OK ) == 0; }

// The number in a pid file.
Vek::String number( const Vek::String& file ) {
   Vek::String text = TestSupport::contents( file );
   EXPECT_THAT( text, testing::EndsWith( "\n" ) );
   text.pop_back();
   return text;
}

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
                                ": process " + number( database.pidFile() ) + " has it\n" );
   database.process().kill();
   database.start();
   waitForPidFile( database );
   Vek::Directory directory;
   Mount reader( database.endpoint(), "show", "x", directory );
   EXPECT_TRUE( TestSupport::untilAllStand( { &reader } ) );
}

TEST( StateDatabaseLife, OfManyThatStartAtOnceOneListens ) {
   const Folder folder;
   const Vek::String socket = folder.path() + "/s";
   folder.file( "nothing", "" );
   std::vector< std::unique_ptr< Process > > processes;
   for ( int i = 0; i < 8; ++i ) {
      processes.push_back( std::make_unique< Process >(
         std::vector< Vek::String >{ STATEDBD, "--socket", socket, "--state-dir",
                                     folder.path() + "/state" + std::to_string( i ) },
         folder.path() + "/errors" + std::to_string( i ) ) );
   }
   const auto lines = [&]( std::string_view text ) {
      return std::ranges::count_if( processes, [&]( const auto& process ) {
         return process->errors().find( text ) != Vek::String::npos;
      } );
   };
   for ( int i = 0; i < 1000 && lines( "listen" ) < 8; ++i ) {
      ::usleep( 10'000 );
   }
   EXPECT_EQ( lines( "listens on" ), 1 );
   EXPECT_EQ( lines( "cannot listen on" ), 7 );
   Vek::Directory directory;
   Mount reader( Vek::log::Endpoint( socket ), "show", "x", directory );
   EXPECT_TRUE( TestSupport::untilAllStand( { &reader } ) );
}

TEST( StateDatabaseLife, AFileThatIsNoSocketStays ) {
   const Folder folder;
   const Vek::String precious = folder.file( "precious.conf", "all of it" );
   const Ended ended = statedbd( { "--socket", precious } );
   EXPECT_EQ( ended.status, 1 );
   EXPECT_EQ( ended.errors, "statedbd: cannot listen on " + precious + ": it is not a socket\n" );
   EXPECT_EQ( TestSupport::contents( precious ), "all of it" );
   EXPECT_FALSE( exists( precious + ".lock" ) );
}

TEST( StateDatabaseLife, AFileThatTookTheSocketsNameStays ) {
   Database database;
   waitForPidFile( database );
   ::unlink( database.endpoint().text().c_str() );
   database.folder().file( "statedb.sock", "mine" );
   database.process().signal( SIGTERM );
   EXPECT_EQ( database.process().wait(), 0 );
   EXPECT_EQ( TestSupport::contents( database.endpoint().text() ), "mine" );
}

TEST( StateDatabaseLife, OverTcpOnlyWhenItIsAllowed ) {
   const Ended ended = statedbd( { "--socket", "127.0.0.1:4711" } );
   EXPECT_EQ( ended.status, 2 );
   EXPECT_EQ( ended.errors, "statedbd: --socket: any user of this machine could read and write "
                            "over TCP; add --allow-tcp if that is wanted\n"
                            "Try 'statedbd --help'.\n" );
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
   EXPECT_EQ( ended.errors, "statedbd: cannot write /dev/full: it is not a regular file\n" );
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
   Process process(
      { STATEDBD, "--socket", endpoint.text(), "--allow-tcp", "--state-dir", folder.path() },
      folder.path() + "/errors" );
   Vek::Directory directory;
   Mount reader( endpoint, "show", "x", directory );
   EXPECT_TRUE( TestSupport::untilAllStand( { &reader } ) );
   EXPECT_THAT( process.errors(),
                HasSubstr( "statedbd: warning: any user of this machine can read and write over "
                           "TCP\n" ) );
}

} // namespace
