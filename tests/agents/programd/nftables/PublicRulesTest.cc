#include "Vek/text/Text.h"
#include "agents/programd/nftables/NftBackend.h"
#include "match/PacketSet.h"
#include "match/RuleMatch.h"
#include "tests/agents/programd/nftables/ForwardNetwork.h"
#include "tests/agents/programd/nftables/PacketWire.h"
#include "tests/support/PacketBytes.h"
#include "tests/support/TestRules.h"
#include "tests/wire/NlriData.h"

#include <thread>

#include <arpa/inet.h>
#include <endian.h>
#include <gmock/gmock.h>
#include <linux/if_packet.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netfilter/nfnetlink_log.h>
#include <net/if.h>
#include <nlohmann/json.hpp>

namespace Agents::Nftables {
namespace {

using namespace Flowspec;
using Json = nlohmann::json;
using TestSupport::NlriLine;
using TestSupport::PacketParts;
using TestSupport::PacketWire;
using TestSupport::ruleKey;
using Zorv::AddressFamily;
using Zorv::IpGenAddr;

// The action of a published rule. Targets are those of the test's network.
RuleAction actionOf( const NlriLine& line ) {
   RuleAction action;
   const Json json = Json::parse( line.action );
   if ( !json.is_object() ) {
      return action;
   }
   action.fields.trafficPermitIs( json.contains( "accept" ) );
   if ( json.contains( "rateBytes" ) ) {
      action.rateLimit = json["rateBytes"];
      action.fields.trafficDropIs( action.rateLimit == 0 );
      action.fields.trafficRateIs( action.rateLimit > 0 );
   }
   if ( json.contains( "redirectRt" ) ) {
      action.fields.trafficRedirectIs( true );
      action.redirect = { 7, TrafficRedirectType::vrf, {}, {}, false };
   }
   for ( const char* const kind :
         { "redirectIp", "redirectIpIetf", "redirectToNexthop", "copyIp" } ) {
      if ( json.contains( kind ) ) {
         const bool v6 = line.format.family == AddressFamily::ipv6;
         action.fields.trafficRedirectIs( true );
         action.redirect = { 0,
                             TrafficRedirectType::addr,
                             *IpGenAddr::fromText( v6 ? "2001:db8:b::2" : "203.0.113.2" ),
                             {},
                             std::string_view( kind ) == "copyIp" };
      }
   }
   if ( json.contains( "trafficAction" ) ) {
      action.fields.trafficActionIs( true );
      action.trafficAction.sampleAndLogIs( json["trafficAction"] == "sample-terminal" );
   }
   return action;
}

// The bytes of a packet with these fields.
std::vector< U8 > bytesOf( const Match::Packet& packet ) {
   PacketParts parts;
   const bool v6 = packet.family == AddressFamily::ipv6;
   if ( v6 ) {
      parts = PacketParts::ipv6();
   }
   parts.destination = packet.destination;
   parts.source = packet.source;
   parts.dscp = packet.dscp;
   parts.flowLabel = packet.flowLabel.value_or( 0 );
   parts.protocol = packet.protocol.value_or( 17 );
   const U8 fragment = packet.fragment.value_or( 0 );
   parts.dontFragment = fragment & Match::FragmentBits::dontFragment;
   parts.offset = fragment & Match::FragmentBits::isFragment ? 1 : 0;
   parts.moreFragments = fragment & Match::FragmentBits::firstFragment ||
                         ( parts.offset != 0 && !( fragment & Match::FragmentBits::lastFragment ) );
   if ( v6 && fragment != 0 ) {
      parts.extensions = { 44 };
   }
   if ( packet.tcpFlags ) {
      parts.payload = TestSupport::tcpBytes( packet.srcPort.value_or( 0 ),
                                             packet.destPort.value_or( 0 ), *packet.tcpFlags );
   } else if ( packet.icmpType ) {
      parts.payload = TestSupport::icmpBytes( *packet.icmpType, packet.icmpCode.value_or( 0 ) );
   } else {
      parts.payload =
         TestSupport::portBytes( packet.srcPort.value_or( 0 ), packet.destPort.value_or( 0 ) );
   }
   const std::size_t headers = packetBytes( parts ).size() - parts.payload.size();
   if ( packet.length > headers ) {
      parts.payload.resize( packet.length - headers );
   }
   return PacketWire::acceptable( packetBytes( parts ) );
}

struct PublicRules : testing::Test {
   void SetUp() override {
      if ( !wire.missing().empty() ) {
         GTEST_SKIP() << wire.missing();
      }
      wire.space().run( TestSupport::forwardNetwork );
      backend.emplace( loop, std::nullopt, []( std::string_view ) {} );
      IpVersion both;
      both.ipv4Is( true );
      both.ipv6Is( true );
      backend->interfaceIs( wire.in(), { both, "", {} } );
   }

