#include "tests/agents/flowspecctl/StagedSystem.h"
#include "tests/support/ThreadSafe.h"

#include <nlohmann/json.hpp>

#include <future>
#include <thread>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Flowspec {
namespace {

using testing::HasSubstr;
using TestSupport::Result;
using TestSupport::until;
using Vek::log::Mount;
using Zorv::IntfId;

class CliConfigCommands : public TestSupport::StagedSystem {
protected:
   void good( std::vector< Vek::String > arguments ) {
      const Result result = ctlAsItIs( std::move( arguments ) );
      EXPECT_EQ( result.status, 0 );
      EXPECT_EQ( result.out, "" );
      EXPECT_EQ( result.err, "" );
   }

   // What the database has now.
   const CliConfig& read() {
      reader.emplace( database.endpoint(), "test", "flowspec/cliconfig", replica );
      EXPECT_TRUE( until( { &*reader }, [&] { return reader->stands(); } ) );
      return static_cast< const CliConfig& >(
         *replica.create( CliConfig::type().name, "flowspec/cliconfig" ) );
   }

   Vek::Directory replica;
   std::optional< Mount > reader;
};

TEST_F( CliConfigCommands, EnableAddsFamiliesAndDisableTakesThemAway ) {
   good( { "enable", "intf1", "2", "--family", "ipv4" } );
   good( { "enable", "2", "--vrf", "customer" } );
   good( { "enable", "3", "--family", "ipv6" } );
   EXPECT_EQ( read().enabledIntf( IntfId( 1 ) ).ipVersion().stringValue(), "ipv4" );
   EXPECT_EQ( read().enabledIntf( IntfId( 2 ) ).ipVersion().stringValue(), "ipv4|ipv6" );
   EXPECT_EQ( read().enabledIntf( IntfId( 2 ) ).sourceVrfOverride(), "customer" );
   EXPECT_EQ( read().enabledIntf( IntfId( 3 ) ).ipVersion().stringValue(), "ipv6" );
   good( { "disable", "2", "--family", "ipv4" } );
   good( { "disable", "3", "--family", "ipv4" } );
   good( { "disable", "1" } );
   EXPECT_EQ( read().enabledIntf().size(), 2U );
   EXPECT_EQ( read().enabledIntf( IntfId( 2 ) ).ipVersion().stringValue(), "ipv6" );
   EXPECT_EQ( read().enabledIntf( IntfId( 2 ) ).sourceVrfOverride(), "customer" );
   good( { "disable", "2", "3", "--family", "ipv6" } );
   EXPECT_EQ( read().enabledIntf().size(), 0U );
}

TEST_F( CliConfigCommands, InterfaceSetsAreReplaced ) {
   good( { "interface-set", "intf1", "3", "17" } );
   EXPECT_EQ( read().intfInterfaceSetConfig( IntfId( 1 ) ).toStrep(), "intf1;IFSET:=3,17;" );
   good( { "interface-set", "1", "16383" } );
   EXPECT_EQ( read().intfInterfaceSetConfig( IntfId( 1 ) ).toStrep(), "intf1;IFSET:=16383;" );
   good( { "interface-set", "1" } );
   EXPECT_EQ( read().intfInterfaceSetConfig().size(), 0U );
}

TEST_F( CliConfigCommands, VrfOverride ) {
   good( { "vrf-override", "intf1", "customer" } );
   EXPECT_EQ( read().sourceVrfOverride( IntfId( 1 ) ), "customer" );
   good( { "vrf-override", "1" } );
   EXPECT_EQ( read().sourceVrfOverride().size(), 0U );
}

TEST_F( CliConfigCommands, TheOtherSettingsStay ) {
   {
      const auto cli = cliConfigFactory( "flowspec/cliconfig" );
      cli->interfaceSetCountLimitIs( 4 );
      cli->isConfigDrivenIs( true );
      Mount writer( database.endpoint(), "test", *cli );
      EXPECT_TRUE( until( { &writer }, [&] { return writer.allSent(); } ) );
   }
   good( { "enable", "1" } );
   EXPECT_EQ( read().interfaceSetCountLimit(), 4U );
   EXPECT_TRUE( read().isConfigDriven() );
   EXPECT_EQ( read().enabledIntf().size(), 1U );
}

TEST_F( CliConfigCommands, WaitsForAnotherWriterAndNamesItAtLast ) {
   const auto cli = cliConfigFactory( "flowspec/cliconfig" );
   auto writer = std::make_unique< Mount >( database.endpoint(), "operator", *cli );
   EXPECT_TRUE( until( { writer.get() }, [&] { return writer->allSent(); } ) );
   std::thread leaves( [&] {
      ::usleep( 500'000 );
      writer.reset();
   } );
   good( { "enable", "1" } );
   leaves.join();
   writer = std::make_unique< Mount >( database.endpoint(), "operator", *cli );
   EXPECT_TRUE( until( { writer.get() }, [&] { return writer->allSent(); } ) );
   const Result result = ctlAsItIs( { "enable", "1" } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_THAT( result.err, HasSubstr( "flowspecctl: error: flowspec/cliconfig: " ) );
   EXPECT_THAT( result.err, HasSubstr( "operator" ) );
}

// Takes the place of a database, and goes as soon as a command has come to it.
void meetAndGo( const Vek::log::Endpoint& endpoint ) {
   const int listener = endpoint.listen();
   pollfd polled{ .fd = listener, .events = POLLIN, .revents = 0 };
   EXPECT_EQ( ::poll( &polled, 1, 60'000 ), 1 );
   ::close( ::accept( listener, nullptr, nullptr ) );
   ::close( listener );
}

TEST_F( CliConfigCommands, ACommandInFlightOutlivesARestartOfTheDatabase ) {
   database.process().kill();
   const auto result = std::async( std::launch::async, [&] {
      // It fails at once where nobody listens.
      ::usleep( 300'000 );
      return ctlAsItIs( { "enable", "1" } );
   } );
   meetAndGo( database.endpoint() );
   ::usleep( 300'000 );
   database.start();
   result.wait();
   EXPECT_EQ( read().enabledIntf().size(), 1U );
}

TEST_F( CliConfigCommands, ADatabaseThatStaysAwayIsTold ) {
   database.process().kill();
   auto result = std::async( std::launch::async, [&] {
      ::usleep( 300'000 );
      return ctlAsItIs( { "enable", "1" } );
   } );
   meetAndGo( database.endpoint() );
   const Result told = result.get();
   EXPECT_EQ( told.status, 1 );
   EXPECT_THAT( told.err, testing::StartsWith(
                             "flowspecctl: error: flowspec/cliconfig: cannot connect to " ) );
   // With none from the start nothing is waited for.
   const auto begin = Mount::Clock::now();
   EXPECT_EQ( ctlAsItIs( { "enable", "1" } ).err, told.err );
   EXPECT_LT( Mount::Clock::now() - begin, std::chrono::seconds( 8 ) );
}

TEST_F( CliConfigCommands, ACommandThatOnlyAsksCreatesNoRoot ) {
   for ( const auto& command :
         { std::vector< Vek::String >{ "refresh" }, { "show", "counters", "--rate", "1" } } ) {
      const Result result = ctl( command );
      EXPECT_EQ( result.status, 1 );
      EXPECT_EQ( result.out, "" );
      EXPECT_EQ( result.err, "flowspecctl: error: flowspec/cliconfig: the state database has no "
                             "such root\n" );
   }
   EXPECT_EQ( ctlAsItIs( { "dump", "flowspec/cliconfig" } ).err,
              "flowspec/cliconfig: error: the state database has no such root\n" );
}

TEST_F( CliConfigCommands, WrongUsageIsStatus2 ) {
   const auto wrong = [&]( std::vector< Vek::String > arguments, const char* message ) {
      const Result result = ctlAsItIs( std::move( arguments ) );
      EXPECT_EQ( result.status, 2 );
      EXPECT_THAT( result.err, HasSubstr( message ) );
   };
   wrong( { "enable" }, "INTERFACE is required" );
   wrong( { "enable", "eth0" }, "INTERFACE: 'eth0' is not an interface" );
   wrong( { "enable", "1", "--family", "none" }, "--family: 'none' is not ipv4 or ipv6" );
   wrong( { "interface-set", "1", "16384" },
          "SET: '16384' is not an interface set, a number from 0 to 16383" );
   wrong( { "vrf-override" }, "INTERFACE is required" );
   wrong( { "vrf-override", "1", "a", "b" }, "b" );
}

// Answers requests for counters in a thread of its own, as an agent that programs would.
class Refresh : public CliConfigCommands {
protected:
   Refresh() {
      good( { "enable", "7" } );
      EXPECT_TRUE( until( { &counterWriter, &statusWriter },
                          [&] { return counterWriter.allSent() && statusWriter.allSent(); } ) );
   }
   ~Refresh() override {
      ends = true;
      if ( answers.joinable() ) {
         answers.join();
      }
   }

   // From each request to the next the rule counts so many packets of 100 bytes.
   void answer( U64 packets ) {
      answers = std::thread( [this, packets] {
         Vek::Directory directory;
         Mount requests( database.endpoint(), "programd", "flowspec/cliconfig", directory );
         double last = 0;
         for ( U64 round = 0; !ends; ) {
            requests.process();
            counterWriter.process();
            const auto cli = directory.entity( "flowspec/cliconfig" );
            const double time =
               cli ? static_cast< const CliConfig& >( *cli ).counterUpdateRequestTime() : last;
            if ( time != last ) {
               last = time;
               QosLib::ColoredCounters counters;
               counters.packetHitsIs( ++round * packets );
               counters.byteHitsIs( round * packets * 100 );
               counter->snapshotIs( key( "0;ipv4;10.1.0.0/16;*;" ),
                                    { counters, Osk::UniqueId( 1 ) } );
               counter->snapshotIs( key( "0;ipv4;10.2.0.0/16;*;" ),
                                    { counters, Osk::UniqueId( round ) } );
               // Rates are those between two answers, two seconds by their own account.
               counter->timestampIs( time + static_cast< double >( round ) );
            }
            Mount* const both[] = { &requests, &counterWriter };
            Mount::wait( both, std::chrono::milliseconds( 20 ) );
         }
      } );
   }

   const TestSupport::ThreadSafe threadSafe;
   std::atomic< bool > ends = false;
   std::thread answers;
};

TEST_F( Refresh, WaitsForTheAnswer ) {
   answer( 10 );
   const Result result = ctlAsItIs( { "refresh" } );
   EXPECT_EQ( result.status, 0 );
   EXPECT_EQ( result.err, "" );
   EXPECT_THAT( result.out, testing::StartsWith( "2 counters read from hardware: 20" ) );
   EXPECT_THAT( ctlAsItIs( { "refresh" } ).out, HasSubstr( "2 counters read" ) );
}

TEST_F( Refresh, RatesOfRulesThatCountedAllTheTime ) {
   answer( 1000 );
   const Result result = ctlAsItIs( { "show", "counters", "--rate", "1", "--json" } );
   EXPECT_EQ( result.status, 0 );
   EXPECT_EQ( result.err, "" );
   std::istringstream lines( result.out );
   Vek::String line;
   std::getline( lines, line );
   const auto counted = nlohmann::json::parse( line );
   EXPECT_EQ( counted["packets"], 2000 );
   // At least a second between the requests, and one more by the answers' account.
   EXPECT_LE( counted["packetsPerSecond"], 500.0 );
   EXPECT_GT( counted["packetsPerSecond"], 0.0 );
   EXPECT_NEAR( counted["bytesPerSecond"].get< double >(),
                counted["packetsPerSecond"].get< double >() * 100, 0.01 );
   std::getline( lines, line );
   const auto anew = nlohmann::json::parse( line );
   EXPECT_TRUE( anew["packetsPerSecond"].is_null() ) << line;
}

TEST_F( Refresh, TheBusiestRuleIsFirst ) {
   // Before the others by its key, and by what it has counted.
   QosLib::ColoredCounters idle;
   idle.packetHitsIs( 1'000'000 );
   idle.byteHitsIs( 1'000'000'000 );
   counter->snapshotIs( key( "0;ipv4;9.0.0.0/8;*;" ), { idle, Osk::UniqueId( 1 ) } );
   answer( 1000 );
   const Result result = ctlAsItIs( { "show", "counters", "--top", "1", "--json", "--rate" } );
   EXPECT_EQ( result.status, 0 );
   EXPECT_EQ( result.err, "" );
   const auto counted = nlohmann::json::parse( result.out );
   EXPECT_EQ( counted["cli"], "10.1.0.0/16;*;" );
   EXPECT_GT( counted["packetsPerSecond"], 0.0 );
}

// What was configured stays beside the request.
TEST_F( Refresh, LeavesWhatOperatorsConfigured ) {
   answer( 10 );
   EXPECT_EQ( ctlAsItIs( { "refresh" } ).status, 0 );
   EXPECT_EQ( read().enabledIntf().size(), 1U );
   EXPECT_GT( read().counterUpdateRequestTime(), 0 );
}

// The request is lost with the first database, and nobody answers before the second.
TEST_F( Refresh, IsAskedAgainWhenTheDatabaseComesBack ) {
   auto told = std::async( std::launch::async, [&] { return ctlAsItIs( { "refresh" } ); } );
   read();
   EXPECT_TRUE( until( { &*reader }, [&] {
      const auto cli = replica.entity( "flowspec/cliconfig" );
      return static_cast< const CliConfig& >( *cli ).counterUpdateRequestTime() > 0;
   } ) );
   database.process().kill();
   database.start();
   answer( 10 );
   {
      // Takes over, so that a request that is there already is not lost again.
      Vek::Directory directory;
      Mount writer( database.endpoint(), "operator", "Flowspec::CliConfig", "flowspec/cliconfig",
                    directory );
      EXPECT_TRUE( until( { &writer }, [&] { return writer.acknowledged(); } ) );
   }
   const Result result = told.get();
   EXPECT_EQ( result.status, 0 );
   EXPECT_EQ( result.err, "" );
   EXPECT_THAT( result.out, HasSubstr( " counters read from hardware: 20" ) );
}

TEST_F( Refresh, TellsThatNobodyAnswers ) {
   const Result result = ctlAsItIs( { "refresh" } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.err,
              "flowspecctl: error: flowspec/counter: no agent answered within 10 seconds\n" );
}

} // namespace
} // namespace Flowspec
