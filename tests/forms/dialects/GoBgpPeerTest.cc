#include "tests/forms/dialects/Peers.h"
#include "tests/forms/dialects/RuleData.h"
#include "tests/support/Hex.h"

#include <map>
#include <set>

#include <arpa/inet.h>
#include <nlohmann/json.hpp>
#include <sys/socket.h>
#include <unistd.h>

// GoBGP as the judge of its dialects: one daemon is given our commands and, as from a BGP peer, our
// octets. What it then prints as JSON is read.

namespace Forms {
namespace {

using Json = nlohmann::json;
using TestSupport::namedRules;
using TestSupport::ruleContext;
using Zorv::AddressFamily;

constexpr const char* families[] = { "ipv4-flowspec", "ipv6-flowspec", "ipv4-l3vpn-flowspec",
                                     "ipv6-l3vpn-flowspec" };
constexpr const char* peerAddress = "127.0.0.2";

/// A BGP session that says only what it is told.
class Speaker {
public:
   explicit Speaker( U16 port ) : fd_( ::socket( AF_INET, SOCK_STREAM, 0 ) ) {
      const timeval patience{ .tv_sec = 10, .tv_usec = 0 };
      ::setsockopt( fd_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience );
      const auto at = []( const char* address, U16 number ) {
         sockaddr_in where{};
         where.sin_family = AF_INET;
         where.sin_port = htons( number );
         ::inet_pton( AF_INET, address, &where.sin_addr );
         return where;
      };
      const sockaddr_in own = at( peerAddress, 0 );
      const sockaddr_in other = at( "127.0.0.1", port );
      connected_ =
         ::bind( fd_, reinterpret_cast< const sockaddr* >( &own ), sizeof own ) == 0 &&
         ::connect( fd_, reinterpret_cast< const sockaddr* >( &other ), sizeof other ) == 0;
   }
   Speaker( const Speaker& ) = delete;
   Speaker& operator=( const Speaker& ) = delete;
   ~Speaker() { ::close( fd_ ); }

   /// Exchanges OPEN and KEEPALIVE.
   bool opens() {
      // Version 4, AS 65000, 90 seconds; the four families and AS numbers of four octets.
      const std::string open = "04fde8005a0909090920021e"
                               "010400010085010400020085010400010086010400020086"
                               "41040000fde8";
      send( header( 1, open.size() / 2 ) + open );
      send( header( 4, 0 ) );
      return connected_ && receivedType() == 1 && receivedType() == 4;
   }

   void send( const std::string& hex ) {
      const auto octets = TestSupport::bytesOf( hex );
      send( octets );
   }
   void send( std::span< const U8 > octets ) {
      EXPECT_EQ( ::send( fd_, octets.data(), octets.size(), MSG_NOSIGNAL ),
                 static_cast< ssize_t >( octets.size() ) );
   }

private:
   static std::string header( U8 type, std::size_t size ) {
      const U8 octets[] = { 0, static_cast< U8 >( 19 + size ), type };
      return std::string( 32, 'f' ) + TestSupport::hexOf( octets );
   }
   int receivedType() {
      U8 octets[19];
      if ( ::recv( fd_, octets, sizeof octets, MSG_WAITALL ) != sizeof octets ) {
         return -1;
      }
      std::vector< U8 > body( static_cast< std::size_t >( octets[16] << 8 | octets[17] ) - 19 );
      if ( !body.empty() ) {
         ::recv( fd_, body.data(), body.size(), MSG_WAITALL );
      }
      return octets[18];
   }

