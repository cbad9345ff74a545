#include "tests/forms/dialects/Peers.h"

// BIRD as the judge of its dialect: it takes our texts as static routes, and what it prints of them
// is read. It needs neither a port nor a privilege.

namespace Forms {
namespace {

using TestSupport::ruleContext;

/// One printed route as the text of a rule: "(generic, 0x80060000, 0x0)" for each community comes
/// after the match.
std::string textOf( const std::string& match, const std::string& communities ) {
   std::string text = match + " { ";
   for ( std::size_t at = 0; ( at = communities.find( '(', at ) ) != std::string::npos; ) {
      const std::size_t end = communities.find( ')', at ) + 1;
      text += "bgp_ext_community.add(" + communities.substr( at, end - at ) + "); ";
      at = end;
   }
   return text + '}';
}

/// The rules that "show route all" prints whole. BIRD cuts a match after some 250 characters.
std::vector< Rule > rulesOf( const std::string& printed ) {
   std::vector< std::string > texts;
   std::istringstream lines( printed );
   std::string match;
   std::string communities;
   for ( std::string line; std::getline( lines, line ); ) {
      const std::string_view label = "\tBGP.ext_community:";
      if ( line.starts_with( "flow" ) ) {
         if ( !match.empty() ) {
            texts.push_back( textOf( match, communities ) );
         }
         match = line.substr( 0, line.rfind( '}', line.rfind( '[' ) ) + 1 );
         communities.clear();
      } else if ( line.starts_with( label ) ) {
         communities = line.substr( label.size() );
      }
   }
   if ( !match.empty() ) {
      texts.push_back( textOf( match, communities ) );
   }
   std::vector< Rule > rules;
   for ( const std::string& text : texts ) {
      if ( text.find( " ...}" ) != std::string::npos ) {
         continue;
      }
      std::vector< Fault > remarks;
      Rule& rule = rules.emplace_back();
      const auto fault = readRule( *dialectOf( "bird" ), text, ruleContext(), rule, remarks );
      EXPECT_FALSE( fault ) << fault->reason << " in " << text;
   }
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
