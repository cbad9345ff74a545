#include "tests/agents/programd/ProgrammerRoots.h"

#include <gmock/gmock.h>

namespace Agents {
namespace {

using namespace Dataplane;
using namespace Flowspec;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using TestSupport::fill;
using TestSupport::ruleKey;
using Zorv::AddressFamily;
using Zorv::IntfId;

const FlowspecKey first = ruleKey( "10.0.0.0/8;*" );
const FlowspecKey second = ruleKey( "11.0.0.0/8;*" );

using ProgrammerReportTest = TestSupport::ProgrammerRoots;

TEST_F( ProgrammerReportTest, TellsWhatTheProfileCannotDo ) {
   EXPECT_TRUE( status_->flowspecSupported() );
   EXPECT_EQ( status_->unsupportedQual( AddressFamily::ipv4 ).toStrep(),
              "<addressFamily=ipv4;quals=2;unsupportedActions=trafficRatePkt>" );
   EXPECT_EQ( status_->unsupportedQual( AddressFamily::ipv4 ).qual( dscp ), "not in the profile" );
   EXPECT_EQ( status_->unsupportedQual( AddressFamily::ipv6 ).qual().size(), 12U );
   restart( Profile() );
   EXPECT_FALSE( status_->flowspecSupported() );
   EXPECT_EQ( status_->unsupportedQual( AddressFamily::ipv4 ).qual().size(), 13U );
   restart( Profile::read(
      R"({"capacity":1,"interfaceSets":1,"ipv4":{"qualifiers":["destPrefix","srcPrefix",)"
      R"("ipProto","port","destPort","srcPort","icmpType","icmpCode","tcpFlags","packetLength",)"
      R"("dscp","fragment","flowLabel"],"actions":["trafficPermit","trafficDrop","trafficRate",)"
      R"("trafficRatePkt","trafficMarking","trafficRedirect","trafficAction"]}})" ) );
   EXPECT_TRUE( status_->flowspecSupported() );
   EXPECT_EQ( status_->unsupportedQual().size(), 1U );
}

TEST_F( ProgrammerReportTest, TellsOnWhichInterfacesRulesApply ) {
   enable( 1, "ipv4" );
   enable( 2, "ipv4|ipv6" );
   config_->enabledIntfIs( IntfId( 3 ) );
   process();
   EXPECT_THAT( active( 0 ), ElementsAre( IntfId( 1 ), IntfId( 2 ) ) );
   EXPECT_THAT( active( 0, AddressFamily::ipv6 ), ElementsAre( IntfId( 2 ) ) );
   EXPECT_THAT( active( 1 ), ElementsAre( IntfId( 3 ) ) );
   EXPECT_THAT( active( 1, AddressFamily::ipv6 ), ElementsAre( IntfId( 3 ) ) );
   enable( 1, "ipv4", "red" );
   enable( 2, "ipv4", "default" );
   cli_->sourceVrfOverrideIs( IntfId( 2 ), "red" );
   config_->enabledIntfDel( IntfId( 3 ) );
   process();
   EXPECT_THAT( active( 1 ), ElementsAre( IntfId( 1 ), IntfId( 2 ) ) );
   EXPECT_FALSE( status_->vrfRuleStatus( 0 ) );
   EXPECT_FALSE( status_->vrfRuleStatus( 1 )->activeIntfPerAf( AddressFamily::ipv6 ) );
   cli_->enabledIntfDelAll();
   cli_->sourceVrfOverrideDelAll();
   process();
   EXPECT_TRUE( status_->vrfRuleStatus().empty() );
   EXPECT_THAT( agent_->tcam.interfaces(), IsEmpty() );
}

TEST_F( ProgrammerReportTest, TellsErrorsOfInterfaces ) {
   enable( 1, "ipv4", "blue" );
   enable( 9, "ipv6" );
   process();
   EXPECT_EQ( error( 0, 1 ), "the profile has no VRF 'blue'" );
   EXPECT_EQ( error( 0, 9, AddressFamily::ipv6 ), "the profile has no such interface" );
   EXPECT_THAT( active( 0 ), IsEmpty() );
   enable( 1, "ipv4" );
   process();
   EXPECT_EQ( error( 0, 1 ), "" );
   EXPECT_EQ( status_->vrfRuleStatus( 0 )->intfError().size(), 1U );
   EXPECT_THAT( active( 0 ), ElementsAre( IntfId( 1 ) ) );
}

TEST_F( ProgrammerReportTest, TellsTheInterfaceSetsInUseWithTheirMembers ) {
   setsOf( 1, { 4, 5 } );
   setsOf( 2, { 5 } );
   add( ruleKey( "10.0.0.0/8;*", 0, { 5, 7 } ) );
   process();
   EXPECT_EQ( status_->interfaceSet().size(), 2U );
   EXPECT_THAT( status_->interfaceSet( 5 )->intf(),
                UnorderedElementsAre( IntfId( 1 ), IntfId( 2 ) ) );
   EXPECT_TRUE( status_->interfaceSet( 7 )->intf().empty() );
   setsOf( 1, { 7 } );
   process();
   EXPECT_THAT( status_->interfaceSet( 5 )->intf(), UnorderedElementsAre( IntfId( 2 ) ) );
   EXPECT_THAT( status_->interfaceSet( 7 )->intf(), UnorderedElementsAre( IntfId( 1 ) ) );
   cli_->interfaceSetCountLimitIs( 1 );
   process();
   EXPECT_TRUE( status_->interfaceSet().empty() );
   EXPECT_EQ( statusOf( ruleKey( "10.0.0.0/8;*", 0, { 5, 7 } ) )->statusCode(),
              intfSetResourceExhausted );
}

TEST_F( ProgrammerReportTest, CountersAreReadWhenAskedFor ) {
   add( first );
   add( second );
   add( ruleKey( "*;*;DSCP:=1" ) );
   enable( 1, "ipv4" );
   process();
   send( 1 );
   send( 1 );
   process( 5 );
   EXPECT_TRUE( counter_->snapshot().empty() );
   EXPECT_EQ( statusOf( first )->packetCount(), 0U );
   cli_->counterUpdateRequestTimeIs( 6 );
   process( 7 );
   EXPECT_EQ( counter_->snapshot().size(), 2U );
   EXPECT_EQ( counter_->snapshot( first ).coloredCounters().packetHits(), 2U );
   EXPECT_EQ( counter_->snapshot( first ).coloredCounters().byteHits(), 200U );
   EXPECT_EQ( counter_->snapshot( first ).version(), statusOf( first )->version() );
   EXPECT_EQ( statusOf( first )->byteCount(), 200U );
   EXPECT_EQ( counter_->timestamp(), 7 );
   EXPECT_EQ( status_->counterUpdateTime(), 7 );
   send( 1 );
   config_->vrfRuleConfig( 0 )->ruleDel( second );
   process( 8 );
   EXPECT_EQ( status_->counterUpdateTime(), 7 );
   EXPECT_EQ( counter_->snapshot().size(), 2U );
   cli_->counterUpdateRequestTimeIs( 9 );
   process( 10 );
   EXPECT_EQ( counter_->snapshot( first ).coloredCounters().packetHits(), 3U );
   EXPECT_EQ( counter_->snapshot().size(), 1U );
   fill( *config_->vrfRuleConfig( 0 )->rule( first ), "trafficDrop" );
   process( 11 );
   EXPECT_EQ( statusOf( first )->packetCount(), 0U );
}

TEST_F( ProgrammerReportTest, ARequestThatNobodyHasAnsweredIsAnsweredAtTheBeginning ) {
   cli_->counterUpdateRequestTimeIs( 6 );
   restart();
   process( 8 );
   EXPECT_EQ( status_->counterUpdateTime(), 8 );
   restart();
   process( 9 );
   EXPECT_EQ( status_->counterUpdateTime(), 8 );
}

} // namespace
} // namespace Agents
