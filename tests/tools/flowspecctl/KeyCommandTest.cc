#include "tests/tools/flowspecctl/Run.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace {

using TestSupport::flowspecctl;
using TestSupport::Result;

constexpr const char* rule = "10.1.0.0/16;*;IP:=6;DP:=80|=443;\n";
constexpr const char* value = "5;ipv4;IFSET:=3,17;10.1.0.0/16;*;IP:=0L6;\n";

// What a command writes that has nothing to complain of.
Vek::String output( std::vector< Vek::String > arguments, Vek::String input ) {
   arguments.insert( arguments.begin(), "key" );
   const Result result = flowspecctl( std::move( arguments ), std::move( input ) );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 );
   return result.out;
}

TEST( KeyCommand, ReadsAndWritesTheCommandLineFormWhenNotToldOtherwise ) {
   EXPECT_EQ( output( {}, rule ), rule );
   EXPECT_EQ( output( {}, "10.1.0.0/16;*;IP:==0x6;DP:=80||=0x123" ),
              "10.1.0.0/16;*;IP:=6;DP:=80|=291;\n" );
}

TEST( KeyCommand, WritesTheFormOfTheInputWhenNotToldOtherwise ) {
   for ( const auto& [form, text] :
         { std::pair( "cli-len", "*;*;IP:=1L6;\n" ), std::pair( "rd", "RD:1:2;*;*;IP:=6;\n" ),
           std::pair( "rd-len", "RD:1:2;*;*;IP:=1L6;\n" ), std::pair( "value", value ),
           std::pair( "diag", ";;;;243335174;\n" ),
           std::pair( "json", "{\"vrfId\":null,\"addressFamily\":\"none\","
                              "\"destPrefix\":null,\"srcPrefix\":null,"
                              "\"interfaceSet\":[],\"words\":[243335174]}\n" ) } ) {
      EXPECT_EQ( output( { "--from", form }, text ), text );
   }
}

TEST( KeyCommand, WritesEveryForm ) {
   for ( const auto& [form, text] :
         { std::pair( "cli", "10.1.0.0/16;*;IP:=6;\n" ),
           std::pair( "cli-len", "10.1.0.0/16;*;IP:=0L6;\n" ),
           std::pair( "rd", "RD:1:2;10.1.0.0/16;*;IP:=6;\n" ),
           std::pair( "rd-len", "RD:1:2;10.1.0.0/16;*;IP:=0L6;\n" ), std::pair( "value", value ),
           std::pair( "diag", "5;ipv4;IFSET:=3,17;10.1.0.0/16;;58785798;\n" ),
           std::pair( "json",
                      "{\"vrfId\":5,\"addressFamily\":\"ipv4\",\"destPrefix\":"
                      "\"10.1.0.0/16\",\"srcPrefix\":null,\"interfaceSet\":[3,17],\"terms\":"
                      "[{\"type\":\"ipProto\",\"op\":129,\"value\":6}]}\n" ),
           std::pair( "detail",
                      "Destination Prefix: 10.1.0.0/16;Source Prefix: *;IP Protocol: =6;\n" ),
           std::pair( "rd-detail", "Route Distinguisher: 1:2;Destination Prefix: 10.1.0.0/16;"
                                   "Source Prefix: *;IP Protocol: =6;\n" ),
           std::pair( "words", "0x03810006\n" ) } ) {
      EXPECT_EQ( output( { "--from", "value", "--to", form, "--rd", "1:2" }, value ), text );
   }
}

TEST( KeyCommand, SeveralFormsStandBetweenTabs ) {
   EXPECT_EQ( output( { "--to", "words,cli,words" }, "*;*;IP:=6;\n*;*;\n" ),
              "0x03810006\t*;*;IP:=6;\t0x03810006\n-\t*;*;\t-\n" );
}

TEST( KeyCommand, WhatAFormLacksIsGivenByOptions ) {
   EXPECT_EQ( output( { "--vrf", "5", "--family", "ipv6", "--to", "value" }, "*;*;" ),
              "5;ipv6;*;*;\n" );
   EXPECT_EQ( output( { "--to", "value" }, "*;*;" ), "16777215;none;*;*;\n" );
   EXPECT_EQ(
      output( { "--from", "cli-len", "--vrf", "4294967295", "--family", "af25", "--to", "diag" },
              "*;*;" ),
      "4294967295;af25;;;\n" );
   EXPECT_EQ( output( { "--from", "rd", "--vrf", "0", "--to", "diag" }, "RD:1:2;*;*;" ),
              "0;;;;\n" );
   EXPECT_EQ( output( { "--rd", "100L:1", "--to", "rd" }, "*;*;" ), "RD:100L:1;*;*;\n" );
}

