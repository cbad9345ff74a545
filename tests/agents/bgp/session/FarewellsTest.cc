#include "agents/bgp/session/Farewells.h"

#include "tests/agents/bgp/session/Sides.h"

#include <sys/socket.h>
#include <unistd.h>

namespace {

using namespace Bgp;
using namespace TestSupport;
using namespace std::chrono_literals;

/// One end of a connection whose other end is bidden farewell.
class Peer {
public:
   Peer() {
      int ends[2];
      EXPECT_EQ( ::socketpair( AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends ), 0 );
      fd_ = ends[0];
      other_ = Socket( ends[1] );
   }
   Peer( const Peer& ) = delete;
   Peer& operator=( const Peer& ) = delete;
   ~Peer() { close(); }

   Socket takeOther() { return std::move( other_ ); }
   /// Whether the other end is there to take more.
   bool isHeard() const { return ::send( fd_, "", 1, MSG_NOSIGNAL ) == 1; }
   void close() {
      if ( fd_ >= 0 ) {
         ::close( std::exchange( fd_, -1 ) );
      }
   }
   void say( std::size_t octets ) const {
      const std::vector< U8 > words( octets );
      EXPECT_EQ( ::send( fd_, words.data(), words.size(), MSG_NOSIGNAL ),
                 static_cast< ssize_t >( octets ) );
   }
   /// Reads what has come; whether that was all.
   bool read() {
      U8 room[4096];
      ssize_t count = 0;
      while ( ( count = ::recv( fd_, room, sizeof room, 0 ) ) > 0 ) {
         heard += static_cast< std::size_t >( count );
      }
      return count == 0;
   }

   std::size_t heard = 0;

private:
   int fd_ = -1;
   Socket other_{ -1 };
};

struct FarewellsTest : testing::Test {
   bool ends() {
      return world.until( [this] { return farewells.empty(); } );
   }

   World world;
   const std::function< Time() > now = [this] { return world.now(); };
   Farewells farewells{ world.loop, now };
   const std::vector< U8 > word = std::vector< U8 >( 21 );
};

TEST_F( FarewellsTest, LastsUntilThePeerHasClosed ) {
   Peer peer;
   peer.say( 40000 ); // unread, so that closing at once would reset the connection
   farewells.add( peer.takeOther(), word );
   world.settle();
   EXPECT_FALSE( farewells.empty() );
   EXPECT_TRUE( peer.read() ) << "nothing is sent after it";
   EXPECT_EQ( peer.heard, word.size() );
   peer.close();
   EXPECT_TRUE( ends() );
}

TEST_F( FarewellsTest, LastsForASecondAtMost ) {
   Peer peer;
   farewells.add( peer.takeOther(), word );
   world.advance( 900ms );
   world.settle();
   EXPECT_FALSE( farewells.empty() );
   world.advance( 100ms );
   EXPECT_TRUE( ends() );
   EXPECT_TRUE( peer.read() );
}

TEST_F( FarewellsTest, SendsWhatThereWasNoRoomForLater ) {
   Peer peer;
   const std::vector< U8 > many( std::size_t{ 1 } << 20 );
   farewells.add( peer.takeOther(), many );
   EXPECT_TRUE( world.until( [&] { return peer.read(); } ) );
   EXPECT_EQ( peer.heard, many.size() );
   peer.close();
   EXPECT_TRUE( ends() );
}

TEST_F( FarewellsTest, EndsWhenNobodyReads ) {
   Peer gone;
   gone.close();
   farewells.add( gone.takeOther(), word );
   EXPECT_TRUE( farewells.empty() );
   Peer peer;
   farewells.add( peer.takeOther(), std::vector< U8 >( std::size_t{ 1 } << 20 ) );
   EXPECT_FALSE( farewells.empty() );
   peer.close();
   EXPECT_TRUE( ends() );
}

TEST_F( FarewellsTest, TellsAllButWaitsForSome ) {
   std::deque< Peer > peers( Farewells::most + 1 );
   for ( Peer& peer : peers ) {
      farewells.add( peer.takeOther(), word );
   }
   for ( Peer& peer : peers ) {
      EXPECT_TRUE( peer.read() );
      EXPECT_EQ( peer.heard, word.size() );
   }
   EXPECT_TRUE( peers.front().isHeard() );
   EXPECT_FALSE( peers.back().isHeard() ) << "it was closed at once";
   world.advance( 1s );
   EXPECT_TRUE( ends() );
}

} // namespace
