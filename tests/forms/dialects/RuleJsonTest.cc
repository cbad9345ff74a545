#include "forms/dialects/RuleJson.h"

#include "tests/forms/dialects/RuleData.h"

#include <gmock/gmock.h>

namespace Forms {
namespace {

using TestSupport::ruleContext;
using Zorv::AddressFamily;

const Dialect& json() { return *dialectOf( "json" ); }

/// What a line is, written again; what was wrong with it instead.
std::string again( std::string_view line, AddressFamily family = AddressFamily::none ) {
   const Context context = ruleContext( family );
   Rule rule;
   std::vector< Fault > remarks;
   if ( const auto fault = readRule( json(), line, context, rule, remarks ) ) {
      return Vek::concat( fault->line, ':', fault->column, ": ", fault->reason );
   }
   Vek::String text;
   const auto reason = writeRule( json(), rule, context, text );
   return reason ? "refused: " + *reason : text;
}

std::string with( std::string_view members, std::string_view family = R"("ipv4")" ) {
   return Vek::concat( R"({"vrfId":5,"addressFamily":)", family,
                       R"(,"destPrefix":"10.1.0.0/16","srcPrefix":null,"interfaceSet":[3],)"
                       R"("terms":[])",
                       members, '}' );
}

TEST( RuleJson, GivesALineBack ) {
   const auto all = with(
      R"(,"action":{"rateLimit":{"bytes":1250000},"redirect":{"vrf":7}},"ruleId":18446744073709551615,"rd":"65000:1")" );
   EXPECT_EQ( again( all ), all );
   EXPECT_EQ( again( with( "" ) ), with( "" ) );
   EXPECT_EQ( again( with( R"(,"action":{})" ) ), with( "" ) );
   EXPECT_EQ( again( "  " + with( "" ) + "\n" ), with( "" ) );
}

TEST( RuleJson, TakesTheFamilyOfTheContextWhereThereIsNone ) {
   for ( const char* const none : { "null", R"("none")" } ) {
      EXPECT_EQ( again( with( "", none ), AddressFamily::ipv4 ), with( "" ) );
      EXPECT_EQ( again( with( "", none ) ), with( "", R"("none")" ) );
   }
   EXPECT_EQ( again( with( "" ), AddressFamily::ipv6 ), with( "" ) );
}

TEST( RuleJson, TellsWhenARuleExpires ) {
   for ( const char* const action : { R"({"expires":1})", R"({"drop":true,"expires":4294967295})",
                                      R"({"drop":true,"expires":"2026-11-22T23:05:00Z"})",
                                      R"({"expires":"0001-01-01T00:00:00Z"})" } ) {
      const auto line = with( Vek::concat( R"(,"action":)", std::string_view( action ) ) );
      EXPECT_EQ( again( line ), line );
   }
   EXPECT_EQ( again( with( R"(,"action":{"expires":"2026-11-22t23:05:60.5+01:00"})" ) ),
              with( R"(,"action":{"expires":"2026-11-22T22:06:00Z"})" ) );
   for ( const char* const wrong :
         { "0", "-1", "4294967296", "1.5", "true", "null", "[]", R"("")", R"("60")",
           R"("2026-11-22T23:05:00")", R"("2026-02-29T00:00:00Z")" } ) {
      EXPECT_EQ(
         again( with( Vek::concat( R"(,"action":{"expires":)", std::string_view( wrong ), "}" ) ) ),
         "1:0: 'action.expires' is neither a whole number of seconds from 1 to 4294967295 "
         "nor a time such as 2026-11-22T23:05:00Z" )
         << wrong;
   }
}

// Whoever reads it would keep it for ever.
TEST( RuleJson, NoOtherDialectHasRulesThatExpire ) {
   Rule rule;
   std::vector< Fault > remarks;
   const Context context = ruleContext( AddressFamily::ipv4 );
   ASSERT_FALSE(
      readRule( json(), with( R"(,"action":{"expires":60})" ), context, rule, remarks ) );
   for ( const Dialect& dialect : dialects() ) {
      Vek::String text;
      if ( &dialect != &json() ) {
         EXPECT_EQ( writeRule( dialect, rule, context, text ),
                    Vek::String( dialect.name ) + " has no word for a rule that expires" );
         EXPECT_EQ( text, "" );
         // Who asks for the match alone does not keep it.
         Context match = context;
         match.matchOnly = true;
         const auto reason = writeRule( dialect, rule, match, text );
         EXPECT_EQ( reason.value_or( "" ).find( "expires" ), Vek::String::npos ) << *reason;
      }
   }
}

TEST( RuleJson, NamesTheMemberThatIsWrong ) {
   EXPECT_EQ( again( with( R"(,"ruleId":-1)" ) ),
              "1:0: 'ruleId' is not a whole number from 0 to 18446744073709551615" );
   EXPECT_EQ( again( with( R"(,"rd":"x")" ) ), "1:0: 'rd': 'x' is not a route distinguisher" );
   EXPECT_EQ( again( with( R"(,"rd":1)" ) ), "1:0: 'rd' is not a string" );
   EXPECT_EQ( again( with( R"(,"action":{"deny":true})" ) ), "1:0: unknown member 'action.deny'" );
   EXPECT_EQ( again( with( R"(,"name":"x")" ) ), "1:0: unknown member 'name'" );
   EXPECT_EQ( again( "[]" ), "1:0: not a JSON object" );
   EXPECT_THAT( again( "{" ), testing::StartsWith( "1:0: not JSON: parse error at line 1" ) );
   EXPECT_THAT( again( with( "" ) + " {}" ), testing::StartsWith( "1:0: not JSON: " ) );
}

TEST( RuleJson, LeavesTheActionOutForThoseWhoWantTheMatch ) {
   Rule rule;
   rule.action.fields.trafficDropIs( true );
   Context context;
   context.matchOnly = true;
   Vek::String text;
   EXPECT_FALSE( writeRule( json(), rule, context, text ) );
   EXPECT_THAT( text, testing::EndsWith( R"("terms":[]})" ) );
}

} // namespace
} // namespace Forms
