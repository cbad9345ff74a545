#include "Flowspec/config/CliConfig.h"
#include "Flowspec/config/Config.h"
#include "tests/support/ChangeRecorder.h"

#include <cmath>

#include <gmock/gmock.h>

/// What the laws of publication (tests/Flowspec/laws) do not tell of.

namespace Flowspec {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::ChangeRecorder;

FlowspecKey keyOf( U32 vrfId ) {
   FlowspecKey key;
   key.vrfIdIs( vrfId );
   return key;
}

// A number is another one when it compares so: the zeros are equal, and what is no number differs
// from itself.
TEST( Publication, OfZerosAndOfWhatIsNoNumber ) {
   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   ChangeRecorder changes( *rule );
   rule->trafficRateLimitIs( -0.0F );
   EXPECT_THAT( changes.take(), IsEmpty() );
   rule->trafficRateLimitIs( NAN );
   rule->trafficRateLimitIs( NAN );
   rule->trafficRateLimitIs( -0.0F );
   EXPECT_THAT( changes.take(),
                ElementsAre( "265 trafficRateLimit was 0", "265 trafficRateLimit was nan",
                             "265 trafficRateLimit was nan" ) );
   rule->trafficRateLimitIs( 0 );
   EXPECT_THAT( changes.take(), IsEmpty() );
   EXPECT_TRUE( std::signbit( rule->trafficRateLimit() ) ) << "an equal zero is not stored";

   const auto cli = cliConfigFactory( "cli" );
   ChangeRecorder cliChanges( *cli );
   cli->counterUpdateRequestTimeIs( -0.0 );
   cli->counterUpdateRequestTimeIs( NAN );
   cli->counterUpdateRequestTimeIs( NAN );
   EXPECT_THAT( cliChanges.take(), ElementsAre( "259 counterUpdateRequestTime was 0",
                                                "259 counterUpdateRequestTime was nan" ) );
}

TEST( Publication, ArgumentsMayLiveInTheCollection ) {
   const auto vrf = vrfRuleConfigFactory( 1 );
   for ( U32 i = 1; i <= 3; ++i ) {
      vrf->ruleIs( keyOf( i ) );
   }
   ChangeRecorder changes( *vrf );
   const FlowspecKey& first = ( *vrf->rule().begin() )->ruleKey();
   EXPECT_EQ( vrf->ruleIs( first ), *vrf->rule().begin() );
   EXPECT_THAT( changes.take(), IsEmpty() );
   vrf->infeasibleRuleIs( first );
   vrf->ruleDel( first );
   const Vek::String one = Vek::concat( '[', valueToStrep( keyOf( 1 ) ), ']' );
   EXPECT_THAT( changes.take(), ElementsAre( "260 infeasibleRule" + one, "259 rule" + one ) );
   EXPECT_EQ( vrf->rule().size(), 2U );

   const auto cli = cliConfigFactory( "cli" );
   const Vek::String name = "a name too long to be kept inside a string";
   cli->sourceVrfOverrideIs( Zorv::IntfId( 0 ), name );
   for ( U64 i = 1; i <= 100; ++i ) {
      cli->sourceVrfOverrideIs( Zorv::IntfId( i ),
                                cli->sourceVrfOverride().find( Zorv::IntfId( i - 1 ) )->second );
      ASSERT_EQ( cli->sourceVrfOverride( Zorv::IntfId( i ) ), name );
   }
   cli->enabledIntfIs( InterfaceEnableConfig( Zorv::IntfId( 1 ), IpVersion( 1 ), "red" ) );
   ChangeRecorder cliChanges( *cli );
   cli->enabledIntfIs( cli->enabledIntf().begin()->second );
   EXPECT_THAT( cliChanges.take(), IsEmpty() );

   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   rule->matchSetIs( MatchComponent( port ) );
   ChangeRecorder ruleChanges( *rule );
   rule->matchSetIs( rule->matchSet().begin()->second );
   EXPECT_THAT( ruleChanges.take(), IsEmpty() );
}

} // namespace
} // namespace Flowspec
