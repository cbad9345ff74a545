#include "tests/agents/flowspecctl/StagedSystem.h"

#include <csignal>
#include <fstream>

#include <nlohmann/json.hpp>

/// `flowspecctl record`, `replay` and `diff`.
namespace Flowspec {
namespace {

using testing::HasSubstr;
using TestSupport::contents;
using TestSupport::flowspecctl;
using TestSupport::Process;
using TestSupport::Result;
using TestSupport::until;

class Record : public TestSupport::StagedSystem {
protected:
   Record() {
      config->vrfRuleConfigIs( 5 )->ruleIs( first )->ruleIdIs( 9 );
      config->vrfRuleConfigIs( 5 )->ruleIs( second )->ruleIdIs( 10 );
      status->vrfRuleStatusIs( 5 )->ruleStatusIs( first )->statusCodeIs( programmed );
   }

   Vek::String path( const char* name ) { return database.folder().path() + '/' + name; }

   Result record( const Vek::String& file ) {
      return ctl( { "record", "--once", "flowspec/config", "flowspec/status", file } );
   }

   // The configuration that another state database holds.
   static Vek::String dumped( const TestSupport::Database& other ) {
      return flowspecctl( { "dump", "--socket", other.endpoint().text(), "flowspec/config" } ).out;
   }

