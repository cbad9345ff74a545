#include "tests/tools/flowspecctl/Run.h"

#include <algorithm>
#include <regex>

#include <gtest/gtest.h>

namespace {

using TestSupport::contents;
using TestSupport::Result;

constexpr const char* story = "tests/agents/system/story.expected";
constexpr const char* all = "tests/agents/system/demo.expected";
constexpr const char* rewrite =
   "when the change is meant: tests/agents/system/demo.sh FOLDER-OF-THE-BUILD";

// What is another one in each run is left out: times and versions.
Vek::String withoutChance( const Vek::String& text ) {
   static const std::regex time( "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d UTC" );
   static const std::regex version( "version       [0-9a-f]{16}" );
   return std::regex_replace( std::regex_replace( text, time, "TIME" ), version,
                              "version       VERSION" );
}

Result demo( std::vector< Vek::String > command, const Vek::String& setting = "COLUMNS=100" ) {
   const auto build = std::filesystem::path( STATEDBD ).parent_path().parent_path();
   return TestSupport::run( { .command = std::move( command ),
                              .environment = { setting, "FLOWSPEC_BUILD=" + build.string() } } );
}

TEST( Demo, TellsTheStoryOfAnAttack ) {
   if ( TestSupport::run( { .command = { "sh", "-c", "PATH=$PATH:/usr/sbin; command -v exabgp" } } )
           .status != 0 ) {
      GTEST_SKIP() << "exabgp is not installed";
   }
   const Result result = demo( { "script/demo" } );
   EXPECT_EQ( result.status, 0 );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( withoutChance( result.out ), contents( story ) ) << rewrite;
   EXPECT_LE( std::ranges::count( result.out, '\n' ), 60 );
}

TEST( Demo, ShowsTheRulesAndTheSystemAtWork ) {
   const Result result = demo( { "script/demo", "--all" } );
   EXPECT_EQ( result.status, 0 );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( withoutChance( result.out ), contents( all ) ) << rewrite;
}

// On a terminal that no terminfo entry describes, and on one whose kind is not even known.
TEST( Demo, RunsOnATerminalOfAnyKind ) {
   const std::vector< Vek::String > onTerminal{ "env", "-u", "COLUMNS",           "script",
                                                "-qe", "-c", "script/demo --all", "/dev/null" };
   std::vector< Vek::String > withoutTerm = onTerminal;
   withoutTerm.insert( withoutTerm.begin() + 1, { "-u", "TERM" } );
   for ( const auto& command : { onTerminal, withoutTerm } ) {
      const Result result = demo( command, "TERM=no-such-terminal" );
      EXPECT_EQ( result.status, 0 );
      EXPECT_TRUE( result.out.ends_with( "The daemons have ended.\r\n" ) ) << result.out;
   }
}

// What the readme shows of it, in a block of its own.
TEST( Demo, IsShownInTheReadme ) {
   const Vek::String readme = contents( "README.md" );
   const Vek::String expected = contents( story ) + contents( all );
   std::size_t shown = 0;
   for ( std::size_t begin = 0; ( begin = readme.find( "```text\n", begin ) ) != readme.npos; ) {
      begin += 8;
      const Vek::String block = readme.substr( begin, readme.find( "```", begin ) - begin );
      EXPECT_NE( expected.find( block ), expected.npos ) << block;
      ++shown;
   }
   EXPECT_EQ( shown, 3U );
}

TEST( Demo, TakesNoOtherArguments ) {
   for ( const std::vector< Vek::String >& command :
         { std::vector< Vek::String >{ "script/demo", "fast" },
           { "script/demo", "--all", "--all" } } ) {
      const Result result = demo( command );
      EXPECT_EQ( result.status, 2 );
      EXPECT_EQ( result.err, "usage: script/demo [--all]\n" );
   }
}

} // namespace
