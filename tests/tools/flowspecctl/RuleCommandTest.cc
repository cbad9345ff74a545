#include "tests/tools/flowspecctl/Run.h"

#include <gtest/gtest.h>

namespace {

using TestSupport::flowspecctl;
using TestSupport::Folder;
using TestSupport::Result;

void expect( const Result& result, int status, const Vek::String& out, const Vek::String& err ) {
   EXPECT_EQ( result.out, out );
   EXPECT_EQ( result.err, err );
   EXPECT_EQ( result.status, status );
}

Result rule( std::vector< Vek::String > arguments, Vek::String input = {} ) {
   arguments.insert( arguments.begin(), "rule" );
   return flowspecctl( std::move( arguments ), std::move( input ) );
}

constexpr const char* json =
   R"({"vrfId":null,"addressFamily":"ipv4","destPrefix":"10.1.0.0/16","srcPrefix":null,)"
   R"("interfaceSet":[],"terms":[{"type":"ipProto","op":129,"value":6}],"action":{"drop":true}})"
   "\n";
constexpr const char* bird = "flow4 { dst 10.1.0.0/16; proto 6; } { "
                             "bgp_ext_community.add((generic, 0x80060000, 0x0)); }\n";
constexpr const char* nlri = "0701100a01038106 communities 8006000000000000\n";

TEST( RuleCommand, TranslatesWholeRules ) {
   expect( rule( {}, json ), 0, json, "" );
   expect( rule( { "--to", "bird" }, json ), 0, bird, "" );
   expect( rule( { "--from", "bird", "--to", "nlri" }, bird ), 0, nlri, "" );
   expect( rule( { "--from", "nlri", "--family", "ipv4", "--to", "json" }, nlri ), 0, json, "" );
   for ( const char* const dialect : { "exabgp", "exabgp-json", "gobgp", "gobgp-json" } ) {
      const Vek::String text = rule( { "--to", dialect }, json ).out;
      EXPECT_NE( text, "" ) << dialect;
      expect( rule( { "--from", dialect, "--to", "json" }, text ), 0, json, "" );
   }
}

TEST( RuleCommand, GivesWhatATextLacks ) {
   const Vek::String redirect = "flow4 { dport 80; } { bgp_ext_community.add((generic, "
                                "0x8008fde8, 0x64)); bgp_ext_community.add((generic, 0x70200, "
                                "0x1f44005)); }\n";
   expect( rule( { "--from", "bird" }, redirect ), 1, "",
           "<stdin>:1:21: error: the extended community at octet 0: no VRF imports the route "
           "target that it redirects to\n" );
   const Vek::String bound = "flow4 { dport 80; } { bgp_ext_community.add((generic, "
                             "0x8008fde8, 0x64)); bgp_ext_community.add((generic, 0x07020000, "
                             "0x01f44005)); }\n";
   expect(
      rule( { "--from", "bird", "--to", "json", "--vrf", "9", "--route-target", "1:2=4",
              "--route-target", "65000:100=7", "--local-as", "500" },
            bound ),
      0,
      R"({"vrfId":9,"addressFamily":"ipv4","destPrefix":null,"srcPrefix":null,"interfaceSet":[5],)"
      R"("terms":[{"type":"destPort","op":129,"value":80}],"action":{"redirect":{"vrf":7}}})"
      "\n",
      "" );
   expect( rule( { "--from", "nlri" }, nlri ), 1, "",
           "<stdin>:1:1: error: an NLRI does not tell its address family: it must be given\n" );
}

TEST( RuleCommand, AFileMayFollowAnyOption ) {
   const Folder folder;
   const Vek::String file = folder.file( "rules.bird", "flow4 { dport 80; }\n" );
   expect( rule( { "--from", "bird", "--route-target", "1:2=4", file } ), 0,
           "flow4 { dport 80; }\n", "" );
   expect( rule( { "--from", "bird", "--sort", file, file } ), 0,
           "flow4 { dport 80; }\nflow4 { dport 80; }\n", "" );
   expect( rule( { "--from", "bird", "--sort", "rfc", file } ), 0, "flow4 { dport 80; }\n", "" );
}

TEST( RuleCommand, SaysWhereARuleIsWrongAndGoesOn ) {
   const Folder folder;
   const Vek::String file = folder.file( "edge.bird", "# rules\n"
                                                      "flow4 { dst 10.0.0.0/8;\n"
                                                      "  foo 7; }\n"
                                                      "flow4 { dport 80; } {\n"
                                                      "  bgp_med = 5; };\n"
                                                      "flow4 { dport 81;\n" );
   expect( rule( { "--from", "bird", file } ), 1, "flow4 { dport 80; }\n",
           file + ":3:3: error: expected a component, found 'foo'\n" + file +
              ":5:3: warning: bgp_med is passed over: it is not part of the action\n" + file +
              ":6:18: error: expected a component, found the end\n" );
}

TEST( RuleCommand, SaysWhatADialectCannotExpress ) {
   expect( rule( { "--from", "nlri", "--family", "ipv6", "--to", "bird" },
                 "# label 70000\n060da100000000\n060da100011170\n" ),
           1, "flow6 { label 0; }\n",
           "<stdin>:3: error: BIRD takes no value above 65535 in its component 'label'\n" );
   expect( rule( { "--from", "json", "--to", "json" }, "{}\n" ), 1, "",
           "<stdin>:1: error: member 'vrfId' is missing\n" );
}

TEST( RuleCommand, SortsAsRoutersTryRules ) {
   const Vek::String rules = "flow4 { dport 80; }\nflow4 { dst 10.0.0.0/8; }\n"
                             "flow4 { dst 10.0.0.0/16; }\n";
   expect( rule( { "--from", "bird", "--sort", "rfc" }, rules ), 0,
           "flow4 { dst 10.0.0.0/16; }\nflow4 { dst 10.0.0.0/8; }\nflow4 { dport 80; }\n", "" );
   const Folder folder;
   const Vek::String file = folder.file( "rules.bird", rules );
   expect( rule( { "--from", "bird", "--sort", file } ), 0,
           "flow4 { dst 10.0.0.0/8; }\nflow4 { dst 10.0.0.0/16; }\nflow4 { dport 80; }\n", "" );
}

TEST( RuleCommand, WritesTheCanonicalRule ) {
   expect( rule( { "--from", "bird", "--canonical" },
                 "flow4 { dport 443 || > 79 && < 81; length >= 0; }\n"
                 "flow4 { dport = 80 && = 81; }\n" ),
           1, "flow4 { dport 80,443; }\n",
           "<stdin>:2: error: no packet matches the rule: its destPort admits no value\n" );
}

TEST( RuleCommand, ComparesTwoRules ) {
   const auto compare = []( const char* a, const char* b ) {
      return rule( { "--from", "bird", "--equivalent", a, b } );
   };
   expect( compare( "flow4 { dport 80,443; }", "flow4 { dport 443 || > 79 && < 81; }" ), 0,
           "equivalent\n", "" );
   expect( compare( "flow4 { dport 80; }", "flow4 { dport 81; }" ), 1, "different: destPort\n",
           "" );
   expect( compare( "flow4 { proto 6; dport 80; }", "flow4 { dport 80; }" ), 1,
           "different: ipProto\n", "" );
   expect( compare( "flow4 { dst 10.0.0.0/8; }", "flow4 { src 10.0.0.0/8; }" ), 1,
           "different: destPrefix\n", "" );
   expect( compare( "flow4 { proto 6; }", "flow6 { proto 6; }" ), 1, "different: addressFamily\n",
           "" );
   expect( compare( "flow4 { port 80; }", "flow4 { port 80; } { bgp_ext_community.add((generic, "
                                          "0x80060000, 0)); }" ),
           1, "different: action\n", "" );
   expect( compare( "flow4 { port 80; }", "flow4 { port" ), 1, "",
           "<second rule>:1:13: error: expected a number, found the end\n" );
}

TEST( RuleCommand, OptionsMustBeSound ) {
   const auto misuse = []( std::vector< Vek::String > arguments, const Vek::String& message ) {
      expect( rule( std::move( arguments ) ), 2, "",
              "flowspecctl: error: " + message + "\nTry 'flowspecctl rule --help'.\n" );
   };
   misuse( { "--from", "cli" },
           "--from: 'cli' is not one of bird, exabgp, exabgp-json, gobgp, gobgp-json, nlri, "
           "nlri-vpn, json" );
   misuse( { "--route-target", "5=65000:1" },
           "--route-target: '5=65000:1' is not a route target, '=' and the number of a VRF" );
   misuse( { "--local-as", "x" }, "--local-as: 'x' is not a whole number from 0 to 4294967295" );
   misuse( { "--equivalent", "a", "b", "c" },
           "--equivalent has its rules on the command line: it goes with no file" );
}

} // namespace
