#include "agents/programd/nftables/NftBackend.h"

#include "agents/programd/SoftwareTcam.h"
#include "tests/agents/daemon/LoopTimer.h"
#include "tests/agents/programd/nftables/PacketWire.h"
#include "tests/match/RandomMatch.h"
#include "tests/support/PacketBytes.h"
#include "tests/support/TestRules.h"

#include <gmock/gmock.h>

namespace Agents::Nftables {
namespace {

using namespace Dataplane;
using namespace Flowspec;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using TestSupport::makeRule;
using TestSupport::PacketParts;
using TestSupport::PacketWire;
using TestSupport::ruleKey;
using Zorv::AddressFamily;

std::vector< U8 > packetTo( std::string_view address, std::size_t size = 100 ) {
   PacketParts parts;
   parts.destination = *Zorv::IpGenAddr::fromText( address );
   if ( parts.destination.family() == AddressFamily::ipv6 ) {
      parts = PacketParts::ipv6();
      parts.destination = *Zorv::IpGenAddr::fromText( address );
   }
   parts.payload = TestSupport::portBytes( 1, 2 );
   parts.payload.resize( size - ( parts.family == AddressFamily::ipv6 ? 40 : 20 ) );
   return PacketWire::acceptable( packetBytes( parts ) );
}

IpVersion families( bool v6 ) {
   IpVersion families;
   families.ipv4Is( true );
   families.ipv6Is( v6 );
   return families;
}

struct NftBackendTest : testing::Test {
   void SetUp() override {
      if ( !wire.missing().empty() ) {
         GTEST_SKIP() << wire.missing();
      }
      begin();
   }

   void begin() {
      backend.reset();
      backend.emplace( loop, std::nullopt,
                       [this]( std::string_view text ) { logged.emplace_back( text ); } );
      enable( {} );
   }

   void enable( std::vector< U16 > sets ) {
      backend->interfaceIs( wire.in(), { families( true ), "", std::move( sets ) } );
   }

   FlowspecKey add( const FlowspecKey& key, std::string_view actions, float rate = 0 ) {
      const auto rule = makeRule( key, actions );
      rule->trafficRateLimitIs( rate );
      backend->ruleIs( *rule );
      return key;
   }

   // What became of the rules that changed.
   std::vector< Vek::String > apply() {
      std::vector< Vek::String > texts;
      for ( const RuleChange& change : backend->apply() ) {
         texts.push_back( Vek::concat( change.key.toStrepCli( false ), ' ',
                                       stringValue( change.result.code ), ' ',
                                       change.result.reason ) );
      }
      return texts;
   }

   // How many of the packets come through.
   U64 through( const std::vector< U8 >& packet, int count = 1 ) {
      const U64 before = wire.seen().through;
      for ( int i = 0; i < count; ++i ) {
         EXPECT_TRUE( wire.send( packet ) );
      }
      return wire.seen().through - before;
   }

   Vek::String counted( const FlowspecKey& key ) {
      backend->readCounters();
      const auto counters = backend->counters( key );
      return Vek::concat( counters.packetHits(), " packets ", counters.byteHits(), " bytes" );
   }

