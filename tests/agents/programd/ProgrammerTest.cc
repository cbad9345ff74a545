#include "tests/agents/programd/ProgrammerRoots.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/KeyGenerator.h"

#include <gmock/gmock.h>

namespace Agents {
namespace {

using namespace Dataplane;
using namespace Flowspec;
using testing::IsEmpty;
using TestSupport::ChangeRecorder;
using TestSupport::fill;
using TestSupport::ruleKey;
using TestSupport::testProfile;
using Zorv::IntfId;

const FlowspecKey first = ruleKey( "10.0.0.0/8;*" );
const FlowspecKey second = ruleKey( "11.0.0.0/8;*" );
const FlowspecKey other = ruleKey( "10.0.0.0/8;*", 1 );

using ProgrammerTest = TestSupport::ProgrammerRoots;

TEST_F( ProgrammerTest, ARuleHasAStatus ) {
   add( first, "trafficRatePkt|trafficDrop" );
   add( ruleKey( "*;*;DSCP:=1", 1 ) );
   EXPECT_TRUE( agent_->programmer.changed() );
   process();
   ASSERT_TRUE( statusOf( first ) );
   EXPECT_EQ( statusOf( first )->statusCode(), programmedWithFailures );
   EXPECT_EQ( statusOf( first )->errorReason(), "the profile cannot do trafficRatePkt" );
   EXPECT_TRUE( statusOf( first )->version() );
   EXPECT_EQ( statusOf( ruleKey( "*;*;DSCP:=1", 1 ) )->statusCode(), unsupportedMatch );
   config_->vrfRuleConfig( 0 )->ruleDel( first );
   process();
   EXPECT_FALSE( statusOf( first ) );
   EXPECT_TRUE( status_->vrfRuleStatus( 0 ) );
   config_->vrfRuleConfigDel( 0 );
   config_->vrfRuleConfigDel( 1 );
   process();
   EXPECT_TRUE( status_->vrfRuleStatus().empty() );
   EXPECT_EQ( agent_->tcam.entriesInUse(), 0U );
}

// Packets of a capture wait until the configuration is whole, not until nobody asks for counters.
TEST_F( ProgrammerTest, ARequestForCountersIsNoChangeOfTheConfiguration ) {
   add( first );
   EXPECT_TRUE( agent_->programmer.process( 1 ) );
   cli_->counterUpdateRequestTimeIs( 1 );
   EXPECT_TRUE( agent_->programmer.changed() );
   EXPECT_FALSE( agent_->programmer.process( 2 ) );
   enable( 1, "ipv4" );
   EXPECT_TRUE( agent_->programmer.process( 3 ) );
   config_->vrfRuleConfig( 0 )->ruleDel( first );
   EXPECT_TRUE( agent_->programmer.process( 4 ) );
   config_->vrfRuleConfigDel( 0 );
   EXPECT_TRUE( agent_->programmer.process( 5 ) );
}

TEST_F( ProgrammerTest, AVersionIsNewWhenARuleIsProgrammedAnew ) {
   const auto rule = add( first, "trafficDrop" );
   add( second );
   process();
   const Osk::UniqueId version = statusOf( first )->version();
   const Osk::UniqueId otherVersion = statusOf( second )->version();
   EXPECT_NE( version, otherVersion );
   rule->ruleIdIs( 9 );
   process();
   EXPECT_EQ( statusOf( first )->version(), version );
   fill( *rule, "trafficMarking" );
   process();
   EXPECT_NE( statusOf( first )->version(), version );
   EXPECT_EQ( statusOf( second )->version(), otherVersion );
   // A rule that comes back unchanged before anyone has looked is the same programming.
   const Osk::UniqueId last = statusOf( first )->version();
   config_->vrfRuleConfigDel( 0 );
   add( first, "trafficMarking" );
   process();
   EXPECT_EQ( statusOf( first )->version(), last );
   EXPECT_FALSE( statusOf( second ) );
}

TEST_F( ProgrammerTest, WhenRoomIsMadeARuleIsProgrammed ) {
   restart( testProfile( 1 ) );
   add( second );
   process();
   const Osk::UniqueId version = statusOf( second )->version();
   add( first );
   process();
   EXPECT_EQ( statusOf( second )->statusCode(), resourceExhausted );
   EXPECT_EQ( statusOf( second )->errorReason(), "1 of 1 entries are needed" );
   config_->vrfRuleConfig( 0 )->ruleDel( first );
   process();
   EXPECT_EQ( statusOf( second )->statusCode(), programmed );
   EXPECT_EQ( statusOf( second )->errorReason(), "" );
   EXPECT_NE( statusOf( second )->version(), version );
}

TEST_F( ProgrammerTest, ARuleOfAnotherVrfIsPassedOver ) {
   config_->vrfRuleConfigIs( 0 )->ruleIs( other );
   process();
   EXPECT_FALSE( statusOf( other ) );
   EXPECT_TRUE( status_->vrfRuleStatus( 0 )->ruleStatus().empty() );
}

TEST_F( ProgrammerTest, AfterARestartOnlyWhatDiffersIsPublished ) {
   add( first );
   add( ruleKey( "10.0.0.0/8;*", 0, { 5 } ), "trafficRatePkt|trafficDrop" );
   add( second );
   add( other );
   enable( 1, "ipv4" );
   enable( 2, "ipv4", "blue" );
   setsOf( 1, { 5 } );
   cli_->counterUpdateRequestTimeIs( 6 );
   process( 7 );
   const Osk::UniqueId version = statusOf( first )->version();
   agent_.reset();
   config_->vrfRuleConfig( 0 )->ruleDel( second );
   config_->vrfRuleConfigDel( 1 );

   ChangeRecorder status( *status_ );
   ChangeRecorder vrf( *status_->vrfRuleStatus( 0 ) );
   ChangeRecorder rule( *statusOf( first ) );
   ChangeRecorder set( *status_->interfaceSet( 5 ) );
   ChangeRecorder counter( *counter_ );
   restart();
   process( 8 );
   EXPECT_EQ( status.take().size(), 1U ); // VRF 1
   EXPECT_EQ( vrf.take().size(), 1U );    // the rule
   EXPECT_EQ( rule.take().size(), 1U );   // its version
   EXPECT_THAT( set.take(), IsEmpty() );
   EXPECT_THAT( counter.take(), IsEmpty() );
   EXPECT_FALSE( status_->vrfRuleStatus( 1 ) );
   EXPECT_FALSE( statusOf( second ) );
   EXPECT_NE( statusOf( first )->version(), version );
}

/// All that the status says but versions.
Vek::String described( const Status& status ) {
   Vek::String text;
   for ( const auto* const vrf : status.vrfRuleStatus().sorted() ) {
      text += Vek::concat( "VRF ", vrf->first, '\n' );
      for ( const auto& rule : vrf->second->ruleStatus() ) {
         text += Vek::concat( rule->key().stringValue(), ' ', stringValue( rule->statusCode() ),
                              ' ', rule->errorReason(), '\n' );
      }
      for ( const auto* const family : vrf->second->activeIntfPerAf().sorted() ) {
         for ( const IntfId* const intf : family->second->intf().sorted() ) {
            text += Vek::concat( family->first, ' ', *intf, '\n' );
         }
      }
      for ( const auto* const error : vrf->second->intfError().sorted() ) {
         text += Vek::concat( error->first.stringValue(), ' ', error->second, '\n' );
      }
   }
   for ( const auto* const set : status.interfaceSet().sorted() ) {
      text += Vek::concat( "set ", set->first, ':' );
      for ( const IntfId* const intf : set->second->intf().sorted() ) {
         text += Vek::concat( ' ', *intf );
      }
      text += '\n';
   }
   return text;
}

TEST_F( ProgrammerTest, TheStatusIsThatOfTheConfigurationWhateverCameBefore ) {
   static constexpr const char* prefixes[] = { "10.0.0.0/8", "10.1.0.0/16", "10.1.1.1/32", "*" };
   static constexpr const char* actions[] = { "", "trafficDrop", "trafficRatePkt|trafficDrop" };
   static constexpr const char* vrfs[] = { "", "red", "blue" };
   TestSupport::KeyGenerator random( 1 );
   const Profile profile = testProfile( 9, 2 );
   restart( profile );
   for ( unsigned step = 0; step < 1500; ++step ) {
      FlowspecKey key =
         ruleKey( Vek::concat( random.oneOf( prefixes ), ";*;DP:=1|=5" ), random.number( 1 ) );
      if ( random.oneIn( 3 ) ) {
         key.interfaceSetPush( static_cast< U16 >( random.below( 4 ) ) );
      }
      const U64 intf = random.below( 5 );
      switch ( random.below( 8 ) ) {
      case 0:
      case 1:
      case 2:
         add( key, random.oneOf( actions ) );
         break;
      case 3:
         if ( const auto vrf = config_->vrfRuleConfig( key.vrfId() ) ) {
            vrf->ruleDel( key );
         }
         break;
      case 4:
         config_->vrfRuleConfigDel( random.number( 5 ) );
         break;
      case 5:
         enable( intf, random.oneIn( 2 ) ? "ipv4" : "ipv4|ipv6", random.oneOf( vrfs ) );
         setsOf( intf, { static_cast< U16 >( random.below( 4 ) ) } );
         break;
      case 6:
         cli_->enabledIntfDel( IntfId( intf ) );
         cli_->intfInterfaceSetConfigDel( IntfId( intf ) );
         break;
      default:
         cli_->interfaceSetCountLimitIs( random.number( 2 ) );
         break;
      }
      if ( random.oneIn( 3 ) ) {
         process();
         const auto fresh = statusFactory( "fresh" );
         SoftwareTcam tcam( profile );
         Programmer( { config_ }, cli_, tcam, fresh, counter_ ).process( 0 );
         ASSERT_EQ( described( *status_ ), described( *fresh ) ) << step;
      }
   }
}

} // namespace
} // namespace Agents
