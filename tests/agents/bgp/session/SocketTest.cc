#include "agents/bgp/session/Socket.h"

#include "tests/agents/bgp/session/Sides.h"

#include <system_error>

#include <sys/socket.h>

namespace {

using namespace Bgp;
using namespace TestSupport;
using testing::HasSubstr;
using testing::StartsWith;

/// What is wrong with what `act` does.
std::string errorOf( const std::function< void() >& act ) {
   try {
      act();
   } catch ( const std::system_error& error ) {
      return error.what();
   }
   return "nothing";
}

const Socket closed( -1 );

TEST( SocketTest, SaysWhatItCannotConnectTo ) {
   // Broadcasts are for datagrams.
   const SessionConfig each = config( "each", "127.0.0.11", "255.255.255.255", 9 );
   EXPECT_THAT( errorOf( [&] { connectTo( each ); } ),
                StartsWith( "cannot connect to 255.255.255.255:9: " ) );
}

TEST( SocketTest, SaysWhatItCannotSet ) {
   SessionConfig each = config( "each", "127.0.0.11", "127.0.0.12", 9 );
   EXPECT_EQ( errorOf( [&] { take( closed, each ); } ),
              "cannot set the hop limit: Bad file descriptor" );
   EXPECT_EQ( errorOf( [&] { passwordIs( closed, each.peer.address, "secret" ); } ),
              "cannot set the password of 127.0.0.12: Bad file descriptor" );
}

TEST( SocketTest, TakesThePasswordOfNobodyAway ) {
   const Socket listener = listenOn( { address( "127.0.0.11" ), 0 }, 1 );
   EXPECT_EQ( errorOf( [&] { passwordIs( listener, address( "127.0.0.12" ), "" ); } ), "nothing" );
}

TEST( SocketTest, TellsTheEndsOfAConnection ) {
   const Socket listener = listenOn( { address( "127.0.0.11" ), 0 }, 1 );
   EXPECT_EQ( localEnd( listener ).address, address( "127.0.0.11" ) );
   EXPECT_NE( localEnd( listener ).port, 0 );
   EXPECT_TRUE( remoteEnd( listener ).address.empty() );
   EXPECT_TRUE( localEnd( closed ).address.empty() );
   SessionConfig each = config( "each", "127.0.0.12", "127.0.0.11", localEnd( listener ).port );
   const Socket socket = connectTo( each );
   EXPECT_EQ( remoteEnd( socket ), each.peer );
   EXPECT_EQ( localEnd( socket ).address, each.localAddress );
   each.localAddress = {};
   const Socket anywhere = connectTo( each );
   EXPECT_EQ( remoteEnd( anywhere ), each.peer );
   EXPECT_FALSE( localEnd( anywhere ).address.empty() );
}

TEST( SocketTest, HasNoEndsOfAnotherKindOfSocket ) {
   const Socket local( ::socket( AF_UNIX, SOCK_STREAM, 0 ) );
   EXPECT_TRUE( localEnd( local ).address.empty() );
}

TEST( SocketTest, KnowsWhetherAConnectionIsThere ) {
   EXPECT_EQ( connectError( closed ), EBADF );
   const Socket unconnected( ::socket( AF_INET, SOCK_STREAM, 0 ) );
   EXPECT_EQ( connectError( unconnected ), EINPROGRESS );
   const Socket listener = listenOn( { address( "127.0.0.11" ), 0 }, 1 );
   const SessionConfig each =
      config( "each", "127.0.0.12", "127.0.0.11", localEnd( listener ).port );
   EXPECT_EQ( connectError( connectTo( each ) ), 0 );
}

} // namespace
