#include "Flowspec/FlowspecDalb.h"
#include "tests/agents/statedbd/Database.h"
#include "tests/support/Folder.h"
#include "tests/support/MetricsText.h"
#include "tests/support/PacketBytes.h"

#include <gmock/gmock.h>

#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

namespace Flowspec {
namespace {

using testing::HasSubstr;
using TestSupport::Database;
using TestSupport::Folder;
using TestSupport::Process;
using TestSupport::until;
using Vek::log::Mount;

constexpr const char* profile = R"({
   "capacity": 10, "interfaceSets": 1,
   "ipv4": { "qualifiers": [ "destPrefix", "ipProto" ], "actions": [ "trafficDrop" ] },
   "interfaces": [ { "intf": 1, "vrf": 0 } ], "vrfs": { "default": 0 } })";

FlowspecKey ruleTo( const char* prefix ) {
   FlowspecKey key;
   key.vrfIdIs( 0 );
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   key.destPrefixIs( *Zorv::IpGenPrefix::fromText( prefix ) );
   return key;
}

void append( Vek::String& out, U32 value ) {
   out.append( reinterpret_cast< const char* >( &value ), sizeof value );
}

// A capture file of some packets without link layer.
Vek::String captureOf( const std::vector< std::vector< U8 > >& packets ) {
   Vek::String file;
   for ( const U32 word : { 0xA1B2C3D4U, 0x00040002U, 0U, 0U, 65535U, 101U } ) {
      append( file, word );
   }
   for ( const std::vector< U8 >& packet : packets ) {
      for ( const std::size_t word :
            { std::size_t{ 0 }, std::size_t{ 0 }, packet.size(), packet.size() } ) {
         append( file, static_cast< U32 >( word ) );
      }
      file.append( packet.begin(), packet.end() );
   }
   return file;
}

// A programd over a state database, what configures it, and what a reader has of its status.
class Programd : public testing::Test {
protected:
   Programd() {
      InterfaceEnableConfig enabled( Zorv::IntfId( 1 ) );
      IpVersion families;
      families.ipv4Is( true );
      enabled.ipVersionIs( families );
      cli->enabledIntfIs( enabled );
   }

   std::unique_ptr< Process > start( std::vector< Vek::String > arguments = {} ) {
      arguments.insert( arguments.begin(), { PROGRAMD, "--socket", database.endpoint().text() } );
      arguments.push_back( folder.file( "profile.json", profile ) );
      return std::make_unique< Process >( std::move( arguments ), folder.path() + "/errors" );
   }

   Vek::Ptr< RuleConfig > add( const char* prefix ) {
      const auto rule = config->vrfRuleConfigIs( 0 )->ruleIs( ruleTo( prefix ) );
      MatchComponent component( destPrefix );
      component.prefixIs( *Zorv::IpGenPrefix::fromText( prefix ) );
      rule->matchSetIs( component );
      ActionFieldSet actions;
      actions.trafficDropIs( true );
      rule->actionFieldSetIs( actions );
      return rule;
   }

   // The status of a rule as readers have it; null while there is none.
   Vek::Ptr< RuleStatus > statusOf( const char* prefix ) {
      const auto root = replica.entity( "flowspec/status" );
      const auto vrf = root ? static_cast< Status& >( *root ).vrfRuleStatus( 0 ) : nullptr;
      return vrf ? vrf->ruleStatus( ruleTo( prefix ) ) : nullptr;
   }

   bool untilCodeIs( const char* prefix, HwRuleProgrammingStatus code ) {
      return until( mounts, [&] {
         const auto status = statusOf( prefix );
         return status && status->statusCode() == code;
      } );
   }

   // What a refresh tells of a rule.
   U64 refreshedPackets( const char* prefix ) {
      cli->counterUpdateRequestTimeIs( cli->counterUpdateRequestTime() + 1 );
      const auto before = answerTime();
      EXPECT_TRUE( until( mounts, [&] { return answerTime() != before; } ) );
      const auto counter = replica.entity( "flowspec/counter" );
      return static_cast< Counter& >( *counter )
         .snapshot( ruleTo( prefix ) )
         .coloredCounters()
         .packetHits();
   }
   double answerTime() {
      const auto counter = replica.entity( "flowspec/counter" );
      return counter ? static_cast< Counter& >( *counter ).timestamp() : 0;
   }

