#include "agents/programd/SoftwareTcam.h"

#include "tests/support/PacketBytes.h"
#include "tests/support/TestRules.h"

#include <gmock/gmock.h>

namespace Agents {
namespace {

using namespace Dataplane;
using namespace Flowspec;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::makeRule;
using TestSupport::packetBytes;
using TestSupport::PacketParts;
using TestSupport::portBytes;
using TestSupport::ruleKey;
using TestSupport::testProfile;
using Zorv::AddressFamily;
using Zorv::IntfId;

std::vector< U8 > udpTo( U16 port ) {
   PacketParts parts; // from 192.0.2.1 to 10.1.2.3
   parts.payload = portBytes( 1, port );
   return packetBytes( parts );
}

Match::Packet parsed( const std::vector< U8 >& bytes ) {
   return Match::parsePacket( bytes ).value();
}

std::vector< U8 > frameOf( const std::vector< U8 >& packet ) {
   std::vector< U8 > frame( 12, 0x02 );
   frame.push_back( 0x08 );
   frame.push_back( 0x00 );
   frame.insert( frame.end(), packet.begin(), packet.end() );
   return frame;
}

InterfaceSetup setup( const char* families, Vek::String vrf = "", std::vector< U16 > sets = {} ) {
   IpVersion enabled;
   enabled.stringValueIs( families );
   return { enabled, std::move( vrf ), std::move( sets ) };
}

class TcamPacket : public testing::Test {
protected:
   TcamPacket() { tcam_.interfaceIs( IntfId( 1 ), setup( "ipv4" ) ); }

   FlowspecKey add( const FlowspecKey& key, bool continues = false ) {
      const auto rule = makeRule( key, "trafficAction" );
      TrafficAction bits;
      bits.continueMatchIs( continues );
      rule->trafficActionIs( bits );
      tcam_.ruleIs( *rule );
      static_cast< void >( tcam_.apply() );
      return key;
   }
   U32 send( U64 intf, U16 port ) {
      return tcam_.process( IntfId( intf ), parsed( udpTo( port ) ), 100 );
   }
   U64 hits( const FlowspecKey& key ) const { return tcam_.counters( key ).packetHits(); }