   PacketWire wire;
   EventLoop loop;
   std::vector< Vek::String > logged;
   std::optional< NftBackend > backend;
};

TEST_F( NftBackendTest, FindsOutWhatTheKernelCan ) {
   const Profile expected = Profile::read( R"({"capacity":18446744073709551615,
      "interfaceSets":65536,
      "ipv4":{"qualifiers":["destPrefix","srcPrefix","ipProto","port","destPort","srcPort",
         "icmpType","icmpCode","tcpFlags","packetLength","dscp","fragment"],
         "actions":["trafficPermit","trafficDrop","trafficRate","trafficRatePkt",
            "trafficMarking","redirectVrf","redirectAddr","sample","continue"]},
      "ipv6":{"qualifiers":["destPrefix","srcPrefix","ipProto","port","destPort","srcPort",
         "icmpType","icmpCode","tcpFlags","packetLength","dscp","fragment","flowLabel"],
         "actions":["trafficPermit","trafficDrop","trafficRate","trafficRatePkt",
            "trafficMarking","redirectVrf","redirectAddr","sample","continue"]}})" );
   EXPECT_EQ( backend->profile(), expected );
   EXPECT_THAT( wire.space().output( "nft list tables" ), testing::Not( HasSubstr( "flowspec" ) ) );
}

TEST_F( NftBackendTest, DropsAndCounts ) {
   const auto drop = add( ruleKey( "10.1.0.0/16;*;" ), "trafficDrop" );
   const auto v6 = add( ruleKey( "2001:db8::/32;*;" ), "trafficDrop" );
   EXPECT_THAT( apply(),
                ElementsAre( "10.1.0.0/16;*; programmed ", "2001:db8::/32;*; programmed " ) );
   EXPECT_THAT( apply(), IsEmpty() );
   EXPECT_EQ( through( packetTo( "10.1.2.3" ), 3 ), 0U );
   EXPECT_EQ( through( packetTo( "10.2.2.3" ), 3 ), 3U );
   EXPECT_EQ( through( packetTo( "2001:db8::1" ), 2 ), 0U );
   EXPECT_EQ( counted( drop ), "3 packets 300 bytes" );
   EXPECT_EQ( counted( v6 ), "2 packets 200 bytes" );
   backend->ruleDel( drop );
   EXPECT_THAT( apply(), IsEmpty() );
   EXPECT_EQ( through( packetTo( "10.1.2.3" ) ), 1U );
}

TEST_F( NftBackendTest, CountsOnThroughChangesOfOtherRules ) {
   const auto outer = add( ruleKey( "10.0.0.0/8;*;" ), "trafficDrop" );
   apply();
   through( packetTo( "10.1.2.3" ) );
   const auto inner = add( ruleKey( "10.1.0.0/16;*;" ), "trafficPermit" );
   apply();
   EXPECT_EQ( through( packetTo( "10.1.2.3" ) ), 1U );
   EXPECT_EQ( through( packetTo( "10.2.2.3" ) ), 0U );
   EXPECT_EQ( counted( outer ), "2 packets 200 bytes" );
   EXPECT_EQ( counted( inner ), "1 packets 100 bytes" );
   add( inner, "trafficDrop" );
   apply();
   EXPECT_EQ( counted( inner ), "0 packets 0 bytes" );
   EXPECT_EQ( counted( outer ), "2 packets 200 bytes" );
}

TEST_F( NftBackendTest, RefusesWhatItCannotDo ) {
   const auto policy = makeRule( ruleKey( "10.0.0.0/8;*;" ), "trafficRedirect" );
   policy->trafficRedirectIs( { 0, TrafficRedirectType::srTePolicy, {}, {}, false } );
   backend->ruleIs( *policy );
   add( ruleKey( "10.1.0.0/16;*;" ), "trafficRate", 1e12F );
   add( ruleKey( "*;*;FL:=1;" ), "trafficDrop" );
   EXPECT_THAT(
      apply(),
      ElementsAre(
         "10.1.0.0/16;*; unsupportedAction the rate is more than 18000000000 bytes a second",
         "10.0.0.0/8;*; unsupportedAction the profile cannot do redirectSrTePolicy",
         "*;*;FL:=1; unsupportedMatch the profile cannot match on flowLabel" ) );
}

TEST_F( NftBackendTest, LeavesRulesInForceAndTakesThemOver ) {
   const auto drop = add( ruleKey( "10.1.0.0/16;*;" ), "trafficDrop" );
   const auto gone = add( ruleKey( "10.2.0.0/16;*;" ), "trafficDrop" );
   apply();
   through( packetTo( "10.1.2.3" ) );
   backend.reset();
   EXPECT_EQ( through( packetTo( "10.1.2.3" ) ), 0U );
   EXPECT_EQ( through( packetTo( "10.2.2.3" ) ), 0U );
   begin();
   add( drop, "trafficDrop" );
   apply();
   EXPECT_EQ( through( packetTo( "10.1.2.3" ) ), 0U );
   EXPECT_EQ( through( packetTo( "10.2.2.3" ) ), 1U );
   EXPECT_EQ( counted( drop ), "3 packets 300 bytes" );
   EXPECT_EQ( counted( gone ), "0 packets 0 bytes" );
}

TEST_F( NftBackendTest, PutsRightWhatOthersChange ) {
   const auto drop = add( ruleKey( "10.1.0.0/16;*;" ), "trafficDrop" );
   apply();
   through( packetTo( "10.1.2.3" ), 2 );
   EXPECT_EQ( counted( drop ), "2 packets 200 bytes" );
   TestSupport::runFor( loop, std::chrono::milliseconds( 50 ) );
   wire.space().run( "nft add table ip other" );
   TestSupport::runFor( loop, std::chrono::milliseconds( 50 ) );
   EXPECT_THAT( logged, IsEmpty() );
   for ( const char* fault : { "nft delete table ip flowspec", "nft flush table ip flowspec" } ) {
      logged.clear();
      wire.space().run( fault );
      EXPECT_EQ( through( packetTo( "10.1.2.3" ) ), 1U );
      TestSupport::runFor( loop, std::chrono::milliseconds( 1200 ) );
      EXPECT_THAT( logged, ElementsAre( "another program changed the tables 'flowspec' of "
                                        "nf_tables: they are made anew" ) );
      EXPECT_EQ( through( packetTo( "10.1.2.3" ) ), 0U );
   }
   EXPECT_EQ( counted( drop ), "4 packets 400 bytes" );
}

TEST_F( NftBackendTest, LimitsRates ) {
   const auto packets = add( ruleKey( "10.1.0.0/16;*;" ), "trafficRatePkt", 0.1F );
   const auto bytes = add( ruleKey( "10.2.0.0/16;*;" ), "trafficRate", 10 );
   const auto none = add( ruleKey( "10.3.0.0/16;*;" ), "trafficRate", 0 );
   apply();
   // Five packets at once, and ten bytes a second of a packet of a hundred: none.
   EXPECT_EQ( through( packetTo( "10.1.2.3" ), 10 ), 5U );
   EXPECT_EQ( through( packetTo( "10.2.2.3" ), 10 ), 0U );
   EXPECT_EQ( through( packetTo( "10.3.2.3" ), 10 ), 0U );
   EXPECT_EQ( counted( packets ), "10 packets 1000 bytes" );
   EXPECT_EQ( counted( bytes ), "10 packets 1000 bytes" );
   EXPECT_EQ( counted( none ), "10 packets 1000 bytes" );
   // A limit goes on when another rule changes.
   add( ruleKey( "10.1.2.0/24;*;" ), "trafficRatePkt", 1000 );
   apply();
   EXPECT_EQ( through( packetTo( "10.1.3.3" ), 10 ), 0U );
   EXPECT_EQ( through( packetTo( "10.1.2.3" ), 10 ), 10U );
}

TEST_F( NftBackendTest, Marks ) {
   wire.space().run( "nft add counter ip watch marked; nft add rule ip watch after ip dscp 46 "
                     "counter name marked; nft add counter ip6 watch marked; "
                     "nft add rule ip6 watch after ip6 dscp 46 counter name marked" );
   for ( const char* prefix : { "10.1.0.0/16;*;", "2001:db8::/32;*;" } ) {
      const auto rule = makeRule( ruleKey( prefix ), "trafficMarking" );
      rule->trafficMarkingDscpIs( Zorv::IpTos( 46 ) );
      backend->ruleIs( *rule );
   }
   apply();
   through( packetTo( "10.1.2.3" ), 3 );
   through( packetTo( "10.2.2.3" ), 3 );
   through( packetTo( "2001:db8::1" ), 2 );
   EXPECT_EQ( wire.kernel().counters( AddressFamily::ipv4, "watch" ).at( "marked" ).packets, 3U );
   EXPECT_EQ( wire.kernel().counters( AddressFamily::ipv6, "watch" ).at( "marked" ).packets, 2U );
}

TEST_F( NftBackendTest, AppliesRulesOfInterfaceSets ) {
   const auto both = add( ruleKey( "10.1.0.0/16;*;", 0, { 7, 3 } ), "trafficDrop" );
   add( ruleKey( "10.2.0.0/16;*;", 0, { 4 } ), "trafficDrop" );
   apply();
   EXPECT_THAT( backend->interfaceSetsInUse(), ElementsAre( 3, 4, 7 ) );
   EXPECT_EQ( through( packetTo( "10.1.2.3" ) ), 1U );
   enable( { 7 } );
   EXPECT_THAT( apply(), IsEmpty() );
   EXPECT_EQ( through( packetTo( "10.1.2.3" ) ), 0U );
   EXPECT_EQ( through( packetTo( "10.2.2.3" ) ), 1U );
   enable( { 4 } );
   apply();
   EXPECT_EQ( through( packetTo( "10.1.2.3" ) ), 1U );
   EXPECT_EQ( through( packetTo( "10.2.2.3" ) ), 0U );
   backend->interfaceSetLimitIs( 1 );
   EXPECT_THAT( apply(), ElementsAre( "10.1.0.0/16;*; intfSetResourceExhausted "
                                      "there is room for 1 interface sets" ) );
   EXPECT_EQ( counted( both ), "0 packets 0 bytes" );
}

TEST_F( NftBackendTest, TakesUpAnInterfaceThatComesAgain ) {
   add( ruleKey( "10.1.0.0/16;*;" ), "trafficDrop" );
   apply();
   wire.space().run( "ip link set in down && ip link set in name away && ip link set away up" );
   TestSupport::runFor( loop, std::chrono::milliseconds( 50 ) );
   wire.space().run( "ip link set away down && ip link set away name in && ip link set in up" );
   EXPECT_EQ( through( packetTo( "10.1.2.3" ) ), 0U );
   EXPECT_THAT( backend->interfaces(),
                ElementsAre( InterfaceResult{ wire.in(), AddressFamily::ipv4, 0, "" },
                             InterfaceResult{ wire.in(), AddressFamily::ipv6, 0, "" } ) );
   backend->interfaceIs( Zorv::IntfId( 99 ), { families( false ), "", {} } );
   EXPECT_EQ( backend->interfaces().back(),
              ( InterfaceResult{ Zorv::IntfId( 99 ), AddressFamily::ipv4, 0,
                                 "the machine has no such interface" } ) );
}

// Both back ends with the same rules count the same packets under the same rules.
TEST_F( NftBackendTest, HasTheWinnerOfTheTcam ) {
   TestSupport::RandomMatch random( 4711 );
   static constexpr std::string_view actions[] = { "trafficDrop", "trafficPermit", "" };
   Vek::String profile = R"({"capacity":1000000,"interfaceSets":9)";
   for ( const char* family : { "ipv4", "ipv6" } ) {
      profile += Vek::concat( ",\"", family, R"(":{"qualifiers":["destPrefix","srcPrefix",
         "ipProto","port","destPort","srcPort","icmpType","icmpCode","tcpFlags","packetLength",
         "dscp","fragment")",
                              family[3] == '6' ? R"(,"flowLabel")" : "",
                              R"(],"actions":["trafficDrop","trafficPermit"]})" );
   }
   profile += Vek::concat( R"(,"interfaces":[{"intf":)", wire.in().value(), R"(,"vrf":0}]})" );
   SoftwareTcam tcam( Profile::read( profile ) );
   tcam.interfaceIs( wire.in(), { families( true ), "", {} } );
   std::vector< std::vector< U8 > > packets;
   std::vector< FlowspecKey > keys;
   while ( packets.size() < 300 ) {
      const auto packet = PacketWire::acceptable( random.packet() );
      if ( packet.empty() ) {
         continue;
      }
      packets.push_back( packet );
      FlowspecKey key = random.rule( packet );
      key.vrfIdIs( 0 );
      const auto rule = makeRule( key, random.random().oneOf( actions ) );
      backend->ruleIs( *rule );
      tcam.ruleIs( *rule );
      keys.push_back( key );
   }
   std::map< Vek::String, Vek::String > results[2];
   for ( const RuleChange& change : backend->apply() ) {
      results[0][change.key.toStrepCli( true )] = stringValue( change.result.code );
   }
   for ( const RuleChange& change : tcam.apply() ) {
      results[1][change.key.toStrepCli( true )] = stringValue( change.result.code );
   }
   EXPECT_EQ( results[0], results[1] );
   U64 sent = 0;
   for ( const auto& packet : packets ) {
      if ( wire.send( packet ) ) {
         ++sent;
         tcam.process( wire.in(), *Match::parsePacket( packet ), 1 );
      }
   }
   EXPECT_GT( sent, 250U );
   backend->readCounters();
   U64 counted = 0;
   for ( const FlowspecKey& key : keys ) {
      EXPECT_EQ( backend->counters( key ).packetHits(), tcam.counters( key ).packetHits() )
         << key.toStrepCli( false );
      counted += tcam.counters( key ).packetHits();
   }
   EXPECT_GT( counted, 200U );
}

} // namespace
} // namespace Agents::Nftables
