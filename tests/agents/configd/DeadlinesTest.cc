#include "agents/configd/Deadlines.h"

#include "tests/support/RuleLines.h"

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Agents {
namespace {

using namespace std::chrono_literals;
using std::chrono::seconds;
using testing::DoubleNear;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto start = std::chrono::sys_seconds( seconds( 1'795'387'500 ) ); // 2026-11-22T22:45:00Z

Vek::String line( unsigned port, const char* action ) {
   return TestSupport::lineWith( Vek::concat( R"({"terms":[{"type":"destPort","op":145,"value":)",
                                              port, R"(}],"action":)", std::string_view( action ),
                                              "}" )
                                    .c_str() );
}

struct DeadlinesTest : testing::Test {
   // Reads a file of lines; the numbers of the lines of the rules that are to be filed.
   std::vector< U64 > read( std::size_t at, const std::vector< Vek::String >& lines ) {
      files[at] = TestSupport::readLines( Forms::Form::json, lines );
      EXPECT_THAT( files[at].errors, IsEmpty() );
      past = deadlines.read( at, files[at], now );
      std::vector< U64 > numbers;
      for ( const auto& rule : files[at].rules ) {
         numbers.push_back( rule.line );
      }
      return numbers;
   }

   std::vector< U64 > expired() {
      std::vector< U64 > lines;
      for ( const auto& rule : deadlines.expire( now ) ) {
         lines.push_back( rule.line );
         std::erase_if( files[rule.file].rules,
                        [&]( const auto& filed ) { return filed.key == rule.key; } );
      }
      return lines;
   }

   void pass( seconds time ) {
      now.steady += time;
      now.wall += time;
   }

   // What is told, in seconds from `start`, ascending.
   std::vector< double > told() {
      deadlines.write( files, *root, now );
      std::vector< double > times;
      for ( const auto& [key, time] : root->deadline() ) {
         times.push_back( time - static_cast< double >( start.time_since_epoch().count() ) );
      }
      std::ranges::sort( times );
      return times;
   }

   Deadlines deadlines{ 2 };
   std::vector< Forms::RuleFile > files{ 2 };
   Deadlines::Now now{ .steady = {}, .wall = start };
   std::vector< Forms::RuleError > past;
   Vek::Ptr< Peers::RuleDeadlines > root = Peers::ruleDeadlinesFactory( "deadlines" );
};

TEST_F( DeadlinesTest, WithoutOneNothingIsDue ) {
   EXPECT_THAT( read( 0, { line( 1, "{}" ) } ), ElementsAre( 1 ) );
   EXPECT_EQ( deadlines.next( now ), Deadlines::Steady::time_point::max() );
   EXPECT_THAT( told(), IsEmpty() );
}

TEST_F( DeadlinesTest, SecondsBeginWithTheFirstReading ) {
   const std::vector< Vek::String > lines{ line( 1, R"({"expires":10})" ),
                                           line( 2, R"({"expires":5})" ) };
   EXPECT_THAT( read( 0, lines ), ElementsAre( 1, 2 ) );
   EXPECT_THAT( told(), ElementsAre( 5, 10 ) );
   pass( 4s );
   EXPECT_THAT( expired(), IsEmpty() );
   EXPECT_EQ( deadlines.next( now ), now.steady + 1s );
   pass( 1s );
   EXPECT_THAT( expired(), ElementsAre( 2 ) );
   EXPECT_THAT( expired(), IsEmpty() );
   EXPECT_THAT( told(), ElementsAre( 10 ) );
   pass( 100s );
   EXPECT_THAT( expired(), ElementsAre( 1 ) );
   EXPECT_EQ( deadlines.next( now ), Deadlines::Steady::time_point::max() );
}

// The same rule on another line of the file, among others.
TEST_F( DeadlinesTest, ALineThatDidNotChangeKeepsItsDeadline ) {
   const Vek::String kept = line( 1, R"({"drop":true,"expires":10})" );
   read( 0, { kept, line( 2, R"({"expires":10})" ), line( 3, R"({"expires":10})" ) } );
   pass( 6s );
   EXPECT_THAT( read( 0, { line( 4, "{}" ), kept, line( 2, R"({"drop":true,"expires":10})" ),
                           line( 3, R"({"expires":11})" ) } ),
                ElementsAre( 1, 2, 3, 4 ) );
   EXPECT_THAT( told(), ElementsAre( 10, 16, 17 ) );
   pass( 4s );
   EXPECT_THAT( expired(), ElementsAre( 2 ) );
}

TEST_F( DeadlinesTest, WhatHasExpiredStaysAwayUntilItsLineChanges ) {
   const Vek::String old = line( 1, R"({"expires":10})" );
   read( 0, { old } );
   pass( 10s );
   EXPECT_THAT( expired(), ElementsAre( 1 ) );
   EXPECT_THAT( read( 0, { old } ), IsEmpty() );
   EXPECT_THAT( past, IsEmpty() );
   EXPECT_THAT( read( 0, { line( 1, R"({"expires":20})" ) } ), ElementsAre( 1 ) );
   EXPECT_THAT( read( 0, {} ), IsEmpty() );
   EXPECT_THAT( read( 0, { old } ), ElementsAre( 1 ) );
   EXPECT_THAT( told(), ElementsAre( 20 ) );
}

TEST_F( DeadlinesTest, ATimeThatIsPastIsToldAndNotFiled ) {
   EXPECT_THAT( read( 0, { line( 1, R"({"expires":"2026-11-22T22:45:00Z"})" ),
                           line( 2, R"({"expires":"2026-11-22T23:45:01+01:00"})" ) } ),
                ElementsAre( 2 ) );
   EXPECT_THAT( past, ElementsAre( Forms::RuleError{
                         "rules", 1,
                         "the rule has expired at 2026-11-22T22:45:00Z and is not "
                         "filed" } ) );
   EXPECT_THAT( told(), ElementsAre( 1 ) );
}

TEST_F( DeadlinesTest, SecondsDoNotCareForTheWallClockAndTimesDo ) {
   read( 0,
         { line( 1, R"({"expires":10})" ), line( 2, R"({"expires":"2026-11-22T23:45:00Z"})" ) } );
   EXPECT_THAT( told(), ElementsAre( 10, 3600 ) );
   EXPECT_FALSE( deadlines.clockWasSet( now ) );
   now.wall += 1h;
   EXPECT_TRUE( deadlines.clockWasSet( now ) );
   EXPECT_LE( deadlines.next( now ), now.steady );
   EXPECT_THAT( expired(), ElementsAre( 2 ) );
   EXPECT_THAT( told(), ElementsAre( 3610 ) );
   now.wall -= 2h;
   EXPECT_THAT( expired(), IsEmpty() );
   EXPECT_THAT( told(), ElementsAre( 10 - 3600 ) );
   EXPECT_FALSE( deadlines.clockWasSet( now ) );
   now.steady += 10s;
   EXPECT_THAT( expired(), ElementsAre( 1 ) );
}

// The clock is looked at while anything expires, so that a change of it is noticed.
TEST_F( DeadlinesTest, IsDueOnceASecond ) {
   read( 0, { line( 1, R"({"expires":"9999-12-31T23:59:59Z"})" ) } );
   EXPECT_EQ( deadlines.next( now ), now.steady + 1s );
   now.steady += 1s;
   EXPECT_EQ( deadlines.next( now ), now.steady );
   EXPECT_THAT( expired(), IsEmpty() );
   EXPECT_EQ( deadlines.next( now ), now.steady + 1s );
}

TEST_F( DeadlinesTest, OfTwoFilesTheFirstIsTold ) {
   read( 0, { line( 1, "{}" ), line( 2, R"({"expires":10})" ) } );
   read( 1, { line( 1, R"({"expires":20})" ), line( 2, R"({"expires":30})" ) } );
   EXPECT_THAT( told(), ElementsAre( 10 ) );
   pass( 10s );
   EXPECT_THAT( expired(), ElementsAre( 2 ) );
   EXPECT_THAT( told(), ElementsAre( 30 ) );
}

// The clocks are read one after the other: nothing is told of that.
TEST_F( DeadlinesTest, TheSameDeadlineIsToldOnce ) {
   read( 0, { line( 1, R"({"expires":10})" ) } );
   told();
   pass( 3s );
   now.wall += 100ms;
   EXPECT_THAT( told(), ElementsAre( 10 ) );
}

} // namespace
} // namespace Agents
