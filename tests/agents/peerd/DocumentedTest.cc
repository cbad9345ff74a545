#include "tests/support/Folder.h"
#include "tests/support/Process.h"

#include <gtest/gtest.h>

namespace {

using TestSupport::Folder;
using TestSupport::Process;

// The configurations that the page shows, with a program that somebody else wrote.
struct Documented {
   const char* section;
   const char* program;
};

struct DocumentedTest : testing::TestWithParam< Documented > {};

TEST_P( DocumentedTest, TheSessionOfThePageComesUpAndRulesArrive ) {
   constexpr int skipped = 77;
   const Folder folder;
   Process run( { "sh", "-c", "exec python3 \"$@\" >&2", "sh", "tests/agents/peerd/documented.py",
                  "docs/peerd.md", GetParam().section, GetParam().program, STATEDBD, CONFIGD, PEERD,
                  FLOWSPECCTL },
                folder.path() + "/output" );
   const int status = run.wait();
   if ( status == skipped ) {
      GTEST_SKIP() << run.errors();
   }
   EXPECT_EQ( status, 0 ) << run.errors();
}

INSTANTIATE_TEST_SUITE_P( Peers, DocumentedTest,
                          testing::Values( Documented{ "ExaBGP", "exabgp" },
                                           Documented{ "GoBGP", "gobgpd" },
                                           Documented{ "BIRD", "bird" },
                                           Documented{ "FRR", "bgpd" } ),
                          []( const auto& row ) { return row.param.section; } );

} // namespace
