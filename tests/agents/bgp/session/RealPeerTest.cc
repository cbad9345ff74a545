#include "agents/bgp/message/UpdateWriter.h"
#include "tests/agents/bgp/session/RawPeer.h"
#include "tests/support/Folder.h"
#include "tests/support/Process.h"

#include <filesystem>

namespace {

using namespace Bgp;
using namespace TestSupport;
using namespace std::chrono_literals;
using testing::Contains;
using testing::HasSubstr;

// A port of 127.0.0.31 that nobody listens on.
U16 freePort() {
   World world;
   Side side( world );
   EXPECT_THAT( side.set.listen( { { address( "127.0.0.31" ), 0 } } ), testing::IsEmpty() );
   return side.set.listening().at( 0 ).port;
}

/// A program that others wrote, on 127.0.0.31, and a session of ours with it.
class RealPeerTest : public testing::Test {
protected:
   RealPeerTest() {
      EXPECT_THAT( side.set.listen( { { address( "127.0.0.11" ), 0 } } ), testing::IsEmpty() );
      ours = side.set.listening().at( 0 ).port;
      configured = config( "real", "127.0.0.11", "127.0.0.31", theirs );
      configured.peerAs = 64501;
      configured.hops = 2;
      configured.idleHoldTime = 0;
      configured.connectRetryTime = 1;
      configured.families = { ipv4Flow };
   }

   /// Starts the program.
   void start( std::vector< Vek::String > command ) {
      process = std::make_unique< Process >( std::move( command ), folder.path() + "/errors" );
   }
   void apply() { side.set.apply( { configured } ); }
   bool isUp() {
      return world.until( [&] { return side.up == 1; } );
   }
   bool isDown() {
      return world.until( [&] { return side.up == 0; } );
   }
   /// Some hold times go by, of keepalives alone.
   void keepUp() {
      const U64 before = side.session().received().keepalives;
      EXPECT_TRUE(
         world.until( [&] { return side.session().received().keepalives >= before + 2; } ) );
      EXPECT_EQ( side.session().flaps(), 0U );
   }
   void announce() {
      PathAttributes attributes;
      std::vector< U8 > path{ 2, 1, 0, 0, 0xFB, 0xF4 };
      attributes.asPath = AsPath( path );
      std::vector< U8 > encoded;
      writeAttributes( attributes, true, encoded );
      std::vector< U8 > out;
      auto writer = UpdateWriter::announcing( ipv4Flow, encoded, maxMessage, out );
      EXPECT_TRUE( writer.add( std::vector< U8 >{ 5, 1, 24, 10, 1, 0 } ) );
      writer.finish();
      writeEndOfRib( ipv4Flow, out );
      side.session().send( out );
   }
   /// What a command says.
   static Vek::String said( const Vek::String& command ) {
      Vek::String text;
      FILE* const pipe = ::popen( ( command + " 2>&1" ).c_str(), "r" );
      char room[4096];
      for ( std::size_t count = 0; ( count = ::fread( room, 1, sizeof room, pipe ) ) > 0; ) {
         text.append( room, count );
      }
      ::pclose( pipe );
      return text;
   }
   bool says( const Vek::String& command, std::string_view words ) {
      return world.until( [&] { return said( command ).find( words ) != Vek::String::npos; },
                          20ms );
   }

   const Folder folder;
   const U16 theirs = freePort();
   U16 ours = 0;
   World world;
   Side side{ world };
   SessionConfig configured;
   std::unique_ptr< Process > process;
};

class BirdTest : public RealPeerTest {
protected:
   void SetUp() override {
      if ( !std::filesystem::exists( "/usr/sbin/bird" ) ) {
         GTEST_SKIP() << "bird2 is not installed";
      }
   }

