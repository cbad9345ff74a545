#include "Flowspec/config/MatchSetBuilder.h"
#include "forms/TimeText.h"
#include "peers/RuleDeadlines.h"
#include "tests/agents/flowspecctl/StagedSystem.h"

#include <chrono>
#include <sstream>

#include <nlohmann/json.hpp>

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using TestSupport::Result;
using Zorv::AddressFamily;
using Zorv::IntfId;

constexpr const char* web = "0;ipv4;10.1.0.0/16;*;IP:=0L6;DP:=0L80|=1L443;";
constexpr const char* sets = "0;ipv4;IFSET:=3,17;10.2.0.0/16;*;";
constexpr const char* six = "7;ipv6;2001:db8::/32;*;";
constexpr const char* never = "0;ipv4;*;*;IP:=0L17;TCP:=0L2;";

class Show : public TestSupport::StagedSystem {
protected:
   Show() {
      const auto rule = config->vrfRuleConfigIs( 0 )->ruleIs( key( web ) );
      rule->ruleIdIs( 5 );
      std::vector< MatchComponent > components;
      EXPECT_FALSE( matchSetFromKey( key( web ), components ) );
      matchSetReplace( *rule, components );
      rule->trafficRateLimitIs( 1000 );
      ActionFieldSet fields;
      fields.trafficRateIs( true );
      rule->actionFieldSetIs( fields );
      config->vrfRuleConfigIs( 0 )->ruleIs( key( sets ) )->ruleIdIs( 6 );
      config->vrfRuleConfigIs( 7 )->ruleIs( key( six ) )->ruleIdIs( 8 );
      const auto infeasible = config->vrfRuleConfigIs( 0 )->infeasibleRuleIs( key( never ) );
      infeasible->ruleIdIs( 7 );
      infeasible->matchCompTypeIs( tcpFlags );

      report( web, programmed, "" );
      report( sets, intfSetResourceExhausted, "no room\n" );
      report( six, unsupportedTcamProfile, "" );
      count( web, 12, 3456 );
      count( six, 1, 60 );
      counter->timestampIs( 1763774710.5 );
   }

   void report( const char* rule, HwRuleProgrammingStatus code, const char* reason ) {
      const auto ruleStatus =
         status->vrfRuleStatusIs( key( rule ).vrfId() )->ruleStatusIs( key( rule ) );
      ruleStatus->statusCodeIs( code );
      ruleStatus->errorReasonIs( reason );
      ruleStatus->versionIs( Osk::UniqueId( 0xABC ) );
   }

   void count( const char* rule, U64 packets, U64 bytes ) {
      QosLib::ColoredCounters counters;
      counters.packetHitsIs( packets );
      counters.byteHitsIs( bytes );
      counter->snapshotIs( key( rule ), { counters, Osk::UniqueId( 0xABC ) } );
   }

   Vek::String good( std::vector< Vek::String > arguments ) {
      arguments.insert( arguments.begin(), "show" );
      const Result result = ctl( std::move( arguments ) );
      EXPECT_EQ( result.status, 0 );
      EXPECT_EQ( result.err, "" );
      return result.out;
   }

   // The lines after the heading.
   std::vector< Vek::String > rows( std::vector< Vek::String > arguments ) {
      std::istringstream text( good( std::move( arguments ) ) );
      std::vector< Vek::String > lines;
      for ( Vek::String line; std::getline( text, line ); ) {
         lines.push_back( line );
      }
      EXPECT_GE( lines.size(), 2U );
      return lines.size() < 2 ? lines : std::vector( lines.begin() + 2, lines.end() );
   }
};

TEST_F( Show, RulesWithTheirActions ) {
   EXPECT_EQ(
      good( { "rules" } ),
      "     VRF  family  rule                                                action\n"
      "--------  ------  --------------------------------------------------  "
      "------------------------------\n"
      "       0  ipv4    10.1.0.0/16;*;IP:=6;DP:=80|=443;                    at most 1000 bytes/s\n"
      "       0  ipv4    IFSET:=3,17;10.2.0.0/16;*;                          permit\n"
      "       0  ipv4    *;*;IP:=17;TCP:=2;                                  matches no packet: "
      "tcpFlags\n"
      "       7  ipv6    2001:db8::/32;*;                                    permit\n" );
}

