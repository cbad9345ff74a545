#include "peers/PeerRequests.h"
#include "peers/PeerTable.h"
#include "peers/RuleOrigin.h"
#include "tests/agents/flowspecctl/StagedSystem.h"

#include <algorithm>
#include <atomic>
#include <thread>

#include <nlohmann/json.hpp>

namespace Flowspec {
namespace {

using testing::HasSubstr;
using TestSupport::Result;

constexpr const char* dns = "0;ipv4;192.0.2.0/24;*;IP:=0L17;";
constexpr const char* never = "0;ipv4;*;*;IP:=0L17;TCP:=0L2;";

Zorv::IpGenAddr address( const char* text ) {
   return Zorv::IpGenPrefix::fromText( Vek::concat( text, "/32" ) )->address();
}

/// A BGP speaker with two peers beside the other agents.
class ShowPeers : public TestSupport::StagedSystem {
protected:
   ShowPeers() {
      speaker.emplace( database.endpoint(), "peerd", *table );
      table->localAsIs( 65000 );
      table->routerIdIs( address( "192.0.2.254" ) );
      table->startTimeIs( 1763774710 );

      const auto transit = table->peerIs( "transit" );
      transit->numberIs( 1 );
      transit->addressIs( address( "198.51.100.1" ) );
      transit->peerAsIs( 65001 );
      transit->routerIdIs( address( "198.51.100.1" ) );
      transit->stateIs( Peers::SessionState::established );
      transit->stateTimeIs( 1763774720 );
      transit->capabilitiesIs( { true, true, false, true, false, false } );
      transit->holdTimeIs( 90 );
      transit->restartTimeIs( 120 );
      transit->familyIs( { Peers::Family::vpnIpv4, false, false, true } );
      transit->familyIs( { Peers::Family::ipv4, true, true, true } );
      transit->messagesInIs( { 1, 4, 0, 2, 0 } );
      transit->messagesOutIs( { 1, 1, 0, 2, 1 } );
      transit->rulesIs( { 5, 1, 1, 3, 2, 7 } );
      transit->maxRulesIs( 1000 );
      refuse( *transit, { Peers::Family::ipv4, "0c01" }, "an octet is missing" );
      refuse( *transit, { Peers::Family::vpnIpv4, "0000fde800000001038111" },
              "no VRF\nimports it" );
      const auto hidden = transit->hiddenRuleIs( { Peers::Family::ipv4, "0118c00002" } );
      hidden->reasonIs( "the rule of lab is better" );
      hidden->timeIs( 1763774740 );

      const auto lab = table->peerIs( "lab" );
      lab->numberIs( 2 );
      lab->addressIs( *Zorv::IpGenAddr::fromText( "2001:db8::7" ) );
      lab->peerAsIs( 4200000000 );
      lab->stateIs( Peers::SessionState::active );
      lab->stateTimeIs( 1763774715 );
      lab->flapsIs( 2 );
      lab->lastErrorIs( "the hold time is over" );
      lab->lastErrorTimeIs( 1763774715 );

      const auto rule = bgp->vrfRuleConfigIs( 0 )->ruleIs( key( dns ) );
      rule->ruleIdIs( Peers::ruleIdOf( 1, 9 ) );
      ActionFieldSet drop;
      drop.trafficDropIs( true );
      rule->actionFieldSetIs( drop );
      const auto infeasible = bgp->vrfRuleConfigIs( 0 )->infeasibleRuleIs( key( never ) );
      infeasible->ruleIdIs( 3 );
      infeasible->matchCompTypeIs( tcpFlags );
   }

   static void refuse( Peers::Peer& peer, const Peers::RouteKey& route, const char* reason ) {
      const auto rule = peer.refusedRuleIs( route );
      rule->reasonIs( reason );
      rule->timeIs( 1763774730 );
   }

   Result ctl( std::vector< Vek::String > arguments ) {
      EXPECT_TRUE( TestSupport::until(
         { &*speaker, &bgpWriter }, [&] { return speaker->allSent() && bgpWriter.allSent(); } ) );
      return StagedSystem::ctl( std::move( arguments ) );
   }
   Vek::String good( std::vector< Vek::String > arguments ) {
      const Result result = ctl( std::move( arguments ) );
      EXPECT_EQ( result.status, 0 );
      EXPECT_EQ( result.err, "" );
      return result.out;
   }

