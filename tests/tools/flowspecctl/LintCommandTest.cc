#include "Vek/text/Text.h"
#include "tests/tools/flowspecctl/Run.h"

#include <gtest/gtest.h>

namespace {

using TestSupport::flowspecctl;
using TestSupport::Folder;
using TestSupport::Result;

Result lint( std::vector< Vek::String > arguments ) {
   arguments.insert( arguments.begin(), "lint" );
   return flowspecctl( std::move( arguments ) );
}

// The output with `FILE` for the name of the file.
Result lintOf( const Vek::String& name, const Vek::String& text,
               std::vector< Vek::String > arguments = {} ) {
   const Folder folder;
   const Vek::String file = folder.file( name, text );
   arguments.push_back( file );
   Result result = lint( std::move( arguments ) );
   for ( std::size_t at = 0; ( at = result.out.find( file, at ) ) != result.out.npos; ) {
      result.out.replace( at, file.size(), "FILE" );
   }
   return result;
}

void expectOut( const Vek::String& name, const Vek::String& text,
                std::vector< Vek::String > arguments, const Vek::String& out, int status ) {
   const Result result = lintOf( name, text, std::move( arguments ) );
   EXPECT_EQ( result.out, out );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, status );
}

TEST( LintCommand, SaysNothingOfGoodRules ) {
   expectOut( "rules.cli", "# comment\n10.0.0.0/8;*;DP:=80;\n11.0.0.0/8;*;DP:=80;\n", {}, "", 0 );
}

TEST( LintCommand, FindsWhatIsWrongWithARuleAlone ) {
   expectOut( "rules.cli",
              "10.0.0.0/8;*;IP:=tcp;\n"
              "*;*;DP:=80;\n"
              "10.0.0.0/8;*;IP:=17;TCP:2;\n"
              "10.0.0.0/8;*;IP:=300;\n"
              "10.0.0.0/8;*;LEN:<20;\n"
              "0.0.0.0/0;*;\n"
              "10.0.0.0/8;2001:db8::/32;\n"
              "11.0.0.0/8;*;DSCP:=110;\n",
              {},
              "FILE:1:18: error: Unexpected character t: 'tcp' is 6 [unreadable]\n"
              "FILE:2: error: the rule does not tell its address family: give --family "
              "[unreadable]\n"
              "FILE:3: warning: matches no packet: tcpFlags cannot hold [matches-nothing]\n"
              "FILE:4: warning: value 300 of ipProto is above 255, the highest that a packet has "
              "[beyond-field]\n"
              "FILE:4: warning: matches no packet: ipProto cannot hold [matches-nothing]\n"
              "FILE:5: warning: matches no packet [matches-nothing]\n"
              "FILE:6: warning: matches every packet of its family [matches-everything]\n"
              "FILE:6: note: FILE:8, 11.0.0.0/8;*;DSCP:=110; takes some of its packets, as ipv4 "
              "tcp 192.0.2.2:0 > 11.0.0.0:0 length 34 dscp 46 [partly-hidden]\n"
              "FILE:7: error: the rule and its prefixes are not of one address family "
              "[unreadable]\n"
              "FILE:8: warning: value 110 of dscp has more than 6 bits: it counts as 46 "
              "[beyond-field]\n",
              1 );
}

TEST( LintCommand, FindsHiddenRules ) {
   expectOut( "rules.cli",
              "10.0.0.0/8;*;IP:=6;DP:=80|=443;\n"
              "10.0.0.0/8;*;IP:=6;DP:=80;\n"
              "10.0.0.0/8;*;IP:=6;DP:=443|=80;\n"
              "10.0.0.0/8;*;IP:=6;SP:=53;\n",
              {},
              "FILE:2: warning: FILE:1, 10.0.0.0/8;*;IP:=6;DP:=80|=443; takes all of its packets, "
              "as ipv4 tcp 192.0.2.2:0 > 10.0.0.0:80 length 34 [hidden]\n"
              "FILE:3: warning: FILE:1, 10.0.0.0/8;*;IP:=6;DP:=80|=443; has the same packets and "
              "action, as ipv4 tcp 192.0.2.2:0 > 10.0.0.0:80 length 34 [double]\n"
              "FILE:4: note: FILE:2, 10.0.0.0/8;*;IP:=6;DP:=80; takes some of its packets, as "
              "ipv4 tcp 192.0.2.2:53 > 10.0.0.0:80 length 34 [partly-hidden]\n",
              1 );
   // Notes are no reason to fail.
   expectOut( "rules.cli", "10.1.0.0/16;*;\n10.0.0.0/8;*;\n", {},
              "FILE:2: note: FILE:1, 10.1.0.0/16;*; takes some of its packets, as ipv4 tcp "
              "192.0.2.2:0 > 10.1.0.0:0 length 34 [partly-hidden]\n",
              0 );
   expectOut( "rules.cli", "10.1.0.0/16;*;\n10.0.0.0/8;*;\n", { "--ignore", "partly-hidden" }, "",
              0 );
}

