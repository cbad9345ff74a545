#include "tests/agents/flowspecctl/StagedSystem.h"
#include "tests/support/Process.h"
#include "tests/support/ThreadSafe.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <csignal>
#include <sstream>
#include <thread>

#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
using TestSupport::Result;
using Vek::log::Mount;

// A system whose rules count from each request to the next: one 100 packets of 1000 bytes, one 400
// of 50, one nothing, for each second that has begun.
class Top : public TestSupport::StagedSystem {
protected:
   Top() {
      EXPECT_EQ( ctl( { "enable", "7" } ).status, 0 );
      answers = std::thread( [this] { answer(); } );
   }
   ~Top() override {
      ends = true;
      answers.join();
   }

   void count( const char* rule, U64 packets, U64 bytes ) {
      QosLib::ColoredCounters counters;
      counters.packetHitsIs( packets );
      counters.byteHitsIs( packets * bytes );
      counter->snapshotIs( key( rule ), { counters, Osk::UniqueId( 1 ) } );
   }

   void answer() {
      Vek::Directory directory;
      Mount requests( database.endpoint(), "programd", "flowspec/cliconfig", directory );
      double last = 0;
      double first = 0;
      while ( !ends ) {
         requests.process();
         counterWriter.process();
         const auto cli = directory.entity( "flowspec/cliconfig" );
         const double time =
            cli ? static_cast< const CliConfig& >( *cli ).counterUpdateRequestTime() : last;
         if ( time != last ) {
            last = time;
            // Not before the request, and before the next one, a second later.
            const double now = std::ceil( time );
            first = first > 0 ? first : now;
            const auto seconds = static_cast< U64 >( now - first );
            count( "0;ipv4;10.1.0.0/16;*;", 0, 0 );
            count( "0;ipv4;10.2.0.0/16;*;", 100 * seconds, 1000 );
            count( "7;ipv6;2001:db8:1:2:3:4:5:6/128;*;IP:=0L17;", 400 * seconds, 50 );
            counter->timestampIs( now );
         }
         Mount* const both[] = { &requests, &counterWriter };
         Mount::wait( both, std::chrono::milliseconds( 20 ) );
      }
   }

   static std::vector< Vek::String > linesOf( const Vek::String& text ) {
      std::istringstream stream( text );
      std::vector< Vek::String > lines;
      for ( Vek::String line; std::getline( stream, line ); ) {
         lines.push_back( line );
      }
      return lines;
   }

   Result top( std::vector< Vek::String > arguments ) {
      arguments.insert( arguments.begin(), { "top", "--interval", "1" } );
      return ctlAsItIs( std::move( arguments ) );
   }

   const TestSupport::ThreadSafe threadSafe;
   std::atomic< bool > ends = false;
   std::thread answers;
};

constexpr const char* head =
   "[0-9]+-[0-9]+-[0-9]+ [0-9]+:[0-9]+:[0-9]+ UTC  3 rules, 500 packets/s, 120000 bytes/s";
constexpr const char* heading =
   "     VRF  family  rule                                   packets/s       bytes/s";

TEST_F( Top, ShowsTheBusiestRulesFirst ) {
   const Result result = top( { "--count", "1" } );
   EXPECT_EQ( result.err, "" );
   EXPECT_EQ( result.status, 0 );
   EXPECT_THAT(
      linesOf( result.out ),
      ElementsAre(
         MatchesRegex( head ), heading,
         "       0  ipv4    10.2.0.0/16;*;                               100        100000  "
         "##################",
         "       7  ipv6    2001:db8:1:2:3:4:5:6/128;*;IP:=17;           400         20000  ####",
         "       0  ipv4    10.1.0.0/16;*;                                 0             0", "" ) );
}

TEST_F( Top, SortsByPackets ) {
   const auto lines = linesOf( top( { "--count", "1", "--by", "packets" } ).out );
   ASSERT_EQ( lines.size(), 6U );
   EXPECT_THAT( lines[2], testing::EndsWith( "  ##################" ) );
   EXPECT_THAT( lines[2], HasSubstr( "2001:db8" ) );
   EXPECT_THAT( lines[3], testing::EndsWith( "100000  #####" ) );
}

TEST_F( Top, GoesOnAndShowsWhatIsWanted ) {
   const auto lines = linesOf( top( { "--count", "2", "--top", "1", "--family", "ipv6" } ).out );
   ASSERT_EQ( lines.size(), 8U );
   EXPECT_THAT( lines[0], HasSubstr( "  1 rules, 400 packets/s, 20000 bytes/s" ) );
   EXPECT_EQ( lines[2], lines[6] );
   EXPECT_NE( lines[0], lines[4] ) << "the time";
   EXPECT_THAT( linesOf( top( { "--count", "1", "--vrf", "5" } ).out ).size(), 3U );
}

TEST_F( Top, ALineIsAsWideAsTheTerminal ) {
   for ( const unsigned width : { 60U, 61U, 80U, 133U, 250U } ) {
      const auto lines = linesOf(
         TestSupport::run( { .command = { TestSupport::flowspecctlPath(), "top", "--interval", "1",
                                          "--count", "1", "--socket", database.endpoint().text() },
                             .environment = { Vek::concat( "COLUMNS=", width ) } } )
            .out );
      ASSERT_EQ( lines.size(), 6U );
      std::size_t longest = 0;
      for ( std::size_t i = 1; i < lines.size(); ++i ) {
         longest = std::max( longest, lines[i].size() );
      }
      EXPECT_EQ( longest, width );
   }
}