   Vek::Ptr< Peers::PeerTable > table = Peers::peerTableFactory( "flowspec/peers" );
   Vek::Ptr< Config > bgp = configFactory( "flowspec/bgp" );
   std::optional< Vek::log::Mount > speaker;
   Vek::log::Mount bgpWriter{ database.endpoint(), "peerd", *bgp };
};

TEST_F( ShowPeers, InATable ) {
   EXPECT_EQ(
      good( { "show", "peers" } ),
      "AS 65000, router id 192.0.2.254: runs since 2025-11-22 01:25:10 UTC\n"
      "\n"
      "peer        address                  AS  state        received    filed   hidden  refused  "
      "announced\n"
      "----------  ---------------  ----------  -----------  --------  -------  -------  -------  "
      "---------\n"
      "lab         2001:db8::7      4200000000  active              0        0        0        0  "
      "        0\n"
      "transit     198.51.100.1          65001  established         5        1        1        3  "
      "        7\n" );
}

TEST_F( ShowPeers, OneWithAllThatIsKnown ) {
   EXPECT_EQ( good( { "show", "peer", "transit" } ),
              "speaker       AS 65000, router id 192.0.2.254: runs since 2025-11-22 01:25:10 UTC\n"
              "peer          transit\n"
              "address       198.51.100.1\n"
              "AS            65001\n"
              "router id     198.51.100.1\n"
              "state         established since 2025-11-22 01:25:20 UTC\n"
              "flaps         0\n"
              "hold time     90 seconds\n"
              "agreed        fourOctetAs, routeRefresh, gracefulRestart\n"
              "restart time  120 seconds\n"
              "families      ipv4, all received at first, all announced, kept while the peer "
              "restarts\n"
              "              vpnIpv4, not all received yet, all announced\n"
              "messages in   1 open, 4 updates, 0 notifications, 2 keepalives, 0 route refreshes\n"
              "messages out  1 open, 1 update, 0 notifications, 2 keepalives, 1 route refresh\n"
              "rules         5 received: 1 filed, 1 hidden, 3 refused; 2 stale; at most 1000\n"
              "announced     7 of ours\n"
              "\n"
              "family  refused rule                                why\n"
              "------  ------------------------------------------  "
              "------------------------------------------------\n"
              "ipv4    0x0c01                                      an octet is missing\n"
              "ipv4    RD:65000:1;*;*;IP:=17;                      no VRF\\x0aimports it\n"
              "and 1 more\n"
              "\n"
              "family  hidden rule                                 why\n"
              "------  ------------------------------------------  "
              "------------------------------------------------\n"
              "ipv4    192.0.2.0/24;*;                             the rule of lab is better\n" );
   EXPECT_EQ( good( { "show", "peer", "lab" } ),
              "speaker       AS 65000, router id 192.0.2.254: runs since 2025-11-22 01:25:10 UTC\n"
              "peer          lab\n"
              "address       2001:db8::7\n"
              "AS            4200000000\n"
              "state         active, not established since 2025-11-22 01:25:15 UTC\n"
              "flaps         2\n"
              "last error    2025-11-22 01:25:15 UTC: the hold time is over\n"
              "messages in   0 opens, 0 updates, 0 notifications, 0 keepalives, 0 route refreshes\n"
              "messages out  0 opens, 0 updates, 0 notifications, 0 keepalives, 0 route refreshes\n"
              "rules         0 received: 0 filed, 0 hidden, 0 refused\n"
              "announced     0 of ours\n" );
}

TEST_F( ShowPeers, AsObjects ) {
   const Vek::String all = good( { "show", "peers", "--json" } );
   const auto lab = nlohmann::json::parse( all.substr( 0, all.find( '\n' ) ) );
   EXPECT_EQ( lab["peer"], "lab" );
   EXPECT_EQ( lab["running"], true );
   EXPECT_EQ( lab["as"], 4200000000 );
   EXPECT_EQ( lab["lastError"], "the hold time is over" );
   EXPECT_FALSE( lab.contains( "refused" ) );
   const auto transit = nlohmann::json::parse( good( { "show", "peer", "transit", "--json" } ) );
   EXPECT_EQ( transit["state"], "established" );
   EXPECT_EQ( transit["capabilities"].dump(),
              R"(["fourOctetAs","routeRefresh","gracefulRestart"])" );
   EXPECT_EQ( transit["families"][0].dump(),
              R"({"endOfRibReceived":true,"endOfRibSent":true,"family":"ipv4","kept":true})" );
   EXPECT_EQ( transit["messagesIn"]["updates"], 4 );
   EXPECT_EQ( transit["rules"]["stale"], 2 );
   EXPECT_EQ( transit["refused"].dump(),
              R"([{"cli":null,"family":"ipv4","nlri":"0c01","reason":"an octet is missing",)"
              R"("time":1763774730.0},{"cli":"RD:65000:1;*;*;IP:=17;","family":"vpnIpv4",)"
              R"("nlri":"0000fde800000001038111","reason":"no VRF\\x0aimports it",)"
              R"("time":1763774730.0}])" );
   EXPECT_EQ( transit["hidden"][0]["cli"], "192.0.2.0/24;*;" );
}

TEST_F( ShowPeers, RoutesWithWhatBecameOfThem ) {
   EXPECT_EQ(
      good( { "show", "routes" } ),
      "     VRF  family  rule                              peer        what became of it\n"
      "--------  ------  --------------------------------  ----------  "
      "------------------------------------\n"
      "       0  ipv4    192.0.2.0/24;*;IP:=17;            transit     filed: drop\n"
      "       0  ipv4    *;*;IP:=17;TCP:=2;                -           infeasible: matches no "
      "packet:\n"
      "                                                                tcpFlags\n"
      "\n"
      "       -  ipv4    0x0c01                            transit     refused: an octet is "
      "missing\n"
      "       -  ipv4    RD:65000:1;*;*;IP:=17;            transit     refused: no VRF\\x0aimports "
      "it\n"
      "       -  ipv4    192.0.2.0/24;*;                   transit     hidden: the rule of lab is "
      "better\n"
      "and 1 more of transit that are refused\n" );
   EXPECT_EQ( good( { "show", "routes", "--json", "--vrf", "0" } ),
              R"({"key":{"vrfId":0,"addressFamily":"ipv4","destPrefix":"192.0.2.0/24",)"
              R"("srcPrefix":null,"interfaceSet":[],"terms":[{"type":"ipProto","op":129,)"
              R"("value":17}]},"cli":"192.0.2.0/24;*;IP:=17;","peer":"transit","state":"filed",)"
              R"("ruleId":4294967305,"action":{"drop":true}})"
              "\n"
              R"({"key":{"vrfId":0,"addressFamily":"ipv4","destPrefix":null,"srcPrefix":null,)"
              R"("interfaceSet":[],"terms":[{"type":"ipProto","op":129,"value":17},)"
              R"({"type":"tcpFlags","op":129,"value":2}]},"cli":"*;*;IP:=17;TCP:=2;",)"
              R"("peer":null,"state":"infeasible","ruleId":3,"infeasible":"tcpFlags"})"
              "\n" );
   EXPECT_THAT( good( { "show", "routes", "--json", "--peer", "transit" } ),
                HasSubstr( "\n"
                           R"({"family":"ipv4","nlri":"0118c00002","cli":"192.0.2.0/24;*;",)"
                           R"("reason":"the rule of lab is better","time":1763774740.0,)"
                           R"("peer":"transit","state":"hidden"})"
                           "\n" ) );
}

TEST_F( ShowPeers, RoutesAreChosenByPeerFamilyAndVrf ) {
   const auto lines = [&]( std::vector< Vek::String > arguments ) {
      arguments.insert( arguments.begin(), { "show", "routes", "--json" } );
      const Vek::String text = good( std::move( arguments ) );
      return std::ranges::count( text, '\n' );
   };
   EXPECT_EQ( lines( {} ), 5 );
   EXPECT_EQ( lines( { "--peer", "lab" } ), 0 );
   EXPECT_EQ( lines( { "--peer", "transit" } ), 4 );
   EXPECT_EQ( lines( { "--family", "ipv6" } ), 0 );
   EXPECT_EQ( lines( { "--family", "ipv4" } ), 5 );
   EXPECT_EQ( lines( { "--vrf", "7" } ), 0 );
}

TEST_F( ShowPeers, WhatASpeakerThatIsGoneReportedLast ) {
   good( { "show", "peers" } );
   speaker.reset();
   const Vek::String gone =
      "AS 65000, router id 192.0.2.254: does not run now; this is what it reported last\n";
   EXPECT_TRUE( TestSupport::until( { &bgpWriter }, [&] {
      return ctlAsItIs( { "show", "peers" } ).out.starts_with( gone );
   } ) );
   EXPECT_THAT( ctlAsItIs( { "show", "peer", "lab" } ).out,
                testing::StartsWith( "speaker       " + gone ) );
   EXPECT_THAT( ctlAsItIs( { "show", "peer", "lab", "--json" } ).out,
                HasSubstr( R"("running":false)" ) );
   const Result refused = ctlAsItIs( { "refresh", "peer", "transit" } );
   EXPECT_EQ( refused.status, 1 );
   EXPECT_EQ( refused.err, "flowspecctl: error: transit: no BGP speaker runs\n" );
}

TEST_F( ShowPeers, WhatIsNotThere ) {
   const auto error = [&]( std::vector< Vek::String > arguments ) {
      const Result result = ctl( std::move( arguments ) );
      EXPECT_EQ( result.status, 1 );
      EXPECT_EQ( result.out, "" );
      return result.err;
   };
   const Vek::String unknown =
      "flowspecctl: error: there is no peer 'x\\x0a'; there are lab, transit\n";
   EXPECT_EQ( error( { "show", "peer", "x\n" } ), unknown );
   EXPECT_EQ( error( { "show", "routes", "--peer", "x\n" } ), unknown );
   EXPECT_EQ( error( { "refresh", "peer", "x\n" } ), unknown );
   const Vek::String absent = "flowspecctl: error: none: the state database has no such root\n";
   EXPECT_EQ( error( { "show", "peers", "--peers-root", "none" } ), absent );
   EXPECT_EQ( error( { "show", "peer", "lab", "--peers-root", "none" } ), absent );
   EXPECT_EQ( error( { "show", "routes", "--peers-root", "none", "--bgp-root", "none" } ), absent );
   EXPECT_EQ( error( { "show", "routes", "--peers-root", "none", "--peer", "lab" } ), absent );
   // Either root says what it can.
   EXPECT_THAT( good( { "show", "routes", "--bgp-root", "none" } ),
                testing::Not( HasSubstr( "filed" ) ) );
   EXPECT_THAT( good( { "show", "routes", "--peers-root", "none" } ),
                HasSubstr( "IP:=17;            -           filed: drop\n" ) );
}

TEST_F( ShowPeers, AreDumpedByTheirRows ) {
   const Vek::String text = good( { "dump", "flowspec/peers" } );
   EXPECT_THAT( text,
                testing::StartsWith( "Peers::PeerTable flowspec/peers\npeer #2\n  \"lab\"\n" ) );
   EXPECT_THAT( text, HasSubstr( "    family #2\n"
                                 "      ipv4 -> {family ipv4, isKept 1, endOfRibReceived 1, "
                                 "endOfRibSent 1}\n" ) );
   EXPECT_THAT( text, HasSubstr( "    hiddenRule #1\n"
                                 "      {family ipv4, nlri \"0118c00002\"}\n"
                                 "        reason: \"the rule of lab is better\"\n"
                                 "        time: 1763774740\n" ) );
}

/// Asks for a refresh while the speaker goes on.
class RefreshPeer : public ShowPeers {
protected:
   RefreshPeer() { good( { "show", "peers" } ); }