// A line of `configd`: TCP to a prefix, or all of it.
Vek::String lineOf( const char* destination, bool tcp, const char* action ) {
   return Vek::concat( R"({"vrfId":0,"addressFamily":"ipv4","destPrefix":")", destination,
                       R"(","srcPrefix":null,"interfaceSet":[],"terms":[)",
                       tcp ? R"({"type":"ipProto","op":129,"value":6})" : "", R"(],"action":{)",
                       action, "}}\n" );
}

TEST( LintCommand, FindsRulesThatContradict ) {
   const Vek::String port = R"({"vrfId":0,"addressFamily":"ipv4","destPrefix":"10.0.0.0/8",)"
                            R"("srcPrefix":null,"interfaceSet":[],)"
                            R"("terms":[{"type":"destPort","op":129,"value":80}],"action":{}})"
                            "\n";
   const Vek::String found = "FILE:2: warning: FILE:1, 10.1.0.0/16;*;IP:=6; has another action for "
                             "some of its packets, and is tried first, as ipv4 tcp 192.0.2.2:0 > "
                             "10.1.0.0:80 length 34 [contradicts]\n";
   const Vek::String drop = lineOf( "10.1.0.0/16", true, "\"drop\":true" );
   expectOut( "rules.jsonl", drop + port, {}, found, 1 );
   expectOut( "rules.jsonl", drop + port, { "--ignore", "contradicts" }, "", 0 );
   // An exception is none.
   expectOut( "rules.jsonl", drop + lineOf( "10.0.0.0/8", true, "" ), {},
              "FILE:2: note: FILE:1, 10.1.0.0/16;*;IP:=6; takes some of its packets, as ipv4 tcp "
              "192.0.2.2:0 > 10.1.0.0:0 length 34 [partly-hidden]\n",
              0 );
}

TEST( LintCommand, ComparesTheRulesOfAllFiles ) {
   const Folder folder;
   const Vek::String first = folder.file( "first.jsonl", lineOf( "10.0.0.0/8", true, "" ) );
   const Vek::String second =
      folder.file( "second.jsonl", lineOf( "10.0.0.0/8", true, "\"drop\":true" ) );
   const Result result = lint( { first, second, folder.path() + "/none.cli" } );
   EXPECT_EQ( result.out,
              second + ":1: warning: " + first +
                 ":1, 10.0.0.0/8;*;IP:=6; has the same packets and another action, and is tried "
                 "first, as ipv4 tcp 192.0.2.2:0 > 10.0.0.0:0 length 34 [contradicts]\n" +
                 folder.path() + "/none.cli" +
                 ": error: cannot open: No such file or directory [unreadable]\n" );
   EXPECT_EQ( result.status, 1 );
}

TEST( LintCommand, AsksTheProfile ) {
   const Folder folder;
   const Vek::String profile = folder.file(
      "profile.json", R"({"capacity":3,"interfaceSets":4,"ipv4":{"qualifiers":["destPrefix",)"
                      R"("ipProto","destPort"],"actions":["trafficDrop"]}})" );
   expectOut( "rules.cli",
              "10.0.0.0/8;*;IP:=6;DP:>=1&<=6;\n"
              "10.0.0.0/8;*;IP:=6;TCP:2;LEN:<60;\n",
              { "--profile", profile, "--ignore", "partly-hidden" },
              "FILE:2: warning: unsupportedMatch: the profile cannot match on tcpFlags, "
              "packetLength [profile]\n" +
                 profile +
                 ": warning: the rules take 4 entries, and the hardware has 3 [profile]\n",
              1 );
}

