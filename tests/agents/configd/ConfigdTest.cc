#include "Flowspec/FlowspecDalb.h"
#include "tests/agents/statedbd/Database.h"

#include <algorithm>

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <unistd.h>

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using TestSupport::Database;
using TestSupport::Folder;
using TestSupport::Process;
using TestSupport::until;
using Vek::log::Mount;

const Vek::String root = "flowspec/config";

Vek::String rule( std::string_view prefix, std::string_view more = "" ) {
   return Vek::concat( R"({"vrfId":0,"addressFamily":"ipv4","destPrefix":")", prefix,
                       R"(","srcPrefix":null,"interfaceSet":[],"terms":[])", more, "}\n" );
}

bool isThere( const Vek::String& text, const char* part ) {
   return text.find( part ) != Vek::String::npos;
}

// The root of deadlines is mounted at any time beside that of the rules.
Vek::String withoutDeadlines( Vek::String errors ) {
   const Vek::String line = "configd: " + root + "-deadlines: mounted\n";
   const std::size_t at = errors.find( line );
   return at == Vek::String::npos ? errors : errors.erase( at, line.size() );
}

// A configd over a state database, and what a reader of its configuration has.
class Configd : public testing::Test {
protected:
   std::unique_ptr< Process > start( std::vector< Vek::String > arguments ) {
      arguments.insert( arguments.begin(),
                        { CONFIGD, "--socket", database.endpoint().text(), "--root", root } );
      return std::make_unique< Process >( std::move( arguments ),
                                          database.folder().path() + "/configd-errors" );
   }

   const Config* config() { return static_cast< const Config* >( replica.entity( root ).get() ); }

   // The prefixes of the rules of VRF 0.
   std::vector< Vek::String > prefixes() {
      std::vector< Vek::String > texts;
      const auto vrf = config() ? config()->vrfRuleConfig( 0 ) : nullptr;
      if ( vrf ) {
         for ( const auto& filed : vrf->rule() ) {
            texts.push_back( filed->ruleKey().destPrefix().stringValue() );
         }
      }
      return texts;
   }

   bool untilPrefixesAre( const std::vector< Vek::String >& wanted ) {
      return until( { &reader }, [&] { return prefixes() == wanted; } );
   }

   Database database;
   Vek::Directory replica;
   Mount reader{ database.endpoint(), "show", root, replica };
   Folder folder;
};

TEST_F( Configd, WhatIsReadAsSomethingElseIsFiledWhenItIsToldTo ) {
   const Vek::String file =
      folder.file( "rules.cli", "192.0.2.1/32;*;IP:;\n192.0.2.2/32;*;IP:=6;\n" );
   auto configd = start( { "--family", "ipv4", file } );
   ASSERT_TRUE( untilPrefixesAre( { "192.0.2.2/32" } ) );
   configd->kill();
   const Vek::String place = file + ":1:16: ";
   const Vek::String reason = "'IP:' has no value: it is left out\n";
   EXPECT_THAT( configd->errors(), HasSubstr( place + "error: " + reason ) );
   configd = start( { "--lenient", "--family", "ipv4", file } );
   ASSERT_TRUE( untilPrefixesAre( { "192.0.2.1/32", "192.0.2.2/32" } ) );
   EXPECT_THAT( configd->errors(), HasSubstr( place + "warning: " + reason ) );
}

TEST_F( Configd, FilesRulesWithTheirActions ) {
   const Vek::String file =
      folder.file( "rules.jsonl",
                   rule( "192.0.2.1/32", R"(,"action":{"drop":true})" ) + rule( "192.0.2.2/32" ) );
   const auto configd = start( { file } );
   ASSERT_TRUE( untilPrefixesAre( { "192.0.2.1/32", "192.0.2.2/32" } ) );
   const auto filed = *config()->vrfRuleConfig( 0 )->rule().begin();
   EXPECT_TRUE( filed->actionFieldSet().trafficDrop() );
   EXPECT_EQ( filed->matchSet().size(), 1U );
}