   Database database;
   Folder folder;
   Vek::Ptr< Config > config = configFactory( "flowspec/config" );
   Vek::Ptr< CliConfig > cli = cliConfigFactory( "flowspec/cliconfig" );
   Mount configWriter{ database.endpoint(), "test", *config };
   Mount cliWriter{ database.endpoint(), "test", *cli };
   Vek::Directory replica;
   Mount statusReader{ database.endpoint(), "test", "flowspec/status", replica };
   Mount counterReader{ database.endpoint(), "test", "flowspec/counter", replica };
   std::vector< Mount* > mounts{ &configWriter, &cliWriter, &statusReader, &counterReader };
};

// A root that nobody writes keeps no other from being programmed; a rule that comes there is, too.
TEST_F( Programd, RootsAreReadInTheOrderOfPreference ) {
   add( "10.0.0.0/8" );
   const auto programd = start(
      { "--config", "flowspec/none", "--config", "flowspec/config", "--config", "flowspec/bgp" } );
   EXPECT_TRUE( untilCodeIs( "10.0.0.0/8", programmed ) );
   EXPECT_THAT( programd->errors(), HasSubstr( "programd: flowspec/none: mounted\n" ) );
   const auto bgp = configFactory( "flowspec/bgp" );
   Mount bgpWriter( database.endpoint(), "test", *bgp );
   mounts.push_back( &bgpWriter );
   for ( const char* const prefix : { "10.0.0.0/8", "11.0.0.0/8" } ) {
      const auto rule = bgp->vrfRuleConfigIs( 0 )->ruleIs( ruleTo( prefix ) );
      ActionFieldSet actions;
      actions.trafficRatePktIs( true );
      rule->actionFieldSetIs( actions );
   }
   EXPECT_TRUE( untilCodeIs( "11.0.0.0/8", unsupportedAction ) );
   EXPECT_EQ( statusOf( "10.0.0.0/8" )->statusCode(), programmed );
   config->vrfRuleConfigDelAll();
   EXPECT_TRUE( untilCodeIs( "10.0.0.0/8", unsupportedAction ) );
   bgp->vrfRuleConfigDelAll();
   EXPECT_TRUE( until( mounts, [&] { return !statusOf( "10.0.0.0/8" ); } ) );
}

TEST_F( Programd, ARootIsGivenOnce ) {
   const auto programd = start( { "--config", "a", "--config", "b", "--config", "a" } );
   EXPECT_EQ( programd->wait(), 2 );
   EXPECT_EQ( programd->errors(),
              "programd: --config: a is given twice\nTry 'programd --help'.\n" );
}

TEST_F( Programd, ProgramsRulesAndReportsWhatBecameOfThem ) {
   add( "10.0.0.0/8" );
   ActionFieldSet redirect;
   redirect.trafficRedirectIs( true );
   add( "10.1.0.0/16" )->actionFieldSetIs( redirect );
   const auto programd = start();
   EXPECT_TRUE( untilCodeIs( "10.0.0.0/8", programmed ) );
   EXPECT_TRUE( untilCodeIs( "10.1.0.0/16", unsupportedAction ) );
   add( "10.1.0.0/16" );
   EXPECT_TRUE( untilCodeIs( "10.1.0.0/16", programmed ) );
   config->vrfRuleConfig( 0 )->ruleDel( ruleTo( "10.0.0.0/8" ) );
   EXPECT_TRUE( until( mounts, [&] { return statusOf( "10.0.0.0/8" ) == nullptr; } ) );
}

TEST_F( Programd, CountsThePacketsOfACaptureFile ) {
   add( "10.1.0.0/16" );
   ASSERT_TRUE( TestSupport::untilAllStand( { &configWriter, &cliWriter } ) );
   const std::vector< U8 > packet = TestSupport::packetBytes( {} ); // to 10.1.2.3
   const Vek::String file = folder.file( "packets.pcap", captureOf( { packet, packet, packet } ) );
   const auto programd = start( { "--packets", file } );
   ASSERT_TRUE( untilCodeIs( "10.1.0.0/16", programmed ) );
   ASSERT_TRUE( until( mounts, [&] {
      return programd->errors().find( file + ": 3 packets\n" ) != Vek::String::npos;
   } ) );
   EXPECT_EQ( refreshedPackets( "10.1.0.0/16" ), 3U );
   // The status comes over a connection of its own.
   EXPECT_TRUE( until(
      mounts, [&] { return statusOf( "10.1.0.0/16" )->byteCount() == 3 * packet.size(); } ) );
   // SIGHUP takes them once more.
   programd->signal( SIGHUP );
   ASSERT_TRUE( until( mounts, [&] {
      return programd->errors().find( file + ": 3 packets\n" ) !=
             programd->errors().rfind( file + ": 3 packets\n" );
   } ) );
   EXPECT_EQ( refreshedPackets( "10.1.0.0/16" ), 6U );
}

