#include "Flowspec/config/MatchSetBuilder.h"
#include "agents/configd/Filing.h"
#include "bench/support/Measure.h"
#include "bench/support/Rules.h"
#include "forms/KeyJson.h"

#include <nlohmann/json.hpp>

/// Reading a file of rules with actions, and filing them as configuration.

namespace {

using namespace Flowspec;
using namespace Forms;
using namespace Agents;

// All rules as lines of JSON, and as they are read from those.
struct Input {
   std::vector< std::string > lines;
   RuleFile file{ .file = "rules" };

   Input() {
      static constexpr const char* actions[] = {
         R"(,"action":{"drop":true}})", R"(,"action":{"rateLimit":{"bytes":1250000}}})",
         R"(,"action":{"redirect":{"vrf":7,"copy":true},"markDscp":"af21"}})", "}" };
      for ( const FlowspecKey& key : Bench::rules( Bench::ruleCount ) ) {
         std::string& line = lines.emplace_back();
         Forms::appendKeyJson( line, key );
         line.pop_back();
         line += actions[lines.size() % std::size( actions )];
      }
      file = read();
      // A few rules come out of the generator twice.
      Bench::require( file.rules.size() + file.errors.size() == lines.size() &&
                         file.errors.size() < lines.size() / 100,
                      "the lines of rules" );
   }

   RuleFile read() const {
      RuleReader reader( "rules", *ruleForm( ".json" ), {} );
      U64 number = 0;
      for ( const std::string& line : lines ) {
         reader.line( ++number, line );
      }
      return reader.take();
   }
};

const Input& input() {
   static const Input theInput;
   return theInput;
}

void readRuleLines( benchmark::State& state ) {
   const Input& rules = input();
   for ( auto _ : state ) {
      benchmark::DoNotOptimize( rules.read() );
   }
   Bench::perItemCounter( state, rules.lines.size() );
}
BENCHMARK( readRuleLines );

void parseRuleLines( benchmark::State& state ) {
   Bench::perItem( state, input().lines, []( const std::string& line ) {
      benchmark::DoNotOptimize( nlohmann::json::parse( line ) );
   } );
}
BENCHMARK( parseRuleLines );

// A rule after the other, taken apart and sanitised where nobody sees it.
void takeApart( benchmark::State& state ) {
   std::vector< MatchComponent > components;
   Bench::perItem( state, input().file.rules, [&]( const FiledRule& filed ) {
      benchmark::DoNotOptimize( matchSetFromKey( filed.key, components ) );
      const auto rule = ruleConfigFactory( filed.key );
      matchSetReplace( *rule, components );
      benchmark::DoNotOptimize( rule->sanitizeMatchSet() );
   } );
}
BENCHMARK( takeApart );

void fileRules( benchmark::State& state ) {
   const std::span files( &input().file, 1 );
   for ( auto _ : state ) {
      const auto config = configFactory( "config" );
      benchmark::DoNotOptimize( Filing( config ).apply( files ) );
      state.PauseTiming();
      config->vrfRuleConfigDelAll();
      state.ResumeTiming();
   }
   Bench::perItemCounter( state, input().file.rules.size() );
}
BENCHMARK( fileRules );

void fileUnchanged( benchmark::State& state ) {
   const std::span files( &input().file, 1 );
   const auto config = configFactory( "config" );
   Filing filing( config );
   filing.apply( files );
   for ( auto _ : state ) {
      benchmark::DoNotOptimize( filing.apply( files ) );
   }
   Bench::perItemCounter( state, input().file.rules.size() );
}
BENCHMARK( fileUnchanged );

} // namespace