TEST_F( Top, SaysWhatIsWrong ) {
   for ( const std::vector< Vek::String >& bad : { std::vector< Vek::String >{ "--by", "rules" },
                                                   { "--count", "0" },
                                                   { "--top", "0" },
                                                   { "--interval", "x" } } ) {
      EXPECT_EQ( top( bad ).status, 2 ) << bad[0];
   }
   const Result result = top( { "--counter-root", "nothing" } );
   EXPECT_EQ( result.status, 1 );
   EXPECT_EQ( result.out, "" );
}

// flowspecctl top on a terminal of its own.
class OnTerminal {
public:
   OnTerminal( const Vek::String& endpoint, const char* term, const char* count = "100" ) {
      winsize size{};
      size.ws_row = 5;
      size.ws_col = 80;
      child_ = ::forkpty( &terminal_, nullptr, nullptr, &size );
      if ( child_ == 0 ) {
         ::setenv( "TERM", term, 1 );
         ::unsetenv( "COLUMNS" );
         ::unsetenv( "LINES" );
         ::execl( FLOWSPECCTL, "flowspecctl", "top", "--interval", "1", "--count", count,
                  "--socket", endpoint.c_str(), nullptr );
         ::_exit( 127 );
      }
   }
   OnTerminal( const OnTerminal& ) = delete;
   OnTerminal& operator=( const OnTerminal& ) = delete;
   ~OnTerminal() { ::close( terminal_ ); }

   // Reads until the text has so many of a part; false when it does not come within a while.
   bool until( std::string_view part, std::size_t times ) {
      for ( ;; ) {
         std::size_t found = 0;
         for ( std::size_t at = 0; ( at = text_.find( part, at ) ) != text_.npos; ++at ) {
            ++found;
         }
         if ( found >= times ) {
            return true;
         }
         pollfd polled{ .fd = terminal_, .events = POLLIN, .revents = 0 };
         if ( ::poll( &polled, 1, 20'000 ) != 1 || !readSome() ) {
            return false;
         }
      }
   }

   // Ends it, with 0 by waiting for that, and returns its status.
   int end( int signal ) {
      ::kill( child_, signal );
      EXPECT_TRUE( TestSupport::endsWithin( child_, std::chrono::seconds( 20 ) ) );
      while ( readSome() ) {
      }
      int status = 0;
      ::waitpid( child_, &status, 0 );
      return WIFEXITED( status ) ? WEXITSTATUS( status ) : -WTERMSIG( status );
   }

   const Vek::String& text() const { return text_; }

private:
   bool readSome() {
      char room[4096];
      const ssize_t size = ::read( terminal_, room, sizeof room );
      text_.append( room, size > 0 ? static_cast< std::size_t >( size ) : 0 );
      return size > 0;
   }

   int terminal_ = -1;
   pid_t child_ = -1;
   Vek::String text_;
};

const Vek::String enter = "\x1b[?1049h\x1b[?25l\x1b[?7l";
const Vek::String leave = "\x1b[?7h\x1b[?25h\x1b[?1049l";

TEST_F( Top, HasAScreenOfItsOwnAndLeavesIt ) {
   for ( const int signal : { SIGINT, SIGTERM } ) {
      OnTerminal terminal( database.endpoint().text(), "xterm" );
      EXPECT_TRUE( terminal.until( "\x1b[J", 2 ) );
      EXPECT_EQ( terminal.end( signal ), 0 );
      const Vek::String& text = terminal.text();
      EXPECT_THAT( text, StartsWith( enter + "\x1b[H" ) );
      EXPECT_THAT( text, testing::EndsWith( leave ) );
      // Five lines have room for the two busiest rules, and the last line ends without a newline.
      EXPECT_THAT( text, HasSubstr( "10.2.0.0/16" ) );
      EXPECT_THAT( text, HasSubstr( "2001:db8" ) );
      EXPECT_THAT( text, Not( HasSubstr( "10.1.0.0/16" ) ) );
      EXPECT_THAT( text, HasSubstr( "\x1b[K\x1b[J" ) );
   }
}

TEST_F( Top, TheScreenIsLeftAfterTheLastPicture ) {
   OnTerminal terminal( database.endpoint().text(), "xterm", "1" );
   EXPECT_TRUE( terminal.until( "\x1b[J", 1 ) );
   EXPECT_EQ( terminal.end( 0 ), 0 );
   EXPECT_THAT( terminal.text(), StartsWith( enter ) );
   EXPECT_THAT( terminal.text(), testing::EndsWith( leave ) );
}

TEST_F( Top, ADumbTerminalHasLines ) {
   OnTerminal terminal( database.endpoint().text(), "dumb" );
   EXPECT_TRUE( terminal.until( "10.1.0.0/16", 2 ) );
   EXPECT_EQ( terminal.end( SIGINT ), 0 );
   EXPECT_THAT( terminal.text(), Not( HasSubstr( "\x1b" ) ) );
}

} // namespace
} // namespace Flowspec