   int fd_;
   bool connected_;
};

class GoBgpPeer : public testing::Test {
protected:
   void SetUp() override {
      if ( !TestSupport::isThere( "gobgpd" ) || !TestSupport::isThere( "gobgp" ) ) {
         GTEST_SKIP() << "GoBGP is not installed";
      }
      Vek::String configuration =
         Vek::concat( "[global.config]\nas = 65000\nrouter-id = \"1.1.1.1\"\nport = ", bgpPort_,
                      "\nlocal-address-list = [\"127.0.0.1\"]\n"
                      "[[neighbors]]\n[neighbors.config]\npeer-as = 65000\nneighbor-address = \"",
                      peerAddress, "\"\n[neighbors.transport.config]\npassive-mode = true\n" );
      for ( const char* const family :
            { "ipv4-flowspec", "ipv6-flowspec", "l3vpn-ipv4-flowspec", "l3vpn-ipv6-flowspec" } ) {
         configuration += Vek::concat(
            "[[neighbors.afi-safis]]\n[neighbors.afi-safis.config]\nafi-safi-name = \"", family,
            "\"\n" );
      }
      daemon_.emplace(
         std::vector< Vek::String >{ "gobgpd", "-f", folder_.file( "gobgpd.toml", configuration ),
                                     "--api-hosts", Vek::concat( "127.0.0.1:", apiPort_ ),
                                     "--pprof-disable" },
         folder_.path() + "/log" );
      ASSERT_TRUE( TestSupport::becomes(
         [&] { return gobgp( "global" ).find( "Router-ID" ) != std::string::npos; } ) )
         << daemon_->errors();
   }

   /// A command with the daemon's port.
   Vek::String command( std::string_view arguments ) const {
      return Vek::concat( "gobgp -p ", apiPort_, ' ', arguments );
   }
   Vek::String gobgp( std::string_view arguments ) const {
      return TestSupport::outputOf( command( arguments ) );
   }

   /// The paths that a command prints for all families, read as rules.
   std::vector< Rule > rulesOf( std::string_view what ) const {
      std::vector< Rule > rules;
      for ( const char* const family : families ) {
         const auto printed = gobgp( Vek::concat( what, " -a ", family, " -j" ) );
         const Json json = Json::parse( printed, nullptr, false );
         if ( !json.is_object() ) {
            continue; // "Network not in table"
         }
         for ( const auto& [name, paths] : json.items() ) {
            const std::string text = paths.at( 0 ).dump();
            std::vector< Fault > remarks;
            Rule& rule = rules.emplace_back();
            const auto fault =
               readRule( *dialectOf( "gobgp-json" ), text, ruleContext(), rule, remarks );
            EXPECT_FALSE( fault ) << fault->reason << " in " << name << text;
         }
      }
      return rules;
   }

   const TestSupport::Folder folder_;
   const U16 bgpPort_ = TestSupport::freePort();
   const U16 apiPort_ = TestSupport::freePort();
   std::optional< TestSupport::Process > daemon_;
};

TEST_F( GoBgpPeer, FilesWhatTheCommandsMean ) {
   std::vector< const TestSupport::NamedRule* > rules;
   Vek::String script;
   const auto run = [&] {
      EXPECT_EQ( TestSupport::outputOf( "sh " + folder_.file( "commands", script ) ), "" );
      script.clear();
   };
   for ( const auto& named : namedRules() ) {
      Vek::String text;
      if ( !writeRule( *dialectOf( "gobgp" ), named.rule, ruleContext(), text ) ) {
         ASSERT_TRUE( text.starts_with( "gobgp " ) );
         script += command( text.substr( 6 ) ) + " || echo " + named.id + '\n';
         rules.push_back( &named );
         if ( rules.size() % 32 == 0 ) {
            run(); // no shell takes long, even on a busy machine
         }
      }
   }
   run();
   EXPECT_GT( rules.size(), 125U );
   TestSupport::expectSame( rulesOf( "global rib" ), TestSupport::filed( rules ) );
}

TEST_F( GoBgpPeer, PrintsOctetsAsTheSameRules ) {
   Speaker speaker( bgpPort_ );
   ASSERT_TRUE( speaker.opens() ) << daemon_->errors();
   std::vector< const TestSupport::NamedRule* > rules;
   for ( const auto& named : namedRules() ) {
      speaker.send( TestSupport::updateOf( named.rule ) );
      rules.push_back( &named );
   }
   const auto expected = TestSupport::filed( rules );
   const auto received = Vek::concat( "neighbor ", peerAddress, " adj-in" );
   std::vector< Rule > read;
   TestSupport::becomes( [&] { return ( read = rulesOf( received ) ).size() >= expected.size(); } );
   TestSupport::expectSame( read, expected );
}

} // namespace
} // namespace Forms
