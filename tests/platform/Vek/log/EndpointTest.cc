#include "Vek/log/Endpoint.h"

#include "Vek/Text.h"

#include "tests/support/ExpectFailure.h"
#include "tests/support/Folder.h"

#include <gmock/gmock.h>

#include <unistd.h>

namespace Vek::log {
namespace {

using testing::ThrowsMessage;

TEST( Endpoint, IsAPathOrAPortOfTheLoopbackInterface ) {
   for ( const char* const text :
         { "/run/flowspec/statedb.sock", "./s", "127.0.0.1:1", "127.0.0.1:65535" } ) {
      EXPECT_EQ( Endpoint( text ).text(), text );
   }
   EXPECT_EQ( Endpoint::fault( "./s" ), "" );
   EXPECT_NO_THROW( Endpoint( "/" + String( 106, 'x' ) ) );
}

TEST( Endpoint, IsNothingElse ) {
   for ( const char* const text :
         { "", "s", "127.0.0.1", "127.0.0.1:", "127.0.0.1:0", "127.0.0.1:65536", "127.0.0.1:+1",
           "127.0.0.2:1", "[::1]:1" } ) {
      EXPECT_THAT( [&] { Endpoint{ text }; },
                   ThrowsMessage< RangeException >(
                      concat( "'", text, "' is neither a path with a '/' nor 127.0.0.1:PORT" ) ) );
   }
   EXPECT_EQ( Endpoint::fault( "s" ), "'s' is neither a path with a '/' nor 127.0.0.1:PORT" );
   const String path = "/" + String( 107, 'x' );
   EXPECT_THAT(
      [&] { Endpoint{ path }; },
      ThrowsMessage< RangeException >( "'" + path + "' is too long for the path of a socket" ) );
}

TEST( Endpoint, SaysWhyNobodyCanBeReached ) {
   EXPECT_THAT( [] { Endpoint( "/nowhere/s" ).connect(); },
                ThrowsMessage< StreamException >(
                   "cannot connect to /nowhere/s: No such file or directory" ) );
}

TEST( Endpoint, ConnectsToWhoListens ) {
   const TestSupport::Folder folder;
   const Endpoint endpoint( folder.path() + "/s" );
   const int listener = endpoint.listen();
   const int client = endpoint.connect();
   EXPECT_GE( client, 0 );
   ::close( client );
   ::close( listener );
   EXPECT_THROW( endpoint.connect(), StreamException );
   endpoint.remove();
   EXPECT_NE( ::access( endpoint.text().c_str(), F_OK ), 0 );
}

} // namespace
} // namespace Vek::log
