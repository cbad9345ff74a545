#include "tests/agents/system/System.h"
#include "dataplane/RuleDemand.h"
#include "forms/RuleFile.h"
#include "tests/tools/flowspecctl/Run.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace Flowspec {
namespace {

using Json = nlohmann::json;
using testing::ElementsAre;
using TestSupport::System;

const Vek::String rules = "examples/system/rules.jsonl";
const Vek::String packets = "examples/system/packets.pcap";

std::vector< Json > jsonLines( const Vek::String& text ) {
   std::vector< Json > lines;
   std::istringstream stream( text );
   for ( Vek::String line; std::getline( stream, line ); ) {
      lines.push_back( Json::parse( line ) );
   }
   return lines;
}

// What the model computes for each line of the rules.
std::vector< Json > modelled() {
   const TestSupport::Result result =
      TestSupport::run( { .command = { "python3", "tests/agents/system/model.py", rules,
                                       "examples/system/profile.json", packets, "1" } } );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 );
   return jsonLines( result.out );
}

// What the daemons tell of a rule, as the model has it.
Json told( const TestSupport::StateReader& reader, const FlowspecKey& key ) {
   const auto configured = reader.config().vrfRuleConfig( 0 );
   const auto infeasible = configured->infeasibleRule( key );
   const auto rule = configured->rule( key );
   const auto status = reader.status().vrfRuleStatus( 0 )->ruleStatus( key );
   Json all;
   if ( infeasible ) {
      all["outcome"] = "infeasible";
      all["component"] = Vek::String( stringValue( infeasible->matchCompType() ) );
   } else if ( rule && status ) {
      EXPECT_EQ( reader.counter().snapshot( key ).coloredCounters(), status->coloredCounters() );
      all["outcome"] = Vek::String( stringValue( status->statusCode() ) );
      all["entries"] = Dataplane::entriesOf( *rule );
      all["packets"] = status->packetCount();
      all["bytes"] = status->byteCount();
   }
   return all;
}

// How many rules the model has of each outcome.
std::map< Vek::String, U64 > outcomes( const std::vector< Json >& model ) {
   std::map< Vek::String, U64 > numbers;
   for ( const Json& line : model ) {
      ++numbers[line.at( "outcome" ).get< Vek::String >()];
   }
   return numbers;
}

TEST( ExampleSystem, DoesWithEachRuleWhatTheModelComputes ) {
   std::vector< Json > model = modelled();
   std::map< Vek::String, U64 > expected = outcomes( model );
   System system( rules );
   system.startConfigd();
   const auto& reader = system.reader();
   // Rules and interfaces are there before the packets come.
   ASSERT_TRUE( system.until( [&] {
      const auto vrf = reader.config().vrfRuleConfig( 0 );
      return reader.cliConfig().enabledIntf().size() == 1 && vrf &&
             vrf->infeasibleRule().size() == expected["infeasible"] &&
             vrf->rule().size() + expected["infeasible"] == model.size();
   } ) );
   system.startProgramd( { "--packets", packets } );
   ASSERT_TRUE( system.until( [&] {
      return reader.isComplete() &&
             system.programd().errors().find( packets + ": " ) != Vek::String::npos;
   } ) );
   system.cli().counterUpdateRequestTimeIs( 1 );
   ASSERT_TRUE( system.until( [&] {
      return reader.counter().timestamp() != 0 && reader.status().counterUpdateTime() != 0;
   } ) );

   const Forms::RuleFile file = Forms::readRuleFile( rules, {} );
   ASSERT_EQ( file.rules.size(), model.size() );
   for ( const Forms::FiledRule& rule : file.rules ) {
      Json& computed = model[rule.line - 1];
      computed.erase( "line" );
      computed.erase( "matching" );
      EXPECT_EQ( told( reader, rule.key ), computed ) << rules << ':' << rule.line;
   }
}

TEST( ExampleSystem, HasRulesThatEndInManyWays ) {
   const std::map< Vek::String, U64 > expected{
      { "infeasible", 17 },       { "programmed", 108 },      { "programmedWithFailures", 2 },
      { "resourceExhausted", 4 }, { "unsupportedAction", 7 }, { "unsupportedMatch", 2 } };
   EXPECT_EQ( outcomes( modelled() ), expected );
}

TEST( ExampleSystem, HasPacketsForEachRuleThatCanMatchAny ) {
   std::vector< int > without;
   for ( const Json& line : modelled() ) {
      if ( line.value( "matching", 1 ) == 0 ) {
         without.push_back( line.at( "line" ).get< int >() );
      }
   }
   // No packet has the protocol of a fragment header: the one after it counts.
   EXPECT_THAT( without, ElementsAre( 117 ) );
}

TEST( ExampleSystem, HasTheCaptureThatItsScriptWrites ) {
   const TestSupport::Result result =
      TestSupport::run( { .command = { "python3", "examples/system/packets.py", "--check" } } );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 ) << "when the change is meant: python3 examples/system/packets.py";
}

TEST( ExampleSystem, HasTheRulesOfTheOtherExamplesInTheirOrder ) {
   std::set< std::filesystem::path > files;
   for ( const auto& entry : std::filesystem::directory_iterator( "examples/rules" ) ) {
      const auto& path = entry.path();
      if ( path.filename().string().starts_with( "ipv" ) && path.extension() == ".jsonl" ) {
         files.insert( path );
      }
   }
   std::vector< Json > expected;
   for ( const auto& file : files ) {
      for ( Json& rule : jsonLines( TestSupport::contents( file.string() ) ) ) {
         rule["vrfId"] = 0;
         expected.push_back( std::move( rule ) );
      }
   }
   std::vector< Json > keys = jsonLines( TestSupport::contents( rules ) );
   for ( Json& key : keys ) {
      key.erase( "action" );
   }
   EXPECT_EQ( keys, expected );
}

} // namespace
} // namespace Flowspec
