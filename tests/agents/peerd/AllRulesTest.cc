#include "forms/dialects/RuleLines.h"
#include "tests/agents/peerd/RunningPeerd.h"
#include "tests/forms/dialects/Peers.h"

#include <algorithm>
#include <sstream>

// All public rules in one session with BIRD, which announces them to peerd and is announced them.

namespace {

using namespace TestSupport;
using Forms::Rule;

/// A rule that drops; what else there is beside the match is not BGP's, or needs tables.
Rule dropping( const Flowspec::FlowspecKey& key ) {
   Rule rule;
   rule.key = key;
   rule.key.vrfIdIs( Vrf::VrfIdMap::invalid() );
   rule.key.interfaceSetPopAll();
   rule.action.fields.trafficDropIs( true );
   return rule;
}

/// The rules that "show route all" prints whole.
std::vector< Rule > printedRules( const Vek::String& printed ) {
   std::vector< Rule > rules;
   const auto take = [&rules]( U64, std::string_view text ) {
      if ( text.starts_with( "flow" ) && text.find( " ...}" ) == text.npos ) {
         std::vector< Forms::Fault > remarks;
         const auto fault = Forms::readRule( *Forms::dialectOf( "bird" ), text, ruleContext(),
                                             rules.emplace_back(), remarks );
         EXPECT_FALSE( fault ) << fault->reason << " in " << text;
         rules.back().kept.clear();
      }
   };
   Forms::RuleLines texts( true );
   std::istringstream lines( printed );
   U64 number = 0;
   for ( std::string line; std::getline( lines, line ); ) {
      texts.line( ++number, line, take );
   }
   texts.end( take );
   return rules;
}

TEST( AllRulesTest, BirdAnnouncesAndIsAnnouncedAllItHasWordsFor ) {
   if ( !isThere( "bird" ) || !isThere( "birdc" ) ) {
      GTEST_SKIP() << "BIRD is not installed";
   }
   std::vector< NamedRule > named;
   for ( const NamedRule& each : namedRules() ) {
      NamedRule made{ each.id, dropping( each.rule.key ) };
      Vek::String text;
      if ( each.rule.rd ||
           writeRule( *Forms::dialectOf( "bird" ), made.rule, ruleContext(), text ) ) {
         continue;
      }
      // As BIRD writes it: a protocol of 300 has no place there, and ends the session when its two
      // octets arrive.
      Rule read;
      std::vector< Forms::Fault > remarks;
      EXPECT_FALSE( readRule( *Forms::dialectOf( "bird" ), text, ruleContext(), read, remarks ) );
      made.rule.key = read.key;
      named.push_back( std::move( made ) );
   }
   std::vector< const NamedRule* > rules;
   for ( const NamedRule& each : named ) {
      rules.push_back( &each );
   }
   const auto expected = filed( rules );
   EXPECT_GT( expected.size(), 120U );
   Vek::String lines;
   Vek::String routes[2];
   for ( const auto& [id, rule] : expected ) {
      Vek::String text;
      ASSERT_FALSE( writeRule( *Forms::dialectOf( "bird" ), *rule, ruleContext(), text ) );
      routes[rule->key.addressFamily() == Zorv::AddressFamily::ipv6] += "route " + text + ";\n";
      ASSERT_FALSE( writeRule( *Forms::dialectOf( "json" ), *rule, ruleContext(), lines ) );
      lines += '\n';
   }

   RunningPeerd peerd(
      Vek::concat( R"({"name":"bird","address":"127.0.0.31","as":64501,)"
                   R"("passive":true,"idleHoldTime":0,"checkOriginator":false,)"
                   R"("families":["ipv4-flow","ipv6-flow"],)"
                   R"("guards":{"everything":false,"sessions":false},)"
                   R"("import":[{"accept":true}],"export":[{"announce":true}]})" ) );
   const Folder& folder = peerd.database.folder();
   Process configd( { CONFIGD, "--socket", peerd.database.endpoint().text(),
                      folder.file( "rules.jsonl", lines ) },
                    folder.path() + "/configd-errors" );
   const auto statics = []( const char* name, const Vek::String& of ) {
      return Vek::concat( "protocol static s", name, " { flow", name, " { table t", name, "; };\n",
                          of, "}\n" );
   };
   const auto channel = []( const char* name ) {
      return Vek::concat( "flow", name, " { table t", name,
                          "; import all; export where source = RTS_STATIC; validate off; };\n" );
   };
   const Vek::String file = folder.file(
      "bird.conf",
      Vek::concat( "log stderr all;\nrouter id 127.0.0.31;\nflow4 table t4;\nflow6 table t6;\n"
                   "protocol device {}\n",
                   statics( "4", routes[0] ), statics( "6", routes[1] ),
                   "protocol bgp ours {\nlocal 127.0.0.31 as 64501;\n"
                   "neighbor 127.0.0.21 port ",
                   peerd.listens.port, " as 64500;\nmultihop 2; connect delay time 1;\n",
                   channel( "4" ), channel( "6" ), "}\n" ) );
   const Vek::String control = folder.path() + "/control";
   Process bird( { "bird", "-f", "-c", file, "-s", control, "-P", folder.path() + "/pid" },
                 folder.path() + "/bird-errors" );

   // What it announces is filed.
   const auto count = [&] { return peerd.filed( 0U ); };
   EXPECT_TRUE( peerd.until( [&] { return count() == expected.size(); } ) )
      << count() << " of " << expected.size() << ' ' << bird.errors() << peerd.process->errors();
   std::vector< Rule > taken;
   const auto vrf = peerd.filed().vrfRuleConfig( 0 );
   ASSERT_NE( vrf, nullptr );
   for ( const auto& rule : vrf->rule() ) {
      EXPECT_TRUE( peerd.until( [&] { return rule->actionFieldSet().trafficDrop(); } ) );
      taken.push_back( dropping( rule->ruleKey() ) );
   }
   const std::vector< Rule > feasible = taken;
   for ( const auto& rule : vrf->infeasibleRule() ) {
      taken.push_back( dropping( rule->ruleKey() ) );
   }
   expectSame( taken, expected );

   // What packets can match is announced, and is what it holds; some it cuts when it prints them.
   Vek::String printed;
   const auto holds = [&]( std::size_t all ) {
      return becomes( [&] {
         printed = outputOf( "birdc -s " + control + " show route all protocol ours" );
         std::size_t held = 0;
         for ( std::size_t at = 0; ( at = printed.find( "\nflow", at ) ) != Vek::String::npos;
               ++at ) {
            ++held;
         }
         return held == all;
      } );
   };
   EXPECT_TRUE( holds( feasible.size() ) ) << configd.errors() << printed;
   auto whole = expected;
   for ( const char* const cut : { "r-2d59786aa6", "r-795c08a4d8", "r-d35b67c5cb" } ) {
      whole.erase( cut );
   }
   std::erase_if( whole, [&feasible]( const auto& each ) {
      return std::ranges::none_of(
         feasible, [&each]( const Rule& rule ) { return sameMeaning( rule, *each.second ); } );
   } );
   expectSame( printedRules( printed ), whole );

   // It withdraws all, and so do we.
   EXPECT_NE( outputOf( "birdc -s " + control + " disable s4" ).find( "disabled" ),
              Vek::String::npos );
   EXPECT_NE( outputOf( "birdc -s " + control + " disable s6" ).find( "disabled" ),
              Vek::String::npos );
   EXPECT_TRUE( peerd.until( [&] { return count() == 0; } ) );
   folder.file( "rules.jsonl", "" );
   configd.signal( SIGHUP );
   EXPECT_TRUE( holds( 0 ) ) << printed;
}

} // namespace