TEST( LintCommand, AsksNftables ) {
   const Vek::String rules = lineOf( "10.0.0.0/8", true, R"("redirect":{"vrf":255})" ) +
                             lineOf( "11.0.0.0/8", true, R"("rateLimit":{"bytes":1e12})" ) +
                             lineOf( "12.0.0.0/8", true, R"("drop":true)" );
   const auto refused = []( const char* first ) {
      return Vek::concat(
         "FILE:1: warning: unsupportedAction: ", first,
         " [profile]\n"
         "FILE:2: warning: unsupportedAction: the rate is more than 18000000000 bytes a second "
         "[profile]\n" );
   };
   expectOut( "rules.jsonl", rules, { "--backend", "nftables" },
              refused( "the routing table 255 is in use for something else" ) +
                 "nftables: note: no kernel was asked what it can do [backend]\n",
              1 );
   const Folder folder;
   const Vek::String profile = folder.file(
      "kernel.json", R"({"capacity":0,"interfaceSets":4,"ipv4":{"qualifiers":["destPrefix",)"
                     R"("ipProto"],"actions":["trafficDrop","trafficRate"]}})" );
   expectOut( "rules.jsonl", rules, { "--backend", "nftables", "--profile", profile },
              refused( "the profile cannot do redirectVrf" ) + profile +
                 ": note: by the recorded profile of a kernel [backend]\n",
              1 );
}

TEST( LintCommand, TellsWhatHadBetterNotBeTouched ) {
   expectOut(
      "rules.cli", "10.1.2.0/24;192.0.2.9/32;SP:=179;\n",
      { "--protect", "10.1.0.0/16", "--session", "192.0.2.9" },
      "FILE:1: warning: touches packets to 10.1.0.0/16, as ipv4 tcp 192.0.2.9:179 > "
      "10.1.2.0:0 length 34 [protected]\n"
      "FILE:1: warning: touches the BGP session with 192.0.2.9, as ipv4 tcp 192.0.2.9:179 > "
      "10.1.2.0:179 length 34 [session]\n",
      1 );
}

TEST( LintCommand, WritesObjects ) {
   expectOut( "rules.cli", "10.0.0.0/8;*;IP:=6;\n10.0.0.0/8;*;IP:>5&<7;\n", { "--json" },
              R"({"file":"FILE","line":1,"level":"warning","kind":"double",)"
              R"("text":"FILE:2, 10.0.0.0/8;*;IP:>5&<7; has the same packets and action, as ipv4 )"
              R"(tcp 192.0.2.2:0 > 10.0.0.0:0 length 34","other":{"file":"FILE","line":2},)"
              R"("packet":"ipv4 tcp 192.0.2.2:0 > 10.0.0.0:0 length 34"})"
              "\n",
              1 );
   expectOut( "rules.exabgp", "flow route { match { destination 10/8; } }\n", { "--json" },
              R"({"file":"FILE","line":1,"level":"error","kind":"unreadable",)"
              R"("text":"expected a prefix, found '10'","column":34})"
              "\n",
              1 );
}

TEST( LintCommand, RefusesWrongUsage ) {
   EXPECT_EQ( lint( {} ).status, 2 );
   const Result result = lint( { "--ignore", "everything", "rules.cli" } );
   EXPECT_EQ( result.err, "flowspecctl: error: --ignore: 'everything' is not a kind of findings\n"
                          "Try 'flowspecctl lint --help'.\n" );
   EXPECT_EQ( result.status, 2 );
}

// Exceptions from the last rule, none of which contradicts it.
TEST( LintCommand, StopsComparingAndSaysSo ) {
   Vek::String rules;
   for ( unsigned at = 0; at < 140; ++at ) {
      rules += lineOf( Vek::concat( "10.0.", at, ".0/24" ).c_str(), true, "\"drop\":true" );
   }
   rules += lineOf( "10.0.0.0/8", true, "" );
   expectOut( "rules.jsonl", rules, { "--ignore", "partly-hidden" },
              "FILE:141: note: not compared with 12 rules that may meet it [not-compared]\n", 0 );
}

} // namespace
