#include "Flowspec/vocab/FlowspecUtil.h"
#include "forms/ActionJson.h"
#include "forms/KeyJson.h"
#include "tests/support/RandomAction.h"
#include "tests/support/RuleLines.h"
#include "tests/tools/flowspecctl/Run.h"

#include <gtest/gtest.h>

namespace Agents {

using namespace Flowspec;
using namespace Forms;

namespace {

using Json = nlohmann::json;
using TestSupport::lineWith;
using TestSupport::readLines;

// Verdicts of the reader, for the schema to agree with.
class Verdicts {
public:
   void add( const Vek::String& line, bool good ) {
      const RuleFile file = readLines( Forms::Form::json, { line } );
      EXPECT_EQ( file.errors.empty(), good ) << line;
      text_ += Json{ { "good", good }, { "line", Json::parse( line ) } }.dump() + '\n';
   }

   const Vek::String& text() const { return text_; }

private:
   Vek::String text_;
};

TEST( RuleSchema, AgreesWithTheReader ) {
   Verdicts verdicts;
   for ( const char* const good :
         { "{}",
           R"({"vrfId":null})",
           R"({"addressFamily":null})",
           R"({"addressFamily":"none"})",
           R"({"ruleId":0})",
           R"({"ruleId":18446744073709551615})",
           R"({"rd":"65000:1"})",
           R"({"action":{}})",
           R"({"action":{"drop":true,"sample":true,"continue":true}})",
           R"({"action":{"drop":false,"markDscp":0}})",
           R"({"action":{"rateLimit":{"bytes":0}}})",
           R"({"action":{"rateLimit":{"packets":0.5}}})",
           R"({"action":{"rateLimit":{"bytes":3.4028234663852886e38}}})",
           R"({"action":{"expires":1}})",
           R"({"action":{"expires":4294967295}})",
           R"({"action":{"drop":true,"expires":"2026-11-22T23:05:00Z"}})",
           R"({"action":{"expires":"2026-11-22t23:59:60.25-23:59"}})",
           R"({"action":{"markDscp":63}})",
           R"({"action":{"redirect":{"vrf":4294967295}}})",
           R"({"action":{"redirect":{"addr":"2001:DB8::9","copy":false}}})",
           R"({"action":{"redirect":{"srTePolicy":{"color":1,"endpoint":"0.0.0.0"}}}})" } ) {
      verdicts.add( lineWith( good ), true );
   }
   for ( const DscpName& name : FlowspecUtil::dscpNames() ) {
      verdicts.add( lineWith( Json{ { "action", { { "markDscp", name.name } } } }.dump().c_str() ),
                    true );
   }
   for ( const char* const bad :
         { R"({"vrfId":-1})",
           R"({"addressFamily":4})",
           R"({"words":[1]})",
           R"({"terms":null})",
           R"({"destPrefix":"*"})",
           R"({"rd":1})",
           R"({"name":"1:1"})",
           R"({"ruleId":-1})",
           R"({"ruleId":"1"})",
           R"({"ruleId":null})",
           R"({"action":null})",
           R"({"action":"drop"})",
           R"({"action":{"permit":true}})",
           R"({"action":{"drop":1}})",
           R"({"action":{"sample":"yes"}})",
           R"({"action":{"continue":null}})",
           R"({"action":{"rateLimit":1}})",
           R"({"action":{"rateLimit":{}}})",
           R"({"action":{"rateLimit":{"bits":1}}})",
           R"({"action":{"rateLimit":{"bytes":-1}}})",
           R"({"action":{"rateLimit":{"bytes":3.5e38}}})",
           R"({"action":{"rateLimit":{"bytes":1,"packets":1}}})",
           R"({"action":{"rateLimit":{"packets":"1"}}})",
           R"({"action":{"expires":0}})",
           R"({"action":{"expires":4294967296}})",
           R"({"action":{"expires":1.5}})",
           R"({"action":{"expires":"60"}})",
           R"({"action":{"expires":"2026-11-22T24:00:00Z"}})",
           R"({"action":{"expires":"2026-13-22T23:00:00Z"}})",
           R"({"action":{"expires":"2026-11-22T23:00:00.Z"}})",
           R"({"action":{"expires":"2026-11-22T23:00:00"}})",
           R"({"action":{"markDscp":64}})",
           R"({"action":{"markDscp":"AF21"}})",
           R"({"action":{"markDscp":[]}})",
           R"({"action":{"redirect":{}}})",
           R"({"action":{"redirect":"red"}})",
           R"({"action":{"redirect":{"copy":true}}})",
           R"({"action":{"redirect":{"vrf":16777215}}})",
           R"({"action":{"redirect":{"vrf":1,"addr":"::"}}})",
           R"({"action":{"redirect":{"vrf":1,"copy":1}}})",
           R"({"action":{"redirect":{"vrf":1,"port":1}}})",
           R"({"action":{"redirect":{"addr":"example.net"}}})",
           R"({"action":{"redirect":{"srTePolicy":{"color":0,"endpoint":"::"}}}})",
           R"({"action":{"redirect":{"srTePolicy":{"color":1}}}})",
           R"({"action":{"redirect":{"srTePolicy":{"endpoint":"::"}}}})",
           R"({"action":{"redirect":{"srTePolicy":{"color":1,"endpoint":"::","x":1}}}})",
           R"({"action":{"drop":true,"rateLimit":{"bytes":1}}})",
           R"({"action":{"drop":true,"markDscp":1}})",
           R"({"action":{"drop":true,"redirect":{"vrf":1}}})" } ) {
      verdicts.add( lineWith( bad ), false );
   }
   std::istringstream example( TestSupport::contents( "examples/system/rules.jsonl" ) );
   for ( Vek::String line; std::getline( example, line ); ) {
      verdicts.add( line, true );
   }
   TestSupport::KeyGenerator random( 8956 );
   for ( int round = 0; round < 200; ++round ) {
      Vek::String text;
      Forms::appendKeyJson( text, random.canonicalKey() );
      Json line = Json::parse( text );
      line["action"] = Forms::actionJson( TestSupport::randomAction( random ) );
      line["ruleId"] = random.any();
      verdicts.add( line.dump(), true );
   }
   const TestSupport::Result result = TestSupport::run(
      { .command = { "python3", "tests/agents/configd/schema.py", "docs/rule.schema.json" },
        .input = verdicts.text() } );
   EXPECT_EQ( result.out, "" );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 );
}

} // namespace
} // namespace Agents
