#include "tests/agents/statedbd/LocalDatabase.h"
#include "tests/agents/statedbd/Stranger.h"

#include <set>

#include <sys/syscall.h>

namespace Flowspec {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;
using TestSupport::LocalDatabase;
using TestSupport::logOf;
using TestSupport::Stranger;
using TestSupport::until;
using TestSupport::untilAllStand;
using Vek::log::Mount;

// The lines about roots that a database gives.
Vek::String list( const LocalDatabase& database ) {
   const Stranger stranger( database.endpoint() );
   stranger.send( "mount/1 list test\n" );
   EXPECT_EQ( stranger.line(), "ok" );
   return stranger.answer();
}

bool untilListIs( const LocalDatabase& database, const Vek::String& regex ) {
   for ( int i = 0; i < 500; ++i ) {
      if ( testing::Value( list( database ), MatchesRegex( regex ) ) ) {
         return true;
      }
      std::this_thread::sleep_for( 10ms );
   }
   return false;
}

TEST( Roots, AreListedWithWhoWritesThem ) {
   const LocalDatabase database;
   EXPECT_EQ( list( database ), "" );
   const auto config = configFactory( "flowspec/config" );
   Mount writer( database.endpoint(), "configd", *config );
   Vek::Directory directory;
   Mount reader( database.endpoint(), "show", "flowspec/config", directory );
   Mount waiting( database.endpoint(), "show", "nothing", directory );
   ASSERT_TRUE( untilAllStand( { &writer, &reader, &waiting } ) );
   const Vek::String who = Vek::concat( "user ", ::getuid(), ", process ", ::getpid() );
   EXPECT_EQ( list( database ),
              "flowspec/config\tFlowspec::Config\t1\tconfigd\t" + who + "\nnothing\t-\t1\t-\t-\n" );
}

TEST( Roots, GoWhenNobodyHasWrittenOrReadThemForAWhile ) {
   const LocalDatabase database( { .abandoned = 300ms } );
   Vek::Directory directory;
   Mount reader( database.endpoint(), "show", "r50", directory );
   for ( int i = 0; i < 100; ++i ) {
      const Vek::String root = 'r' + std::to_string( i );
      const Stranger writer( database.endpoint() );
      writer.send( "mount/1 write w " + root + '\n' + logOf( root ) );
      EXPECT_EQ( writer.line(), "ok" );
      EXPECT_THAT( writer.line(), StartsWith( "has " ) );
   }
   ASSERT_TRUE( until( { &reader }, [&] { return directory.entity( "r50" ) != nullptr; } ) );
   // The one that is read stays.
   EXPECT_TRUE( untilListIs( database, "r50\tFlowspec::Config\t1\t-\t-\n" ) );
   reader.process();
   EXPECT_NE( directory.entity( "r50" ), nullptr );
   std::this_thread::sleep_for( 400ms );
   EXPECT_THAT( list( database ), StartsWith( "r50\t" ) );
}

TEST( Roots, ARootThatOthersStillWaitForStays ) {
   const LocalDatabase database;
   Vek::Directory first;
   Vek::Directory second;
   auto leaving = std::make_unique< Mount >( database.endpoint(), "show", "some/root", first );
   Mount reader( database.endpoint(), "show", "some/root", second );
   ASSERT_TRUE( untilAllStand( { leaving.get(), &reader } ) );
   leaving.reset();
   ASSERT_TRUE( untilListIs( database, "some/root\t-\t1\t-\t-\n" ) );
   const auto config = configFactory( "some/root" );
   Mount writer( database.endpoint(), "configd", *config );
   EXPECT_TRUE(
      until( { &writer, &reader }, [&] { return second.entity( "some/root" ) != nullptr; } ) );
}

TEST( Roots, AWriterOfAnotherTypeIsToldBothTypesAndLoggedOnce ) {
   const LocalDatabase database;
   const auto config = configFactory( "some/root" );
   {
      Mount writer( database.endpoint(), "configd", *config );
      ASSERT_TRUE( until( { &writer }, [&] { return writer.acknowledged(); } ) );
   }
   const auto status = statusFactory( "some/root" );
   Mount wrong( database.endpoint(), "programd", *status );
   ASSERT_TRUE( until( { &wrong }, [&] { return wrong.refused(); } ) );
   EXPECT_THAT( wrong.error(),
                HasSubstr( "some/root is a Flowspec::Config, not a Flowspec::Status" ) );
   for ( int i = 0; i < 5; ++i ) {
      const Stranger again( database.endpoint() );
      again.send( "mount/1 write programd some/root\n" + logOf( *status ) );
      EXPECT_EQ( again.line(), "ok" );
      EXPECT_THAT( again.line(), StartsWith( "refused " ) );
   }
   EXPECT_THAT( database.lines(),
                ElementsAre( MatchesRegex( "programd .*, which writes some/root, is cut off: "
                                           "message 2 .root.: some/root is a Flowspec::Config, "
                                           "not a Flowspec::Status" ) ) );
}

TEST( Roots, MayBeOfAnotherTypeWhenNobodyHasWrittenThemForAWhile ) {
   const LocalDatabase database( { .abandoned = 400ms } );
   Vek::Directory directory;
   Mount reader( database.endpoint(), "show", "some/root", directory );
   {
      const auto config = configFactory( "some/root" );
      Mount writer( database.endpoint(), "configd", *config );
      ASSERT_TRUE( until( { &writer, &reader },
                          [&] { return directory.entity( "some/root" ) != nullptr; } ) );
   }
   ASSERT_TRUE( untilListIs( database, "some/root\tFlowspec::Config\t1\t-\t-\n" ) );
   std::this_thread::sleep_for( 500ms );
   const auto status = statusFactory( "some/root" );
   Mount writer( database.endpoint(), "programd", *status );
   EXPECT_TRUE( until( { &writer, &reader }, [&] {
      EXPECT_FALSE( writer.refused() );
      const auto entity = directory.entity( "some/root" );
      return entity && entity->typeInfo().name == "Flowspec::Status";
   } ) );
}

TEST( Roots, TheirNumberIsBounded ) {
   const LocalDatabase database( { .maxRoots = 2 } );
   std::vector< std::unique_ptr< Stranger > > readers;
   for ( const char* const root : { "a", "b" } ) {
      readers.push_back( std::make_unique< Stranger >( database.endpoint() ) );
      readers.back()->send( Vek::concat( "mount/1 read r ", root, '\n' ) );
      EXPECT_EQ( readers.back()->line(), "ok" );
   }
   for ( const char* const purpose : { "read", "write" } ) {
      const Stranger third( database.endpoint() );
      third.send( Vek::concat( "mount/1 ", purpose, " r c\n" ) );
      EXPECT_EQ( third.answer(),
                 "refused the state database has 2 roots, and no room for one more\n" );
   }
   readers.clear();
   ASSERT_TRUE( untilListIs( database, "" ) );
}

TEST( Roots, ReadersThatWaitForThemAreBounded ) {
   const LocalDatabase database( { .maxWaiting = 100, .maxWaitingOfUser = 3 } );
   const auto config = configFactory( "there" );
   Mount writer( database.endpoint(), "configd", *config );
   ASSERT_TRUE( until( { &writer }, [&] { return writer.acknowledged(); } ) );
   std::vector< std::unique_ptr< Stranger > > readers;
   const auto answer = [&]( const Vek::String& root ) {
      readers.push_back( std::make_unique< Stranger >( database.endpoint() ) );
      readers.back()->send( "mount/1 read r " + root + '\n' );
      return readers.back()->line();
   };
   for ( const char* const root : { "a", "b", "b" } ) {
      EXPECT_EQ( answer( root ), "ok" );
   }
   EXPECT_EQ( answer( "c" ), "refused nobody has written this root, and 3 readers of this user, "
                             "3 in all, wait for such roots" );
   EXPECT_EQ( answer( "there" ), "ok" );
   readers.erase( readers.begin() );
   ASSERT_TRUE( untilListIs( database, "b\t.*" ) );
   EXPECT_EQ( answer( "c" ), "ok" );
}

TEST( Roots, ReadersOfOneUserThatWaitLeaveRoomForThoseOfAnother ) {
   if ( ::geteuid() != 0 ) {
      GTEST_SKIP() << "only root can be two users";
   }
   const LocalDatabase database( { .maxWaiting = 100, .maxWaitingOfUser = 1 } );
   const std::filesystem::path socket = database.endpoint().text();
   std::filesystem::permissions( socket, std::filesystem::perms::all );
   std::filesystem::permissions( socket.parent_path(), std::filesystem::perms::all );
   const Stranger mine( database.endpoint() );
   mine.send( "mount/1 read r a\n" );
   EXPECT_EQ( mine.line(), "ok" );
   // The call changes this thread alone.
   constexpr int nobody = 65534;
   ASSERT_EQ( ::syscall( SYS_setresuid, -1, nobody, -1 ), 0 );
   const auto theirs = std::make_unique< Stranger >( database.endpoint() );
   ASSERT_EQ( ::syscall( SYS_setresuid, -1, 0, -1 ), 0 );
   theirs->send( "mount/1 read r b\n" );
   EXPECT_EQ( theirs->line(), "ok" );
   const Stranger another( database.endpoint() );
   another.send( "mount/1 read r c\n" );
   EXPECT_EQ( another.line(), "refused nobody has written this root, and 1 readers of this user, 2 "
                              "in all, wait for such roots" );
}

TEST( Roots, ReadersThatWaitForThemAreBoundedInAll ) {
   const LocalDatabase database( { .maxWaiting = 1 } );
   const Stranger first( database.endpoint() );
   first.send( "mount/1 read r a\n" );
   EXPECT_EQ( first.line(), "ok" );
   const Stranger second( database.endpoint() );
   second.send( "mount/1 read r a\n" );
   EXPECT_THAT( second.answer(), StartsWith( "refused nobody has written this root" ) );
}

TEST( Roots, AreForWhomTheFileNames ) {
   const TestSupport::Folder folder;
   std::vector< Vek::String > faults;
   const LocalDatabase database(
      {}, Agents::Access::read( folder.file( "access", "closed = user 4000000000\n" ), faults ) );
   EXPECT_THAT( faults, IsEmpty() );
   const Vek::String who = Vek::concat( "user ", ::getuid(), ", process ", ::getpid() );
   const Stranger writer( database.endpoint() );
   writer.send( "mount/1 write w closed\n" );
   EXPECT_EQ( writer.answer(), "refused " + who + " may not write closed\n" );
   const Stranger reader( database.endpoint() );
   reader.send( "mount/1 read r closed\n" );
   EXPECT_EQ( reader.line(), "ok" );
   const Stranger other( database.endpoint() );
   other.send( "mount/1 write w open\n" );
   EXPECT_EQ( other.line(), "ok" );
   EXPECT_THAT( database.lines(), ElementsAre( "w is refused: " + who + " may not write closed" ) );
}

TEST( Roots, WritersAreLoggedWhenTheyStay ) {
   const LocalDatabase database( { .lasting = 100ms } );
   const auto config = configFactory( "some/root" );
   {
      Mount passing( database.endpoint(), "flowspecctl", *config );
      ASSERT_TRUE( until( { &passing }, [&] { return passing.acknowledged(); } ) );
   }
   {
      Mount staying( database.endpoint(), "configd", *config );
      ASSERT_TRUE( until( { &staying }, [&] { return !database.lines().empty(); } ) );
   }
   while ( database.lines().size() < 2 ) {
      std::this_thread::sleep_for( 1ms );
   }
   const Vek::String who =
      Vek::concat( "configd (user ", ::getuid(), ", process ", ::getpid(), ')' );
   EXPECT_THAT( database.lines(),
                ElementsAre( who + " writes some/root", who + " no longer writes some/root" ) );
}

TEST( Roots, AllClientsAreLoggedWhenThatIsWanted ) {
   const LocalDatabase database( { .verbose = true } );
   Vek::Directory directory;
   {
      Mount reader( database.endpoint(), "show", "some/root", directory );
      ASSERT_TRUE( untilAllStand( { &reader } ) );
   }
   while ( database.lines().size() < 2 ) {
      std::this_thread::sleep_for( 1ms );
   }
   EXPECT_THAT( database.lines(), ElementsAre( HasSubstr( ") reads some/root" ),
                                               HasSubstr( ") no longer reads some/root" ) ) );
}

} // namespace
} // namespace Flowspec