   void startBird( const Vek::String& options = "", bool recovers = false ) {
      const Vek::String file = folder.file(
         "bird.conf",
         Vek::concat(
            "log stderr all;\nrouter id 127.0.0.31;\nflow4 table rules;\nprotocol device {}\n"
            "protocol static { flow4 { table rules; };\n"
            "  route flow4 { dst 10.9.0.0/16; }; }\n"
            "protocol bgp ours {\n"
            "  local 127.0.0.31 port ",
            theirs, " as 64501;\n  neighbor 127.0.0.11 port ", ours,
            " as 64500;\n  multihop 2; strict bind yes; hold time 3;\n"
            "  connect delay time 1; connect retry time 1; error wait time 1,2;\n",
            options, "  flow4 { table rules; import all; export all; validate off; };\n}\n" ) );
      std::vector< Vek::String > command{ "/usr/sbin/bird", "-f", "-c", file, "-s", socket() };
      if ( recovers ) {
         command.emplace_back( "-R" );
      }
      start( std::move( command ) );
   }
   Vek::String socket() const { return folder.path() + "/control"; }
   Vek::String client() const { return "birdc -s " + socket() + " show route table rules"; }
};

TEST_F( BirdTest, HoldsASession ) {
   startBird();
   apply();
   ASSERT_TRUE( isUp() ) << process->errors();
   EXPECT_TRUE( world.until( [&] { return side.octets == 5; } ) ) << "its rule arrives";
   announce();
   EXPECT_TRUE( says( client(), "10.1.0.0/24" ) );
   keepUp();
   side.set.stop( "for a while" );
   const Vek::String shows = "birdc -s " + socket() + " show protocols all ours";
   EXPECT_TRUE( says( shows, "Received: Administrative shutdown" ) ) << said( shows );
   EXPECT_THAT( process->errors(), HasSubstr( "for a while" ) );
}

TEST_F( BirdTest, ConnectsItself ) {
   startBird();
   configured.passive = true;
   apply();
   EXPECT_TRUE( isUp() ) << process->errors();
   keepUp();
}

TEST_F( BirdTest, SignsSegments ) {
   startBird( "  password \"a secret\";\n" );
   configured.password = "a secret";
   apply();
   EXPECT_TRUE( isUp() ) << process->errors();
}

TEST_F( BirdTest, TakesPacketsOfNeighboursOnly ) {
   startBird( "  ttl security yes;\n" );
   configured.ttlSecurity = true;
   apply();
   EXPECT_TRUE( isUp() ) << process->errors();
}

TEST_F( BirdTest, IsHelpedThroughARestart ) {
   startBird( "  graceful restart yes;\n" );
   apply();
   ASSERT_TRUE( isUp() ) << process->errors();
   ASSERT_TRUE( world.until( [&] { return side.octets == 5; } ) );
   process->kill();
   ASSERT_TRUE( isDown() );
   EXPECT_TRUE( side.lastDown.keepsStale );
   EXPECT_EQ( side.lastDown.staleFamilies, std::vector{ ipv4Flow } );
   EXPECT_EQ( side.lastDown.restartTime, 120s );
   startBird( "  graceful restart yes;\n", true );
   ASSERT_TRUE( isUp() ) << process->errors();
   EXPECT_TRUE( side.session().agreed()->gracefulRestart->restarting );
   // It announces nothing until it was told all.
   std::vector< U8 > end;
   writeEndOfRib( ipv4Flow, end );
   side.session().send( end );
   EXPECT_TRUE( world.until( [&] { return side.heard.back() == "end of ipv4-flow"; } ) );
}

TEST_F( BirdTest, KeepsOurRulesWhileWeAreAway ) {
   startBird( "  graceful restart yes;\n" );
   apply();
   ASSERT_TRUE( isUp() ) << process->errors();
   announce();
   ASSERT_TRUE( says( client(), "10.1.0.0/24" ) );
   side.set.leave();
   ASSERT_TRUE( says( "birdc -s " + socket() + " show protocols all ours",
                      "Neighbor graceful restart active" ) );
   EXPECT_THAT( said( client() ), HasSubstr( "10.1.0.0/24" ) );
   Side again( world, true );
   again.set.apply( { configured } );
   ASSERT_TRUE( world.until( [&] { return again.up == 1; } ) );
   EXPECT_THAT( said( client() ), HasSubstr( "10.1.0.0/24" ) );
   // We have nothing to announce: at the end of it the rule goes.
   std::vector< U8 > end;
   writeEndOfRib( ipv4Flow, end );
   again.session().send( end );
   EXPECT_TRUE( world.until(
      [&] { return said( client() ).find( "10.1.0.0" ) == std::string::npos; }, 20ms ) );
}

class GoBgpTest : public RealPeerTest {
protected:
   void SetUp() override {
      if ( !std::filesystem::exists( "/usr/bin/gobgpd" ) ) {
         GTEST_SKIP() << "gobgpd is not installed";
      }
   }