TEST_F( Show, FiltersLeaveRulesOut ) {
   EXPECT_EQ( rows( { "rules", "--vrf", "7" } ).size(), 1U );
   EXPECT_EQ( rows( { "rules", "--family", "ipv4" } ).size(), 3U );
   EXPECT_EQ( rows( { "rules", "--status", "programmed" } ).size(), 1U );
   EXPECT_EQ( rows( { "status", "--vrf", "0" } ).size(), 2U );
   EXPECT_EQ( rows( { "status", "--status", "programmed,unsupportedTcamProfile" } ).size(), 2U );
   EXPECT_EQ( rows( { "status", "--status", "unsupportedMatch" } ).size(), 0U );
   EXPECT_EQ( rows( { "counters", "--family", "ipv6" } ).size(), 3U );
   EXPECT_EQ( rows( { "counters", "--status", "programmed" } ).size(), 3U );
}

TEST_F( Show, StatusWithReasons ) {
   EXPECT_THAT(
      rows( { "status" } ),
      ElementsAre(
         "       0  ipv4    10.1.0.0/16;*;IP:=6;DP:=80|=443;          programmed",
         "       0  ipv4    IFSET:=3,17;10.2.0.0/16;*;                intfSetResourceExhausted: no "
         "room\\x0a",
         "       7  ipv6    2001:db8::/32;*;                          unsupportedTcamProfile" ) );
}

TEST_F( Show, CountersAsTheyWereLastRead ) {
   EXPECT_THAT(
      rows( { "counters" } ),
      ElementsAre( "       0  ipv4    10.1.0.0/16;*;IP:=6;DP:=80|=443;                       "
                   "        12             3456",
                   "       7  ipv6    2001:db8::/32;*;                                       "
                   "         1               60",
                   "", "read from hardware: 2025-11-22 01:25:10 UTC" ) );
}

TEST_F( Show, TheRulesWithMostBytes ) {
   count( six, 1, 9999 );
   const auto prefix = []( const Vek::String& row ) { return row.substr( 18, 9 ); };
   const auto one = rows( { "counters", "--top", "1" } );
   ASSERT_EQ( one.size(), 3U );
   EXPECT_EQ( prefix( one[0] ), "2001:db8:" );
   const auto both = rows( { "counters", "--top", "5" } );
   ASSERT_EQ( both.size(), 4U );
   EXPECT_EQ( prefix( both[0] ), "2001:db8:" );
   EXPECT_EQ( prefix( both[1] ), "10.1.0.0/" );
   EXPECT_EQ( prefix( rows( { "counters" } )[0] ), "10.1.0.0/" );
}

TEST_F( Show, WhatIsLeftOfRulesThatExpire ) {
   const auto deadlines = Peers::ruleDeadlinesFactory( "flowspec/config-deadlines" );
   const double now =
      std::chrono::duration< double >( std::chrono::system_clock::now().time_since_epoch() )
         .count();
   deadlines->deadlineIs( key( web ), now + 5000.4 );
   deadlines->deadlineIs( key( sets ), now - 10 );
   deadlines->deadlineIs( key( never ), 1e300 );
   Vek::log::Mount writer( database.endpoint(), "configd", *deadlines );
   ASSERT_TRUE( TestSupport::until( { &writer }, [&] { return writer.acknowledged(); } ) );
   EXPECT_THAT( good( { "rules" } ), testing::ContainsRegex( "1000 bytes/s, (4[89]..|5000) s" ) );
   EXPECT_THAT( good( { "rules" } ), HasSubstr( "permit, 0 s left" ) );
   std::istringstream lines( good( { "rules", "--json" } ) );
   std::map< Vek::String, nlohmann::json > rules;
   for ( Vek::String line; std::getline( lines, line ); ) {
      const auto rule = nlohmann::json::parse( line );
      rules[rule["cli"]] = rule;
   }
   const auto& first = rules.at( "10.1.0.0/16;*;IP:=6;DP:=80|=443;" );
   EXPECT_NEAR( first["secondsLeft"].get< double >(), 4950, 50 );
   EXPECT_NEAR(
      static_cast< double >(
         Forms::timeFromText( first["expires"].get< std::string >() )->time_since_epoch().count() ),
      now + 5000, 1.5 );
   EXPECT_EQ( rules.at( "10.2.0.0/16;*;" )["secondsLeft"], 0 );
   EXPECT_EQ( rules.at( "*;*;IP:=17;TCP:=2;" )["expires"], "9999-12-31T23:59:59Z" );
   EXPECT_FALSE( rules.at( "2001:db8::/32;*;" ).contains( "expires" ) );
}

