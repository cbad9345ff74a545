#include "agents/programd/nftables/NftBackend.h"
#include "tests/agents/daemon/LoopTimer.h"
#include "tests/agents/programd/nftables/ForwardNetwork.h"
#include "tests/agents/programd/nftables/PacketWire.h"
#include "tests/support/PacketBytes.h"
#include "tests/support/TestRules.h"

#include <thread>

#include <gmock/gmock.h>

namespace Agents::Nftables {
namespace {

using namespace Flowspec;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using TestSupport::makeRule;
using TestSupport::PacketParts;
using TestSupport::PacketWire;
using TestSupport::ruleKey;
using Zorv::AddressFamily;
using Zorv::IpGenAddr;

struct NftRedirectTest : testing::Test {
   void SetUp() override {
      if ( !wire.missing().empty() ) {
         GTEST_SKIP() << wire.missing();
      }
      wire.space().run( TestSupport::forwardNetwork );
      begin();
   }

   void begin() {
      backend.reset();
      backend.emplace( loop, std::nullopt, []( std::string_view ) {} );
      IpVersion both;
      both.ipv4Is( true );
      both.ipv6Is( true );
      backend->interfaceIs( wire.in(), { both, "", {} } );
   }

   FlowspecKey add( std::string_view rule, const TrafficRedirect& redirect ) {
      const FlowspecKey key = ruleKey( rule );
      const auto config = makeRule( key, "trafficRedirect" );
      config->trafficRedirectIs( redirect );
      backend->ruleIs( *config );
      return key;
   }
   static TrafficRedirect to( std::string_view address, bool copy = false ) {
      return { 0, TrafficRedirectType::addr, *IpGenAddr::fromText( address ), {}, copy };
   }
   static TrafficRedirect to( U32 vrf, bool copy = false ) {
      return { vrf, TrafficRedirectType::vrf, {}, {}, copy };
   }

   std::vector< Vek::String > apply() {
      std::vector< Vek::String > texts;
      for ( const RuleChange& change : backend->apply() ) {
         texts.push_back(
            Vek::concat( stringValue( change.result.code ), ' ', change.result.reason ) );
      }
      return texts;
   }

   Vek::String rules() { return wire.space().output( "ip rule list; ip -6 rule list" ); }

   // Where a packet to an address arrives.
   Vek::String arrives( std::string_view address ) {
      const auto before = arrived();
      PacketParts parts;
      if ( IpGenAddr::fromText( address )->family() == AddressFamily::ipv6 ) {
         parts = PacketParts::ipv6();
      }
      parts.protocol = 17;
      parts.destination = *IpGenAddr::fromText( address );
      parts.payload = TestSupport::portBytes( 1, 2 );
      EXPECT_TRUE( wire.send( PacketWire::acceptable( packetBytes( parts ) ) ) );
      std::this_thread::sleep_for( std::chrono::milliseconds( 5 ) );
      const auto after = arrived();
      Vek::String text;
      for ( U64 i = before.first; i < after.first; ++i ) {
         text += "far ";
      }
      for ( U64 i = before.second; i < after.second; ++i ) {
         text += "home ";
      }
      return text;
   }
   std::pair< U64, U64 > arrived() {
      std::pair< U64, U64 > sum;
      for ( const auto family : { AddressFamily::ipv4, AddressFamily::ipv6 } ) {
         const auto counters = wire.kernel().counters( family, "watch" );
         sum.first += counters.at( "far" ).packets;
         sum.second += counters.at( "home" ).packets;
      }
      return sum;
   }

