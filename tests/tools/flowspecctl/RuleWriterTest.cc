#include "tests/tools/flowspecctl/Run.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

namespace {

using nlohmann::json;
using testing::MatchesRegex;
using TestSupport::flowspecctl;
using TestSupport::Folder;
using TestSupport::Result;
using TestSupport::run;

TEST( RuleWriter, JsonHasAllFormsOfARule ) {
   const Result result = flowspecctl( { "key", "--json", "--from", "value" },
                                      "\n5;ipv4;IFSET:=3,17;10.1.0.0/16;*;IP:=0L6;DP:=1L443;\n" );
   EXPECT_EQ( result.status, 0 );
   EXPECT_EQ( result.err, "" );
   const std::size_t hash = result.out.find( ",\"hash\"" );
   EXPECT_EQ( result.out.substr( 0, hash ),
              R"({"line":2,"ok":true,"key":{"vrfId":5,"addressFamily":"ipv4",)"
              R"("destPrefix":"10.1.0.0/16","srcPrefix":null,"interfaceSet":[3,17],)"
              R"("terms":[{"type":"ipProto","op":129,"value":6},)"
              R"({"type":"destPort","op":145,"value":443}]},)"
              R"("cli":"10.1.0.0/16;*;IP:=6;DP:=443;","cliLen":"10.1.0.0/16;*;IP:=0L6;DP:=1L443;",)"
              R"("detail":"Destination Prefix: 10.1.0.0/16;Source Prefix: *;IP Protocol: =6;)"
              R"(Destination Port: =443;",)"
              R"("value":"5;ipv4;IFSET:=3,17;10.1.0.0/16;*;IP:=0L6;DP:=1L443;",)"
              R"("diag":"5;ipv4;IFSET:=3,17;10.1.0.0/16;;58785798;93389243;",)"
              R"("words":[58785798,93389243])" );
   EXPECT_THAT( result.out.substr( hash ), MatchesRegex( ",\"hash\":\"0x[0-9a-f]{8}\"}\n" ) );
}

TEST( RuleWriter, JsonOfARuleWithADistinguisherHasItsForms ) {
   const Vek::String end = R"(,"rd":"1:2","rdCli":"RD:1:2;*;*;IP:=6;",)"
                           R"("rdCliLen":"RD:1:2;*;*;IP:=0L6;",)"
                           R"("rdDetail":"Route Distinguisher: 1:2;Destination Prefix: *;)"
                           R"(Source Prefix: *;IP Protocol: =6;"})"
                           "\n";
   EXPECT_TRUE( flowspecctl( { "key", "--json", "--from", "rd" }, "RD:1:2;*;*;IP:=6;" )
                   .out.ends_with( end ) );
   EXPECT_TRUE( flowspecctl( { "key", "--json", "--from", "rd-len" }, "RD:1:2;*;*;IP:=0L6;" )
                   .out.ends_with( end ) );
   EXPECT_TRUE(
      flowspecctl( { "key", "--json", "--rd", "1:2" }, "*;*;IP:=6;" ).out.ends_with( end ) );
   EXPECT_FALSE( json::parse( flowspecctl( { "key", "--json" }, "*;*;" ).out ).contains( "rd" ) );
}

TEST( RuleWriter, JsonOfARuleWithoutTerms ) {
   const json object = json::parse( flowspecctl( { "key", "--json" }, "*;*;" ).out );
   EXPECT_EQ( object["words"], json::array() );
   EXPECT_EQ( object["key"]["terms"], json::array() );
   EXPECT_EQ( object["cli"], "*;*;" );
}

TEST( RuleWriter, JsonOfABadLineHasTheReason ) {
   const Result result =
      flowspecctl( { "key", "--json" }, "# 1\n*;*;DP:=\"\\\x1b;\n*;*;\n*;*\x80" );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.err, "" );
   EXPECT_TRUE( result.out.starts_with(
      R"({"line":2,"ok":false,"error":"Unexpected character \"","offset":8})"
      "\n{\"line\":3,\"ok\":true," ) );
   EXPECT_TRUE( result.out.ends_with(
      R"({"line":4,"ok":false,"error":"Could not parse source prefix )"
      "*;*\xef\xbf\xbd : Zorv::IpGenPrefix: '*\xef\xbf\xbd' is not a prefix\","
      "\"offset\":2}\n" ) );
   const Result unprintable =
      flowspecctl( { "key", "--json", "--from", "diag" }, ";;;;243335174;\n" );
   EXPECT_EQ( unprintable.status, 1 );
   EXPECT_EQ( unprintable.out, R"({"line":1,"ok":false,"error":"the term at index 0 cannot be )"
                               R"(printed: its component type is not known"})"
                               "\n" );
}