// The metrics of a file as a collector reads them; nothing while there is no file.
std::optional< TestSupport::Metrics > metricsOf( const Vek::String& file ) {
   return ::access( file.c_str(), R_OK ) == 0
             ? std::optional< TestSupport::Metrics >( TestSupport::contents( file ) )
             : std::nullopt;
}

// Counters are read by themselves, and whoever reads the file at any time finds a whole one.
TEST_F( Programd, WritesMetrics ) {
   add( "10.1.0.0/16" );
   ASSERT_TRUE( TestSupport::untilAllStand( { &configWriter, &cliWriter } ) );
   const std::vector< U8 > packet = TestSupport::packetBytes( {} ); // to 10.1.2.3
   const Vek::String packets = folder.file( "packets.pcap", captureOf( { packet, packet } ) );
   const Vek::String file = folder.path() + "/flowspec.prom";
   const auto programd =
      start( { "--packets", packets, "--counter-interval", "1", "--metrics", file } );
   const Vek::String series =
      R"(flowspec_rule_packets_total{vrf="0",family="ipv4",rule="10.1.0.0/16;*;"})";
   EXPECT_TRUE( until( mounts, [&] {
      const auto metrics = metricsOf( file );
      return metrics && metrics->samples().contains( series ) &&
             metrics->samples().at( series ) == 2;
   } ) );
   EXPECT_EQ( metricsOf( file )->samples().at( R"(flowspec_rules{status="programmed"})" ), 1 );
   EXPECT_TRUE( until( mounts, [&] { return answerTime() > 0; } ) );
}

TEST_F( Programd, SaysOnceThatMetricsCannotBeWritten ) {
   const auto programd = start( { "--counter-interval", "1", "--metrics", "/none/file" } );
   EXPECT_TRUE( until( mounts, [&] { return answerTime() > 0; } ) );
   const double first = answerTime();
   EXPECT_TRUE( until( mounts, [&] { return answerTime() > first + 1.5; } ) );
   const Vek::String line = "cannot write /none/file.new: No such file or directory\n";
   const Vek::String errors = programd->errors();
   EXPECT_THAT( errors, HasSubstr( "programd: " + line ) );
   EXPECT_EQ( errors.find( line ), errors.rfind( line ) );
}

bool isThere( const Vek::String& text, const Vek::String& part ) {
   return text.find( part ) != Vek::String::npos;
}