TEST_F( Configd, RulesGoWhenTheyExpire ) {
   const Vek::String file = folder.file(
      "rules.jsonl", rule( "192.0.2.1/32", R"(,"action":{"drop":true,"expires":1})" ) +
                        rule( "192.0.2.2/32", R"(,"action":{"expires":"2000-01-01T00:00:00Z"})" ) +
                        rule( "192.0.2.3/32", R"(,"action":{"expires":3600})" ) );
   const auto configd = start( { file } );
   ASSERT_TRUE( untilPrefixesAre( { "192.0.2.1/32", "192.0.2.3/32" } ) );
   ASSERT_TRUE( untilPrefixesAre( { "192.0.2.3/32" } ) );
   EXPECT_TRUE( until( {}, [&] { return isThere( configd->errors(), "is removed" ); } ) );
   EXPECT_THAT( configd->errors(),
                HasSubstr( file + ":2: warning: the rule has expired at 2000-01-01T00:00:00Z and "
                                  "is not filed\n" ) );
   EXPECT_THAT( configd->errors(), HasSubstr( "filed 2 rules and 0 infeasible ones: 2 new, 0 gone, "
                                              "1 refused\n" ) );
   EXPECT_THAT( configd->errors(),
                HasSubstr( "configd: " + file +
                           ":1: the rule has expired and is removed: 192.0.2.1/32;*;\n" ) );
   // What has expired stays away while its line is there.
   folder.file( "rules.jsonl", rule( "192.0.2.1/32", R"(,"action":{"drop":true,"expires":1})" ) +
                                  rule( "192.0.2.4/32" ) );
   EXPECT_TRUE( untilPrefixesAre( { "192.0.2.4/32" } ) );
}

// The rule of the next file with its key counts then.
TEST_F( Configd, ARuleThatExpiresMakesRoomForAnother ) {
   const Vek::String first = folder.file(
      "first.jsonl", rule( "192.0.2.1/32", R"(,"action":{"drop":true,"expires":1})" ) );
   const Vek::String second = folder.file( "second.jsonl", rule( "192.0.2.1/32" ) );
   const auto configd = start( { first, second } );
   const auto drops = [&] {
      return ( *config()->vrfRuleConfig( 0 )->rule().begin() )->actionFieldSet().trafficDrop();
   };
   ASSERT_TRUE( untilPrefixesAre( { "192.0.2.1/32" } ) );
   EXPECT_TRUE( drops() );
   EXPECT_TRUE( until( { &reader }, [&] { return !drops(); } ) );
   EXPECT_EQ( prefixes().size(), 1U );
}

TEST_F( Configd, InfeasibleRulesAreFiledApart ) {
   const Vek::String file = folder.file( "rules.cli", "*;*;IP:=1;DP:=80;\n10.0.0.0/8;*;\n" );
   const auto configd = start( { "--family", "ipv4", file } );
   ASSERT_TRUE( untilPrefixesAre( { "10.0.0.0/8" } ) );
   EXPECT_TRUE( until( { &reader }, [&] {
      const auto& infeasible = config()->vrfRuleConfig( 0 )->infeasibleRule();
      return infeasible.size() == 1 && ( *infeasible.begin() )->matchCompType() == destPort;
   } ) );
}

TEST_F( Configd, ReadsAgainOnSighupAndWhenAFileChanges ) {
   const Vek::String file = folder.file( "rules.jsonl", rule( "192.0.2.1/32" ) );
   const auto configd = start( { file } );
   const auto untilTold = [&]( const Vek::String& outcome ) {
      return until( { &reader }, [&] {
         return withoutDeadlines( configd->errors() )
            .ends_with( "configd: filed 1 rules and 0 infeasible ones: " + outcome +
                        ", 0 refused\n" );
      } );
   };
   ASSERT_TRUE( untilTold( "1 new, 0 gone" ) );
   // Written in place.
   folder.file( "rules.jsonl", rule( "192.0.2.2/32" ) );
   EXPECT_TRUE( untilTold( "1 new, 1 gone" ) );
   EXPECT_TRUE( untilPrefixesAre( { "192.0.2.2/32" } ) );
   configd->signal( SIGHUP );
   EXPECT_TRUE( untilTold( "0 new, 0 gone" ) );
   // Renamed into its place.
   std::filesystem::rename( folder.file( "new", rule( "192.0.2.3/32" ) ), file );
   EXPECT_TRUE( untilTold( "1 new, 1 gone" ) );
   EXPECT_TRUE( untilPrefixesAre( { "192.0.2.3/32" } ) );
}