   // The result of a command; `answer` gets the requests as soon as there are some.
   template < typename Answer >
   Result refresh( std::vector< Vek::String > arguments, Answer answer ) {
      Result result;
      std::atomic< bool > done = false;
      std::thread command( [&] {
         arguments.insert( arguments.begin(), { "refresh", "peer" } );
         result = ctlAsItIs( arguments );
         done = true;
      } );
      EXPECT_TRUE( TestSupport::until( { &*speaker, &requestReader }, [&] {
         if ( const auto root = replica.entity( "flowspec/peer-requests" ) ) {
            answer( static_cast< const Peers::PeerRequests& >( *root ) );
         }
         return done.load();
      } ) );
      command.join();
      return result;
   }

   Vek::Directory replica;
   Vek::log::Mount requestReader{ database.endpoint(), "test", "flowspec/peer-requests", replica };
};

TEST_F( RefreshPeer, InAndOut ) {
   const auto transit = table->peer( "transit" );
   double first = 0;
   const Result in = refresh( { "transit" }, [&]( const Peers::PeerRequests& requests ) {
      first = requests.refreshIn( "transit" );
      transit->refreshInTimeIs( first );
   } );
   EXPECT_EQ( in.err, "" );
   EXPECT_EQ( in.out, "transit was asked for its rules again\n" );
   EXPECT_GT( first, 1763774740 );
   EXPECT_EQ( transit->refreshOutTime(), 0 );
   const Result out = refresh( { "transit", "out" }, [&]( const Peers::PeerRequests& requests ) {
      transit->refreshOutTimeIs( requests.refreshOut( "transit" ) );
   } );
   EXPECT_EQ( out.err, "" );
   EXPECT_EQ( out.out, "transit is told our rules again\n" );
   // A request is later than all before, whatever the clock says.
   transit->refreshInTimeIs( 1e12 );
   double second = 0;
   const Result again = refresh( { "transit", "in" }, [&]( const Peers::PeerRequests& requests ) {
      second = std::max( second, requests.refreshIn( "transit" ) );
      if ( second > 1e12 ) {
         transit->refreshInTimeIs( second );
      }
   } );
   EXPECT_EQ( again.out, "transit was asked for its rules again\n" );
   EXPECT_GT( second, 1e12 );
}

TEST_F( RefreshPeer, APeerThatCannotBeAsked ) {
   const auto error = [&]( std::vector< Vek::String > arguments ) {
      arguments.insert( arguments.begin(), { "refresh", "peer" } );
      const Result result = ctl( std::move( arguments ) );
      EXPECT_EQ( result.status, 1 );
      return result.err;
   };
   EXPECT_EQ( error( { "lab" } ), "flowspecctl: error: lab: there is no session; a new one begins "
                                  "with all rules\n" );
   table->peer( "transit" )->capabilitiesIs( {} );
   EXPECT_EQ( error( { "transit" } ), "flowspecctl: error: transit: the peer did not agree to be "
                                      "asked for its rules again\n" );
   EXPECT_EQ( replica.entity( "flowspec/peer-requests" ), nullptr );
}

TEST_F( RefreshPeer, DropsRequestsForPeersThatAreGone ) {
   const auto transit = table->peer( "transit" );
   const auto lab = table->peer( "lab" );
   lab->stateIs( Peers::SessionState::established );
   good( { "show", "peers" } );
   refresh( { "lab", "out" }, [&]( const Peers::PeerRequests& requests ) {
      lab->refreshOutTimeIs( requests.refreshOut( "lab" ) );
   } );
   table->peerDel( "lab" );
   good( { "show", "peers" } );
   refresh( { "transit", "out" }, [&]( const Peers::PeerRequests& requests ) {
      transit->refreshOutTimeIs( requests.refreshOut( "transit" ) );
      if ( requests.refreshOut( "transit" ) > 0 ) {
         EXPECT_EQ( requests.refreshOut().size(), 1U );
      }
   } );
}

TEST_F( RefreshPeer, WrongUsageIsStatus2 ) {
   for ( const std::vector< Vek::String >& arguments :
         { std::vector< Vek::String >{ "refresh", "peer" },
           { "refresh", "peer", "transit", "back" },
           { "refresh", "--socket", "./x", "peer", "transit" },
           { "show", "peer" },
           { "show", "peers", "transit" } } ) {
      EXPECT_EQ( TestSupport::flowspecctl( arguments ).status, 2 ) << arguments.back();
   }
   EXPECT_EQ( TestSupport::flowspecctl( { "refresh", "--socket", "./x", "peer", "a" } ).err,
              "flowspecctl: error: --socket: stands after 'refresh peer'\n"
              "Try 'flowspecctl refresh peer --help'.\n" );
}

} // namespace
} // namespace Flowspec
