#include "tests/agents/statedbd/CliConfigText.h"
#include "tests/agents/statedbd/Stranger.h"
#include "tests/tools/flowspecctl/Run.h"

#include <random>

namespace Flowspec {
namespace {

using testing::HasSubstr;
using TestSupport::contents;
using TestSupport::Database;
using TestSupport::flowspecctl;
using TestSupport::Folder;
using TestSupport::Process;
using TestSupport::until;
using TestSupport::untilAllStand;
using Vek::log::Mount;

const Vek::String root = "flowspec/cliconfig";
const Vek::String type = "Flowspec::CliConfig";

CliConfig& cliOf( const Vek::Directory& directory ) {
   return static_cast< CliConfig& >( *directory.entity( root ) );
}

void enable( CliConfig& cli, U64 intf, const Vek::String& vrf ) {
   InterfaceEnableConfig config{ Zorv::IntfId( intf ) };
   config.sourceVrfOverrideIs( vrf );
   cli.enabledIntfIs( config );
}

// What a database has of the root; empty when it has none.
Vek::String textOf( const Database& database ) {
   Vek::Directory directory;
   Mount reader( database.endpoint(), "show", root, directory );
   EXPECT_TRUE( untilAllStand( { &reader } ) ) << reader.error();
   return directory.entity( root ) ? TestSupport::text( cliOf( directory ) ) : "";
}

TEST( Persistence, WhatWasAcknowledgedIsThereWheneverTheDatabaseIsKilled ) {
   Database database;
   std::mt19937_64 random( 8955 );
   Vek::String acknowledged;
   for ( int kill = 0; kill < 25; ++kill ) {
      Vek::String attempted = acknowledged;
      {
         Vek::Directory mine;
         Mount writer( database.endpoint(), "operator", type, root, mine );
         ASSERT_TRUE( untilAllStand( { &writer } ) );
         CliConfig& cli = cliOf( mine );
         for ( U64 change = random() % 4; change > 0; --change ) {
            enable( cli, 1 + random() % 5, std::to_string( random() ) );
            ASSERT_TRUE( until( { &writer }, [&] { return writer.acknowledged(); } ) );
            acknowledged = TestSupport::text( cli );
         }
         enable( cli, 1 + random() % 5, std::to_string( random() ) );
         attempted = TestSupport::text( cli );
         writer.process();
         ::usleep( static_cast< useconds_t >( random() % 2000 ) );
         database.process().kill();
      }
      database.start();
      const Vek::String found = textOf( database );
      // A root that has only just been made may be there, too.
      EXPECT_TRUE( found == acknowledged || found == attempted || acknowledged.empty() )
         << kill << '\n'
         << found << acknowledged << attempted;
      acknowledged = found;
   }
}

TEST( Persistence, ACommandThatEndedWellIsNotLost ) {
   Database database;
   const auto run = [&]( std::vector< Vek::String > command ) {
      command.insert( command.end(), { "--socket", database.endpoint().text() } );
      return flowspecctl( std::move( command ) );
   };
   ASSERT_TRUE( textOf( database ).empty() );
   for ( U64 i = 1; i <= 5; ++i ) {
      EXPECT_EQ( run( { "enable", std::to_string( i ) } ).err, "" );
      database.process().kill();
      database.start();
      Vek::Directory directory;
      Mount reader( database.endpoint(), "show", root, directory );
      ASSERT_TRUE( untilAllStand( { &reader } ) );
      EXPECT_EQ( cliOf( directory ).enabledIntf().size(), i );
   }
}

TEST( Persistence, AFullDiskIsRefusedToTheWriter ) {
   const Folder folder;
   const Vek::log::Endpoint endpoint( folder.path() + "/s" );
   // No file may be longer than 8 KiB.
   Process process( { "/bin/sh", "-c",
                      "ulimit -f 16; exec " STATEDBD " --socket " + endpoint.text() +
                         " --state-dir " + folder.path() + "/state" },
                    folder.path() + "/errors" );
   Vek::Directory mine;
   Mount writer( endpoint, "operator", type, root, mine );
   ASSERT_TRUE( untilAllStand( { &writer } ) );
   Vek::Directory copy;
   Mount reader( endpoint, "show", root, copy );
   Vek::String acknowledged;
   for ( U64 i = 1; i < 100 && !writer.refused(); ++i ) {
      enable( cliOf( mine ), i, Vek::String( 500, 'v' ) );
      ASSERT_TRUE(
         until( { &writer }, [&] { return writer.acknowledged() || writer.refused(); } ) );
      if ( writer.acknowledged() ) {
         acknowledged = TestSupport::text( cliOf( mine ) );
      }
   }
   EXPECT_EQ( writer.error(), "cannot write to " + folder.path() + "/state: File too large" );
   ASSERT_TRUE( until( { &reader }, [&] {
      return copy.entity( root ) && TestSupport::text( cliOf( copy ) ) == acknowledged;
   } ) );
   EXPECT_THAT( process.errors(), HasSubstr( "is cut off: cannot write " ) );
}

TEST( Persistence, AFileThatCannotBeReadIsRefusedAndStays ) {
   Database database;
   EXPECT_EQ( textOf( database ), "" );
   database.process().kill();
   const Vek::String file = database.folder().file( "state/flowspec%2Fcliconfig.log", "precious" );
   database.start();
   const Vek::String fault = "flowspec%2Fcliconfig.log cannot be read: it ends after 8 bytes, "
                             "before all of the root";
   Vek::Directory mine;
   Mount writer( database.endpoint(), "operator", type, root, mine );
   ASSERT_TRUE( until( { &writer }, [&] { return writer.refused(); } ) );
   EXPECT_EQ( writer.error(), fault );
   Vek::Directory copy;
   Mount reader( database.endpoint(), "show", root, copy );
   ASSERT_TRUE( until( { &reader }, [&] { return reader.refused(); } ) );
   EXPECT_EQ( reader.error(), fault );
   EXPECT_EQ( contents( file ), "precious" );
   EXPECT_THAT( database.process().errors(), HasSubstr( "statedbd: " + fault + '\n' ) );
   // Other roots are served.
   const auto config = configFactory( "flowspec/config" );
   Mount other( database.endpoint(), "configd", *config );
   EXPECT_TRUE( until( { &other }, [&] { return other.acknowledged(); } ) );
}

TEST( Persistence, ACutTailIsLoggedAndTheRestIsThere ) {
   Database database;
   {
      Vek::Directory mine;
      Mount writer( database.endpoint(), "operator", type, root, mine );
      ASSERT_TRUE( untilAllStand( { &writer } ) );
      enable( cliOf( mine ), 7, "seven" );
      ASSERT_TRUE( until( { &writer }, [&] { return writer.acknowledged(); } ) );
   }
   const Vek::String before = textOf( database );
   database.process().kill();
   const Vek::String file = database.stateFolder() + "/flowspec%2Fcliconfig.log";
   std::ofstream( file, std::ios::app | std::ios::binary ) << "abc";
   database.start();
   EXPECT_EQ( textOf( database ), before );
   EXPECT_THAT( database.process().errors(),
                HasSubstr( "flowspec%2Fcliconfig.log was cut off while it was written: its last 3 "
                           "of " ) );
}

TEST( Persistence, ARootHasTheTypeThatItIsKeptAs ) {
   const Database database;
   const auto config = configFactory( root );
   Mount writer( database.endpoint(), "configd", *config );
   ASSERT_TRUE( until( { &writer }, [&] { return writer.refused(); } ) );
   EXPECT_THAT( writer.error(),
                HasSubstr( "flowspec/cliconfig is kept as a Flowspec::CliConfig, not a "
                           "Flowspec::Config" ) );
}

// Any type, without one; and the last "=" of an option is the one in front of it.
TEST( Persistence, KeepsTheRootsThatAreNamed ) {
   Database database( { "--persist", "any", "--persist", "a=b=Flowspec::CliConfig" } );
   const auto names = [] { return std::vector< Vek::String >{ "any", "a=b", root }; };
   {
      std::vector< Vek::Ptr< CliConfig > > all;
      std::vector< std::unique_ptr< Mount > > mounts;
      for ( const Vek::String& name : names() ) {
         all.push_back( cliConfigFactory( name ) );
         enable( *all.back(), 7, name );
         mounts.push_back(
            std::make_unique< Mount >( database.endpoint(), "operator", *all.back() ) );
         ASSERT_TRUE(
            until( { mounts.back().get() }, [&] { return mounts.back()->acknowledged(); } ) );
      }
   }
   database.process().kill();
   database.start();
   for ( const Vek::String& name : names() ) {
      Vek::Directory directory;
      Mount reader( database.endpoint(), "show", name, directory );
      ASSERT_TRUE( untilAllStand( { &reader } ) );
      // What is named takes the place of the root that is kept otherwise.
      EXPECT_EQ( directory.entity( name ) != nullptr, name != root ) << name;
   }
   const auto config = configFactory( "a=b" );
   Mount writer( database.endpoint(), "configd", *config );
   ASSERT_TRUE( until( { &writer }, [&] { return writer.refused(); } ) );
   EXPECT_THAT( writer.error(), HasSubstr( "a=b is kept as a Flowspec::CliConfig" ) );
}

TEST( Persistence, WithoutAFolderADatabaseKeepsNothingAndSaysSo ) {
   if ( ::access( "/var/lib/flowspec", F_OK ) == 0 ) {
      GTEST_SKIP() << "this machine has a folder for it";
   }
   const Folder folder;
   const Vek::log::Endpoint endpoint( folder.path() + "/s" );
   const Process process( { STATEDBD, "--socket", endpoint.text() }, folder.path() + "/errors" );
   const auto cli = cliConfigFactory( root );
   Mount writer( endpoint, "operator", *cli );
   EXPECT_TRUE( until( { &writer }, [&] { return writer.acknowledged(); } ) );
   EXPECT_THAT( process.errors(),
                HasSubstr( "statedbd: warning: nothing is kept on the disk: cannot keep state in "
                           "/var/lib/flowspec: No such file or directory; --state-dir names "
                           "another folder\n" ) );
}

TEST( Persistence, SaysWhyNothingCanBeKept ) {
   const Database database;
   EXPECT_EQ( textOf( database ), "" );
   const Folder folder;
   const auto expectEnd = [&]( const std::vector< Vek::String >& options,
                               const Vek::String& reason ) {
      std::vector< Vek::String > command{ STATEDBD, "--socket", folder.path() + "/s" };
      command.insert( command.end(), options.begin(), options.end() );
      Process process( std::move( command ), folder.path() + "/errors" );
      EXPECT_EQ( process.wait(), 1 );
      EXPECT_THAT( process.errors(), HasSubstr( reason ) );
   };
   expectEnd( { "--state-dir", database.stateFolder() },
              "statedbd: cannot keep state in " + database.stateFolder() + ": process " );
   expectEnd( { "--state-dir", "/nowhere/state" },
              "statedbd: cannot make /nowhere/state: No such file or directory\n" );
   const Vek::String file = folder.file( "file", "precious" );
   expectEnd( { "--state-dir", file },
              "statedbd: cannot keep state in " + file + ": Not a directory\n" );
   EXPECT_EQ( contents( file ), "precious" );
   expectEnd( { "--state-dir", folder.path() + "/state", "--persist", "a=No::Such" }, "No::Such" );
   expectEnd( { "--state-dir", folder.path() + "/state", "--persist", Vek::String( 300, 'x' ) },
              "is not a name for a root that is kept\n" );
}

} // namespace
} // namespace Flowspec
