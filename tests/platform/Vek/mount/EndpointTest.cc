#include "Vek/mount/Endpoint.h"

#include "Vek/text/Text.h"

#include "tests/support/ExpectFailure.h"
#include "tests/support/Folder.h"

#include <algorithm>

#include <gmock/gmock.h>

#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
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
   EXPECT_THAT(
      [] { Endpoint( String( "/a\0b", 4 ) ); },
      ThrowsMessage< RangeException >( "'/a\\x00b' is too long for the path of a socket" ) );
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
   EXPECT_THAT( [] { Endpoint( "/nowhere/s" ).listen(); },
                ThrowsMessage< StreamException >(
                   "cannot listen on /nowhere/s: No such file or directory" ) );
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
   endpoint.remove();
}

// While it lives, a process can open that many descriptors more. Only what is tested is done then:
// a sanitizer needs descriptors for its own checks.
class FewDescriptors {
public:
   explicit FewDescriptors( unsigned more ) {
      const int next = ::dup( STDERR_FILENO );
      ::close( next );
      EXPECT_EQ( ::getrlimit( RLIMIT_NOFILE, &before_ ), 0 );
      rlimit now = before_;
      now.rlim_cur = static_cast< unsigned >( next ) + more;
      EXPECT_EQ( ::setrlimit( RLIMIT_NOFILE, &now ), 0 );
   }
   FewDescriptors( const FewDescriptors& ) = delete;
   FewDescriptors& operator=( const FewDescriptors& ) = delete;
   ~FewDescriptors() { ::setrlimit( RLIMIT_NOFILE, &before_ ); }

private:
   rlimit before_;
};

TEST( Endpoint, SaysThatThereAreNoDescriptors ) {
   const TestSupport::Folder folder;
   const Endpoint endpoint( folder.path() + "/s" );
   const int listener = endpoint.listen();
   const auto withoutAny = []( auto call ) {
      const FewDescriptors none( 0 );
      call();
   };
   EXPECT_THAT( [&] { withoutAny( [&] { endpoint.connect(); } ); },
                ThrowsMessage< StreamException >( "cannot connect to " + endpoint.text() +
                                                  ": Too many open files" ) );
   EXPECT_THAT( [&] { withoutAny( [&] { endpoint.listen(); } ); },
                ThrowsMessage< StreamException >( "cannot listen on " + endpoint.text() +
                                                  ": Too many open files" ) );
   ::close( listener );
}

TEST( Endpoint, ReplacesASocketOnlyWhenItIsKnownThatNobodyListens ) {
   const TestSupport::Folder folder;
   const Endpoint endpoint( folder.path() + "/s" );
   const String inUse = "cannot listen on " + endpoint.text() + ": Address already in use";
   int listener = endpoint.listen();
   EXPECT_THAT( [&] { endpoint.listen(); }, ThrowsMessage< StreamException >( inUse ) );
   ::close( listener );
   // Without a descriptor to ask with it is not known.
   const auto listenWithOne = [&] {
      const FewDescriptors one( 1 );
      endpoint.listen();
   };
   EXPECT_THAT( listenWithOne, ThrowsMessage< StreamException >( inUse ) );
   struct stat before {};
   ASSERT_EQ( ::lstat( endpoint.text().c_str(), &before ), 0 );
   const mode_t mask = ::umask( 0 );
   listener = endpoint.listen();
   EXPECT_EQ( ::umask( mask ), 0U ) << "it is as it was";
   struct stat after {};
   ASSERT_EQ( ::lstat( endpoint.text().c_str(), &after ), 0 );
   EXPECT_EQ( after.st_mode & 0777, 0660U );
   ::close( endpoint.connect() );
   ::close( listener );
}

TEST( Endpoint, LeavesTheSocketOfOneWhoIsTooBusyToAnswer ) {
   const TestSupport::Folder folder;
   const Endpoint endpoint( folder.path() + "/s" );
   std::vector< int > fds{ endpoint.listen() };
   const auto fill = [&] {
      while ( fds.size() < 10000 ) {
         fds.push_back( endpoint.connect() );
      }
   };
   EXPECT_THAT( fill, ThrowsMessage< StreamException >( "cannot connect to " + endpoint.text() +
                                                        ": Resource temporarily unavailable" ) );
   EXPECT_THAT( [&] { endpoint.listen(); },
                ThrowsMessage< StreamException >( "cannot listen on " + endpoint.text() +
                                                  ": Address already in use" ) );
   std::ranges::for_each( fds, ::close );
   EXPECT_EQ( ::access( endpoint.text().c_str(), F_OK ), 0 );
}

TEST( Endpoint, LeavesWhatIsNotASocket ) {
   const TestSupport::Folder folder;
   const String path = folder.file( "precious.conf", "precious" );
   EXPECT_THAT(
      [&] { Endpoint( path ).listen(); },
      ThrowsMessage< StreamException >( "cannot listen on " + path + ": it is not a socket" ) );
   Endpoint( path ).remove();
   EXPECT_EQ( TestSupport::contents( path ), "precious" );
   const String link = folder.path() + "/link";
   ASSERT_EQ( ::symlink( "s", link.c_str() ), 0 );
   EXPECT_THROW( Endpoint( link ).listen(), StreamException );
   EXPECT_EQ( ::access( ( folder.path() + "/s" ).c_str(), F_OK ), -1 );
}

TEST( Endpoint, ListensOnAPortThatNobodyElseHas ) {
   // A port that was free a moment ago.
   const int probe = ::socket( AF_INET, SOCK_STREAM, 0 );
   sockaddr_in address{};
   address.sin_family = AF_INET;
   address.sin_addr.s_addr = htonl( INADDR_LOOPBACK );
   socklen_t size = sizeof address;
   ASSERT_EQ( ::bind( probe, reinterpret_cast< const sockaddr* >( &address ), size ), 0 );
   ASSERT_EQ( ::getsockname( probe, reinterpret_cast< sockaddr* >( &address ), &size ), 0 );
   ::close( probe );
   const Endpoint endpoint( concat( "127.0.0.1:", ntohs( address.sin_port ) ) );
   EXPECT_FALSE( endpoint.isUnix() );
   const int listener = endpoint.listen();
   EXPECT_THAT( [&] { endpoint.listen(); },
                ThrowsMessage< StreamException >( "cannot listen on " + endpoint.text() +
                                                  ": Address already in use" ) );
   const int client = endpoint.connect();
   const int accepted = ::accept( listener, nullptr, nullptr );
   EXPECT_GE( accepted, 0 );
   // What a connection leaves behind does not keep the port from the next.
   ::close( accepted );
   ::close( client );
   ::close( listener );
   ::close( endpoint.listen() );
   endpoint.remove();
}

} // namespace
} // namespace Vek::log
