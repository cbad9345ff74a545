#include "agents/programd/Metrics.h"

#include "tests/agents/daemon/LoopTimer.h"
#include "tests/agents/programd/ProgrammerRoots.h"
#include "tests/support/Folder.h"
#include "tests/support/MetricsText.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include <nlohmann/json.hpp>

namespace Agents {
namespace {

using namespace Flowspec;
using testing::UnorderedElementsAre;
using TestSupport::Folder;
using TestSupport::Metrics;
using TestSupport::ruleKey;

void add( Status& status, const FlowspecKey& key, HwRuleProgrammingStatus code, U64 packets ) {
   const auto rule = status.vrfRuleStatusIs( key.vrfId() )->ruleStatusIs( key );
   rule->statusCodeIs( code );
   QosLib::ColoredCounters counters;
   counters.packetHitsIs( packets );
   counters.byteHitsIs( packets * 100 );
   rule->coloredCountersIs( counters );
}

struct MetricsTest : testing::Test {
   Vek::Ptr< Status > status = statusFactory( "status" );

   // The value of a sample, by its name and labels as the text has them.
   double value( const Vek::String& series, U64 maxRules = maxLabelledRules ) const {
      const Metrics metrics( metricsText( *status, 0.25, maxRules ) );
      const auto at = metrics.samples().find( series );
      EXPECT_NE( at, metrics.samples().end() ) << series;
      return at == metrics.samples().end() ? -1 : at->second;
   }
};

TEST_F( MetricsTest, AreThereWithoutRules ) {
   EXPECT_EQ( value( R"(flowspec_rules{status="programmed"})" ), 0 );
   EXPECT_EQ( value( R"(flowspec_rules{status="intfSetResourceExhausted"})" ), 0 );
   EXPECT_EQ( value( "flowspec_programming_seconds" ), 0.25 );
   EXPECT_EQ( value( "flowspec_other_rules" ), 0 );
}

TEST_F( MetricsTest, CountRulesByStatus ) {
   add( *status, ruleKey( "10.0.0.0/8;*" ), programmed, 1 );
   add( *status, ruleKey( "11.0.0.0/8;*" ), programmed, 1 );
   add( *status, ruleKey( "12.0.0.0/8;*" ), unsupportedMatch, 1 );
   EXPECT_EQ( value( R"(flowspec_rules{status="programmed"})" ), 2 );
   EXPECT_EQ( value( R"(flowspec_rules{status="unsupportedMatch"})" ), 1 );
   EXPECT_EQ( value( R"(flowspec_rules{status="unprocessed"})" ), 0 );
}

TEST_F( MetricsTest, TellWhatRulesInForceCount ) {
   add( *status, ruleKey( "10.0.0.0/8;*" ), programmed, 3 );
   add( *status, ruleKey( "11.0.0.0/8;*" ), programmedWithFailures, 18'446'744'073 );
   add( *status, ruleKey( "12.0.0.0/8;*" ), unsupportedAction, 1 );
   const Metrics metrics( metricsText( *status, 0 ) );
   const auto& samples = metrics.samples();
   const Vek::String first = R"({vrf="0",family="ipv4",rule="10.0.0.0/8;*;"})";
   const Vek::String second = R"({vrf="0",family="ipv4",rule="11.0.0.0/8;*;"})";
   EXPECT_EQ( samples.at( "flowspec_rule_packets_total" + first ), 3 );
   EXPECT_EQ( samples.at( "flowspec_rule_bytes_total" + first ), 300 );
   EXPECT_EQ( samples.at( "flowspec_rule_packets_total" + second ), 18'446'744'073.0 );
   EXPECT_EQ( metrics.count( "flowspec_rule_packets_total" ), 2U );
   EXPECT_EQ( metrics.count( "flowspec_rule_bytes_total" ), 2U );
}

TEST_F( MetricsTest, RulesBeyondTheLimitAreOneSum ) {
   for ( unsigned i = 0; i < 10; ++i ) {
      add( *status, ruleKey( Vek::concat( 10 + i, ".0.0.0/8;*" ).c_str() ), programmed, 1U << i );
   }
   const Metrics metrics( metricsText( *status, 0, 4 ) );
   EXPECT_EQ( metrics.count( "flowspec_rule_packets_total" ), 4U );
   EXPECT_EQ( metrics.samples().at( "flowspec_other_rules" ), 6 );
   double sum = metrics.samples().at( "flowspec_other_rules_packets_total" );
   EXPECT_EQ( metrics.samples().at( "flowspec_other_rules_bytes_total" ), sum * 100 );
   for ( const auto& [series, count] : metrics.samples() ) {
      sum += series.starts_with( "flowspec_rule_packets_total" ) ? count : 0;
   }
   EXPECT_EQ( sum, 1023 );
}

// A panel that asks for what nobody writes stays empty, and says nothing.
TEST_F( MetricsTest, TheDashboardNamesMetricsThatExist ) {
   add( *status, ruleKey( "10.0.0.0/8;*" ), programmed, 3 );
   const Metrics metrics( metricsText( *status, 0 ) );
   std::ifstream file( "examples/grafana/flowspec.json" );
   const auto dashboard = nlohmann::json::parse( file );
   std::set< Vek::String > named;
   for ( const auto& panel : dashboard.at( "panels" ) ) {
      for ( const auto& target : panel.at( "targets" ) ) {
         const auto names = TestSupport::metricNames( target.at( "expr" ).get< std::string >() );
         EXPECT_FALSE( names.empty() ) << target;
         named.insert( names.begin(), names.end() );
      }
   }
   EXPECT_EQ( named, metrics.names() );
}

TEST( MetricsTextOfTests, AParserThatRefuses ) {
   for ( const char* const bad :
         { "a 1\n", "# TYPE a gauge\na 1", "# TYPE a gauge\na x\n", "# TYPE a gauge\na{b=\"c} 1\n",
           "# TYPE a gauge\na 1\na 1\n", "# TYPE a gauge\na 1\n# TYPE a gauge\n",
           "# TYPE a number\na 1\n", "# TYPE a gauge\n# TYPE b gauge\nb 1\na 1\n",
           "# TYPE a gauge\na{b=c} 1\n", "# TYPE a counter\na 1\n" } ) {
      EXPECT_THROW( Metrics{ bad }, std::runtime_error ) << bad;
   }
   EXPECT_EQ(
      Metrics( "# HELP a b\n# TYPE a gauge\na{b=\"c\\\"\\\\\\n}\",d=\"\"} 1.5\n" ).count( "a" ),
      1U );
}

TEST( WriteWhole, ReplacesTheFile ) {
   const Folder folder;
   const Vek::String file = folder.path() + "/flowspec.prom";
   writeWhole( file, "one\n" );
   std::filesystem::create_hard_link( file, folder.path() + "/old" );
   writeWhole( file, "two\n" );
   EXPECT_EQ( TestSupport::contents( file ), "two\n" );
   EXPECT_EQ( TestSupport::contents( folder.path() + "/old" ), "one\n" );
   EXPECT_FALSE( std::filesystem::exists( file + ".new" ) );
}

TEST( WriteWhole, SaysWhyItCannot ) {
   const Folder folder;
   const auto says = []( const Vek::String& text ) {
      return testing::ThrowsMessage< std::runtime_error >( testing::StrEq( text ) );
   };
   EXPECT_THAT(
      [&] { writeWhole( folder.path() + "/none/a", "" ); },
      says( "cannot write " + folder.path() + "/none/a.new: No such file or directory" ) );
   std::filesystem::create_directory( folder.path() + "/folder" );
   EXPECT_THAT( [&] { writeWhole( folder.path() + "/folder", "" ); },
                says( "cannot write " + folder.path() + "/folder: Is a directory" ) );
   EXPECT_FALSE( std::filesystem::exists( folder.path() + "/folder.new" ) );
   EXPECT_THAT( [] { writeWhole( "/dev/full/x", "" ); },
                says( "cannot write /dev/full/x.new: Not a directory" ) );
}

TEST( Repeat, CallsAgainAndAgain ) {
   EventLoop loop;
   int calls = 0;
   const Repeat repeat( loop, std::chrono::milliseconds( 10 ), [&] { ++calls; } );
   TestSupport::runFor( loop, std::chrono::milliseconds( 200 ) );
   EXPECT_GE( calls, 2 );
   EXPECT_LE( calls, 20 );
}

} // namespace
} // namespace Agents
