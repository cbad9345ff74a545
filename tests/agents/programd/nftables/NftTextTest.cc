#include "tests/agents/programd/nftables/PacketWire.h"
#include "tests/support/Folder.h"
#include "tests/support/TestRules.h"

#include <fstream>
#include <regex>

#include <gmock/gmock.h>

namespace Agents::Nftables {
namespace {

using namespace Dataplane::Nftables;
using Dataplane::Action;
using Dataplane::Actions;
using TestSupport::PacketWire;
using TestSupport::ruleKey;
using Zorv::AddressFamily;

// A rule for each component and action, of two prefixes of which one is inside the other.
std::vector< RulePtr > rulesOf( AddressFamily family ) {
   const bool v6 = family == AddressFamily::ipv6;
   const char* const destination = v6 ? "2001:db8::/32;" : "10.1.0.0/16;";
   const char* const inner = v6 ? "2001:db8:0:100::/56;" : "10.1.2.0/24;";
   const char* const source = v6 ? "2001:db8:f000::/36;" : "192.0.2.0/25;";
   std::vector< Vek::String > texts{ Vek::concat( inner, "*;" ),
                                     Vek::concat( destination, source ) };
   for ( const char* component : { "IP:=47;", v6 ? "IP:=89;" : "IP:=6|=17;", "P:=53;",
                                   "DP:>=1024&<=2048;", "SP:=80|=443|>=8000;", "IT:=8;", "IC:=0;",
                                   "TCP:=2;", "TCP:!4;", "LEN:>=100&<=200|=1500;", "FRAG:2;",
                                   "FRAG:=4;", "FRAG:!2;", "DSCP:=46;", "DSCP:>=10&<=20;" } ) {
      texts.push_back( Vek::concat( destination, "*;", component ) );
   }
   if ( v6 ) {
      texts.push_back( Vek::concat( destination, "*;FL:=100;" ) );
   }
   std::vector< RulePtr > rules;
   for ( const Vek::String& one : texts ) {
      const Flowspec::FlowspecKey key = ruleKey( one );
      const Wire::CanonicalRule canonical( key );
      const Vek::String name = "r" + std::to_string( rules.size() );
      Flowspec::RuleAction asked;
      asked.rateLimit = 1000;
      asked.markDscp = Zorv::IpTos( 46 );
      // Every second one to an address is a copy.
      asked.redirect.addrIs( *Zorv::IpGenAddr::fromText( v6 ? "2001:db8::9" : "192.0.2.9" ) );
      asked.redirect.copyIs( rules.size() % 16 > 8 );
      Actions done;
      constexpr Action actions[] = {
         Action::trafficDrop, Action::trafficRate,   Action::trafficRatePkt, Action::trafficMarking,
         Action::sample,      Action::continueMatch, Action::redirectVrf,    Action::redirectAddr };
      done.set( numberOf( actions[rules.size() % std::size( actions )] ) );
      std::vector< U16 > sets;
      if ( rules.size() % 4 == 1 ) {
         sets = { 3, 5 };
      }
      rules.push_back( std::make_shared< const Rule >(
         Rule{ key, canonical.destPrefix(), sets, name, matchLines( canonical ),
               actionLines( asked, done, name, 0x70000 ) } ) );
   }
   return rules;
}

// The texts in code type of the tables of a page's sections on how rules are rendered.
std::vector< Vek::String > renderings( const char* page ) {
   std::ifstream in( page );
   std::vector< Vek::String > texts;
   bool inside = false;
   for ( Vek::String line; std::getline( in, line ); ) {
      if ( line.starts_with( "## " ) ) {
         inside = line.starts_with( "## How " );
      }
      const std::size_t second = line.find( " | " );
      if ( !inside || !line.starts_with( "| " ) || second == Vek::String::npos ) {
         continue;
      }
      std::size_t at = second;
      while ( ( at = line.find( '`', at ) ) != Vek::String::npos ) {
         const std::size_t end = line.find( '`', at + 1 );
         Vek::String text = line.substr( at + 1, end - at - 1 );
         std::erase( text, '\\' ); // of a bar in a table
         texts.push_back( std::move( text ) );
         at = end + 1;
      }
   }
   return texts;
}

// What nft lists of a table that was made by messages, and of one that nft made of the text.
TEST( NftText, IsWhatTheMessagesSay ) {
   PacketWire wire;
   if ( !wire.missing().empty() ) {
      GTEST_SKIP() << wire.missing();
   }
   const TestSupport::Folder folder;
   Vek::String listed;
   for ( const auto family : { AddressFamily::ipv4, AddressFamily::ipv6 } ) {
      const Ruleset ruleset =
         rulesetOf( family, rulesOf( family ), { { "in", { 0, { 3 } } }, { "out", {} } } );
      Batch batch;
      replaceAll( batch, ruleset, {} );
      ASSERT_TRUE( wire.kernel().commit( batch ).empty() );
      const Vek::String list = Vek::concat(
         "nft list table ", family == AddressFamily::ipv6 ? "ip6" : "ip", " flowspec" );
      const Vek::String byMessages = wire.space().output( list );
      const Vek::String whole = text( ruleset );
      EXPECT_THAT( whole, testing::HasSubstr( "counter name \"r0\" drop" ) );
      wire.space().run( "nft delete table " + list.substr( 15 ) );
      wire.space().run( "nft -f " + folder.file( "text", whole ) );
      EXPECT_EQ( wire.space().output( list ), byMessages );
      listed += byMessages;
   }
   // The page shows what nft does.
   listed = std::regex_replace( listed, std::regex( "r[0-9]+\"" ), "NAME\"" );
   const auto shown = renderings( "docs/nftables.md" );
   EXPECT_GT( shown.size(), 30U );
   for ( const Vek::String& one : shown ) {
      EXPECT_NE( listed.find( one ), Vek::String::npos ) << one;
   }
}

} // namespace
} // namespace Agents::Nftables
