#include "agents/bgp/session/Socket.h"
#include "tests/agents/bgp/session/RawPeer.h"
#include "tests/support/Sanitized.h"

#include <fstream>
#include <sstream>
#include <system_error>

#include <sys/resource.h>

namespace {

using namespace Bgp;
using namespace TestSupport;
using namespace std::chrono_literals;
using testing::HasSubstr;

/// What the kernel counted under a name of /proc/net/netstat.
U64 counted( const std::string& name ) {
   std::ifstream file( "/proc/net/netstat" );
   std::string names;
   std::string values;
   while ( std::getline( file, names ) && std::getline( file, values ) ) {
      std::istringstream name1( names );
      std::istringstream value1( values );
      for ( std::string key, value; name1 >> key && value1 >> value; ) {
         if ( key == name ) {
            return std::stoull( value );
         }
      }
   }
   return 0;
}

TEST( ProtectionTest, SignsSegmentsWithThePassword ) {
   Pair pair;
   pair.toA.password = pair.toB.password = "secret of two";
   pair.apply();
   EXPECT_TRUE( pair.areUp() );
   // Another speaker without the password is not even heard.
   const U64 before = counted( "TCPMD5NotFound" );
   Side stranger( pair.world );
   SessionConfig unsigned1 = pair.toB;
   unsigned1.password.clear();
   stranger.set.apply( { unsigned1 } );
   EXPECT_TRUE( pair.world.until( [&] { return counted( "TCPMD5NotFound" ) > before; } ) );
   EXPECT_EQ( stranger.session().state(), State::connect );
   EXPECT_EQ( pair.b.session().flaps(), 0U );
}

TEST( ProtectionTest, HearsNothingWithAnotherPassword ) {
   Pair pair;
   pair.toA.password = "one";
   pair.toB.password = "another";
   const U64 before = counted( "TCPMD5Failure" );
   pair.apply();
   EXPECT_TRUE( pair.world.until( [&] { return counted( "TCPMD5Failure" ) > before; } ) );
   EXPECT_EQ( pair.a.session().state(), State::connect );
   EXPECT_EQ( pair.b.session().state(), State::active );
   // The right one is enough, on a listener that is there already.
   pair.toA.password = "another";
   pair.b.set.apply( { pair.toA } );
   pair.world.advance( 60s );
   pair.world.settle();
   pair.world.advance( 60s );
   EXPECT_TRUE( pair.areUp() );
}

TEST( ProtectionTest, DropsAPasswordThatIsNoLongerConfigured ) {
   Pair pair;
   pair.toA.password = pair.toB.password = "secret of two";
   pair.apply();
   ASSERT_TRUE( pair.areUp() );
   pair.toA.password.clear();
   pair.toB.password.clear();
   pair.a.set.apply( {} );
   pair.b.set.apply( { pair.toA } );
   pair.a.set.apply( { pair.toB } );
   EXPECT_TRUE( pair.areUp() );
}

TEST( ProtectionTest, SignsOnAListenerThatComesLater ) {
   Pair pair;
   pair.toA.password = pair.toB.password = std::string( 80, 'x' );
   pair.b.set.listen( {} );
   pair.b.set.apply( { pair.toA } );
   EXPECT_THAT( pair.b.set.listen( { pair.toB.peer } ), testing::IsEmpty() );
   pair.a.set.apply( { pair.toB } );
   EXPECT_TRUE( pair.areUp() );
}

TEST( ProtectionTest, TakesPacketsOfNeighboursOnly ) {
   Pair pair;
   pair.toA.ttlSecurity = pair.toB.ttlSecurity = true;
   pair.apply();
   EXPECT_TRUE( pair.areUp() );
}

TEST( ProtectionTest, DropsPacketsFromFarAway ) {
   Pair pair;
   // An external peer without TTL security sends with 1 left, as if it had come over 254 routers.
   pair.toA.localAs = pair.toB.peerAs = 64501;
   pair.toA.ttlSecurity = true;
   const U64 before = counted( "TCPMinTTLDrop" );
   pair.apply();
   EXPECT_TRUE( pair.world.until( [&] { return counted( "TCPMinTTLDrop" ) > before; } ) );
   EXPECT_NE( pair.b.session().state(), State::established );
}

TEST( ProtectionTest, SendsAsFarAsThePeerMayBe ) {
   struct Case {
      U8 hops;
      bool isInternal;
      bool security;
      int ttl;
      int least;
   };
   for ( const auto& [hops, isInternal, security, ttl, least] :
         { Case{ 0, true, false, 255, 0 }, Case{ 0, false, false, 1, 0 },
           Case{ 3, false, false, 3, 0 }, Case{ 0, false, true, 255, 255 },
           Case{ 3, false, true, 255, 253 }, Case{ 0, true, true, 255, 1 } } ) {
      SessionConfig each = config( "each", "127.0.0.11", "127.0.0.12", 9 );
      each.hops = hops;
      each.ttlSecurity = security;
      each.peerAs = isInternal ? each.localAs : 64501;
      Socket socket( ::socket( AF_INET, SOCK_STREAM, 0 ) );
      take( socket, each );
      const auto option = [&socket]( int name ) {
         int value = -1;
         socklen_t size = sizeof value;
         EXPECT_EQ( ::getsockopt( socket.fd(), IPPROTO_IP, name, &value, &size ), 0 );
         return value;
      };
      EXPECT_EQ( option( IP_TTL ), ttl );
      EXPECT_EQ( option( IP_MINTTL ), least );
      EXPECT_EQ( option( IP_TOS ), 0xC0 );
   }
}

TEST( ProtectionTest, SaysWhatItCannotDo ) {
   SessionConfig each = config( "each", "192.0.2.1", "127.0.0.12", 9 );
   try {
      connectTo( each );
      ADD_FAILURE() << "192.0.2.1 is no address of this host";
   } catch ( const std::system_error& error ) {
      EXPECT_THAT( error.what(), HasSubstr( "cannot connect from 192.0.2.1: " ) );
   }
}

TEST( ProtectionTest, PausesWhenThereAreNoDescriptorsLeft ) {
   if ( sanitized ) {
      GTEST_SKIP() << "a sanitizer needs descriptors for its own checks";
   }
   Waiting waiting;
   RawPeer peer( waiting.listening() );
   rlimit all{};
   ASSERT_EQ( ::getrlimit( RLIMIT_NOFILE, &all ), 0 );
   const rlimit few{ 100, all.rlim_max };
   ASSERT_EQ( ::setrlimit( RLIMIT_NOFILE, &few ), 0 );
   std::vector< Socket > taken;
   for ( int fd = 0; ( fd = ::dup( 0 ) ) >= 0; ) {
      taken.emplace_back( fd );
   }
   ASSERT_TRUE( waiting.world.until( [&] { return !waiting.side.log.empty(); } ) );
   EXPECT_THAT( waiting.side.log[0], HasSubstr( "Too many open files" ) );
   waiting.world.settle();
   EXPECT_EQ( waiting.side.log.size(), 1U );
   taken.clear();
   ASSERT_EQ( ::setrlimit( RLIMIT_NOFILE, &all ), 0 );
   waiting.world.advance( 1s );
   EXPECT_TRUE( waiting.establish( peer ) );
}

} // namespace