TEST_F( Configd, BadLinesAreNamedAndTheOthersFiled ) {
   const Vek::String file =
      folder.file( "rules.jsonl", rule( "192.0.2.1/32" ) + "{}\n" + rule( "192.0.2.3/32" ) );
   const auto configd = start( { file } );
   ASSERT_TRUE( untilPrefixesAre( { "192.0.2.1/32", "192.0.2.3/32" } ) );
   EXPECT_THAT( configd->errors(), HasSubstr( file + ":2: error: " ) );
   // It hears that they are there after other readers do.
   EXPECT_TRUE( until( {}, [&] {
      return isThere( configd->errors(), "configd: filed 2 rules and 0 infeasible ones: 2 new, "
                                         "0 gone, 1 refused\n" );
   } ) );
}

TEST_F( Configd, OfManyBadLinesItTellsTheFirst ) {
   Vek::String text;
   for ( int i = 0; i < 100'000; ++i ) {
      text += "*;*;IP:=tcp;\n";
   }
   const Vek::String file = folder.file( "rules.cli", text + "*;*;IP:=6;\n" );
   const auto configd = start( { file } );
   ASSERT_TRUE( until( {}, [&] { return isThere( configd->errors(), "100000 refused" ); } ) );
   const Vek::String errors = configd->errors();
   EXPECT_THAT( errors, HasSubstr( file + ":10:9: error: Unexpected character t: 'tcp' is 6\n" ) );
   EXPECT_THAT( errors,
                HasSubstr( "configd: " + file + ": 99990 more errors and 0 more warnings\n" ) );
   EXPECT_LE( std::ranges::count( withoutDeadlines( errors ), '\n' ), 13 );
}

// At the moment when it says so, a reader that comes gets the rules.
TEST_F( Configd, SaysThatRulesAreFiledOnceReadersCanHaveThem ) {
   Vek::String text;
   for ( int i = 0; i < 3000; ++i ) {
      text += rule( Vek::concat( "10.", i / 256, ".", i % 256, ".0/24" ) );
   }
   const Vek::String file = folder.file( "rules.jsonl", text );
   database.process().kill();
   const auto configd = start( { file } );
   ASSERT_TRUE( until( {}, [&] { return isThere( configd->errors(), "cannot connect" ); } ) );
   EXPECT_FALSE( isThere( configd->errors(), "filed" ) );
   database.start();
   ASSERT_TRUE( until( {}, [&] { return isThere( configd->errors(), "filed 3000 rules" ); } ) );
   configd->kill();
   ASSERT_TRUE( until( { &reader }, [&] { return reader.stands(); } ) );
   EXPECT_EQ( prefixes().size(), 3000U );
}

