#include "Vek/text/Text.h"
#include "tests/tools/flowspecctl/Run.h"

#include <gtest/gtest.h>

namespace {

using TestSupport::flowspecctl;
using TestSupport::Folder;
using TestSupport::Result;

Result explain( std::vector< Vek::String > arguments ) {
   arguments.insert( arguments.begin(), "explain" );
   return flowspecctl( std::move( arguments ) );
}

void expectOut( std::vector< Vek::String > arguments, const Vek::String& out ) {
   const Result result = explain( std::move( arguments ) );
   EXPECT_EQ( result.out, out );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 );
}

TEST( ExplainCommand, TellsWhatARuleMatches ) {
   expectOut( { "--alone", "10.1.0.0/16;*;DP:=80|>8079&<8090;TCP:2;" },
              "rule          10.1.0.0/16;*;DP:=80|>8079&<8090;TCP:2;\n"
              "family        ipv4\n"
              "destPrefix    destination in 10.1.0.0/16\n"
              "destPort      destination port 80, or 8080 to 8089\n"
              "tcpFlags      TCP flags: SYN set\n"
              "matches       packets such as ipv4 tcp 192.0.2.2:0 > 10.1.0.0:80 length 34 "
              "flags 0x2\n" );
   expectOut( { "--alone", "--family", "ipv4", "*;*;FRAG:2;", "*;*;" },
              "rule          *;*;FRAG:2;\n"
              "family        ipv4\n"
              "fragment      fragment flags: is-fragment set\n"
              "matches       packets such as ipv4 proto 0 192.0.2.2 > 192.0.2.1 length 20 "
              "fragment 0x2\n"
              "\n"
              "rule          *;*;\n"
              "family        ipv4\n"
              "matches       every packet of the family\n" );
}

TEST( ExplainCommand, NamesTheComponentThatCannotHold ) {
   expectOut(
      { "--alone", "--family", "ipv4", "*;*;IP:=17;TCP:2;", "*;*;IP:=300;", "*;*;LEN:<20;" },
      "rule          *;*;IP:=17;TCP:2;\n"
      "family        ipv4\n"
      "ipProto       protocol UDP\n"
      "tcpFlags      TCP flags: SYN set\n"
      "matches       no packet: tcpFlags cannot hold\n"
      "\n"
      "rule          *;*;IP:=300;\n"
      "family        ipv4\n"
      "ipProto       protocol: no value\n"
      "warning       value 300 of ipProto is above 255, the highest that a packet has\n"
      "matches       no packet: ipProto cannot hold\n"
      "\n"
      "rule          *;*;LEN:<20;\n"
      "family        ipv4\n"
      "packetLength  length in bytes 0 to 19\n"
      "matches       no packet\n" );
}

TEST( ExplainCommand, NamesTheRulesThatHideItAndThatItHides ) {
   const Folder folder;
   const Vek::String file = folder.file( "rules.cli", "10.1.2.0/24;*;DP:=80;\n"
                                                      "10.1.0.0/16;*;IP:=6;DP:=80|=443;\n"
                                                      "*;*;DP:=443;\n"
                                                      "11.0.0.0/8;*;\n"
                                                      "10.1.0.0/16;*;IP:=6;DP:=80;\n" );
   expectOut(
      { "--rules", file, "--family", "ipv4", "10.1.0.0/16;*;IP:=6;DP:=80;" },
      "rule          10.1.0.0/16;*;IP:=6;DP:=80;\n"
      "family        ipv4\n"
      "destPrefix    destination in 10.1.0.0/16\n"
      "ipProto       protocol TCP\n"
      "destPort      destination port 80\n"
      "matches       packets such as ipv4 tcp 192.0.2.2:0 > 10.1.0.0:80 length 34\n"
      "hidden by     " +
         file +
         ":1: 10.1.2.0/24;*;DP:=80; in part, as ipv4 tcp 192.0.2.2:0 > 10.1.2.0:80 "
         "length 34\n"
         "hidden by     " +
         file +
         ":2: 10.1.0.0/16;*;IP:=6;DP:=80|=443; wholly, as ipv4 tcp 192.0.2.2:0 > 10.1.0.0:80 "
         "length 34\n" );
}