TEST_F( Show, ObjectsOnLines ) {
   EXPECT_THAT(
      good( { "rules", "--json", "--status", "programmed" } ),
      R"({"key":{"vrfId":0,"addressFamily":"ipv4","destPrefix":"10.1.0.0/16","srcPrefix":null,)"
      R"("interfaceSet":[],"terms":[{"type":"ipProto","op":129,"value":6},)"
      R"({"type":"destPort","op":1,"value":80},{"type":"destPort","op":145,"value":443}]},)"
      R"("cli":"10.1.0.0/16;*;IP:=6;DP:=80|=443;","ruleId":5,"action":{"rateLimit":{"bytes":1000}}})"
      "\n" );
   EXPECT_THAT( good( { "rules", "--json" } ),
                HasSubstr( R"("cli":"*;*;IP:=17;TCP:=2;","ruleId":7,"infeasible":"tcpFlags"})" ) );
   EXPECT_THAT( good( { "status", "--json" } ),
                HasSubstr( R"("status":"intfSetResourceExhausted","reason":"no room\\x0a",)"
                           R"("version":"0000000000000abc"})" ) );
   EXPECT_THAT( good( { "counters", "--json", "--vrf", "7" } ),
                HasSubstr( R"("cli":"2001:db8::/32;*;","packets":1,"bytes":60,)"
                           R"("version":"0000000000000abc","timestamp":1763774710.5})" ) );
}

TEST_F( Show, ARuleWithAllThatIsKnown ) {
   EXPECT_EQ(
      good( { "rule", "10.1.0.0/16;*;IP:=6;DP:=80|=443;" } ),
      "VRF           0\n"
      "family        ipv4\n"
      "cli           10.1.0.0/16;*;IP:=6;DP:=80|=443;\n"
      "cli-len       10.1.0.0/16;*;IP:=0L6;DP:=0L80|=1L443;\n"
      "value         0;ipv4;10.1.0.0/16;*;IP:=0L6;DP:=0L80|=1L443;\n"
      "diag          0;ipv4;10.1.0.0/16;;58785798;83951696;93389243;\n"
      "detail        Destination Prefix: 10.1.0.0/16;Source Prefix: *;IP Protocol: =6;"
      "Destination Port: =80 | =443;\n"
      "words         0x03810006 0x05010050 0x059101bb\n"
      "root          flowspec/config\n"
      "rule id       5\n"
      "match set     destPrefix 10.1.0.0/16\n"
      "              ipProto 6\n"
      "              destPort 80,443\n"
      "action        at most 1000 bytes/s\n"
      "status        programmed\n"
      "version       0000000000000abc\n"
      "counters      12 packets, 3456 bytes, read from hardware: 2025-11-22 01:25:10 UTC\n" );
   const auto object =
      nlohmann::json::parse( good( { "rule", "--json", "--from", "value", web } ) );
   EXPECT_EQ( object["value"], web );
   EXPECT_EQ( object["matchSet"].dump(),
              R"({"destPort":[[80,80],[443,443]],"destPrefix":"10.1.0.0/16","ipProto":[[6,6]]})" );
   EXPECT_EQ( object["action"].dump(), R"({"rateLimit":{"bytes":1000}})" );
   EXPECT_EQ( object["status"], "programmed" );
   EXPECT_EQ( object["packets"], 12 );
   EXPECT_EQ( object["root"], "flowspec/config" );
   EXPECT_FALSE( object.contains( "hides" ) );
}

