#include "tools/state/StateRoots.h"

#include "Flowspec/FlowspecDalb.h"
#include "tests/support/Folder.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Tools {

using namespace Flowspec;

namespace {

using std::chrono::milliseconds;

// What stands in for a state database, and says only what it is told.
struct StateRootsTest : testing::Test {
   StateRootsTest() { roots.read( "root" ); }
   ~StateRootsTest() override {
      ::close( client );
      ::close( listener );
      endpoint.remove();
   }

   // Takes the mount's next connection.
   void accept() {
      ::close( client );
      client = -1;
      EXPECT_TRUE( roots.until(
         [&] {
            pollfd polled{ .fd = listener, .events = POLLIN, .revents = 0 };
            return ::poll( &polled, 1, 0 ) == 1;
         },
         std::chrono::seconds( 10 ) ) );
      client = ::accept( listener, nullptr, nullptr );
   }
   void say( const Vek::String& line ) {
      EXPECT_EQ( ::send( client, line.data(), line.size(), MSG_NOSIGNAL ),
                 static_cast< ssize_t >( line.size() ) );
      roots.turn( milliseconds( 1000 ) );
   }
   Vek::String fault() const { return StateRoots::fault( *roots.mounts()[0] ); }

   const TestSupport::Folder folder;
   const Vek::log::Endpoint endpoint{ folder.path() + "/socket" };
   const int listener = endpoint.listen();
   int client = -1;
   StateRoots roots{ endpoint };
};

TEST_F( StateRootsTest, ADatabaseThatIsSilentDoesNotAnswer ) {
   EXPECT_EQ( fault(), "not connected yet" );
   accept();
   EXPECT_EQ( fault(), "the state database does not answer" ); // not even the greeting
   say( "ok\n" );
   EXPECT_EQ( fault(), "the state database does not answer" );
   EXPECT_FALSE( StateRoots::unreachable( *roots.mounts()[0] ) );
   const auto begin = std::chrono::steady_clock::now();
   roots.settle( milliseconds( 50 ) );
   EXPECT_GE( std::chrono::steady_clock::now() - begin, milliseconds( 50 ) );
   EXPECT_THROW( roots.get< Counter >( "root" ), std::runtime_error );
}

TEST_F( StateRootsTest, ARefusalIsKeptWhileItTriesAgain ) {
   accept();
   say( "refused another one\n" );
   EXPECT_EQ( fault(), "another one" );
   accept(); // it has connected again and waits for an answer
   EXPECT_EQ( fault(), "another one" );
}

TEST( StateRoots, TellsThatNobodyListens ) {
   StateRoots roots{ Vek::log::Endpoint( "/nowhere/socket" ) };
   roots.read( "root" );
   roots.settle();
   const Vek::log::Mount& mount = *roots.mounts()[0];
   EXPECT_TRUE( StateRoots::unreachable( mount ) );
   EXPECT_EQ( StateRoots::fault( mount ),
              "cannot connect to /nowhere/socket: No such file or directory" );
}

} // namespace
} // namespace Tools