   PacketWire wire;
   EventLoop loop;
   std::optional< NftBackend > backend;
};

TEST_F( NftRedirectTest, LeadsToANextHop ) {
   const auto v4 = add( "10.1.0.0/16;*;", to( "203.0.113.2" ) );
   const auto v6 = add( "2001:db8:c:1::/64;*;", to( "2001:db8:b::2" ) );
   EXPECT_THAT( apply(), ElementsAre( "programmed ", "programmed " ) );
   EXPECT_EQ( arrives( "10.1.2.3" ), "far " );
   EXPECT_EQ( arrives( "10.2.2.3" ), "home " );
   EXPECT_EQ( arrives( "2001:db8:c:1::5" ), "far " );
   EXPECT_EQ( arrives( "2001:db8:c:2::5" ), "home " );
   backend->ruleDel( v4 );
   apply();
   EXPECT_EQ( arrives( "10.1.2.3" ), "home " );
   EXPECT_THAT( wire.space().output( "ip rule list" ), Not( HasSubstr( "13300:" ) ) );
   EXPECT_THAT( wire.space().output( "ip -6 rule list" ), HasSubstr( "13300:" ) );
   backend->ruleDel( v6 );
   apply();
   EXPECT_THAT( rules(), Not( HasSubstr( "13300:" ) ) );
}

TEST_F( NftRedirectTest, LeadsIntoATable ) {
   const auto seven = add( "10.1.0.0/16;*;", to( 7 ) );
   add( "10.2.0.0/16;*;", to( 8 ) );
   add( "10.3.0.0/16;*;", to( 0 ) );
   apply();
   EXPECT_EQ( arrives( "10.1.2.3" ), "far " );
   EXPECT_EQ( arrives( "10.2.2.3" ), "" ); // the table 8 has no route
   EXPECT_EQ( arrives( "10.3.2.3" ), "home " );
   // Elsewhere, in one step.
   add( "10.1.0.0/16;*;", to( 8 ) );
   apply();
   EXPECT_EQ( arrives( "10.1.2.3" ), "" );
   EXPECT_THAT( rules(), Not( HasSubstr( "lookup 7" ) ) );
}

TEST_F( NftRedirectTest, Copies ) {
   add( "10.1.0.0/16;*;", to( "203.0.113.2", true ) );
   add( "2001:db8:c:1::/64;*;", to( "2001:db8:b::2", true ) );
   EXPECT_THAT( apply(), ElementsAre( "programmed ", "programmed " ) );
   EXPECT_EQ( arrives( "10.1.2.3" ), "far home " );
   EXPECT_EQ( arrives( "2001:db8:c:1::5" ), "far home " );
   EXPECT_THAT( rules(), Not( HasSubstr( "13300:" ) ) );
}

TEST_F( NftRedirectTest, RefusesWhereNothingCanGo ) {
   add( "10.1.0.0/16;*;", to( "2001:db8:b::2" ) );
   add( "10.2.0.0/16;*;", to( 7, true ) );
   add( "10.3.0.0/16;*;", to( 255 ) );
   add( "10.4.0.0/16;*;", to( 13'300'001 ) );
   add( "10.5.0.0/16;*;", to( Vrf::VrfIdMap::invalid() ) );
   add( "10.6.0.0/16;*;", to( "172.16.0.77" ) );
   EXPECT_THAT(
      apply(),
      ElementsAre( "unsupportedAction the next hop '2001:db8:b::2' is not of ipv4",
                   "unsupportedAction a copy can go to a next hop, not to a VRF",
                   "unsupportedAction the routing table 255 is in use for something else",
                   "unsupportedAction the routing table 13300001 is in use for something else",
                   "unsupportedAction the redirect names no VRF",
                   testing::StartsWith( "unsupportedAction the next hop 172.16.0.77: " ) ) );
   EXPECT_EQ( arrives( "10.6.2.3" ), "home " );
   EXPECT_THAT( rules(), Not( HasSubstr( "13300:" ) ) );
}

TEST_F( NftRedirectTest, TriesANextHopAgain ) {
   U64 news = 0;
   backend->onNews( [&] { ++news; } );
   add( "10.1.0.0/16;*;", to( "172.16.0.77" ) );
   EXPECT_EQ( apply().size(), 1U );
   backend->readCounters();
   EXPECT_EQ( news, 0U );
   wire.space().run( "ip address add 172.16.0.1/24 dev away; "
                     "ip neighbour add 172.16.0.77 lladdr 02:00:00:00:00:03 dev away" );
   backend->readCounters();
   EXPECT_EQ( news, 1U );
   EXPECT_THAT( apply(), ElementsAre( "programmed " ) );
   EXPECT_EQ( arrives( "10.1.2.3" ), "far " );
   // The kernel takes routes away with the interface; packets never go the usual way.
   wire.space().run( "ip link set away down && ip link set away up && "
                     "ip neighbour replace 172.16.0.77 lladdr 02:00:00:00:00:03 dev away" );
   EXPECT_EQ( arrives( "10.1.2.3" ), "" );
   backend->readCounters();
   EXPECT_EQ( arrives( "10.1.2.3" ), "far " );
}

TEST_F( NftRedirectTest, TakesOverWhatAnEarlierProcessLeft ) {
   add( "10.1.0.0/16;*;", to( "203.0.113.2" ) );
   add( "10.2.0.0/16;*;", to( 7 ) );
   apply();
   const Vek::String before = rules();
   begin();
   EXPECT_EQ( arrives( "10.1.2.3" ), "far " );
   add( "10.1.0.0/16;*;", to( "203.0.113.2" ) );
   add( "10.2.0.0/16;*;", to( 7 ) );
   apply();
   EXPECT_EQ( rules(), before );
   EXPECT_EQ( arrives( "10.1.2.3" ), "far " );
   begin();
   apply();
   EXPECT_THAT( rules(), Not( HasSubstr( "13300:" ) ) );
   EXPECT_EQ( arrives( "10.1.2.3" ), "home " );
}

} // namespace
} // namespace Agents::Nftables