   void startGoBgp() {
      const Vek::String file = folder.file(
         "gobgpd.toml",
         Vek::concat( "[global.config]\nas = 64501\nrouter-id = \"127.0.0.31\"\nport = ", theirs,
                      "\nlocal-address-list = [\"127.0.0.31\"]\n"
                      "[[neighbors]]\n[neighbors.config]\nneighbor-address = \"127.0.0.11\"\n"
                      "peer-as = 64500\n[neighbors.transport.config]\npassive-mode = true\n"
                      "[neighbors.timers.config]\nhold-time = 3\nkeepalive-interval = 1\n"
                      "[neighbors.ebgp-multihop.config]\nenabled = true\nmultihop-ttl = 2\n"
                      "[neighbors.graceful-restart.config]\nenabled = true\nrestart-time = 60\n"
                      "notification-enabled = true\n"
                      "[[neighbors.afi-safis]]\n[neighbors.afi-safis.config]\n"
                      "afi-safi-name = \"ipv4-flowspec\"\n"
                      "[neighbors.afi-safis.mp-graceful-restart.config]\nenabled = true\n" ) );
      start( { "/usr/bin/gobgpd", "-f", file, "--api-hosts", Vek::concat( "127.0.0.31:", control ),
               "-l", "warn" } );
   }
   const U16 control = freePort();
   Vek::String client() const { return Vek::concat( "gobgp -u 127.0.0.31 -p ", control ); }
};

TEST_F( GoBgpTest, HoldsASessionAndIsHelpedThroughARestart ) {
   startGoBgp();
   apply();
   ASSERT_TRUE( isUp() ) << process->errors();
   EXPECT_TRUE( side.session().agreed()->gracefulNotifications );
   announce();
   EXPECT_TRUE( says( client() + " global rib -a ipv4-flowspec", "10.1.0.0/24" ) );
   keepUp();
   process->kill();
   ASSERT_TRUE( isDown() );
   EXPECT_TRUE( side.lastDown.keepsStale );
   EXPECT_EQ( side.lastDown.restartTime, 60s );
   startGoBgp();
   EXPECT_TRUE( isUp() ) << process->errors();
}

TEST_F( RealPeerTest, ExaBgpHoldsASession ) {
   if ( !std::filesystem::exists( "/usr/sbin/exabgp" ) ) {
      GTEST_SKIP() << "exabgp is not installed";
   }
   const Vek::String file = folder.file(
      "exabgp.conf", "neighbor 127.0.0.11 {\n  router-id 127.0.0.31; local-address 127.0.0.31;\n"
                     "  local-as 64501; peer-as 64500; hold-time 3;\n"
                     "  family { ipv4 flow; }\n"
                     "  flow { route { match { destination 10.9.0.0/16; } then { discard; } } }\n"
                     "}\n" );
   configured.passive = true;
   apply();
   start( { "env", "exabgp.tcp.bind=", Vek::concat( "exabgp.tcp.port=", ours ),
            "exabgp.daemon.user=root", "exabgp.log.level=ERR", "/usr/bin/python3",
            "/usr/sbin/exabgp", file } );
   ASSERT_TRUE( isUp() ) << process->errors();
   EXPECT_TRUE( world.until( [&] { return side.octets == 5; } ) );
   keepUp();
}

} // namespace