   // The rule, in force alone.
   void program( const FlowspecKey& key, const RuleAction& action ) {
      const auto rule = TestSupport::makeRule( key );
      actionIs( *rule, action );
      backend->ruleIs( *rule );
      const auto changes = backend->apply();
      ASSERT_EQ( changes.size(), 1U );
      EXPECT_EQ( changes[0].result, ( Dataplane::ProgrammingResult{ programmed, "" } ) );
   }

   U64 counted( const FlowspecKey& key ) {
      backend->readCounters();
      return backend->counters( key ).packetHits();
   }

   CountsByName watched( AddressFamily family ) {
      return wire.kernel().counters( family, "watch" );
   }

   // Bytes that come through under a rate, for each second after the burst.
   double rate( AddressFamily family, const std::vector< U8 >& packet, double burst ) {
      using Clock = std::chrono::steady_clock;
      const auto through = [&] {
         return static_cast< double >( watched( family ).at( "through" ).bytes );
      };
      const double begin = through();
      const auto patience = Clock::now() + std::chrono::seconds( 20 );
      while ( through() - begin < burst && Clock::now() < patience ) {
         wire.flood( packet, std::chrono::milliseconds( 2 ) );
      }
      // What is left of the burst, and of the time that reading took.
      wire.flood( packet, std::chrono::milliseconds( 200 ) );
      const double before = through();
      const auto start = Clock::now();
      wire.flood( packet, std::chrono::seconds( 2 ) );
      const std::chrono::duration< double > took = Clock::now() - start;
      return ( through() - before ) / took.count();
   }

