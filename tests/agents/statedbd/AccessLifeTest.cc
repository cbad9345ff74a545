#include "tests/agents/statedbd/Stranger.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using TestSupport::Database;
using TestSupport::Folder;
using TestSupport::Process;
using TestSupport::Stranger;

// What a writer is answered, once it is what `expected` begins with or some seconds are over.
Vek::String answerOf( const Database& database, const char* expected ) {
   Vek::String answer;
   for ( int i = 0; i < 300 && !answer.starts_with( expected ); ++i ) {
      ::usleep( 10'000 );
      const Stranger writer( database );
      writer.send( "mount/1 write w some/root\n" );
      answer = writer.line();
   }
   return answer;
}

TEST( AccessLife, AFaultyFileEndsTheDatabaseAtItsStart ) {
   const Folder folder;
   const Vek::String file = folder.file( "access", "some/root = user root\nother/root\n" );
   Process process( { STATEDBD, "--socket", folder.path() + "/s", "--state-dir",
                      folder.path() + "/state", "--access", file },
                    folder.path() + "/errors" );
   EXPECT_EQ( process.wait(), 1 );
   EXPECT_EQ( process.errors(), file + ":2: error: expected ROOT = user NAME, group NAME, ...\n" );
}

TEST( AccessLife, SighupReadsTheFileAnewUnlessThereIsAFault ) {
   const Folder folder;
   const Vek::String file = folder.file( "access", "some/root = user 4294967294\n" );
   Database database( { "--access", file } );
   EXPECT_THAT( answerOf( database, "refused user " ), HasSubstr( " may not write some/root" ) );
   folder.file( "access", "some/root = nobody\n" );
   database.process().signal( SIGHUP );
   for ( int i = 0; i < 300 && database.process().errors().find( file ) == Vek::String::npos;
         ++i ) {
      ::usleep( 10'000 );
   }
   EXPECT_THAT( database.process().errors(),
                HasSubstr( file + ":1: error: expected 'user NAME' or 'group NAME' after '='\n" ) );
   EXPECT_THAT( answerOf( database, "refused user " ), HasSubstr( " may not write some/root" ) );
   folder.file( "access", "# everybody\n" );
   database.process().signal( SIGHUP );
   EXPECT_EQ( answerOf( database, "ok" ), "ok" );
}

} // namespace