// Started side by side, it comes before the rules do.
TEST_F( Programd, PacketsWaitForTheFirstRules ) {
   const std::vector< U8 > packet = TestSupport::packetBytes( {} ); // to 10.1.2.3
   const Vek::String file = folder.file( "packets.pcap", captureOf( { packet, packet, packet } ) );
   const auto programd = start( { "--packets", file } );
   ASSERT_TRUE( until( {}, [&] {
      return isThere( programd->errors(),
                      "programd: " + file +
                         ": waits for rules, and for an interface that they are applied on\n" );
   } ) );
   // An interface alone does not do, and SIGHUP does not bring it forward.
   ASSERT_TRUE( TestSupport::untilAllStand( { &cliWriter } ) );
   programd->signal( SIGHUP );
   ::usleep( 300'000 );
   EXPECT_FALSE( isThere( programd->errors(), "packets\n" ) );
   for ( int i = 0; i < 3; ++i ) {
      add( Vek::concat( "10.", i, ".0.0/16" ).c_str() );
      ASSERT_TRUE( until( { &configWriter }, [&] { return configWriter.acknowledged(); } ) );
   }
   ASSERT_TRUE( untilCodeIs( "10.2.0.0/16", programmed ) );
   ASSERT_TRUE( until( mounts, [&] { return isThere( programd->errors(), ": 3 packets\n" ); } ) );
   EXPECT_EQ( refreshedPackets( "10.1.0.0/16" ), 3U );
}

TEST_F( Programd, PacketsWaitForAnInterfaceOfTheRules ) {
   cli->enabledIntfDelAll();
   add( "10.1.0.0/16" );
   ASSERT_TRUE( TestSupport::untilAllStand( { &configWriter, &cliWriter } ) );
   const Vek::String file =
      folder.file( "packets.pcap", captureOf( { TestSupport::packetBytes( {} ) } ) );
   const auto programd = start( { "--packets", file } );
   ASSERT_TRUE( until( mounts, [&] { return isThere( programd->errors(), "waits for rules" ); } ) );
   // What the configuration itself enables does as well.
   config->enabledIntfIs( Zorv::IntfId( 1 ) );
   ASSERT_TRUE( until( mounts, [&] { return isThere( programd->errors(), ": 1 packets\n" ); } ) );
   EXPECT_EQ( refreshedPackets( "10.1.0.0/16" ), 1U );
}

TEST_F( Programd, TakesPacketsFromStandardInputAsTheyCome ) {
   add( "10.1.0.0/16" );
   ASSERT_TRUE( TestSupport::untilAllStand( { &configWriter, &cliWriter } ) );
   const Vek::String pipe = folder.path() + "/pipe";
   ASSERT_EQ( ::mkfifo( pipe.c_str(), 0600 ), 0 );
   Process programd( { "sh", "-c", R"(exec "$0" "$@" <)" + pipe, PROGRAMD, "--socket",
                       database.endpoint().text(), "--packets", "-",
                       folder.file( "profile.json", profile ) },
                     folder.path() + "/errors" );
   const std::vector< U8 > packet = TestSupport::packetBytes( {} );
   const Vek::String one = captureOf( { packet } );
   const Vek::String two = captureOf( { packet, packet } );
   std::ofstream input( pipe, std::ios::binary );
   input << one << std::flush;
   ASSERT_TRUE( untilCodeIs( "10.1.0.0/16", programmed ) );
   ASSERT_TRUE( until( mounts, [&] { return refreshedPackets( "10.1.0.0/16" ) == 1; } ) );
   input << two.substr( one.size() ) << std::flush;
   ASSERT_TRUE( until( mounts, [&] { return refreshedPackets( "10.1.0.0/16" ) == 2; } ) );
   input.close();
   EXPECT_TRUE( until( mounts, [&] {
      return programd.errors().find( "programd: -: 2 packets\n" ) != Vek::String::npos;
   } ) );
}

TEST_F( Programd, PacketsComeInOnTheInterfaceThatIsNamed ) {
   add( "10.1.0.0/16" );
   ASSERT_TRUE( TestSupport::untilAllStand( { &configWriter, &cliWriter } ) );
   const Vek::String file =
      folder.file( "packets.pcap", captureOf( { TestSupport::packetBytes( {} ) } ) );
   // Nothing is enabled on this one.
   const auto programd = start( { "--packets", file, "--interface", "2" } );
   ASSERT_TRUE( untilCodeIs( "10.1.0.0/16", programmed ) );
   ASSERT_TRUE( until( mounts, [&] {
      return programd->errors().find( file + ": 1 packets\n" ) != Vek::String::npos;
   } ) );
   EXPECT_EQ( refreshedPackets( "10.1.0.0/16" ), 0U );
}

TEST_F( Programd, ADamagedCaptureFileIsReportedAndRulesAreProgrammed ) {
   add( "10.1.0.0/16" );
   const Vek::String capture = captureOf( { TestSupport::packetBytes( {} ) } );
   const Vek::String file = folder.file( "cut.pcap", capture.substr( 0, capture.size() - 1 ) );
   const auto programd = start( { "--packets", file } );
   EXPECT_TRUE( untilCodeIs( "10.1.0.0/16", programmed ) );
   EXPECT_TRUE( until( mounts, [&] {
      return programd->errors().find( file + ": 0 packets: truncated dump file" ) !=
             Vek::String::npos;
   } ) );
   const auto other = start( { "--status", "s", "--counter", "c", "--packets", "/nowhere" } );
   EXPECT_TRUE( until( mounts, [&] {
      return other->errors().find(
                "programd: cannot read /nowhere: No such file or directory\n" ) !=
             Vek::String::npos;
   } ) );
}

TEST_F( Programd, KilledAtAnyMomentTheLastOneLeavesTheSameStatus ) {
   for ( int i = 0; i < 50; ++i ) {
      const auto rule = add( Vek::concat( "10.", i, ".0.0/16" ).c_str() );
      if ( i % 2 ) {
         config->vrfRuleConfig( 0 )->ruleDel( rule->ruleKey() );
      }
      const auto programd = start();
      until( mounts, [end = Mount::Clock::now() + std::chrono::milliseconds( i )] {
         return Mount::Clock::now() > end;
      } );
   }
   const auto programd = start();
   // Ten of the 25 rules have room: the ones with the lowest addresses.
   EXPECT_TRUE( until( mounts, [&] {
      for ( int i = 0; i < 50; ++i ) {
         const auto status = statusOf( Vek::concat( "10.", i, ".0.0/16" ).c_str() );
         const auto wanted = i < 20 ? programmed : resourceExhausted;
         if ( i % 2 ? status != nullptr : !status || status->statusCode() != wanted ) {
            return false;
         }
      }
      return true;
   } ) );
}

TEST_F( Programd, EndsCleanlyOnSigterm ) {
   const Vek::String pidFile = folder.path() + "/pid";
   const auto programd = start( { "--pid-file", pidFile } );
   for ( int i = 0; i < 1000 && ::access( pidFile.c_str(), F_OK ) != 0; ++i ) {
      ::usleep( 10000 );
   }
   programd->signal( SIGTERM );
   EXPECT_EQ( programd->wait(), 0 );
   EXPECT_NE( ::access( pidFile.c_str(), F_OK ), 0 );
}

TEST_F( Programd, EndsWithAReasonWhenItCannotStart ) {
   const auto ended = [&]( const Vek::String& file ) {
      Process process( { PROGRAMD, "--socket", folder.path() + "/none", file },
                       folder.path() + "/errors" );
      return process.wait();
   };
   EXPECT_EQ( ended( "/nowhere/profile.json" ), 1 );
   EXPECT_EQ( ended( folder.path() ), 1 );
   const Vek::String bad = folder.file( "bad.json", "{\"interfaceSets\":1,\n\"capacity\":-1}" );
   EXPECT_EQ( ended( bad ), 1 );
   const Vek::String huge = folder.file( "huge.json", "{\n\n\"capacity\":1e999}" );
   EXPECT_EQ( ended( huge ), 1 );
   const Vek::String odd = folder.file( "odd.json", "{\"\\u0000\":1}" );
   EXPECT_EQ( ended( odd ), 1 );
   const Vek::String pipe = folder.path() + "/pipe";
   ASSERT_EQ( ::mkfifo( pipe.c_str(), 0600 ), 0 );
   EXPECT_EQ( ended( pipe ), 1 );
   const Vek::String large = folder.file( "large.json", Vek::String( ( 16 << 20 ) + 1, ' ' ) );
   EXPECT_EQ( ended( large ), 1 );
   EXPECT_EQ( ended( "--unknown" ), 2 );
   Process full( { PROGRAMD, "--socket", folder.path() + "/none", "--pid-file", "/dev/full",
                   folder.file( "profile.json", profile ) },
                 folder.path() + "/errors" );
   EXPECT_EQ( full.wait(), 1 );
   const Vek::String errors = TestSupport::contents( folder.path() + "/errors" );
   EXPECT_THAT( errors, HasSubstr( "programd: cannot read /nowhere/profile.json: No such file or "
                                   "directory\n" ) );
   for ( const Vek::String& file : { folder.path(), pipe } ) {
      EXPECT_THAT( errors,
                   HasSubstr( "programd: cannot read " + file + ": not a regular file\n" ) );
   }
   EXPECT_THAT( errors, HasSubstr( "programd: cannot read " + large + ": File too large\n" ) );
   EXPECT_THAT( errors, HasSubstr( '\n' + bad +
                                   ":2: error: capacity: not a number from 0 to "
                                   "18446744073709551615\n" ) );
   EXPECT_THAT(
      errors, HasSubstr( '\n' + huge + ":3: error: not JSON: number overflow parsing '1e999'\n" ) );
   EXPECT_THAT( errors, HasSubstr( '\n' + odd + ":1: error: \\x00: unknown member\n" ) );
   EXPECT_THAT( errors,
                HasSubstr( "programd: cannot write /dev/full: it is not a regular file\n" ) );
}

} // namespace
} // namespace Flowspec