TEST( ExplainCommand, ARuleThatContinuesHidesNone ) {
   const Folder folder;
   const Vek::String rule = R"({"vrfId":0,"addressFamily":"ipv4","destPrefix":null,)"
                            R"("srcPrefix":null,"interfaceSet":[],)"
                            R"("terms":[{"type":"ipProto","op":129,"value":6}],"action":{)";
   const Vek::String other = "{\"vrfId\":0,\"addressFamily\":\"ipv4\",\"destPrefix\":null,"
                             "\"srcPrefix\":null,\"interfaceSet\":[],\"terms\":[]}";
   const auto hides = [&]( const char* action ) {
      const Vek::String file = folder.file( "rules.jsonl", rule + action + "}}\n" );
      const Result result = explain( { "--rules", file, "--from", "json", other } );
      EXPECT_EQ( result.err, "" );
      return result.out.find( "\nhidden by " ) != Vek::String::npos;
   };
   EXPECT_TRUE( hides( "" ) );
   EXPECT_FALSE( hides( "\"continue\":true" ) );
}

TEST( ExplainCommand, RulesOfOtherInterfacesDoNotHide ) {
   const Folder folder;
   const auto relation = [&]( const char* sets ) {
      const Vek::String file = folder.file(
         "rules.value", Vek::concat( "0;ipv4;", sets, "10.0.0.0/8;*;IP:=0L6;DP:=0L80|=1L443;\n" ) );
      const Result result = explain(
         { "--rules", file, "--from", "value", "0;ipv4;IFSET:=3;10.0.0.0/8;*;IP:=0L6;DP:=0L80;" } );
      EXPECT_EQ( result.err, "" );
      return result.out.find( " wholly" ) != Vek::String::npos    ? "wholly"
             : result.out.find( " in part" ) != Vek::String::npos ? "in part"
                                                                  : "none";
   };
   EXPECT_STREQ( relation( "" ), "wholly" );
   EXPECT_STREQ( relation( "IFSET:=3,4;" ), "wholly" );
   EXPECT_STREQ( relation( "IFSET:=4;" ), "none" );
   EXPECT_STREQ( relation( "IFSET:=4,5;" ), "none" );
}

TEST( ExplainCommand, TellsWhatTheProfileMakesOfIt ) {
   const Folder folder;
   const Vek::String profile = folder.file(
      "profile.json", R"({"capacity":100,"interfaceSets":4,"ipv4":{"qualifiers":["destPrefix",)"
                      R"("destPort"],"actions":["trafficDrop"]}})" );
   expectOut(
      { "--alone", "--profile", profile, "10.0.0.0/8;*;DP:>=1&<=6;", "10.0.0.0/8;*;TCP:2;" },
      "rule          10.0.0.0/8;*;DP:>=1&<=6;\n"
      "family        ipv4\n"
      "destPrefix    destination in 10.0.0.0/8; 1 entry\n"
      "destPort      destination port 1 to 6; 4 entries\n"
      "matches       packets such as ipv4 tcp 192.0.2.2:0 > 10.0.0.0:1 length 34\n"
      "profile       unsupportedMatch: the profile cannot match on ipProto; 8 entries\n"
      "\n"
      "rule          10.0.0.0/8;*;TCP:2;\n"
      "family        ipv4\n"
      "destPrefix    destination in 10.0.0.0/8; 1 entry\n"
      "tcpFlags      TCP flags: SYN set; the profile cannot match on it\n"
      "matches       packets such as ipv4 tcp 192.0.2.2:0 > 10.0.0.0:0 length 34 flags 0x2\n"
      "profile       unsupportedMatch: the profile cannot match on ipProto, tcpFlags; "
      "1 entry\n" );
   const Vek::String bad = folder.file( "bad.json", "{}" );
   const Result result = explain( { "--alone", "--profile", bad, "10.0.0.0/8;*;" } );
   EXPECT_EQ( result.err, bad + ":1: error: capacity: missing\n" );
   EXPECT_EQ( result.status, 1 );
}