   SoftwareTcam tcam_{ testProfile() };
};

TEST_F( TcamPacket, TheFirstRuleByPrecedenceCounts ) {
   const FlowspecKey any = add( ruleKey( "*;*" ) );
   EXPECT_EQ( send( 1, 53 ), 1U );
   const FlowspecKey dns = add( ruleKey( "10.0.0.0/8;*;DP:=53" ) );
   EXPECT_EQ( send( 1, 53 ), 1U );
   EXPECT_EQ( send( 1, 54 ), 1U );
   EXPECT_EQ( hits( any ), 2U );
   EXPECT_EQ( tcam_.counters( any ).byteHits(), 200U );
   EXPECT_EQ( hits( dns ), 1U );
   EXPECT_EQ( tcam_.counters( ruleKey( "1.0.0.0/8;*" ) ), QosLib::ColoredCounters() );
   tcam_.ruleDel( dns );
   EXPECT_EQ( send( 1, 53 ), 1U );
   EXPECT_EQ( hits( any ), 3U );
   EXPECT_EQ( hits( dns ), 0U );
}

TEST_F( TcamPacket, FramesAreReadFromTheirIpHeader ) {
   const FlowspecKey dns = add( ruleKey( "10.0.0.0/8;*;DP:=53" ) );
   const std::vector< U8 > frame = frameOf( udpTo( 53 ) );
   EXPECT_EQ( tcam_.process( IntfId( 1 ), frame, 1500 ), 1U );
   EXPECT_EQ( tcam_.process( IntfId( 1 ), std::span( frame ).first( 20 ), 1500 ), 0U );
   EXPECT_EQ( tcam_.counters( dns ).byteHits(), 1500U );
}

TEST_F( TcamPacket, ContinueLetsLaterRulesCount ) {
   const FlowspecKey first = add( ruleKey( "10.1.2.3/32;*" ), true );
   const FlowspecKey second = add( ruleKey( "10.1.0.0/16;*" ), true );
   const FlowspecKey third = add( ruleKey( "10.0.0.0/8;*" ) );
   const FlowspecKey last = add( ruleKey( "*;*" ) );
   EXPECT_EQ( send( 1, 53 ), 3U );
   add( third, true );
   add( last, true );
   EXPECT_EQ( send( 1, 53 ), 4U );
   add( first, false );
   EXPECT_EQ( send( 1, 53 ), 1U );
   EXPECT_EQ( hits( first ), 1U );
   EXPECT_EQ( hits( second ), 2U );
   EXPECT_EQ( hits( third ), 1U );
   EXPECT_EQ( hits( last ), 1U );
}

TEST_F( TcamPacket, ARuleOfInterfaceSetsCountsOnTheirInterfaces ) {
   const FlowspecKey bound = add( ruleKey( "10.1.2.3/32;*", 0, { 7, 5 } ) );
   const FlowspecKey any = add( ruleKey( "*;*" ) );
   tcam_.interfaceIs( IntfId( 2 ), setup( "ipv4", "", { 1, 5 } ) );
   EXPECT_EQ( send( 1, 53 ), 1U );
   EXPECT_EQ( hits( any ), 1U );
   EXPECT_EQ( send( 2, 53 ), 1U );
   EXPECT_EQ( hits( bound ), 1U );
   tcam_.interfaceIs( IntfId( 2 ), setup( "ipv4", "", { 1 } ) );
   EXPECT_EQ( send( 2, 53 ), 1U );
   EXPECT_EQ( hits( any ), 2U );
}

TEST_F( TcamPacket, RulesApplyWhereTheirFamilyIsEnabledInTheirVrf ) {
   const FlowspecKey zero = add( ruleKey( "*;*" ) );
   const FlowspecKey one = add( ruleKey( "*;*", 1 ) );
   EXPECT_EQ( send( 2, 53 ), 0U );
   EXPECT_EQ( send( 3, 53 ), 0U );
   tcam_.interfaceIs( IntfId( 3 ), setup( "ipv4" ) );
   EXPECT_EQ( send( 3, 53 ), 1U );
   EXPECT_EQ( hits( one ), 1U );
   tcam_.interfaceIs( IntfId( 3 ), setup( "ipv4", "default" ) );
   EXPECT_EQ( send( 3, 53 ), 1U );
   EXPECT_EQ( hits( zero ), 1U );
   tcam_.interfaceIs( IntfId( 3 ), setup( "ipv4", "blue" ) );
   EXPECT_EQ( send( 3, 53 ), 0U );
   tcam_.interfaceIs( IntfId( 1 ), setup( "ipv6" ) );
   EXPECT_EQ( send( 1, 53 ), 0U );
   const FlowspecKey v6 = add( ruleKey( "2001:db8::/32;*" ) );
   PacketParts parts = PacketParts::ipv6();
   parts.destination = v6.destPrefix().address();
   EXPECT_EQ( tcam_.process( IntfId( 1 ), parsed( packetBytes( parts ) ), 9 ), 1U );
   EXPECT_EQ( hits( v6 ), 1U );
   tcam_.interfaceIs( IntfId( 1 ), {} );
   EXPECT_EQ( tcam_.process( IntfId( 1 ), parsed( packetBytes( parts ) ), 9 ), 0U );
}

TEST_F( TcamPacket, ANewProgrammingCountsFromZero ) {
   const FlowspecKey any = add( ruleKey( "*;*" ) );
   EXPECT_EQ( send( 1, 53 ), 1U );
   add( any );
   EXPECT_EQ( hits( any ), 1U );
   add( any, true );
   EXPECT_EQ( hits( any ), 0U );
   EXPECT_EQ( send( 1, 53 ), 1U );
   EXPECT_EQ( hits( any ), 1U );
}

TEST_F( TcamPacket, RulesThatAreNotProgrammedDoNotCount ) {
   static_cast< void >( add( ruleKey( "*;*;DSCP:=0" ) ) );
   EXPECT_EQ( send( 1, 53 ), 0U );
}

TEST( TcamInterfaces, TellWhereRulesApplyAndWhyNot ) {
   SoftwareTcam tcam( Profile::read(
      R"({"capacity":9,"interfaceSets":0,"ipv4":{"qualifiers":[],"actions":[]},)"
      R"("interfaces":[{"intf":1,"vrf":4},{"intf":2,"vrf":4}],"vrfs":{"red":6}})" ) );
   tcam.interfaceIs( IntfId( 2 ), setup( "ipv4", "red" ) );
   tcam.interfaceIs( IntfId( 1 ), setup( "ipv4|ipv6" ) );
   EXPECT_THAT( tcam.interfaces(),
                ElementsAre( InterfaceResult{ IntfId( 1 ), AddressFamily::ipv4, 4, "" },
                             InterfaceResult{ IntfId( 1 ), AddressFamily::ipv6, 4,
                                              "the profile has nothing for ipv6" },
                             InterfaceResult{ IntfId( 2 ), AddressFamily::ipv4, 6, "" } ) );
   tcam.interfaceIs( IntfId( 1 ), {} );
   tcam.interfaceIs( IntfId( 2 ), setup( "ipv4", "blue" ) );
   tcam.interfaceIs( IntfId( 3 ), setup( "ipv4" ) );
   EXPECT_THAT( tcam.interfaces(),
                ElementsAre( InterfaceResult{ IntfId( 2 ), AddressFamily::ipv4, 4,
                                              "the profile has no VRF 'blue'" },
                             InterfaceResult{ IntfId( 3 ), AddressFamily::ipv4, 0,
                                              "the profile has no such interface" } ) );
   tcam.interfaceIs( IntfId( 2 ), setup( "", "", { 3 } ) );
   tcam.interfaceIs( IntfId( 3 ), {} );
   EXPECT_THAT( tcam.interfaces(), IsEmpty() );
}

} // namespace
} // namespace Agents
