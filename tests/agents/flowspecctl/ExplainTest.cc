#include "peers/PeerTable.h"
#include "tests/agents/flowspecctl/StagedSystem.h"

namespace Flowspec {
namespace {

using testing::HasSubstr;
using TestSupport::Result;

constexpr const char* web = "0;ipv4;10.1.0.0/16;*;IP:=0L6;DP:=0L80|=1L443;";

/// Rules that are explained and traced beside those of a running system.
class ExplainInSystem : public TestSupport::StagedSystem {
protected:
   ExplainInSystem() {
      ActionFieldSet drop;
      drop.trafficDropIs( true );
      config->vrfRuleConfigIs( 0 )->ruleIs( key( web ) )->actionFieldSetIs( drop );
   }
};

TEST_F( ExplainInSystem, NamesConfiguredRules ) {
   const Result result = ctl( { "explain", "--family", "ipv4", "*;*;IP:=6;" } );
   EXPECT_THAT( result.out, HasSubstr( "\nhidden by     flowspec/config: "
                                       "10.1.0.0/16;*;IP:=6;DP:=80|=443; in part, as " ) );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 );
}

TEST_F( ExplainInSystem, GuardsItsSessions ) {
   const auto table = Peers::peerTableFactory( "flowspec/peers" );
   table->peerIs( "transit" )->addressIs( *Zorv::IpGenAddr::fromText( "198.51.100.1" ) );
   Vek::log::Mount speaker( database.endpoint(), "peerd", *table );
   EXPECT_TRUE( TestSupport::until( { &speaker }, [&] { return speaker.allSent(); } ) );
   const Result result = ctl( { "explain", "--family", "ipv4", "*;*;IP:=6;" } );
   EXPECT_THAT( result.out,
                HasSubstr( "\nsession       198.51.100.1, as ipv4 tcp 198.51.100.1:" ) );
   EXPECT_EQ( ctl( { "explain", "--family", "ipv4", "*;*;IP:=17;" } ).out.find( "session" ),
              Vek::String::npos );
}

TEST_F( ExplainInSystem, TracesPackets ) {
   const Result result = ctl( { "trace", "ipv4 tcp 192.0.2.1:1 > 10.1.2.3:443" } );
   EXPECT_EQ( result.out,
              "packet        ipv4 tcp 192.0.2.1:1 > 10.1.2.3:443 length 40\n"
              "tried         flowspec/config: 10.1.0.0/16;*;IP:=6;DP:=80|=443; matches\n"
              "wins          flowspec/config: 10.1.0.0/16;*;IP:=6;DP:=80|=443; drop\n" );
   EXPECT_EQ( result.err, "" );
}

TEST_F( ExplainInSystem, NeedsARootOfRules ) {
   const Result result =
      ctl( { "explain", "--family", "ipv4", "--config-root", "nowhere", "*;*;IP:=6;" } );
   EXPECT_EQ( result.out, "" );
   EXPECT_THAT( result.err, HasSubstr( "nowhere" ) );
   EXPECT_EQ( result.status, 1 );
}

} // namespace
} // namespace Flowspec
