#include "agents/daemon/Log.h"

#include <algorithm>

#include <gmock/gmock.h>

#include <fcntl.h>

namespace Agents {
namespace {

using namespace std::chrono_literals;

class DaemonLog : public testing::Test {
protected:
   DaemonLog() { EXPECT_EQ( ::pipe2( ends, O_NONBLOCK | O_CLOEXEC ), 0 ); }
   DaemonLog( const DaemonLog& ) = delete;
   DaemonLog& operator=( const DaemonLog& ) = delete;
   ~DaemonLog() override {
      ::close( ends[0] );
      ::close( ends[1] );
   }

   // What was written since.
   Vek::String taken() const {
      Vek::String text( 1 << 16, '\0' );
      text.resize( static_cast< std::size_t >(
         std::max( ::read( ends[0], text.data(), text.size() ), ssize_t{ 0 } ) ) );
      return text;
   }
   std::ptrdiff_t linesTaken() const { return std::ranges::count( taken(), '\n' ); }

   int ends[2]{ -1, -1 };
};

TEST_F( DaemonLog, EscapesAndCutsEachLine ) {
   const Log log( "statedbd", ends[1] );
   log.line( "plain" );
   EXPECT_EQ( taken(), "statedbd: plain\n" );
   log.line( "a\nstatedbd: forged\x1B[2J" );
   EXPECT_EQ( taken(), "statedbd: a\\x0Astatedbd: forged\\x1B[2J\n" );
   log.line( Vek::String( 1 << 24, '\n' ) );
   const Vek::String line = taken();
   EXPECT_LE( line.size(), Log::maxLine );
   EXPECT_GE( line.size(), Log::maxLine - 4 );
   EXPECT_THAT( line, testing::EndsWith( "\\x0A...\n" ) );
   log.line( Vek::String( Log::maxLine - 11, 'x' ) );
   EXPECT_EQ( taken().size(), Log::maxLine );
}

TEST_F( DaemonLog, PeersCauseAFewLinesASecond ) {
   Log log( "d", ends[1] );
   const Log::Clock::time_point start( 1h );
   EXPECT_EQ( log.due(), Log::Clock::time_point::max() );
   for ( int i = 0; i < 1000; ++i ) {
      log.peerLine( "x", start );
   }
   EXPECT_EQ( linesTaken(), Log::burst );
   EXPECT_EQ( log.due(), start + Log::silence );
   // Three a second from then on.
   for ( int second = 1; second <= 5; ++second ) {
      for ( int i = 0; i < 100; ++i ) {
         log.peerLine( "x", start + second * 1s );
      }
      EXPECT_EQ( linesTaken(), 3 ) << second;
   }
   log.tellSuppressed( start + 9s );
   EXPECT_EQ( taken(), "" );
   log.line( "its own" );
   EXPECT_EQ( taken(), "d: its own\n" );
   log.tellSuppressed( start + 10s );
   EXPECT_EQ( taken(), "d: 1475 lines suppressed\n" );
   EXPECT_EQ( log.due(), Log::Clock::time_point::max() );
   log.tellSuppressed( start + 30s );
   EXPECT_EQ( taken(), "" );
   for ( int i = 0; i < 1000; ++i ) {
      log.peerLine( "x", start + 1h );
   }
   EXPECT_EQ( linesTaken(), Log::burst );
}

} // namespace
} // namespace Agents
