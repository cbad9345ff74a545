#include "agents/configd/Report.h"

#include "Vek/text/Text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Agents {

using namespace Flowspec;
using namespace Forms;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector< RuleError > lines( const char* file, U64 count ) {
   std::vector< RuleError > errors;
   for ( U64 line = 1; line <= count; ++line ) {
      errors.push_back( { file, line, "bad" } );
   }
   return errors;
}

// What `tell` writes to standard error.
template < typename Tell >
Vek::String told( Tell tell ) {
   testing::internal::CaptureStderr();
   tell();
   return testing::internal::GetCapturedStderr();
}

Vek::String expected( const char* file, const char* kind, U64 first, U64 last ) {
   Vek::String text;
   for ( U64 line = first; line <= last; ++line ) {
      text += Vek::concat( file, ':', line, ": ", kind, ": bad\n" );
   }
   return text;
}

TEST( Report, TellsTenErrorsOfAFileAndCountsTheOthers ) {
   Report report;
   EXPECT_EQ( told( [&] { report.errors( lines( "a", 10 ) ); } ), expected( "a", "error", 1, 10 ) );
   EXPECT_THAT( report.rest(), IsEmpty() );
   EXPECT_EQ( told( [&] { report.errors( lines( "a", 1 ) ); } ), "" );
   EXPECT_THAT( report.rest(), ElementsAre( "a: 1 more errors and 0 more warnings" ) );
   EXPECT_EQ( told( [&] { report.warnings( lines( "a", 2 ) ); } ), "" );
   EXPECT_THAT( report.rest(), ElementsAre( "a: 1 more errors and 2 more warnings" ) );
}

TEST( Report, TellsTenWarningsOfAFileAndCountsTheOthers ) {
   Report report;
   EXPECT_EQ( told( [&] { report.warnings( lines( "a", 11 ) ); } ),
              expected( "a", "warning", 1, 10 ) );
   EXPECT_THAT( report.rest(), ElementsAre( "a: 0 more errors and 1 more warnings" ) );
}

TEST( Report, CountsErrorsAndWarningsOfAFileTogether ) {
   Report report;
   EXPECT_EQ( told( [&] {
                 report.errors( lines( "a", 4 ) );
                 report.warnings( lines( "a", 7 ) );
              } ),
              expected( "a", "error", 1, 4 ) + expected( "a", "warning", 1, 6 ) );
   EXPECT_THAT( report.rest(), ElementsAre( "a: 0 more errors and 1 more warnings" ) );
}

TEST( Report, CountsEachFileApart ) {
   Report report;
   EXPECT_EQ( told( [&] {
                 report.errors( lines( "b", 12 ) );
                 report.errors( lines( "a", 11 ) );
                 report.errors( std::vector< RuleError >{ { "c", 0, "cannot open" } } );
              } ),
              expected( "b", "error", 1, 10 ) + expected( "a", "error", 1, 10 ) +
                 "c: error: cannot open\n" );
   EXPECT_THAT( report.rest(), ElementsAre( "a: 1 more errors and 0 more warnings",
                                            "b: 2 more errors and 0 more warnings" ) );
}

} // namespace
} // namespace Agents