// Of a key in several roots the first one counts.
TEST_F( Show, ARuleSaysWhichRootItIsFromAndWhatItHides ) {
   const auto bgp = configFactory( "flowspec/bgp" );
   Vek::log::Mount bgpWriter( database.endpoint(), "peerd", *bgp );
   bgp->vrfRuleConfigIs( 0 )->ruleIs( key( sets ) )->trafficRateLimitIs( 5 );
   ActionFieldSet drop;
   drop.trafficDropIs( true );
   bgp->vrfRuleConfigIs( 0 )->rule( key( sets ) )->actionFieldSetIs( drop );
   bgp->vrfRuleConfigIs( 0 )->ruleIs( key( "0;ipv4;10.9.0.0/16;*;" ) )->ruleIdIs( 77 );
   bgp->vrfRuleConfigIs( 0 )->infeasibleRuleIs( key( never ) )->matchCompTypeIs( tcpFlags );
   EXPECT_TRUE( TestSupport::until( { &bgpWriter }, [&] { return bgpWriter.allSent(); } ) );
   EXPECT_THAT( good( { "rule", "10.2.0.0/16;*;" } ),
                HasSubstr( "root          flowspec/config\n"
                           "rule id       6\n"
                           "action        permit\n"
                           "hides         flowspec/bgp: drop\n"
                           "status        intfSet" ) );
   EXPECT_THAT( good( { "rule", "10.9.0.0/16;*;" } ), HasSubstr( "root          flowspec/bgp\n"
                                                                 "rule id       77\n"
                                                                 "action        permit\n" ) );
   EXPECT_THAT( good( { "rule", "*;*;IP:=17;TCP:=2;" } ),
                HasSubstr( "match set     matches no packet: tcpFlags\n"
                           "hides         flowspec/bgp: matches no packet: tcpFlags\n" ) );
   const auto object = nlohmann::json::parse( good( { "rule", "--json", "10.2.0.0/16;*;" } ) );
   EXPECT_EQ( object["root"], "flowspec/config" );
   EXPECT_EQ( object["hides"].dump(),
              R"([{"action":{"drop":true},"matchSet":{},"root":"flowspec/bgp","ruleId":0}])" );
   // In the order in which they are given, and only those.
   EXPECT_THAT( good( { "rule", "--config-root", "flowspec/bgp", "--config-root", "flowspec/config",
                        "10.2.0.0/16;*;" } ),
                HasSubstr( "root          flowspec/bgp\n"
                           "rule id       0\n"
                           "action        drop\n"
                           "hides         flowspec/config: permit\n" ) );
   EXPECT_EQ( ctl( { "show", "rule", "--config-root", "flowspec/config", "10.9.0.0/16;*;" } ).err,
              "KEY: error: there is no such rule\n" );
   EXPECT_EQ( ctl( { "show", "rule", "--config-root", "none", "10.9.0.0/16;*;" } ).err,
              "flowspecctl: error: none: the state database has no such root\n" );
}

TEST_F( Show, ARuleIsNamedInAnyForm ) {
   config->vrfRuleConfigIs( 7 )->ruleIs( key( "7;ipv6;*;*;IP:=0L17;TCP:=0L2;" ) );
   const Vek::String both = good( { "rule", "*;*;IP:=17;TCP:=2;" } );
   EXPECT_THAT( both, StartsWith( "VRF           0\n" ) );
   EXPECT_THAT( both,
                HasSubstr( "match set     matches no packet: tcpFlags\n\nVRF           7\n" ) );
   EXPECT_THAT( good( { "rule", "--vrf", "7", "*;*;IP:=17;TCP:=2;" } ),
                StartsWith( "VRF           7\n" ) );
   EXPECT_THAT( good( { "rule", "--from", "diag", key( sets ).toStrep() } ),
                HasSubstr( "status        intfSetResourceExhausted: no room\\x0a\n" ) );
   const Result absent = ctl( { "show", "rule", "10.9.0.0/16;*;" } );
   EXPECT_EQ( absent.status, 1 );
   EXPECT_EQ( absent.err, "KEY: error: there is no such rule\n" );
   const Result bad = ctl( { "show", "rule", "10.9.0.0/16;*;XX:=1;" } );
   EXPECT_EQ( bad.status, 1 );
   EXPECT_EQ( bad.err, "KEY: error: Did not find a valid component label in XX:=1\n" );
}