// Readings that nobody was told of are told as one.
TEST_F( Configd, WhatWasFiledWithoutADatabaseIsToldOnce ) {
   const Vek::String file = folder.file( "rules.jsonl", rule( "192.0.2.1/32" ) );
   database.process().kill();
   const auto configd = start( { file } );
   ASSERT_TRUE( until( {}, [&] { return isThere( configd->errors(), "cannot connect" ); } ) );
   folder.file( "rules.jsonl", rule( "192.0.2.2/32" ) + rule( "192.0.2.3/32" ) );
   ::usleep( 500'000 );
   database.start();
   EXPECT_TRUE( until( {}, [&] {
      return isThere( configd->errors(), "configd: filed 2 rules and 0 infeasible ones: 3 new, "
                                         "1 gone, 0 refused\n" );
   } ) );
   EXPECT_EQ( configd->errors().find( "filed" ), configd->errors().rfind( "filed" ) );
}

TEST_F( Configd, ValuesThatNoPacketHasAreWarnedAbout ) {
   const Vek::String file = folder.file( "rules.cli", "*;*;DSCP:=110;\n" );
   const auto configd = start( { "--family", "ipv4", file } );
   EXPECT_TRUE( until( {}, [&] { return isThere( configd->errors(), "filed 1 rules" ); } ) );
   EXPECT_THAT(
      configd->errors(),
      HasSubstr( file +
                 ":1: warning: value 110 of dscp has more than 6 bits: it counts as 46\n" ) );
}

using Clock = std::chrono::steady_clock;

double secondsSince( Clock::time_point begin ) {
   return std::chrono::duration< double >( Clock::now() - begin ).count();
}

// Many rules, which take seconds to read and to file.
Vek::String manyRules() {
   Vek::String text;
   for ( int i = 0; i < 300'000; ++i ) {
      text += rule( Vek::concat( "10.", i >> 16, ".", i >> 8 & 255, ".", i & 255, "/32" ) );
   }
   return text;
}

// The first file is read when its bad line is told; then comes the second.
TEST_F( Configd, EndsAtOnceWhileItReads ) {
   const Vek::String bad = folder.file( "bad.jsonl", "{}\n" );
   const auto configd = start( { bad, folder.file( "rules.jsonl", manyRules() ) } );
   ASSERT_TRUE( until( {}, [&] { return isThere( configd->errors(), ":1: error: " ); } ) );
   const auto begin = Clock::now();
   configd->signal( SIGTERM );
   EXPECT_EQ( configd->wait(), 0 );
   EXPECT_LT( secondsSince( begin ), 1 ); // of a busy machine
   EXPECT_FALSE( isThere( configd->errors(), "filed" ) );
}

TEST_F( Configd, WhileItReadsAgainItRemovesItsPidFileToo ) {
   const Vek::String pidFile = folder.path() + "/pid";
   const Vek::String file = folder.file( "rules.jsonl", rule( "192.0.2.1/32" ) );
   const auto configd =
      start( { "--pid-file", pidFile, folder.file( "bad.jsonl", "{}\n" ), file } );
   ASSERT_TRUE( until( {}, [&] { return isThere( configd->errors(), "filed 1 rules" ); } ) );
   EXPECT_EQ( ::access( pidFile.c_str(), F_OK ), 0 );
   // Into its place at once, so that it is not read before it is whole.
   std::filesystem::rename( folder.file( "new", manyRules() ), file );
   ASSERT_TRUE( until( {}, [&] {
      const Vek::String text = configd->errors();
      return text.find( ":1: error: " ) != text.rfind( ":1: error: " );
   } ) );
   configd->signal( SIGINT );
   EXPECT_EQ( configd->wait(), 0 );
   EXPECT_NE( ::access( pidFile.c_str(), F_OK ), 0 );
}

TEST_F( Configd, WhatIsNoRegularFileIsRefused ) {
   const Vek::String pipe = folder.path() + "/pipe.jsonl";
   ASSERT_EQ( ::mkfifo( pipe.c_str(), 0600 ), 0 );
   const Vek::String device = folder.path() + "/device.jsonl";
   ASSERT_EQ( ::symlink( "/dev/zero", device.c_str() ), 0 );
   const Vek::String directory = folder.path() + "/folder.jsonl";
   std::filesystem::create_directory( directory );
   for ( const Vek::String& file : { pipe, device, directory } ) {
      const auto configd = start( { file } );
      EXPECT_EQ( configd->wait(), 1 );
      EXPECT_THAT( configd->errors(), HasSubstr( file + ": error: not a regular file\n" ) );
   }
   // One that takes the place of a file leaves its rules.
   const Vek::String file = folder.file( "rules.jsonl", rule( "192.0.2.1/32" ) );
   const auto configd = start( { file } );
   ASSERT_TRUE( untilPrefixesAre( { "192.0.2.1/32" } ) );
   std::filesystem::rename( pipe, file );
   EXPECT_TRUE( until( {}, [&] {
      return isThere( configd->errors(), "rules.jsonl: error: not a regular file\n" );
   } ) );
   EXPECT_THAT( prefixes(), ElementsAre( "192.0.2.1/32" ) );
}

TEST_F( Configd, AFileThatCannotBeReadAgainKeepsItsRules ) {
   const Vek::String file = folder.file( "rules.jsonl", rule( "192.0.2.1/32" ) );
   const auto configd = start( { file } );
   ASSERT_TRUE( untilPrefixesAre( { "192.0.2.1/32" } ) );
   ASSERT_TRUE( until( {}, [&] { return isThere( configd->errors(), "filed 1 rules" ); } ) );
   ::unlink( file.c_str() );
   configd->signal( SIGHUP );
   EXPECT_TRUE( until( { &reader }, [&] {
      return configd->errors().find(
                "filed 1 rules and 0 infeasible ones: 0 new, 0 gone, 1 refused" ) !=
             Vek::String::npos;
   } ) );
   EXPECT_THAT( configd->errors(), HasSubstr( file + ": error: " ) );
   EXPECT_THAT( prefixes(), ElementsAre( "192.0.2.1/32" ) );
}

TEST_F( Configd, FillsADatabaseThatStartsAgain ) {
   const Vek::String file = folder.file( "rules.jsonl", rule( "192.0.2.1/32" ) );
   const auto configd = start( { file } );
   ASSERT_TRUE( untilPrefixesAre( { "192.0.2.1/32" } ) );
   database.process().kill();
   folder.file( "rules.jsonl", rule( "192.0.2.2/32" ) );
   database.start();
   EXPECT_TRUE( untilPrefixesAre( { "192.0.2.2/32" } ) );
   EXPECT_THAT( configd->errors(), HasSubstr( "configd: flowspec/config: mounted\n" ) );
}

TEST_F( Configd, KilledAtAnyMomentTheLastOneLeavesWhatTheFileSays ) {
   std::vector< Vek::String > all;
   for ( int last = 1; last <= 50; ++last ) {
      Vek::String text;
      all.clear();
      for ( int number = 1; number <= last; ++number ) {
         // Each has an address of its own, and half of them go with the next.
         const int shown = number % 2 ? number : 100 + last;
         const Vek::String prefix = Vek::concat( "192.0.2.", shown, "/32" );
         if ( std::ranges::find( all, prefix ) == all.end() ) {
            text += rule( prefix );
            all.push_back( prefix );
         }
      }
      const Vek::String file = folder.file( "rules.jsonl", text );
      const auto configd = start( { file } );
      if ( last < 50 ) {
         ::usleep( static_cast< useconds_t >( last * 400 ) );
         reader.process();
         configd->kill();
      } else {
         std::ranges::sort(
            all, {}, []( const Vek::String& prefix ) { return std::stoi( prefix.substr( 8 ) ); } );
         EXPECT_TRUE( untilPrefixesAre( all ) );
      }
   }
}

TEST_F( Configd, EndsCleanlyOnSigterm ) {
   const Vek::String file = folder.file( "rules.jsonl", "" );
   const Vek::String pidFile = folder.path() + "/pid";
   const auto configd = start( { "--pid-file", pidFile, file } );
   for ( int i = 0; i < 1000 && ::access( pidFile.c_str(), F_OK ) != 0; ++i ) {
      ::usleep( 10000 );
   }
   configd->signal( SIGTERM );
   EXPECT_EQ( configd->wait(), 0 );
   EXPECT_NE( ::access( pidFile.c_str(), F_OK ), 0 );
}

TEST_F( Configd, WaitsForADatabaseThatIsNotThere ) {
   const Vek::String file = folder.file( "rules.jsonl", "" );
   const auto configd = std::make_unique< Process >(
      std::vector< Vek::String >{ CONFIGD, "--socket", folder.path() + "/none", file },
      folder.path() + "/errors" );
   const Vek::String line = "configd: flowspec/config: cannot connect to " + folder.path() +
                            "/none: No such file or directory\n";
   EXPECT_TRUE( until( {}, [&] { return configd->errors().find( line ) != Vek::String::npos; } ) );
}

TEST_F( Configd, EndsWithAReasonWhenItCannotStart ) {
   const auto status = [&]( std::vector< Vek::String > arguments ) {
      return start( std::move( arguments ) )->wait();
   };
   EXPECT_EQ( status( { folder.path() + "/missing.jsonl" } ), 1 );
   EXPECT_EQ( status( { "/nowhere/rules.jsonl" } ), 1 );
   EXPECT_EQ( status( { folder.file( "rules.txt", "" ) } ), 1 );
   EXPECT_EQ( status( { "--pid-file", "/dev/full", folder.file( "rules.jsonl", "" ) } ), 1 );
   EXPECT_EQ( status( {} ), 2 );
   EXPECT_EQ( status( { "--family", "ipx", "rules.jsonl" } ), 2 );
   const Vek::String errors = TestSupport::contents( database.folder().path() + "/configd-errors" );
   EXPECT_THAT( errors, HasSubstr( folder.path() + "/missing.jsonl: error: " ) );
   EXPECT_THAT( errors,
                HasSubstr( "configd: cannot watch /nowhere: No such file or directory\n" ) );
   EXPECT_THAT( errors, HasSubstr( folder.path() + "/rules.txt: error: " ) );
   EXPECT_THAT( errors,
                HasSubstr( "configd: cannot write /dev/full: it is not a regular file\n" ) );
   EXPECT_THAT( errors, HasSubstr( "'ipx' is not an address family" ) );
}

} // namespace
} // namespace Flowspec
