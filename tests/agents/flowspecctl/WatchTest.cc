#include "tests/agents/flowspecctl/StagedSystem.h"

#include <nlohmann/json.hpp>

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using TestSupport::contents;
using TestSupport::Process;
using TestSupport::until;
using Zorv::AddressFamily;
using Zorv::IntfId;

class Watch : public TestSupport::StagedSystem {
protected:
   std::unique_ptr< Process > start( std::vector< Vek::String > arguments ) {
      arguments.insert( arguments.begin(),
                        { FLOWSPECCTL, "watch", "--socket", database.endpoint().text() } );
      return std::make_unique< Process >( std::move( arguments ), file );
   }

   // Lets the writers go on until the output holds a text.
   bool untilWritten( const Vek::String& text ) {
      return until( { &configWriter, &statusWriter, &counterWriter }, [&] {
         return std::filesystem::exists( file ) &&
                contents( file ).find( text ) != Vek::String::npos;
      } );
   }

   // Changes something until the watcher, which may have begun before or after, tells of it.
   bool untilWatching() {
      U16 set = 1000;
      return until( { &configWriter, &statusWriter, &counterWriter }, [&] {
         status->interfaceSetIs( ++set );
         return std::filesystem::exists( file ) && !contents( file ).empty();
      } );
   }

   // The lines that speak of a text, without their times.
   std::vector< Vek::String > linesWith( const char* text ) {
      std::istringstream all( contents( file ) );
      std::vector< Vek::String > lines;
      for ( Vek::String line; std::getline( all, line ); ) {
         if ( line.find( text ) != Vek::String::npos ) {
            lines.push_back( line.substr( line.find( ' ' ) + 1 ) );
         }
      }
      return lines;
   }

   const Vek::String file = database.folder().path() + "/watch";
};

TEST_F( Watch, TellsOfEachChange ) {
   const auto watch = start( {} );
   ASSERT_TRUE( untilWatching() );
   const auto vrf = status->vrfRuleStatusIs( 5 );
   const auto rule = vrf->ruleStatusIs( key( "5;ipv4;10.1.0.0/16;*;" ) );
   ASSERT_TRUE( untilWritten( "statusCode unprocessed\n" ) );
   rule->statusCodeIs( programmed );
   ASSERT_TRUE( untilWritten( "statusCode programmed\n" ) );
   rule->errorReasonIs( "a \"b\"\n" );
   vrf->activeIntfPerAfIs( AddressFamily::ipv4 )->intfIs( IntfId( 3 ) );
   vrf->intfErrorIs( { IntfId( 4 ), AddressFamily::ipv6 }, "one" );
   ASSERT_TRUE( untilWritten( "-> \"one\"\n" ) );
   vrf->intfErrorIs( { IntfId( 4 ), AddressFamily::ipv6 }, "two" );
   ASSERT_TRUE( untilWritten( "-> \"two\"\n" ) );
   vrf->intfErrorDel( { IntfId( 4 ), AddressFamily::ipv6 } );
   ASSERT_TRUE( untilWritten( "intfError - " ) );
   vrf->activeIntfPerAf( AddressFamily::ipv4 )->intfDel( IntfId( 3 ) );
   ASSERT_TRUE( untilWritten( "intf - intf3\n" ) );
   status->vrfRuleStatusDel( 5 );
   ASSERT_TRUE( untilWritten( "vrfRuleStatus - 5\n" ) );

   EXPECT_THAT( linesWith( "vrfRuleStatus" ), ElementsAre( "flowspec/status: vrfRuleStatus + 5",
                                                           "flowspec/status: vrfRuleStatus - 5" ) );
   EXPECT_THAT( linesWith( "Code" ),
                ElementsAre( "flowspec/status VrfRuleStatus 5, RuleStatus 5;ipv4;10.1.0.0/16;*;: "
                             "statusCode unprocessed",
                             "flowspec/status VrfRuleStatus 5, RuleStatus 5;ipv4;10.1.0.0/16;*;: "
                             "statusCode programmed" ) );
   EXPECT_THAT( linesWith( "errorReason" ),
                ElementsAre( HasSubstr( "errorReason \"\"" ),
                             HasSubstr( "errorReason \"a \\\"b\\\"\\x0a\"" ) ) );
   EXPECT_THAT( linesWith( "AfIntfColl" ),
                ElementsAre( "flowspec/status VrfRuleStatus 5, AfIntfColl ipv4: intf + intf3",
                             "flowspec/status VrfRuleStatus 5, AfIntfColl ipv4: intf - intf3" ) );
   EXPECT_THAT( linesWith( "intfError" ),
                ElementsAre( "flowspec/status VrfRuleStatus 5: intfError + intf4,ipv6 -> \"one\"",
                             "flowspec/status VrfRuleStatus 5: intfError = intf4,ipv6 -> \"two\"",
                             "flowspec/status VrfRuleStatus 5: intfError - intf4,ipv6" ) );
}