   const FlowspecKey first = key( "5;ipv4;10.1.0.0/16;*;" );
   const FlowspecKey second = key( "5;ipv4;10.2.0.0/16;*;" );
};

TEST_F( Record, OnceWritesWhatIsThere ) {
   const Result recorded = record( path( "a.log" ) );
   EXPECT_EQ( recorded.status, 0 ) << recorded.err;
   EXPECT_EQ( recorded.out, "" );
   const Result decoded = flowspecctl( { "decode-log", "--dump", path( "a.log" ) } );
   EXPECT_EQ( decoded.status, 0 ) << decoded.err;
   const Result dump = ctl( { "dump", "flowspec/config", "flowspec/status" } );
   EXPECT_TRUE( decoded.out.ends_with( dump.out ) ) << decoded.out;
}

TEST_F( Record, WritesToStandardOutput ) {
   ASSERT_EQ( record( path( "a.log" ) ).status, 0 );
   EXPECT_EQ( record( "-" ).out, contents( path( "a.log" ) ) );
}

TEST_F( Record, NeverWritesOverAFile ) {
   ASSERT_EQ( record( path( "a.log" ) ).status, 0 );
   const Vek::String before = contents( path( "a.log" ) );
   config->twoColorCounterEnabledIs( true );
   const Result again = record( path( "a.log" ) );
   EXPECT_EQ( again.status, 1 );
   EXPECT_EQ( again.err,
              "flowspecctl: error: cannot create " + path( "a.log" ) + ": File exists\n" );
   EXPECT_EQ( contents( path( "a.log" ) ), before );
}

TEST_F( Record, OfARootThatIsNotThereWritesNothing ) {
   const Result result = ctl( { "record", "--once", "flowspec/none", path( "a.log" ) } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.err,
              "flowspecctl: error: flowspec/none: the state database has no such root\n" );
   EXPECT_FALSE( std::filesystem::exists( path( "a.log" ) ) );
}

TEST_F( Record, FollowsChangesAndRootsThatComeLater ) {
   ASSERT_TRUE( tellAll() );
   const auto recording = std::make_unique< Process >(
      std::vector< Vek::String >{ FLOWSPECCTL, "record", "--socket", database.endpoint().text(),
                                  "flowspec/config", "flowspec/later", path( "a.log" ) },
      path( "out" ) );
   const auto holds = [&]( const char* text ) {
      return until( { &configWriter, &statusWriter, &counterWriter }, [&] {
         return flowspecctl( { "decode-log", path( "a.log" ) } ).out.find( text ) !=
                Vek::String::npos;
      } );
   };
   ASSERT_TRUE( holds( "10.2.0.0/16" ) );
   config->vrfRuleConfig( 5 )->ruleDel( second );
   config->vrfRuleConfig( 5 )->ruleIs( key( "5;ipv4;10.3.0.0/16;*;" ) );
   ASSERT_TRUE( holds( "10.3.0.0/16" ) );
   const auto later = configFactory( "flowspec/later" );
   Vek::log::Mount writer( database.endpoint(), "test", *later );
   ASSERT_TRUE( until( { &writer }, [&] { return writer.allSent(); } ) );
   ASSERT_TRUE( holds( "flowspec/later" ) );
   recording->signal( SIGINT );
   EXPECT_NE( recording->wait(), 0 );
   EXPECT_EQ( ctl( { "diff", "flowspec/config", path( "a.log" ) } ).out, "" );
}

TEST_F( Record, ReplayGivesAnotherDatabaseTheSame ) {
   ASSERT_EQ( record( path( "a.log" ) ).status, 0 );
   const TestSupport::Database other;
   const Result replayed =
      flowspecctl( { "replay", "--socket", other.endpoint().text(), path( "a.log" ) } );
   EXPECT_EQ( replayed.status, 0 ) << replayed.err;
   EXPECT_EQ( dumped( other ), ctl( { "dump", "flowspec/config" } ).out );
}

TEST_F( Record, ReplaySaysWhyItCannot ) {
   ASSERT_EQ( record( path( "a.log" ) ).status, 0 );
   Result result = ctl( { "replay", path( "a.log" ) } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_THAT( result.err, HasSubstr( "flowspec/config: " ) );
   EXPECT_THAT( result.err, HasSubstr( "configd" ) );

   result = flowspecctl( { "replay", "--socket", "/nowhere/socket", path( "a.log" ) } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_THAT( result.err, HasSubstr( "flowspec/config: cannot connect to /nowhere/socket" ) );

   result = ctl( { "replay", path( "none.log" ) } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.err,
              path( "none.log" ) + ": error: cannot open: No such file or directory\n" );
}

TEST_F( Record, ReplayOfACutRecordingFilesWhatIsWhole ) {
   ASSERT_EQ( record( path( "a.log" ) ).status, 0 );
   const Vek::String all = contents( path( "a.log" ) );
   std::ofstream( path( "cut.log" ), std::ios::binary ) << all << all.substr( 0, 100 );
   const TestSupport::Database other;
   const Result replayed =
      flowspecctl( { "replay", "--socket", other.endpoint().text(), path( "cut.log" ) } );
   EXPECT_EQ( replayed.status, 1 );
   EXPECT_EQ( replayed.err, Vek::concat( path( "cut.log" ), ": error: the record at byte ",
                                         all.size(), " is cut off\n" ) );
   EXPECT_EQ( dumped( other ), ctl( { "dump", "flowspec/config" } ).out );
}

TEST_F( Record, DiffOfEqualStatesIsEmpty ) {
   ASSERT_EQ( record( path( "a.log" ) ).status, 0 );
   ASSERT_EQ( record( path( "b.log" ) ).status, 0 );
   for ( const auto& [one, other] : std::initializer_list< std::pair< Vek::String, Vek::String > >{
            { path( "a.log" ), path( "b.log" ) },
            { "flowspec/config", path( "a.log" ) },
            { path( "a.log" ), "flowspec/status" },
            { "flowspec/config", "flowspec/config" } } ) {
      const Result result = ctl( { "diff", one, other } );
      EXPECT_EQ( result.status, 0 ) << one << ' ' << other << ' ' << result.err;
      EXPECT_EQ( result.out, "" );
   }
}

TEST_F( Record, DiffTellsWhatDiffers ) {
   ASSERT_EQ( record( path( "a.log" ) ).status, 0 );
   config->twoColorCounterEnabledIs( true );
   config->vrfRuleConfig( 5 )->rule( first )->ruleIdIs( 8 );
   config->vrfRuleConfig( 5 )->ruleDel( second );
   config->vrfRuleConfig( 5 )->ruleIs( key( "5;ipv4;10.3.0.0/16;*;" ) );
   const auto vrf = status->vrfRuleStatus( 5 );
   vrf->intfErrorIs( { Zorv::IntfId( 4 ), Zorv::AddressFamily::ipv6 }, "one" );
   ASSERT_EQ( record( path( "b.log" ) ).status, 0 );
   vrf->intfErrorIs( { Zorv::IntfId( 4 ), Zorv::AddressFamily::ipv6 }, "two" );

   Result result = ctl( { "diff", path( "a.log" ), path( "b.log" ) } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.out,
              "flowspec/config VrfRuleConfig 5, RuleConfig 5;ipv4;10.1.0.0/16;*;: ruleId 9 -> 8\n"
              "flowspec/config VrfRuleConfig 5: rule - 5;ipv4;10.2.0.0/16;*;\n"
              "flowspec/config VrfRuleConfig 5: rule + 5;ipv4;10.3.0.0/16;*;\n"
              "flowspec/config: twoColorCounterEnabled 0 -> 1\n"
              "flowspec/status VrfRuleStatus 5: intfError + intf4,ipv6 -> \"one\"\n" );

   result = ctl( { "diff", "--json", path( "b.log" ), "flowspec/status" } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( nlohmann::json::parse( result.out ),
              nlohmann::json::parse( R"({ "root": "flowspec/status", "path": "VrfRuleStatus 5",
                 "field": "intfError", "change": "changed", "key": "intf4,ipv6",
                 "old": "\"one\"", "new": "\"two\"" })" ) );
}

TEST_F( Record, DiffTellsOfRootsThatOneFileLacks ) {
   ASSERT_EQ( record( path( "a.log" ) ).status, 0 );
   ASSERT_EQ(
      ctl( { "record", "--once", "flowspec/config", "flowspec/counter", path( "b.log" ) } ).status,
      0 );
   const Result result = ctl( { "diff", path( "a.log" ), path( "b.log" ) } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.out, "flowspec/status: -\n"
                          "flowspec/counter: +\n" );
   EXPECT_EQ( ctl( { "diff", "--json", path( "b.log" ), path( "a.log" ) } ).out,
              R"({"root":"flowspec/counter","path":"","field":"","change":"removed"})"
              "\n"
              R"({"root":"flowspec/status","path":"","field":"","change":"added"})"
              "\n" );
}

TEST_F( Record, DiffSaysWhatCannotBeCompared ) {
   Result result = ctl( { "diff", "flowspec/config", "flowspec/status" } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.err, "flowspecctl: error: flowspec/config is a Flowspec::Config and "
                          "flowspec/status a Flowspec::Status\n" );
   result = ctl( { "diff", "flowspec/config", "flowspec/none" } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.err,
              "flowspecctl: error: flowspec/none: the state database has no such root\n" );
   std::ofstream( path( "bad.log" ) ) << "this is no attribute log at all";
   result = ctl( { "diff", path( "bad.log" ), "flowspec/config" } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_THAT( result.err, HasSubstr( path( "bad.log" ) + ": " ) );
   // A file without a root that was asked for.
   ASSERT_EQ( record( path( "a.log" ) ).status, 0 );
   result = ctl( { "diff", "flowspec/counter", path( "a.log" ) } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.out, "flowspec/counter: -\n" );
}

} // namespace
} // namespace Flowspec