TEST( RuleWriter, JsonNamesTheFileWhenThereAreSeveral ) {
   const Folder folder;
   const Vek::String one = folder.file( "\"one\"", "*;*;\n" );
   const Vek::String two = folder.file( "two", "\nbad\n" );
   const Result result = flowspecctl( { "key", "--json", one, two } );
   EXPECT_EQ( result.status, 1 );
   std::istringstream lines( result.out );
   Vek::String line;
   std::getline( lines, line );
   EXPECT_EQ( json::parse( line )["file"], one );
   EXPECT_EQ( json::parse( line )["line"], 1 );
   std::getline( lines, line );
   EXPECT_EQ( line, "{\"file\":\"" + two +
                       "\",\"line\":2,\"ok\":false,\"error\":\"Could not parse dest prefix bad : "
                       "Zorv::IpGenPrefix: 'bad' is not a prefix\",\"offset\":0}" );
   EXPECT_FALSE( json::parse( flowspecctl( { "key", "--json", one } ).out ).contains( "file" ) );
}

// The names are used when all files have been read and closed.
TEST( RuleWriter, SortedJsonNamesTheFiles ) {
   const Folder folder;
   const Vek::String one = folder.file( "one", "*;*;IP:=6;\n" );
   const Vek::String two = folder.file( "two", "*;*;IP:=1;\n" );
   std::istringstream lines( flowspecctl( { "key", "--json", "--sort", one, two } ).out );
   for ( const Vek::String& expected : { two, one } ) {
      Vek::String line;
      std::getline( lines, line );
      EXPECT_EQ( line.substr( 0, 9 + expected.size() ), R"({"file":")" + expected );
   }
}

TEST( RuleWriter, JsonCanBeSorted ) {
   const Result result =
      flowspecctl( { "key", "--json", "--sort" }, "*;*;IP:=6;\nbad\n*;*;IP:=1;\n" );
   std::istringstream lines( result.out );
   std::vector< int > numbers;
   for ( Vek::String line; std::getline( lines, line ); ) {
      numbers.push_back( json::parse( line )["line"] );
   }
   // What is bad comes as it is found.
   EXPECT_EQ( numbers, ( std::vector{ 2, 3, 1 } ) );
}

// The objects of a file that a person may type end to end.
TEST( RuleWriter, TheKeyOfAnObjectIsReadBack ) {
   const json object =
      json::parse( flowspecctl( { "key", "--json" }, "10.0.0.0/8;*;FRAG:!=5;" ).out );
   EXPECT_EQ( flowspecctl( { "key", "--from", "json", "--to", "cli" }, object["key"].dump() ).out,
              "10.0.0.0/8;*;FRAG:!=5;\n" );
}

TEST( RuleWriter, TableForPeople ) {
   const Result result = run( { .command = { TestSupport::flowspecctlPath(), "key", "--table" },
                                .input = "10.1.0.0/16;*;IP:=6;DP:=80|=443;\n*;*;\n*;*;IP:= 6;\n",
                                .environment = { "COLUMNS=100" } } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.out,
              "cli                              detail                                     words\n"
              "-------------------------------  -----------------------------------------  "
              "----------------------\n"
              "10.1.0.0/16;*;IP:=6;             Destination Prefix: 10.1.0.0/16;           "
              "0x03810006 0x05010050\n"
              "DP:=80|=443;                     Source Prefix: *;IP Protocol: =6;          "
              "0x059101bb\n"
              "                                 Destination Port: =80 | =443;\n"
              "\n"
              "*;*;                             Destination Prefix: *;Source Prefix: *;    -\n"
              "*;*;IP:= 6;                      error in line 3: Unexpected character  : a rule "
              "has no blanks\n" );
}

TEST( RuleWriter, TableOfOneFormHasBadLinesInItsColumn ) {
   const Result result =
      run( { .command = { TestSupport::flowspecctlPath(), "key", "--table", "--to", "words" },
             .input = "*;*;IP:=6;\n*;*;x\n",
             .environment = { "COLUMNS=80" } } );
   EXPECT_EQ( result.out,
              "words\n" + Vek::String( 80, '-' ) +
                 "\n0x03810006\nerror in line 2: Did not find a match component in x\n" );
}

TEST( RuleWriter, TableOfRulesWithADistinguisher ) {
   const Result result =
      run( { .command = { TestSupport::flowspecctlPath(), "key", "--table", "--from", "rd" },
             .input = "RD:1:2;*;*;\n",
             .environment = { "COLUMNS=100" } } );
   EXPECT_EQ( result.out,
              "rd                               rd-detail                                  words\n"
              "-------------------------------  -----------------------------------------  "
              "----------------------\n"
              "RD:1:2;*;*;                      Route Distinguisher: 1:2;                  -\n"
              "                                 Destination Prefix: *;Source Prefix: *;\n"
              "\n" );
}

} // namespace
