#include "forms/TimeText.h"

#include <random>

#include <gtest/gtest.h>

namespace Forms {
namespace {

std::optional< std::int64_t > secondsOf( std::string_view text ) {
   const auto time = timeFromText( text );
   return time ? std::optional< std::int64_t >( time->time_since_epoch().count() ) : std::nullopt;
}

TEST( TimeText, ReadsTimes ) {
   EXPECT_EQ( secondsOf( "1970-01-01T00:00:00Z" ), 0 );
   EXPECT_EQ( secondsOf( "1970-01-01t00:00:01z" ), 1 );
   EXPECT_EQ( secondsOf( "1969-12-31T23:59:59Z" ), -1 );
   EXPECT_EQ( secondsOf( "1970-01-01T01:00:00+01:00" ), 0 );
   EXPECT_EQ( secondsOf( "1969-12-31T18:30:00-05:30" ), 0 );
   EXPECT_EQ( secondsOf( "1970-01-01T00:00:00-00:00" ), 0 );
   EXPECT_EQ( secondsOf( "1970-01-01T00:00:59.999999Z" ), 59 );
   EXPECT_EQ( secondsOf( "2016-12-31T23:59:60Z" ), 1'483'228'800 );
   EXPECT_EQ( secondsOf( "2000-02-29T00:00:00Z" ), 951'782'400 );
   EXPECT_EQ( secondsOf( "9999-12-31T23:59:59Z" ), 253'402'300'799 );
}

TEST( TimeText, OtherTextsAreNone ) {
   for ( const char* const text : { "",
                                    "2026-11-22",
                                    "2026-11-22T23:05Z",
                                    "2026-11-22T23:05:00",
                                    "2026-11-22 23:05:00Z",
                                    "2026-11-22T23:05:00 Z",
                                    "2026-11-22T23:05:00Zx",
                                    " 2026-11-22T23:05:00Z",
                                    "26-11-22T23:05:00Z",
                                    "2026-1-22T23:05:00Z",
                                    "2026-11-22T24:05:00Z",
                                    "2026-11-22T23:60:00Z",
                                    "2026-11-22T23:05:61Z",
                                    "2026-00-22T23:05:00Z",
                                    "2026-13-22T23:05:00Z",
                                    "2026-11-00T23:05:00Z",
                                    "2026-11-31T23:05:00Z",
                                    "2026-02-29T23:05:00Z",
                                    "2100-02-29T23:05:00Z",
                                    "2026-11-22T23:05:0aZ",
                                    "2026-11-22T23:05:0a.5Z",
                                    "2026-11-22T23:05:00.Z",
                                    "2026-11-22T23:05:00+0100",
                                    "2026-11-22T23:05:00+01",
                                    "2026-11-22T23:05:00+24:00",
                                    "2026-11-22T23:05:00+01:60",
                                    "-026-11-22T23:05:00Z",
                                    "+026-11-22T23:05:00Z",
                                    "0000-01-01T00:00:00+00:01",
                                    "9999-12-31T23:59:00-00:01",
                                    "9999-12-31T23:59:60Z" } ) {
      EXPECT_EQ( secondsOf( text ), std::nullopt ) << text;
   }
}

TEST( TimeText, ItsTextReadsBack ) {
   std::mt19937_64 random( 5575 );
   std::uniform_int_distribution< std::int64_t > times( -62'167'219'200, 253'402'300'799 );
   for ( int i = 0; i < 1000; ++i ) {
      const std::chrono::sys_seconds time{ std::chrono::seconds( times( random ) ) };
      EXPECT_EQ( timeFromText( textOfTime( time ) ), time ) << textOfTime( time );
   }
   EXPECT_EQ( textOfTime( {} ), "1970-01-01T00:00:00Z" );
}

} // namespace
} // namespace Forms