// The attributes of one line must not show in the next.
TEST( KeyCommand, EachLineBeginsWithAnEmptyKey ) {
   EXPECT_EQ( output( { "--from", "diag" },
                      "5;ipv4;IFSET:=3;10.0.0.0/8;10.0.0.0/8;1;2;3;4;5;6;7;8;9;10;\n;;;;\n" ),
              "5;ipv4;IFSET:=3;10.0.0.0/8;10.0.0.0/8;1;2;3;4;5;6;7;8;9;10;\n;;;;\n" );
   const Result result =
      flowspecctl( { "key", "--to", "diag" }, "10.0.0.0/8;10.0.0.0/8;IP:=6;DP:=x;\n*;*;\n" );
   EXPECT_EQ( result.out, ";;;;\n" );
}

TEST( KeyCommand, SortsByTheOrderOfKeys ) {
   EXPECT_EQ( output( { "--sort", "--from", "diag" }, ";;;;\n"
                                                      "2;;;;\n"
                                                      "1;ipv6;;;\n"
                                                      "1;ipv4;;;\n"
                                                      "1;ipv4;10.0.0.0/8;;\n"
                                                      "1;ipv4;10.0.0.0/8;10.0.0.0/8;\n"
                                                      "1;ipv4;9.0.0.0/8;;2;\n"
                                                      "1;ipv4;9.0.0.0/8;;1;\n"
                                                      "1;ipv4;9.0.0.0/8;;1;9;\n"
                                                      "1;ipv4;IFSET:=1;9.0.0.0/8;;1;\n"
                                                      "1;ipv4;IFSET:=1,0;9.0.0.0/8;;1;\n" ),
              "1;ipv4;9.0.0.0/8;;1;9;\n"
              "1;ipv4;IFSET:=1,0;9.0.0.0/8;;1;\n"
              "1;ipv4;IFSET:=1;9.0.0.0/8;;1;\n"
              "1;ipv4;9.0.0.0/8;;1;\n"
              "1;ipv4;9.0.0.0/8;;2;\n"
              "1;ipv4;10.0.0.0/8;10.0.0.0/8;\n"
              "1;ipv4;10.0.0.0/8;;\n"
              "1;ipv4;;;\n"
              "1;ipv6;;;\n"
              "2;;;;\n"
              ";;;;\n" );
}

TEST( KeyCommand, SortingKeepsTheOrderOfEqualKeys ) {
   EXPECT_EQ( output( { "--sort", "--from", "rd" }, "RD:3:3;*;*;IP:=6;\n"
                                                    "RD:2:2;*;*;IP:=1;\n"
                                                    "RD:1:1;*;*;IP:=6;\n"
                                                    "RD:3:3;*;*;IP:=6;\n" ),
              "RD:2:2;*;*;IP:=1;\n"
              "RD:3:3;*;*;IP:=6;\n"
              "RD:1:1;*;*;IP:=6;\n"
              "RD:3:3;*;*;IP:=6;\n" );
}

TEST( KeyCommand, SortsAsRoutersTryRules ) {
   EXPECT_EQ( output( { "--sort", "rfc" }, "*;*;DP:=80;\n10.0.0.0/8;*;\n10.0.0.0/16;*;\n" ),
              "10.0.0.0/16;*;\n10.0.0.0/8;*;\n*;*;DP:=80;\n" );
}

TEST( KeyCommand, ReadsAndWritesTheMatchAsOtherProgramsDo ) {
   EXPECT_EQ( output( { "--from", "bird", "--to", "cli" },
                      "flow4 { dst 10.0.0.0/8;\n# one\n dport 80; } {\n"
                      "bgp_ext_community.add((generic, 0x80080001, 1)); }\n" ),
              "10.0.0.0/8;*;DP:=80;\n" );
   EXPECT_EQ( output( { "--family", "ipv4", "--to", "bird" }, "10.0.0.0/8;*;DP:=80;\n" ),
              "flow4 { dst 10.0.0.0/8; dport 80; }\n" );
   for ( const char* const form : { "exabgp", "exabgp-json", "gobgp", "gobgp-json" } ) {
      const Vek::String text =
         output( { "--family", "ipv4", "--to", form }, "10.0.0.0/8;*;DP:=80;\n" );
      EXPECT_EQ( output( { "--from", form, "--to", "cli" }, text ), "10.0.0.0/8;*;DP:=80;\n" );
   }
   const Result bad = flowspecctl( { "key", "--from", "bird" }, "flow4 {\n  x; }\n" );
   EXPECT_EQ( bad.err, "<stdin>:2:3: error: expected a component, found 'x'\n     x; }\n     ^\n" );
   EXPECT_EQ( bad.status, 1 );
}

