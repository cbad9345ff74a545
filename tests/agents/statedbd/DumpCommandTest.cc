#include "Flowspec/FlowspecDalb.h"
#include "tests/agents/statedbd/Database.h"
#include "tests/tools/flowspecctl/Run.h"

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using testing::StartsWith;
using TestSupport::flowspecctl;

class DumpCommand : public testing::Test {
protected:
   DumpCommand() {
      const auto rule = status->vrfRuleStatusIs( 5 )->ruleStatusIs( FlowspecKey() );
      rule->errorReasonIs( "no room" );
      EXPECT_TRUE( TestSupport::untilAllStand( { &writer } ) );
   }

   TestSupport::Result dump( std::vector< Vek::String > arguments ) {
      arguments.insert( arguments.begin(), { "dump", "--socket", database.endpoint().text() } );
      return flowspecctl( std::move( arguments ) );
   }

   TestSupport::Database database;
   Vek::Ptr< Status > status = statusFactory( "flowspec/status" );
   Vek::log::Mount writer{ database.endpoint(), "programd", *status };
};

TEST_F( DumpCommand, PrintsTheStateOfARoot ) {
   const auto result = dump( { "flowspec/status" } );
   EXPECT_EQ( result.status, 0 );
   EXPECT_EQ( result.err, "" );
   Vek::String expected = "Flowspec::Status flowspec/status\n";
   Osk::DumpContext context( [&]( std::string_view text ) { expected += text; } );
   status->dumpState( context, 0 );
   EXPECT_EQ( result.out, expected );
   EXPECT_NE( result.out.find( "no room" ), Vek::String::npos );
}

TEST_F( DumpCommand, PrintsAnObject ) {
   const auto result = dump( { "--json", "flowspec/status" } );
   EXPECT_EQ( result.status, 0 );
   EXPECT_THAT( result.out,
                StartsWith( R"({"root":"flowspec/status","type":"Flowspec::Status","state":")" ) );
}

TEST_F( DumpCommand, SaysWhatIsNotThere ) {
   const auto result = dump( { "flowspec/status", "nothing" } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.err, "nothing: error: the state database has no such root\n" );
   EXPECT_THAT( result.out, StartsWith( "Flowspec::Status flowspec/status\n" ) );
}

TEST_F( DumpCommand, SaysThatNobodyListens ) {
   database.process().kill();
   const auto result = dump( { "flowspec/status" } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.err, "flowspec/status: error: cannot connect to " +
                             database.endpoint().text() + ": Connection refused\n" );
}

TEST_F( DumpCommand, SaysThatNobodyAnswers ) {
   database.process().signal( SIGSTOP );
   const auto result = dump( { "flowspec/status" } );
   database.process().signal( SIGCONT );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.err, "flowspec/status: error: the state database does not answer\n" );
}

TEST_F( DumpCommand, WrongUsageIsStatus2 ) {
   EXPECT_EQ( flowspecctl( { "dump" } ).status, 2 );
   EXPECT_EQ( flowspecctl( { "dump", "--socket", "nonsense", "x" } ).status, 2 );
   EXPECT_EQ( dump( { "line\nend" } ).status, 1 );
}

} // namespace
} // namespace Flowspec