TEST_F( Show, InterfacesAndSets ) {
   status->vrfRuleStatusIs( 0 )->activeIntfPerAfIs( AddressFamily::ipv4 )->intfIs( IntfId( 1 ) );
   status->vrfRuleStatusIs( 7 )->intfErrorIs( { IntfId( 2 ), AddressFamily::ipv6 }, "no such VRF" );
   status->interfaceSetIs( 3 )->intfIs( IntfId( 1 ) );
   status->interfaceSetIs( 17 );
   EXPECT_EQ( ctl( { "enable", "3", "--family", "ipv6" } ).status, 0 );
   EXPECT_EQ( ctl( { "interface-set", "intf1", "17", "3" } ).status, 0 );
   EXPECT_EQ(
      good( { "interfaces" } ),
      "interface     family       VRF  rules are                                       interface "
      "sets\n"
      "------------  ------  --------  ----------------------------------------------  "
      "--------------------\n"
      "intf1         ipv4           0  applied                                         3,17\n"
      "intf2         ipv6           7  not applied: no such VRF\n"
      "intf3         ipv6           -  not reported\n"
      "\n"
      "set in use    interfaces\n"
      "------------  "
      "--------------------------------------------------------------------------------------\n"
      "3             intf1\n"
      "17\n" );
   EXPECT_EQ( good( { "interfaces", "--json", "--vrf", "7" } ),
              R"({"intf":"intf2","addressFamily":"ipv6","vrfId":7,"active":false,)"
              R"("error":"no such VRF","interfaceSet":[]})"
              "\n"
              R"({"interfaceSet":3,"intf":["intf1"]})"
              "\n"
              R"({"interfaceSet":17,"intf":[]})"
              "\n" );
}

TEST_F( Show, WhatHardwareCannotDo ) {
   EXPECT_THAT( good( { "unsupported" } ),
                StartsWith( "Flow specification is not supported at all.\n\nfamily" ) );
   status->flowspecSupportedIs( true );
   UnsupportedQual unsupported( AddressFamily::ipv6 );
   unsupported.qualIs( flowLabel, "not in the profile" );
   ActionFieldSet actions;
   actions.trafficMarkingIs( true );
   actions.invalidIs( true );
   unsupported.unsupportedActionsIs( actions );
   status->unsupportedQualIs( unsupported );
   EXPECT_THAT( rows( { "unsupported" } ),
                ElementsAre( "ipv6    match flowLabel          not in the profile",
                             "ipv6    action invalid", "ipv6    action trafficMarking" ) );
   EXPECT_EQ( good( { "unsupported", "--json" } ),
              R"({"flowspecSupported":true,"unsupported":[{"addressFamily":"ipv6",)"
              R"("qualifiers":{"flowLabel":"not in the profile"},)"
              R"("actions":["invalid","trafficMarking"]}]})"
              "\n" );
}

TEST_F( Show, SaysWhatIsNotThere ) {
   const Result absent = ctl( { "show", "rules", "--config-root", "nothing" } );
   EXPECT_EQ( absent.status, 1 );
   EXPECT_EQ( absent.err, "flowspecctl: error: nothing: the state database has no such root\n" );
   const Result other = ctl( { "show", "rules", "--config-root", "flowspec/status" } );
   EXPECT_EQ( other.status, 1 );
   EXPECT_EQ( other.err, "flowspecctl: error: flowspec/status: this is a Flowspec::Status and no "
                         "Flowspec::Config\n" );
   database.process().kill();
   const Result dead = ctlAsItIs( { "show", "status" } );
   EXPECT_EQ( dead.status, 1 );
   EXPECT_EQ( dead.err, "flowspecctl: error: flowspec/status: cannot connect to " +
                           database.endpoint().text() + ": Connection refused\n" );
}

TEST_F( Show, WrongUsageIsStatus2 ) {
   for ( const std::vector< Vek::String >& arguments :
         { std::vector< Vek::String >{},
           { "nothing" },
           { "rule" },
           { "rules", "--vrf", "-1" },
           { "status", "--status", "done" },
           { "counters", "--rate", "0" },
           { "counters", "--top", "0" },
           { "counters", "--top", "many" },
           { "interfaces", "--status", "programmed" } } ) {
      std::vector< Vek::String > all{ "show" };
      all.insert( all.end(), arguments.begin(), arguments.end() );
      EXPECT_EQ( TestSupport::flowspecctl( all ).status, 2 );
   }
}

} // namespace
} // namespace Flowspec