TEST( KeyCommand, WritesTheCanonicalKey ) {
   EXPECT_EQ( output( { "--canonical", "--family", "ipv4" }, "*;*;DP:>79&<81|=443;LEN:>=0;\n" ),
              "*;*;DP:=80|=443;\n" );
   const Result bad =
      flowspecctl( { "key", "--canonical", "--family", "ipv4" }, "*;*;DP:=80&=81;\n" );
   EXPECT_EQ( bad.err,
              "<stdin>:1: error: no packet matches the rule: its destPort admits no value\n" );
   EXPECT_EQ( flowspecctl( { "key", "--canonical" }, "*;*;DP:=80;\n" ).err,
              "<stdin>:1: error: a rule without an address family has no canonical form\n" );
}

TEST( KeyCommand, ComparesTwoKeys ) {
   const auto compare = []( const char* a, const char* b ) {
      return flowspecctl( { "key", "--family", "ipv4", "--equivalent", a, b } );
   };
   const Result same = compare( "*;*;DP:=80|=443;", "*;*;DP:=443|>79&<81;" );
   EXPECT_EQ( same.out, "equivalent\n" );
   EXPECT_EQ( same.status, 0 );
   const Result other = compare( "*;*;DP:=80;FRAG:2;", "*;*;DP:=80;" );
   EXPECT_EQ( other.out, "different: fragment\n" );
   EXPECT_EQ( other.status, 1 );
   EXPECT_EQ( compare( "*;*;DP:=80;", "*;*;DP:=x;" ).err,
              "<second rule>:1:9: error: Unexpected character x\n" );
   const Result none = flowspecctl( { "key", "--equivalent", "*;*;", "*;*;" } );
   EXPECT_EQ( none.err, "flowspecctl: error: rules without an address family cannot be compared: "
                        "give --family\n" );
   EXPECT_EQ( none.status, 1 );
}

TEST( KeyCommand, WarnsOfWhatIsReadAsSomethingElseOrRefusesIt ) {
   const Vek::String rules = "*;*;IP:;\n*;*;ICMP:=5;\n*;*;IP:=6;\n";
   const Vek::String text = "'IP:' has no value: it is left out\n   *;*;IP:;\n       ^\n";
   const Vek::String label =
      "'ICMP:=5' is read as 'IC:=5' (ICMP Code)\n   *;*;ICMP:=5;\n       ^\n";
   const Result lenient = flowspecctl( { "key" }, rules );
   EXPECT_EQ( lenient.out, "*;*;\n*;*;IC:=5;\n*;*;IP:=6;\n" );
   EXPECT_EQ( lenient.err, "<stdin>:1:5: warning: " + text + "<stdin>:2:5: warning: " + label );
   EXPECT_EQ( lenient.status, 0 );
   const Result strict = flowspecctl( { "key", "--strict" }, rules );
   EXPECT_EQ( strict.out, "*;*;IP:=6;\n" );
   EXPECT_EQ( strict.err, "<stdin>:1:5: error: " + text + "<stdin>:2:5: error: " + label );
   EXPECT_EQ( strict.status, 1 );
   const Result family =
      flowspecctl( { "key", "--strict", "--family", "ipv4" }, "2001:db8::/32;*;\n" );
   EXPECT_EQ( family.err, "<stdin>:1: error: destPrefix 2001:db8::/32 is of ipv6, and the rule of "
                          "ipv4\n" );
}