TEST( ExplainCommand, TellsWhatNftablesMakesOfIt ) {
   expectOut( { "--alone", "--backend", "nftables", "*;10.0.0.0/8;IP:=17;" },
              "rule          *;10.0.0.0/8;IP:=17;\n"
              "family        ipv4\n"
              "srcPrefix     source in 10.0.0.0/8; ip saddr 10.0.0.0/8\n"
              "ipProto       protocol UDP; meta l4proto 17\n"
              "matches       packets such as ipv4 udp 10.0.0.0:0 > 192.0.2.1:0 length 24\n"
              "nftables      programmed; no kernel was asked what it can do\n"
              "              table ip flowspec {\n"
              "              \tcounter rule {\n"
              "              \t\tpackets 0 bytes 0\n"
              "              \t}\n"
              "              \tmap interfaces {\n"
              "              \t\ttype ifname : verdict\n"
              "              \t\telements = { \"eth0\" : goto vrf0 }\n"
              "              \t}\n"
              "              \tmap vrf0-destinations {\n"
              "              \t\ttype ipv4_addr : verdict\n"
              "              \t\tflags interval\n"
              "              \t}\n"
              "              \tchain prerouting {\n"
              "              \t\ttype filter hook prerouting priority -450; policy accept;\n"
              "              \t\tiifname vmap @interfaces\n"
              "              \t}\n"
              "              \tchain vrf0 {\n"
              "              \t\tip daddr vmap @vrf0-destinations\n"
              "              \t\tgoto vrf0-any\n"
              "              \t}\n"
              "              \tchain vrf0-any {\n"
              "              \t\tip saddr 10.0.0.0/8 meta l4proto 17 counter name \"rule\" accept\n"
              "              \t}\n"
              "              }\n" );
}

TEST( ExplainCommand, TellsWhatNftablesRefuses ) {
   const Folder folder;
   const Vek::String profile = folder.file(
      "kernel.json", R"({"capacity":100,"interfaceSets":4,"ipv4":{"qualifiers":["destPrefix",)"
                     R"("ipProto"],"actions":["trafficRate"]}})" );
   expectOut(
      { "--alone", "--backend", "nftables", "--profile", profile, "10.0.0.0/8;*;TCP:2;" },
      "rule          10.0.0.0/8;*;TCP:2;\n"
      "family        ipv4\n"
      "destPrefix    destination in 10.0.0.0/8; looked up in a map\n"
      "tcpFlags      TCP flags: SYN set; the profile cannot match on it\n"
      "matches       packets such as ipv4 tcp 192.0.2.2:0 > 10.0.0.0:0 length 34 flags 0x2\n"
      "nftables      unsupportedMatch: the profile cannot match on tcpFlags; by the recorded "
      "profile of a kernel\n" );
   const Vek::String rule = R"({"vrfId":0,"addressFamily":"ipv4","destPrefix":"10.0.0.0/8",)"
                            R"("srcPrefix":null,"interfaceSet":[],"terms":[],"action":)";
   const Result result = explain( { "--alone", "--backend", "nftables", "--json", "--from", "json",
                                    rule + R"({"rateLimit":{"bytes":1e12}}})",
                                    rule + R"({"redirect":{"vrf":255}}})" } );
   EXPECT_EQ( result.err, "" );
   EXPECT_NE(
      result.out.find( R"("nftables":{"status":"unsupportedAction","reason":"the rate is )"
                       R"(more than 18000000000 bytes a second","recordedProfile":false})" ),
      Vek::String::npos );
   EXPECT_NE(
      result.out.find( R"("nftables":{"status":"unsupportedAction","reason":"the routing )"
                       R"(table 255 is in use for something else","recordedProfile":false})" ),
      Vek::String::npos );
   EXPECT_EQ( explain( { "--alone", "--backend", "tcam", "*;*;" } ).status, 2 );
}

TEST( ExplainCommand, TellsWhatHadBetterNotBeTouched ) {
   expectOut( { "--alone", "--protect", "10.1.0.0/16", "--protect", "2001:db8::/32", "--session",
                "192.0.2.9", "--session", "192.0.2.10", "10.1.2.0/24;192.0.2.9/32;SP:=179;" },
              "rule          10.1.2.0/24;192.0.2.9/32;SP:=179;\n"
              "family        ipv4\n"
              "destPrefix    destination in 10.1.2.0/24\n"
              "srcPrefix     source in 192.0.2.9/32\n"
              "srcPort       source port 179\n"
              "matches       packets such as ipv4 tcp 192.0.2.9:179 > 10.1.2.0:0 length 34\n"
              "protected     10.1.0.0/16, as ipv4 tcp 192.0.2.9:179 > 10.1.2.0:0 length 34\n"
              "session       192.0.2.9, as ipv4 tcp 192.0.2.9:179 > 10.1.2.0:179 length 34\n" );
}

