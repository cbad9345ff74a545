#pragma once

#include "Vek/text/Exceptions.h"

#include <algorithm>
#include <csignal>

#include <gmock/gmock.h>

namespace TestSupport {

/// Matches what a process that ends by the library's assertion `text` leaves on standard error:
/// one line, and nothing else.
inline testing::Matcher< const std::string& > assertionLine( const std::string& text ) {
   const auto lines = []( const std::string& output ) {
      return std::count( output.begin(), output.end(), '\n' );
   };
   return testing::AllOf(
      testing::StartsWith( "FlowspecDalb: assertion \"" + text + "\" failed in " ),
      testing::EndsWith( "\n" ), testing::ResultOf( "the number of lines", lines, 1 ) );
}

/// Matches a callable that raises the range exception with `message`.
inline auto raisesRange( const std::string& message ) {
   return testing::ThrowsMessage< Vek::RangeException >( testing::StrEq( message ) );
}

/// Matches a callable that raises the range exception of an index above 2047.
inline auto raisesIndexRange() {
   return raisesRange( "Flowspec::MatchOpValIndex::value < Flowspec::MatchOpValIndex::min or > "
                       "Flowspec::MatchOpValIndex::max not allowed" );
}

} // namespace TestSupport

/// `statement` ends the process by the library's assertion `text`.
#define EXPECT_ASSERTION( statement, text )                                                        \
   EXPECT_EXIT( statement, testing::KilledBySignal( SIGABRT ), TestSupport::assertionLine( text ) )