   PacketWire wire;
   EventLoop loop;
   std::optional< NftBackend > backend;
};

// Each takes a packet that it is for, does with it what it says, and takes nothing else.
TEST_F( PublicRules, DoWhatTheySay ) {
   int sent = 0;
   int redirected = 0;
   for ( const NlriLine& line : TestSupport::ruleLines() ) {
      FlowspecKey key = line.key;
      key.vrfIdIs( 0 );
      const RuleAction action = actionOf( line );
      program( key, action );
      const auto packet = Match::PacketSet( key ).any();
      if ( packet && !line.hasOffset ) {
         const std::vector< U8 > bytes = bytesOf( *packet );
         ASSERT_FALSE( bytes.empty() ) << line.id;
         ASSERT_TRUE( Match::RuleMatch( key ).matches( *Match::parsePacket( bytes ) ) ) << line.id;
         const auto before = watched( key.addressFamily() );
         if ( wire.send( bytes ) ) {
            ++sent;
            std::this_thread::sleep_for( std::chrono::milliseconds( 2 ) );
            const auto after = watched( key.addressFamily() );
            const auto more = [&]( const char* name ) {
               return after.at( name ).packets - before.at( name ).packets;
            };
            EXPECT_EQ( counted( key ), 1U ) << line.id;
            // More than a second's bytes are over the rate at once.
            const bool dropped = action.fields.trafficDrop() ||
                                 ( action.fields.trafficRate() &&
                                   static_cast< float >( bytes.size() ) > action.rateLimit );
            EXPECT_EQ( more( "through" ), dropped ? 0U : 1U ) << line.id;
            const bool led = action.fields.trafficRedirect() && !dropped;
            redirected += led;
            EXPECT_EQ( more( "far" ), led ? 1U : 0U ) << line.id;
            if ( led ) {
               EXPECT_EQ( more( "home" ), action.redirect.copy() ? 1U : 0U ) << line.id;
            }
         }
      }
      backend->ruleDel( key );
      EXPECT_TRUE( backend->apply().empty() );
      if ( HasFailure() ) {
         return;
      }
   }
   EXPECT_GT( sent, 115 );
   EXPECT_GT( redirected, 12 );
}

TEST_F( PublicRules, KeepTheirRates ) {
   std::set< float > measured;
   for ( const NlriLine& line : TestSupport::ruleLines() ) {
      const RuleAction action = actionOf( line );
      // Fewer come too seldom, and for more this would have to send too fast.
      if ( !action.fields.trafficRate() || action.rateLimit < 1000 || action.rateLimit > 2e7F ||
           !measured.insert( action.rateLimit ).second ) {
         continue;
      }
      const FlowspecKey key = ruleKey( "10.1.0.0/16;*;" );
      program( key, action );
      PacketParts parts;
      parts.payload.resize( action.rateLimit < 1e5F ? 80 : 1380 );
      const std::vector< U8 > packet = PacketWire::acceptable( packetBytes( parts ) );
      const double bytes = rate( AddressFamily::ipv4, packet, double{ action.rateLimit } );
      EXPECT_NEAR( bytes, action.rateLimit,
                   0.05 * action.rateLimit + static_cast< double >( packet.size() ) )
         << line.id;
      backend->ruleDel( key );
      EXPECT_TRUE( backend->apply().empty() );
   }
   EXPECT_EQ( measured.size(), 4U );
}

TEST_F( PublicRules, KeepARateOfPackets ) {
   for ( const char* const text : { "10.1.0.0/16;*;", "2001:db8::/32;*;" } ) {
      const FlowspecKey key = ruleKey( text );
      RuleAction action;
      action.fields.trafficRatePktIs( true );
      action.rateLimit = 1000;
      program( key, action );
      PacketParts parts;
      if ( key.addressFamily() == AddressFamily::ipv6 ) {
         parts = PacketParts::ipv6();
      }
      parts.payload = TestSupport::portBytes( 1, 2 );
      const std::vector< U8 > packet = PacketWire::acceptable( packetBytes( parts ) );
      const auto size = static_cast< double >( packet.size() );
      EXPECT_NEAR( rate( key.addressFamily(), packet, 100 * size ) / size, 1000, 50 );
   }
}

// The mark is in the packet that is received, and its checksum is right.
TEST_F( PublicRules, MarkWhatIsReceived ) {
   for ( const char* const text : { "10.1.0.0/16;*;", "2001:db8::/32;*;" } ) {
      const FlowspecKey key = ruleKey( text );
      const bool v6 = key.addressFamily() == AddressFamily::ipv6;
      RuleAction action;
      action.fields.trafficMarkingIs( true );
      action.markDscp = Zorv::IpTos( 46 );
      program( key, action );
      const int socket = ::socket( AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0 );
      sockaddr_ll at{};
      at.sll_family = AF_PACKET;
      at.sll_protocol = htons( v6 ? 0x86DD : 0x0800 );
      at.sll_ifindex = static_cast< int >( if_nametoindex( "home" ) );
      ASSERT_EQ( ::bind( socket, reinterpret_cast< sockaddr* >( &at ), sizeof at ), 0 );
      PacketParts parts;
      if ( v6 ) {
         parts = PacketParts::ipv6();
         parts.destination = *IpGenAddr::fromText( "2001:db8:c::9" );
      }
      parts.payload = TestSupport::portBytes( 4711, 4712 );
      EXPECT_TRUE( wire.send( PacketWire::acceptable( packetBytes( parts ) ) ) );
      std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) );
      U8 room[200];
      bool found = false;
      ssize_t size = 0;
      while ( !found && ( size = ::recv( socket, room, sizeof room, 0 ) ) > 0 ) {
         const auto packet = Match::parsePacket( { room, static_cast< std::size_t >( size ) } );
         found = packet && packet->srcPort == 4711;
         if ( found ) {
            EXPECT_EQ( packet->dscp, 46 );
         }
      }
      EXPECT_TRUE( found ) << text;
      if ( found && !v6 ) {
         U32 sum = 0;
         for ( std::size_t i = 0; i < 20; i += 2 ) {
            sum += U32{ room[i] } << 8 | room[i + 1];
         }
         EXPECT_EQ( ( sum & 0xFFFF ) + ( sum >> 16 ), 0xFFFFU );
      }
      ::close( socket );
   }
}