TEST( KeyCommand, ErrorsAsJsonAreTheMessagesWithTheirPlace ) {
   EXPECT_EQ( flowspecctl( { "key", "--json" }, "*;*;IP:=\t6;\n" ).out,
              R"({"line":1,"ok":false,"error":"Unexpected character \t: a rule has no blanks",)"
              R"("offset":8})"
              "\n" );
   // A byte that is no UTF-8 is replaced.
   EXPECT_EQ( flowspecctl( { "key", "--json" }, "*;*;IP:=\xff;\n" ).out,
              "{\"line\":1,\"ok\":false,\"error\":\"Unexpected character \xef\xbf\xbd\","
              "\"offset\":8}\n" );
}

TEST( KeyCommand, UniqueKeepsTheFirstOfEqualRules ) {
   EXPECT_EQ( output( { "--unique", "--from", "rd" }, "RD:3:3;*;*;IP:=6;\n"
                                                      "RD:1:1;*;*;IP:=6;\n"
                                                      "RD:3:3;*;*;IP:=06;\n"
                                                      "RD:3:3;*;*;IP:=7;\n"
                                                      "RD:1:1;*;*;IP:=6;\n" ),
              "RD:3:3;*;*;IP:=6;\n"
              "RD:1:1;*;*;IP:=6;\n"
              "RD:3:3;*;*;IP:=7;\n" );
   // Value lengths and interface sets are parts of a key.
   EXPECT_EQ( output( { "--unique", "--from", "cli-len" }, "*;*;IP:=0L6;\n*;*;IP:=1L6;\n" ),
              "*;*;IP:=0L6;\n*;*;IP:=1L6;\n" );
   EXPECT_EQ( output( { "--unique", "--from", "diag" }, ";;;;\n;;IFSET:=1;;;\n;;;;@\n" ),
              ";;;;\n;;IFSET:=1;;;\n" );
}

TEST( KeyCommand, SortedAndUnique ) {
   EXPECT_EQ(
      output( { "--sort", "--unique" }, "*;*;IP:=6;\n*;*;IP:=1;\n*;*;IP:=6;\n*;*;IP:=1;\n" ),
      "*;*;IP:=1;\n*;*;IP:=6;\n" );
}

// A word of an unknown type, half a value: nothing that walks the terms may be asked for them.
TEST( KeyCommand, KeysThatCannotBePrintedAreBadLines ) {
   const Vek::String input = ";;;;243335174;\n;;;;228655105;\n;;;;58785798;\n;;;;61931526;\n";
   for ( const char* const form : { "cli", "cli-len", "value", "detail", "rd", "rd-len",
                                    "rd-detail", "words,cli", "json,value" } ) {
      for ( const char* const mode : { "--sort", "--unique", "--table" } ) {
         const Result result =
            flowspecctl( { "key", "--from", "diag", "--to", form, "--rd", "1:2", mode }, input );
         EXPECT_EQ( result.status, 1 );
         if ( Vek::String( mode ) == "--table" ) {
            EXPECT_EQ( result.err, "" );
            continue;
         }
         EXPECT_EQ(
            result.err,
            "<stdin>:1: error: the term at index 0 cannot be printed: its component type is "
            "not known\n"
            "<stdin>:2: error: the term at index 0 cannot be printed: the second half of its "
            "value is missing\n"
            "<stdin>:4: error: the term at index 0 cannot be printed: its value has 8 "
            "bytes\n" );
         EXPECT_EQ( std::count( result.out.begin(), result.out.end(), '\n' ), 1 );
      }
   }
   EXPECT_EQ( output( { "--from", "diag", "--to", "words" }, input ),
              "0x0e810006\n0x0da10001\n0x03810006\n0x03b10006\n" );
}

TEST( KeyCommand, ALastIndexCannotBeWrittenBackAsDiagnosticText ) {
   Vek::String input = ";;;;";
   for ( int i = 0; i < 2047; ++i ) {
      input += "58720262;";
   }
   EXPECT_EQ( output( { "--from", "diag" }, input ), input + "\n" );
   const Result result = flowspecctl( { "key", "--from", "diag" }, input + "58720262;" );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.err, "<stdin>:1: error: a key of 2048 words has no diagnostic form\n" );
   const Result beyond = flowspecctl( { "key", "--from", "diag" }, input + "58720262;58720262;" );
   EXPECT_EQ( beyond.status, 1 );
   EXPECT_EQ( beyond.err, "<stdin>:1:18437: error: Too many terms for a rule key at 58720262\n"
                          "   ...0262;58720262;58720262;58720262;58720262;58720262;58720262;\n"
                          "                                                        ^\n" );
}

} // namespace