TEST_F( Watch, BeginsWithWhatIsThereWhenAsked ) {
   config->vrfRuleConfigIs( 5 )->ruleIs( key( "5;ipv4;10.1.0.0/16;*;" ) )->ruleIdIs( 9 );
   config->twoColorCounterEnabledIs( true );
   ASSERT_TRUE( tellAll() );
   const auto watch = start( { "--initial", "flowspec/config" } );
   ASSERT_TRUE( untilWritten( "ruleId 9\n" ) );
   EXPECT_THAT( linesWith( "twoColor" ),
                ElementsAre( "flowspec/config: twoColorCounterEnabled 1" ) );
   EXPECT_THAT( linesWith( "vrfRuleConfig" ), ElementsAre( "flowspec/config: vrfRuleConfig + 5" ) );
}

TEST_F( Watch, WritesObjects ) {
   const auto watch = start( { "--json" } );
   ASSERT_TRUE( untilWatching() );
   QosLib::ColoredCounters counters;
   counters.packetHitsIs( 3 );
   counter->snapshotIs( key( "5;ipv4;10.1.0.0/16;*;" ), { counters, Osk::UniqueId( 1 ) } );
   ASSERT_TRUE( untilWritten( "10.1.0.0/16" ) );
   std::istringstream all( contents( file ) );
   Vek::String line;
   while ( std::getline( all, line ) && line.find( "10.1.0.0/16" ) == Vek::String::npos ) {
   }
   const auto object = nlohmann::json::parse( line );
   EXPECT_GT( object["time"], 1.7e9 );
   EXPECT_EQ( object["root"], "flowspec/counter" );
   EXPECT_EQ( object["path"], "" );
   EXPECT_EQ( object["field"], "snapshot" );
   EXPECT_EQ( object["change"], "added" );
   EXPECT_EQ( object["key"], "5;ipv4;10.1.0.0/16;*;" );
   EXPECT_THAT( object["value"].get< Vek::String >(), HasSubstr( "packetHits=3" ) );
}

TEST_F( Watch, GoesOnWhenTheDatabaseComesBack ) {
   const auto watch = start( {} );
   ASSERT_TRUE( untilWatching() );
   database.process().kill();
   ASSERT_TRUE( untilWritten( "flowspec/status: error: " ) );
   database.start();
   status->counterUpdateTimeIs( 5 );
   ASSERT_TRUE( untilWritten( "flowspec/status: counterUpdateTime 5" ) );
   watch->signal( SIGINT );
   EXPECT_EQ( watch->wait(), -SIGINT );
}

TEST_F( Watch, EndsWhenThereIsNothingToWatch ) {
   database.process().kill();
   const auto result = ctlAsItIs( { "watch", "flowspec/config" } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.err, "flowspecctl: error: flowspec/config: cannot connect to " +
                             database.endpoint().text() + ": Connection refused\n" );
}

} // namespace
} // namespace Flowspec
