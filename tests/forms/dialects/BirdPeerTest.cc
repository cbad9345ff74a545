#include "forms/dialects/RuleLines.h"
#include "tests/forms/dialects/Peers.h"

// BIRD as the judge of its dialect: it takes our texts as static routes, and what it prints of them
// is read. It needs neither a port nor a privilege.

namespace Forms {
namespace {

using TestSupport::ruleContext;

/// The rules that "show route all" prints whole. BIRD cuts a match after some 250 characters.
std::vector< Rule > rulesOf( const std::string& printed ) {
   std::vector< Rule > rules;
   const auto take = [&rules]( U64, std::string_view text ) {
      if ( !text.starts_with( "flow" ) || text.find( " ...}" ) != text.npos ) {
         return; // a heading, or cut
      }
      std::vector< Fault > remarks;
      Rule& rule = rules.emplace_back();
      const auto fault = readRule( *dialectOf( "bird" ), text, ruleContext(), rule, remarks );
      EXPECT_FALSE( fault ) << fault->reason << " in " << text;
   };
   RuleLines texts( true );
   std::istringstream lines( printed );
   U64 number = 0;
   for ( std::string line; std::getline( lines, line ); ) {
      texts.line( ++number, line, take );
   }
   texts.end( take );
   return rules;
}

TEST( BirdPeer, PrintsRoutesAsTheSameRules ) {
   if ( !TestSupport::isThere( "bird" ) || !TestSupport::isThere( "birdc" ) ) {
      GTEST_SKIP() << "BIRD is not installed";
   }
   std::string routes[2];
   std::vector< const TestSupport::NamedRule* > rules;
   for ( const auto& named : TestSupport::namedRules() ) {
      Vek::String text;
      if ( !writeRule( *dialectOf( "bird" ), named.rule, ruleContext(), text ) ) {
         rules.push_back( &named );
      }
   }
   auto expected = TestSupport::filed( rules );
   for ( const auto& [id, rule] : expected ) {
      Vek::String text;
      ASSERT_FALSE( writeRule( *dialectOf( "bird" ), *rule, ruleContext(), text ) );
      routes[rule->key.addressFamily() == Zorv::AddressFamily::ipv6] += "route " + text + ";\n";
   }
   EXPECT_GT( expected.size(), 120U );
   const TestSupport::Folder folder;
   const auto configuration =
      folder.file( "bird.conf", "router id 3.3.3.3;\nflow4 table t4;\nflow6 table t6;\n"
                                "protocol static s4 { flow4 { table t4; };\n" +
                                   routes[0] + "}\nprotocol static s6 { flow6 { table t6; };\n" +
                                   routes[1] + "}\n" );
   const auto control = folder.path() + "/control";
   TestSupport::Process bird(
      { "bird", "-f", "-c", configuration, "-s", control, "-P", folder.path() + "/pid" },
      folder.path() + "/log" );
   std::string printed;
   ASSERT_TRUE( TestSupport::becomes( [&] {
      printed = TestSupport::outputOf( "birdc -s " + control + " show route table all all" );
      return printed.find( "\nflow" ) != std::string::npos;
   } ) )
      << bird.errors() << printed;
   for ( const char* const cut : { "r-2d59786aa6", "r-795c08a4d8", "r-d35b67c5cb" } ) {
      EXPECT_EQ( expected.erase( cut ), 1U ) << cut;
   }
   TestSupport::expectSame( rulesOf( printed ), expected );
}

} // namespace
} // namespace Forms
