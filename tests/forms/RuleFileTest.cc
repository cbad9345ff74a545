#include "forms/RuleFile.h"

#include "forms/KeyJson.h"
#include "forms/LineReader.h"
#include "forms/dialects/RouteTargets.h"
#include "tests/support/Folder.h"
#include "tests/support/KeyGenerator.h"
#include "tests/support/PrintRuleError.h"
#include "tests/support/RuleLines.h"

#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

namespace Forms {

using namespace Flowspec;

namespace {

using Forms::Form;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::lineWith;
using TestSupport::readLines;
using Zorv::AddressFamily;

// The reasons of the errors that lines give, each after its line's number.
std::vector< Vek::String > errorsOf( Form form, const std::vector< Vek::String >& lines ) {
   std::vector< Vek::String > texts;
   for ( const RuleError& error : readLines( form, lines ).errors ) {
      EXPECT_EQ( error.file, "rules" );
      texts.push_back( Vek::concat( error.line, ": ", error.reason ) );
   }
   return texts;
}

TEST( RuleFile, TheEndingNamesTheForm ) {
   const auto form = []( Form found ) { return RuleForm{ .form = found }; };
   const auto dialect = []( std::string_view name ) {
      return RuleForm{ .dialect = Forms::dialectOf( name ) };
   };
   EXPECT_EQ( ruleForm( "rules.jsonl" ), dialect( "json" ) );
   EXPECT_EQ( ruleForm( "/etc/rules.d/edge.json" ), dialect( "json" ) );
   EXPECT_EQ( ruleForm( "a.b.cli" ), form( Form::cli ) );
   EXPECT_EQ( ruleForm( "x.cli-len" ), form( Form::cliLen ) );
   EXPECT_EQ( ruleForm( "x.rd" ), form( Form::rd ) );
   EXPECT_EQ( ruleForm( "x.rd-len" ), form( Form::rdLen ) );
   EXPECT_EQ( ruleForm( "x.value" ), form( Form::value ) );
   EXPECT_EQ( ruleForm( "x.diag" ), form( Form::diag ) );
   for ( const char* const name :
         { "bird", "exabgp", "exabgp-json", "gobgp", "gobgp-json", "nlri", "nlri-vpn" } ) {
      ASSERT_NE( Forms::dialectOf( name ), nullptr ) << name;
      EXPECT_EQ( ruleForm( Vek::concat( "edge.", std::string_view( name ) ) ), dialect( name ) );
   }
   for ( const char* const name :
         { "", "-", "rules", "rules.", "rules.txt", "rules.CLI", "rules.words", "rules.detail",
           "rules.cli~", "folder.cli/rules", "x.jsonl.bak" } ) {
      EXPECT_EQ( ruleForm( name ), std::nullopt ) << name;
   }
}

TEST( RuleFile, ALineHoldsAKeyAnActionAndAnIdentifier ) {
   const RuleFile file = readLines(
      Form::json, { "# made by hand", "",
                    lineWith( R"({"ruleId":18446744073709551615,"action":{"drop":true}})" ),
                    lineWith( R"({"vrfId":6})" ) } );
   ASSERT_THAT( file.errors, IsEmpty() );
   ASSERT_EQ( file.rules.size(), 2U );
   const FiledRule& first = file.rules[0];
   FlowspecKey key;
   EXPECT_EQ( Forms::readKeyJson( lineWith( "{}" ), key ), std::nullopt );
   EXPECT_EQ( first.key, key );
   EXPECT_TRUE( first.action.fields.trafficDrop() );
   EXPECT_EQ( first.ruleId, 18446744073709551615U );
   EXPECT_EQ( first.line, 3U );
   const FiledRule& second = file.rules[1];
   EXPECT_EQ( second.key.vrfId(), 6U );
   EXPECT_EQ( second.action, RuleAction() );
   EXPECT_EQ( second.ruleId, defaultRuleId( second.key ) );
   EXPECT_EQ( second.line, 4U );
}

TEST( RuleFile, TextFormsPermit ) {
   const struct {
      Form form;
      const char* text;
   } rows[] = {
      { Form::cli, "10.1.0.0/16;*;IP:=6;" },
      { Form::cliLen, "10.1.0.0/16;*;IP:=0L6;" },
      { Form::rd, "RD:1:1;10.1.0.0/16;*;IP:=6;" },
      { Form::rdLen, "RD:1:1;10.1.0.0/16;*;IP:=0L6;" },
      { Form::value, "7;ipv6;10.1.0.0/16;*;IP:=0L6;" },
      { Form::diag, "7;ipv6;10.1.0.0/16;;58785798;" },
   };
   for ( const auto& row : rows ) {
      const RuleFile file =
         readLines( row.form, { row.text }, { .vrfId = 7, .family = AddressFamily::ipv6 } );
      ASSERT_THAT( file.errors, IsEmpty() ) << row.text;
      ASSERT_EQ( file.rules.size(), 1U );
      const FiledRule& rule = file.rules[0];
      EXPECT_EQ( rule.key.stringValue(), "7;ipv6;10.1.0.0/16;*;IP:=0L6;" ) << row.text;
      EXPECT_EQ( rule.action, RuleAction() );
      EXPECT_EQ( rule.ruleId, defaultRuleId( rule.key ) );
   }
}

TEST( RuleFile, NlriAreOfTheFamilyThatIsGiven ) {
   const RuleFile file =
      readLines( Form::nlri, { "03 038106" }, { .vrfId = 7, .family = AddressFamily::ipv6 } );
   ASSERT_EQ( file.rules.size(), 1U );
   EXPECT_EQ( file.rules[0].key.stringValue(), "7;ipv6;*;*;IP:=0L6;" );
   const RuleFile none = readLines( Form::nlri, { "03038106" } );
   ASSERT_EQ( none.errors.size(), 1U );
   EXPECT_EQ( none.errors[0].reason, "an NLRI does not tell its address family: it must be given" );
}

TEST( RuleFile, DefaultsAreForWhatIsNotSaid ) {
   const std::vector< Vek::String > said{ lineWith( "{}" ) };
   const std::vector< Vek::String > notSaid{ lineWith( R"({"vrfId":null,"addressFamily":null})" ),
                                             lineWith( R"({"vrfId":16777215,"destPrefix":null,)"
                                                       R"("addressFamily":"none"})" ) };
   const RuleDefaults defaults{ .vrfId = 9, .family = AddressFamily::ipv6 };
   const FlowspecKey key = readLines( Form::json, said, defaults ).rules.at( 0 ).key;
   EXPECT_EQ( key.vrfId(), 5U );
   EXPECT_EQ( key.addressFamily(), AddressFamily::ipv4 );
   for ( const FiledRule& rule : readLines( Form::json, notSaid, defaults ).rules ) {
      EXPECT_EQ( rule.key.vrfId(), 9U );
      EXPECT_EQ( rule.key.addressFamily(), AddressFamily::ipv6 );
   }
   const RuleFile plain = readLines( Form::json, notSaid );
   ASSERT_EQ( plain.rules.size(), 2U );
   EXPECT_EQ( plain.rules[0].key.vrfId(), 0U );
   EXPECT_EQ( plain.rules[0].key.addressFamily(), AddressFamily::none );
   EXPECT_EQ(
      readLines( Form::value, { "16777215;ipv4;*;*;" }, defaults ).rules.at( 0 ).key.vrfId(), 9U );
}

TEST( RuleFile, BadLinesAreToldAndTheOthersStay ) {
   const std::vector< Vek::String > lines{ lineWith( R"({"action":{"deny":true}})" ),
                                           lineWith( R"({"ruleId":-1})" ),
                                           lineWith( R"({"ruleId":"1"})" ),
                                           lineWith( R"({"ruleId":1.5})" ),
                                           lineWith( R"({"destPrefix":"*"})" ),
                                           lineWith( R"({"rd":"1"})" ),
                                           lineWith( R"({"vrfId":6})" ),
                                           "{",
                                           "[]",
                                           R"({"action":{},"action":{}})",
                                           R"({"action":{"redirect":{"srTePolicy":[[1]]}}})",
                                           lineWith( R"({"action":null})" ) };
   EXPECT_THAT( errorsOf( Form::json, lines ),
                ElementsAre( "1: unknown member 'action.deny'",
                             "2: 'ruleId' is not a whole number from 0 to 18446744073709551615",
                             "3: 'ruleId' is not a whole number from 0 to 18446744073709551615",
                             "4: 'ruleId' is not a whole number from 0 to 18446744073709551615",
                             "5: 'destPrefix': '*' is not a prefix",
                             "6: 'rd': '1' is not a route distinguisher",
                             testing::StartsWith( "8: not JSON: parse error at line 1" ),
                             "9: not a JSON object", "10: member 'action' is there twice",
                             "11: nested too deeply for a rule",
                             "12: 'action' is not an object" ) );
   const RuleFile file = readLines( Form::json, lines );
   ASSERT_EQ( file.rules.size(), 1U );
   EXPECT_EQ( file.rules[0].line, 7U );
   EXPECT_THAT( errorsOf( Form::cli, { "*;*;IP:=6;", "*;*;IP:=tcp;" } ),
                ElementsAre( "2: Unexpected character t: 'tcp' is 6" ) );
}

TEST( RuleFile, RulesOfAnotherProgramMaySpanLines ) {
   Vek::String text =
      "flow4 { dst 10.0.0.0/8;\n"
      "# so far\n"
      "  dport 80; }\n"
      "{ bgp_med = 5;\n"
      "  bgp_ext_community.add((generic, 0x80080000, 0x00000100)); };\n"
      "\n"
      "flow4 {\n"
      "  dst 10.0.0.0/33; }\n"
      "flow6 { dst 2001:db8::/32; } { bgp_ext_community.add((generic, 0x80060000, 0)); }\n"
      "flow4 { dport 9;\n";
   std::vector< Vek::String > lines;
   for ( std::size_t at = 0; at < text.size(); at = text.find( '\n', at ) + 1 ) {
      lines.push_back( text.substr( at, text.find( '\n', at ) - at ) );
   }
   RuleDefaults defaults{ .vrfId = 7 };
   EXPECT_TRUE( Forms::addRouteTarget( "0:256=3", defaults.vrfs ) );
   const RuleFile file = readLines( Form::bird, lines, defaults );
   ASSERT_EQ( file.rules.size(), 2U );
   EXPECT_EQ( file.rules[0].key.stringValue(), "7;ipv4;10.0.0.0/8;*;DP:=0L80;" );
   EXPECT_EQ( file.rules[0].action.redirect.vrfId(), 3U );
   EXPECT_EQ( file.rules[0].line, 1U );
   EXPECT_EQ( file.rules[0].ruleId, defaultRuleId( file.rules[0].key ) );
   EXPECT_EQ( file.rules[1].key.stringValue(), "7;ipv6;2001:db8::/32;*;" );
   EXPECT_TRUE( file.rules[1].action.fields.trafficDrop() );
   EXPECT_EQ( file.rules[1].line, 9U );
   EXPECT_THAT(
      file.errors,
      ElementsAre( RuleError{ "rules", 8, "expected a prefix, found '10'", 7 },
                   RuleError{ "rules", 10, "expected a component, found the end", 17 } ) );
   EXPECT_THAT( file.warnings,
                ElementsAre( RuleError{
                   "rules", 4, "bgp_med is passed over: it is not part of the action", 3 } ) );
}

TEST( RuleFile, OfEqualKeysTheFirstStands ) {
   const std::vector< Vek::String > lines{ lineWith( R"({"action":{"drop":true}})" ),
                                           lineWith( R"({"vrfId":6})" ), lineWith( "{}" ),
                                           lineWith( R"({"ruleId":1})" ) };
   EXPECT_THAT( errorsOf( Form::json, lines ),
                ElementsAre( "3: line 3 is the rule of line 1 again",
                             "4: line 4 is the rule of line 1 again" ) );
   const RuleFile file = readLines( Form::json, lines );
   ASSERT_EQ( file.rules.size(), 2U );
   EXPECT_TRUE( file.rules[0].action.fields.trafficDrop() );
   // What two lines lack is filled in before they are compared, and a distinguisher is no part of
   // a key.
   EXPECT_THAT(
      errorsOf( Form::json, { lineWith( R"({"vrfId":null})" ), lineWith( R"({"vrfId":0})" ) } ),
      ElementsAre( "2: line 2 is the rule of line 1 again" ) );
   EXPECT_THAT( errorsOf( Form::rd, { "RD:1:1;*;*;", "", "RD:1:2;*;*;" } ),
                ElementsAre( "3: line 3 is the rule of line 1 again" ) );
}

TEST( RuleFile, IdentifiersFollowFromTheKeyAlone ) {
   // Stored numbers: these are not to change.
   EXPECT_EQ( defaultRuleId( FlowspecKey() ), 12346334902456179959U );
   EXPECT_EQ( defaultRuleId( readLines( Form::json, { lineWith( "{}" ) } ).rules.at( 0 ).key ),
              1297073841771615984U );
   const Vek::String line = lineWith( "{}" );
   const RuleFile alone = readLines( Form::json, { line } );
   const RuleFile behind = readLines( Form::json, { lineWith( R"({"vrfId":1})" ), line } );
   EXPECT_EQ( alone.rules.at( 0 ).ruleId, behind.rules.at( 1 ).ruleId );

   TestSupport::KeyGenerator random( 7 );
   std::set< FlowspecKey, FlowspecKeyOrder > keys;
   std::set< U64 > ids;
   for ( int round = 0; round < 50000; ++round ) {
      const FlowspecKey key = random.oneIn( 2 ) ? random.similarKey() : random.arbitraryKey();
      keys.insert( key );
      ids.insert( defaultRuleId( key ) );
   }
   EXPECT_EQ( ids.size(), keys.size() );
}

TEST( RuleFile, ReadsFiles ) {
   const TestSupport::Folder folder;
   const Vek::String path = folder.file( "a.jsonl", lineWith( "{}" ) + "\r\n\n# nothing\nbad\n" +
                                                       lineWith( R"({"vrfId":6})" ) );
   const RuleFile file = readRuleFile( path, {} );
   EXPECT_EQ( file.file, path );
   ASSERT_EQ( file.rules.size(), 2U );
   EXPECT_EQ( file.rules[0].line, 1U );
   EXPECT_EQ( file.rules[1].line, 5U );
   ASSERT_EQ( file.errors.size(), 1U );
   EXPECT_EQ( file.errors[0].file, path );
   EXPECT_EQ( file.errors[0].line, 4U );

   const RuleFile empty = readRuleFile( folder.file( "empty.cli", "" ), {} );
   EXPECT_THAT( empty.rules, IsEmpty() );
   EXPECT_THAT( empty.errors, IsEmpty() );

   const Vek::String longLine( Forms::LineReader::maxLine + 1, 'x' );
   const RuleFile wide = readRuleFile( folder.file( "wide.cli", longLine + "\n*;*;IP:=6;\n" ), {} );
   EXPECT_EQ( wide.rules.size(), 1U );
   EXPECT_THAT( wide.errors, ElementsAre( RuleError{ folder.path() + "/wide.cli", 1,
                                                     "the line is longer than 16777216 bytes" } ) );
}

TEST( RuleFile, FilesThatCannotBeReadAreErrorsWithoutALine ) {
   const TestSupport::Folder folder;
   const auto only = [&]( const Vek::String& path ) {
      const RuleFile file = readRuleFile( path, {} );
      EXPECT_EQ( file.file, path );
      EXPECT_THAT( file.rules, IsEmpty() );
      return file.errors;
   };
   const Vek::String missing = folder.path() + "/none.cli";
   EXPECT_THAT( only( missing ),
                ElementsAre( RuleError{ missing, 0, "cannot open: No such file or directory" } ) );
   const Vek::String notes = folder.file( "notes.txt", "*;*;\n" );
   EXPECT_THAT( only( notes ), ElementsAre( RuleError{
                                  notes, 0, "the ending of the name is not a form of rules" } ) );
   const Vek::String inner = folder.path() + "/folder.cli";
   ASSERT_EQ( ::mkdir( inner.c_str(), 0700 ), 0 );
   EXPECT_THAT( only( inner ), ElementsAre( RuleError{ inner, 0, "not a regular file" } ) );
}

TEST( RuleFile, ReadsTheExamples ) {
   for ( const char* const name : { "ipv4-services", "ipv6-filters", "ipv6-redirect" } ) {
      const Vek::String path = Vek::String( "examples/rules/" ) + name;
      const RuleDefaults defaults{
         .vrfId = 3, .family = Zorv::addressFamily( std::string_view( name ).substr( 0, 4 ) ) };
      const RuleFile text = readRuleFile( path + ".cli", defaults );
      const RuleFile json = readRuleFile( path + ".jsonl", defaults );
      EXPECT_THAT( text.errors, IsEmpty() );
      EXPECT_THAT( json.errors, IsEmpty() );
      ASSERT_EQ( text.rules.size(), json.rules.size() );
      ASSERT_FALSE( text.rules.empty() );
      for ( std::size_t i = 0; i < text.rules.size(); ++i ) {
         EXPECT_EQ( text.rules[i].key, json.rules[i].key );
         EXPECT_EQ( text.rules[i].ruleId, json.rules[i].ruleId );
      }
   }
}

} // namespace
} // namespace Forms