TEST( ExplainCommand, WritesObjects ) {
   const Folder folder;
   const Vek::String file = folder.file( "rules.cli", "10.0.0.0/8;*;IP:=6;\n" );
   expectOut(
      { "--rules", file, "--json", "--protect", "10.0.0.0/8", "--family", "ipv4",
        "10.0.0.0/8;*;IP:=6;FRAG:2;", "*;*;IP:=1;DP:=80;" },
      R"({"cli":"10.0.0.0/8;*;IP:=6;FRAG:2;","vrfId":0,"addressFamily":"ipv4","components":[)"
      R"({"type":"destPrefix","text":"10.0.0.0/8","words":"destination in 10.0.0.0/8"},{"type":"ipProto","text":"6","words":"protocol TCP"},)"
      R"({"type":"fragment","text":"is-fragment:1","words":"fragment flags: is-fragment set"}],"matches":"some",)"
      R"("packet":"ipv4 tcp 192.0.2.2 > 10.0.0.0 length 20 fragment 0x2","hiddenBy":[],)"
      R"("hiddenByMore":0,"hides":[{"place":")" +
         file +
         R"(:1","cli":"10.0.0.0/8;*;IP:=6;","wholly":false,)"
         R"("packet":"ipv4 tcp 192.0.2.2 > 10.0.0.0 length 20 fragment 0x2"}],"hidesMore":0,)"
         R"("touches":[{"what":"protected","of":"10.0.0.0/8",)"
         R"("packet":"ipv4 tcp 192.0.2.2 > 10.0.0.0 length 20 fragment 0x2"}]})"
         "\n"
         R"({"cli":"*;*;IP:=1;DP:=80;","vrfId":0,"addressFamily":"ipv4","components":[)"
         R"({"type":"ipProto","text":"1","words":"protocol ICMP"},{"type":"destPort","text":"80","words":"destination port 80"}],"matches":"nothing",)"
         R"("infeasible":"destPort","hiddenBy":[],"hiddenByMore":0,"hides":[],"hidesMore":0,)"
         R"("touches":[]})"
         "\n" );
}

TEST( ExplainCommand, TakesTheFamilyOfPrefixes ) {
   const Folder folder;
   const Vek::String file = folder.file( "rules.cli", "10.0.0.0/8;*;\n*;*;\n" );
   const Result result = explain( { "--rules", file, "10.0.0.0/8;*;DP:=80;" } );
   EXPECT_NE( result.out.find( "hides         " + file + ":1: 10.0.0.0/8;*; in part, as " ),
              Vek::String::npos );
   EXPECT_EQ( result.err, file + ":2: error: the rule does not tell its address family: give "
                                 "--family\n" );
   EXPECT_EQ( result.status, 1 );
}

TEST( ExplainCommand, NamesNoMoreThanTwentyOthers ) {
   const Folder folder;
   Vek::String rules;
   for ( unsigned host = 1; host <= 23; ++host ) {
      rules += Vek::concat( "10.0.0.", host, "/32;*;\n" );
   }
   const Vek::String file = folder.file( "rules.cli", rules );
   const Result result = explain( { "--rules", file, "--family", "ipv4", "10.0.0.0/24;*;" } );
   EXPECT_NE( result.out.find( "20: 10.0.0.20/32;*; in part" ), Vek::String::npos );
   EXPECT_EQ( result.out.find( "21: 10.0.0.21/32;*;" ), Vek::String::npos );
   EXPECT_TRUE( result.out.ends_with( "\nhidden by     3 more\n" ) ) << result.out;
}

TEST( ExplainCommand, ReportsWhatCannotBeRead ) {
   const Folder folder;
   const Vek::String file = folder.file( "rules.cli", "10.0.0.0/8;*;\n*;*;IP:=x;\n" );
   const Result result = explain( { "--rules", file, "--family", "ipv4", "*;*;IP:=", "*;*;" } );
   EXPECT_EQ( result.err, file + ":2:9: error: Unexpected character x\n"
                                 "RULE:1: error:  Missing value in IP:=\n" );
   EXPECT_NE( result.out.find( "hidden by     " + file + ":1: 10.0.0.0/8;*; in part" ),
              Vek::String::npos );
   EXPECT_EQ( result.status, 1 );
   const Result noFamily = explain( { "--alone", "*;*;" } );
   EXPECT_EQ( noFamily.err,
              "RULE:1: error: the rule does not tell its address family: give --family\n" );
   const Result mixed = explain( { "--alone", "10.0.0.0/8;2001:db8::/32;" } );
   EXPECT_EQ( mixed.err,
              "RULE:1: error: the rule and its prefixes are not of one address family\n" );
   EXPECT_EQ( explain( { "--alone" } ).status, 2 );
   EXPECT_EQ( explain( { "--alone", "--protect", "10/8", "*;*;" } ).err,
              "flowspecctl: error: --protect: '10/8' is not a prefix\nTry 'flowspecctl explain "
              "--help'.\n" );
}

} // namespace