// A listener of the group has the packet, and the rule's name as it is in the tables.
TEST_F( PublicRules, GiveSamplesToAGroup ) {
   const std::unique_ptr< mnl_socket, int ( * )( mnl_socket* ) > socket(
      mnl_socket_open2( NETLINK_NETFILTER, SOCK_CLOEXEC | SOCK_NONBLOCK ), mnl_socket_close );
   ASSERT_EQ( mnl_socket_bind( socket.get(), 0, MNL_SOCKET_AUTOPID ), 0 );
   NetlinkMessage< nfgenmsg > bind( NFNL_SUBSYS_ULOG << 8 | NFULNL_MSG_CONFIG, NLM_F_REQUEST );
   bind.body().res_id = htons( Dataplane::Nftables::sampleGroup );
   bind.u8( NFULA_CFG_CMD, NFULNL_CFG_CMD_BIND );
   ASSERT_GT( mnl_socket_sendto( socket.get(), &bind.header(), bind.header().nlmsg_len ), 0 );
   NetlinkMessage< nfgenmsg > mode( NFNL_SUBSYS_ULOG << 8 | NFULNL_MSG_CONFIG, NLM_F_REQUEST );
   mode.body().res_id = htons( Dataplane::Nftables::sampleGroup );
   const nfulnl_msg_config_mode whole{ htonl( 0xFFFF ), NFULNL_COPY_PACKET, 0 };
   mode.bytes( NFULA_CFG_MODE, &whole, sizeof whole );
   mode.u32( NFULA_CFG_QTHRESH, htonl( 1 ) );
   ASSERT_GT( mnl_socket_sendto( socket.get(), &mode.header(), mode.header().nlmsg_len ), 0 );
   const auto line = std::ranges::find_if( TestSupport::ruleLines(), []( const NlriLine& one ) {
      return actionOf( one ).trafficAction.sampleAndLog();
   } );
   ASSERT_NE( line, TestSupport::ruleLines().end() );
   // No packet matches the rule itself.
   const FlowspecKey key = ruleKey( "10.1.0.0/16;*;" );
   program( key, actionOf( *line ) );
   const std::vector< U8 > packet = bytesOf( *Match::PacketSet( key ).any() );
   EXPECT_TRUE( wire.send( packet ) );
   std::this_thread::sleep_for( std::chrono::milliseconds( 50 ) );
   Vek::String prefix;
   std::vector< U8 > payload;
   alignas( nlmsghdr ) char room[8192];
   for ( ssize_t size = 0;
         ( size = mnl_socket_recvfrom( socket.get(), room, sizeof room ) ) > 0; ) {
      const auto& message = *reinterpret_cast< const nlmsghdr* >( room );
      if ( message.nlmsg_type == ( NFNL_SUBSYS_ULOG << 8 | NFULNL_MSG_PACKET ) ) {
         forEachAttribute( message, sizeof( nfgenmsg ), [&]( const nlattr& attribute ) {
            const auto* const data = static_cast< const U8* >( mnl_attr_get_payload( &attribute ) );
            if ( mnl_attr_get_type( &attribute ) == NFULA_PREFIX ) {
               prefix = mnl_attr_get_str( &attribute );
            } else if ( mnl_attr_get_type( &attribute ) == NFULA_PAYLOAD ) {
               payload.assign( data, data + mnl_attr_get_payload_len( &attribute ) );
            }
         } );
      }
   }
   EXPECT_EQ( payload, packet );
   EXPECT_TRUE( prefix.starts_with( "flowspec r" ) ) << prefix;
   EXPECT_THAT( wire.space().output( "nft list counters table ip flowspec" ),
                testing::HasSubstr( prefix.substr( 9 ) ) );
}

} // namespace
} // namespace Agents::Nftables
