#include "tests/support/Publication.h"
#include "Flowspec/config/CliConfig.h"
#include "Flowspec/config/Config.h"

#include <cmath>

namespace Flowspec {
namespace {

using TestSupport::checkPublications;

FlowspecKey keyOf( U32 vrfId ) {
   FlowspecKey key;
   key.vrfIdIs( vrfId );
   return key;
}

Zorv::IntfId intf( U64 number ) { return Zorv::IntfId( number ); }

TEST( Publication, Config ) {
   const auto config = configFactory( "config" );
   checkPublications< Config >(
      *config,
      {
         STEP( Config, enabledIntfIs( intf( 2 ) ), "258 enabledIntf[intf2]" ),
         STEP( Config, enabledIntfIs( intf( 2 ) ) ),
         STEP( Config, enabledIntfIs( intf( 3 ) ), "258 enabledIntf[intf3]" ),
         STEP( Config, enabledIntfIs( intf( 1 ) ), "258 enabledIntf[intf1]" ),
         STEP( Config, enabledIntfDel( intf( 9 ) ) ),
         STEP( Config, enabledIntfDel( intf( 2 ) ), "258 enabledIntf[intf2]" ),
         STEP( Config, enabledIntfDel( intf( 2 ) ) ),
         STEP( Config, enabledIntfDelAll(), "258 enabledIntf[intf1]", "258 enabledIntf[intf3]" ),
         STEP( Config, enabledIntfDelAll() ),
         STEP( Config, vrfRuleConfigIs( 5 ), "259 vrfRuleConfig[5]" ),
         STEP( Config, vrfRuleConfigIs( 5 ) ),
         STEP( Config, vrfRuleConfig( 6 ) ),
         STEP( Config, vrfRuleConfigIs( 4 ), "259 vrfRuleConfig[4]" ),
         STEP( Config, vrfRuleConfigIs( 6 ), "259 vrfRuleConfig[6]" ),
         STEP( Config, vrfRuleConfigDel( 9 ) ),
         STEP( Config, vrfRuleConfigDel( 5 ), "259 vrfRuleConfig[5]" ),
         STEP( Config, vrfRuleConfigDelAll(), "259 vrfRuleConfig[4]", "259 vrfRuleConfig[6]" ),
         STEP( Config, vrfRuleConfigDelAll() ),
         STEP( Config, twoColorCounterEnabledIs( false ) ),
         STEP( Config, twoColorCounterEnabledIs( true ), "260 twoColorCounterEnabled was 0" ),
         STEP( Config, twoColorCounterEnabledIs( true ) ),
         STEP( Config, twoColorCounterEnabledIs( false ), "260 twoColorCounterEnabled was 1" ),
      } );
}

TEST( Publication, VrfRuleConfig ) {
   const Vek::String one = Vek::concat( '[', valueToStrep( keyOf( 1 ) ), ']' );
   const Vek::String two = Vek::concat( '[', valueToStrep( keyOf( 2 ) ), ']' );
   const Vek::String three = Vek::concat( '[', valueToStrep( keyOf( 3 ) ), ']' );
   const auto vrf = vrfRuleConfigFactory( 7 );
   checkPublications< VrfRuleConfig >(
      *vrf, {
               STEP( VrfRuleConfig, ruleIs( keyOf( 2 ) ), "259 rule" + two ),
               STEP( VrfRuleConfig, ruleIs( keyOf( 2 ) ) ),
               STEP( VrfRuleConfig, rule( keyOf( 1 ) ) ),
               STEP( VrfRuleConfig, ruleIs( keyOf( 3 ) ), "259 rule" + three ),
               STEP( VrfRuleConfig, ruleIs( keyOf( 1 ) ), "259 rule" + one ),
               STEP( VrfRuleConfig, ruleDel( keyOf( 9 ) ) ),
               STEP( VrfRuleConfig, ruleDel( keyOf( 2 ) ), "259 rule" + two ),
               STEP( VrfRuleConfig, ruleDel( keyOf( 2 ) ) ),
               STEP( VrfRuleConfig, infeasibleRuleIs( keyOf( 3 ) ), "260 infeasibleRule" + three ),
               STEP( VrfRuleConfig, infeasibleRuleIs( keyOf( 3 ) ) ),
               STEP( VrfRuleConfig, infeasibleRule( keyOf( 1 ) ) ),
               STEP( VrfRuleConfig, infeasibleRuleIs( keyOf( 1 ) ), "260 infeasibleRule" + one ),
               STEP( VrfRuleConfig, infeasibleRuleIs( keyOf( 2 ) ), "260 infeasibleRule" + two ),
               STEP( VrfRuleConfig, infeasibleRuleDel( keyOf( 9 ) ) ),
               STEP( VrfRuleConfig, infeasibleRuleDel( keyOf( 2 ) ), "260 infeasibleRule" + two ),
               STEP( VrfRuleConfig, ruleDelAll(), "259 rule" + one, "259 rule" + three ),
               STEP( VrfRuleConfig, ruleDelAll() ),
               STEP( VrfRuleConfig, infeasibleRuleDel( e.infeasibleRule().begin() ),
                     "260 infeasibleRule" + one ),
               STEP( VrfRuleConfig, infeasibleRuleDelAll(), "260 infeasibleRule" + three ),
               STEP( VrfRuleConfig, infeasibleRuleDelAll() ),
               STEP( VrfRuleConfig, ruleIs( keyOf( 1 ) ), "259 rule" + one ),
               STEP( VrfRuleConfig, ruleDel( e.rule().begin() ), "259 rule" + one ),
            } );
}

MatchComponent component( MatchCompType type, U32 value ) {
   MatchComponent result( type );
   result.numericalRangeIs( NumericalRange( value, value ) );
   return result;
}

TEST( Publication, RuleConfigMatchSet ) {
   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   const Vek::String one = ";prefix=;numericalRanges=1;ipBitMasks=0;tcpBitMasks=0>";
   checkPublications< RuleConfig >(
      *rule,
      {
         STEP( RuleConfig, matchSetIs( component( destPort, 80 ) ), "260 matchSet[destPort]" ),
         STEP( RuleConfig, matchSetIs( component( destPort, 80 ) ) ),
         STEP( RuleConfig, matchSetIs( component( destPort, 81 ) ),
               "260 matchSet[destPort] was <compType=destPort" + one ),
         STEP( RuleConfig, matchSetIs( MatchComponent( destPort ) ),
               "260 matchSet[destPort] was <compType=destPort" + one ),
         STEP( RuleConfig, matchSetIs( component( dscp, 1 ) ), "260 matchSet[dscp]" ),
         STEP( RuleConfig, matchSetIs( component( ipProto, 1 ) ), "260 matchSet[ipProto]" ),
         STEP( RuleConfig, matchSet( port ) ),
         STEP( RuleConfig, matchSetGet( port ) ),
         STEP( RuleConfig, matchSetDel( port ) ),
         STEP( RuleConfig, matchSetDel( dscp ), "260 matchSet[dscp] was <compType=dscp" + one ),
         STEP( RuleConfig, matchSetDel( dscp ) ),
         STEP( RuleConfig, matchSetDelAll(), "260 matchSet[ipProto] was <compType=ipProto" + one,
               "260 matchSet[destPort] was "
               "<compType=destPort;prefix=;numericalRanges=0;ipBitMasks=0;tcpBitMasks=0>" ),
         STEP( RuleConfig, matchSetDelAll() ),
         STEP( RuleConfig, matchSetIs( MatchComponent() ), "260 matchSet[invalid]" ),
         STEP( RuleConfig, matchSetIs( MatchComponent() ) ),
      } );
}

TEST( Publication, RuleConfigScalars ) {
   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   checkPublications< RuleConfig >(
      *rule,
      {
         STEP( RuleConfig, ruleIdIs( 0 ) ),
         STEP( RuleConfig, ruleIdIs( 18446744073709551615U ), "259 ruleId was 0" ),
         STEP( RuleConfig, ruleIdIs( 18446744073709551615U ) ),
         STEP( RuleConfig, ruleIdIs( 0 ), "259 ruleId was 18446744073709551615" ),
         STEP( RuleConfig, actionFieldSetIs( ActionFieldSet() ) ),
         STEP( RuleConfig, actionFieldSetIs( ActionFieldSet( 6 ) ), "261 actionFieldSet was " ),
         STEP( RuleConfig, actionFieldSetIs( ActionFieldSet( 6 ) ) ),
         STEP( RuleConfig, actionFieldSetIs( ActionFieldSet() ),
               "261 actionFieldSet was trafficPermit|trafficDrop" ),
         STEP( RuleConfig, trafficActionIs( TrafficAction() ) ),
         STEP( RuleConfig, trafficActionIs( TrafficAction( 1 ) ), "262 trafficAction was " ),
         STEP( RuleConfig, trafficActionIs( TrafficAction( 2 ) ),
               "262 trafficAction was sampleAndLog" ),
         STEP( RuleConfig, trafficRedirectIs( TrafficRedirect() ) ),
         STEP( RuleConfig,
               trafficRedirectIs( TrafficRedirect( 5, TrafficRedirectType::addr, {}, {}, true ) ),
               "263 trafficRedirect was 16777215;vrf;;0,;0;" ),
         STEP( RuleConfig,
               trafficRedirectIs( TrafficRedirect( 5, TrafficRedirectType::addr, {}, {}, true ) ) ),
         STEP( RuleConfig,
               trafficRedirectIs( TrafficRedirect( 5, TrafficRedirectType::addr, {}, {}, false ) ),
               "263 trafficRedirect was 5;addr;;0,;1;" ),
         STEP( RuleConfig, trafficMarkingDscpIs( Zorv::IpTos() ) ),
         STEP( RuleConfig, trafficMarkingDscpIs( Zorv::IpTos( 46 ) ),
               "264 trafficMarkingDscp was 0" ),
         STEP( RuleConfig, trafficMarkingDscpIs( Zorv::IpTos( 46 ) ) ),
         STEP( RuleConfig, trafficRateLimitIs( 0 ) ),
         STEP( RuleConfig, trafficRateLimitIs( -0.0F ) ),
         STEP( RuleConfig, trafficRateLimitIs( 12.5F ), "265 trafficRateLimit was 0" ),
         STEP( RuleConfig, trafficRateLimitIs( NAN ), "265 trafficRateLimit was 12.5" ),
         STEP( RuleConfig, trafficRateLimitIs( NAN ), "265 trafficRateLimit was nan" ),
         STEP( RuleConfig, trafficRateLimitIs( -0.0F ), "265 trafficRateLimit was nan" ),
         STEP( RuleConfig, trafficRateLimitIs( 0 ) ),
      } );
   EXPECT_TRUE( std::signbit( rule->trafficRateLimit() ) ) << "an equal zero is not stored";
}

TEST( Publication, InfeasibleRule ) {
   const auto rule = infeasibleRuleFactory( keyOf( 1 ) );
   checkPublications< InfeasibleRule >(
      *rule,
      {
         STEP( InfeasibleRule, ruleIdIs( 0 ) ),
         STEP( InfeasibleRule, ruleIdIs( 5 ), "259 ruleId was 0" ),
         STEP( InfeasibleRule, ruleIdIs( 5 ) ),
         STEP( InfeasibleRule, matchCompTypeIs( invalid ) ),
         STEP( InfeasibleRule, matchCompTypeIs( tcpFlags ), "260 matchCompType was invalid" ),
         STEP( InfeasibleRule, matchCompTypeIs( tcpFlags ) ),
         STEP( InfeasibleRule, matchCompTypeIs( invalid ), "260 matchCompType was tcpFlags" ),
      } );
}

InterfaceEnableConfig enable( U64 number, unsigned versions, const char* vrf ) {
   return InterfaceEnableConfig( intf( number ), IpVersion( versions ), vrf );
}

FlowspecIntfInterfaceSetConfig sets( U64 number, std::initializer_list< U16 > ids ) {
   FlowspecIntfInterfaceSetConfig config( intf( number ) );
   for ( const U16 id : ids ) {
      config.interfaceSetIs( FlowspecIntfSetId( id ) );
   }
   return config;
}

TEST( Publication, CliConfigCollections ) {
   const auto config = cliConfigFactory( "cli" );
   checkPublications< CliConfig >(
      *config,
      {
         STEP( CliConfig, enabledIntfIs( enable( 2, 1, "red" ) ), "258 enabledIntf[intf2]" ),
         STEP( CliConfig, enabledIntfIs( enable( 2, 1, "red" ) ) ),
         STEP( CliConfig, enabledIntfIs( enable( 2, 3, "red" ) ),
               "258 enabledIntf[intf2] was intf2;ipv4;red;" ),
         STEP( CliConfig, enabledIntfIs( enable( 1, 0, "" ) ), "258 enabledIntf[intf1]" ),
         STEP( CliConfig, enabledIntfIs( enable( 3, 0, "" ) ), "258 enabledIntf[intf3]" ),
         STEP( CliConfig, enabledIntf( intf( 9 ) ) ),
         STEP( CliConfig, enabledIntfDel( intf( 9 ) ) ),
         STEP( CliConfig, enabledIntfDel( intf( 2 ) ),
               "258 enabledIntf[intf2] was intf2;ipv4|ipv6;red;" ),
         STEP( CliConfig, enabledIntfDelAll(), "258 enabledIntf[intf1] was intf1;;;",
               "258 enabledIntf[intf3] was intf3;;;" ),
         STEP( CliConfig, enabledIntfDelAll() ),
         STEP( CliConfig, intfInterfaceSetConfigIs( sets( 2, { 9, 4 } ) ),
               "260 intfInterfaceSetConfig[intf2]" ),
         STEP( CliConfig, intfInterfaceSetConfigIs( sets( 2, { 4, 9 } ) ) ),
         STEP( CliConfig, intfInterfaceSetConfigIs( sets( 2, { 4 } ) ),
               "260 intfInterfaceSetConfig[intf2] was intf2;IFSET:=4,9;" ),
         STEP( CliConfig, intfInterfaceSetConfigIs( sets( 1, {} ) ),
               "260 intfInterfaceSetConfig[intf1]" ),
         STEP( CliConfig, intfInterfaceSetConfig( intf( 9 ) ) ),
         STEP( CliConfig, intfInterfaceSetConfigDel( intf( 9 ) ) ),
         STEP( CliConfig, intfInterfaceSetConfigDelAll(),
               "260 intfInterfaceSetConfig[intf1] was intf1;",
               "260 intfInterfaceSetConfig[intf2] was intf2;IFSET:=4;" ),
         STEP( CliConfig, intfInterfaceSetConfigIs( sets( 5, {} ) ),
               "260 intfInterfaceSetConfig[intf5]" ),
         STEP( CliConfig, intfInterfaceSetConfigDel( intf( 5 ) ),
               "260 intfInterfaceSetConfig[intf5] was intf5;" ),
         STEP( CliConfig, sourceVrfOverrideIs( intf( 2 ), "red" ), "261 sourceVrfOverride[intf2]" ),
         STEP( CliConfig, sourceVrfOverrideIs( intf( 2 ), "red" ) ),
         STEP( CliConfig, sourceVrfOverrideIs( intf( 2 ), "" ),
               "261 sourceVrfOverride[intf2] was red" ),
         STEP( CliConfig, sourceVrfOverrideIs( intf( 1 ), "" ), "261 sourceVrfOverride[intf1]" ),
         STEP( CliConfig, sourceVrfOverrideIs( intf( 3 ), "blue" ),
               "261 sourceVrfOverride[intf3]" ),
         STEP( CliConfig, sourceVrfOverride( intf( 9 ) ) ),
         STEP( CliConfig, sourceVrfOverrideDel( intf( 9 ) ) ),
         STEP( CliConfig, sourceVrfOverrideDel( intf( 3 ) ),
               "261 sourceVrfOverride[intf3] was blue" ),
         STEP( CliConfig, sourceVrfOverrideDelAll(), "261 sourceVrfOverride[intf1] was ",
               "261 sourceVrfOverride[intf2] was " ),
      } );
}

TEST( Publication, CliConfigScalars ) {
   const auto config = cliConfigFactory( "cli" );
   checkPublications< CliConfig >(
      *config,
      {
         STEP( CliConfig, counterUpdateRequestTimeIs( 0 ) ),
         STEP( CliConfig, counterUpdateRequestTimeIs( -0.0 ) ),
         STEP( CliConfig, counterUpdateRequestTimeIs( 1.5 ), "259 counterUpdateRequestTime was 0" ),
         STEP( CliConfig, counterUpdateRequestTimeIs( 1.5 ) ),
         STEP( CliConfig, counterUpdateRequestTimeIs( NAN ),
               "259 counterUpdateRequestTime was 1.5" ),
         STEP( CliConfig, counterUpdateRequestTimeIs( NAN ),
               "259 counterUpdateRequestTime was nan" ),
         STEP( CliConfig, interfaceSetCountLimitIs( 0 ) ),
         STEP( CliConfig, interfaceSetCountLimitIs( 4294967295 ),
               "262 interfaceSetCountLimit was 0" ),
         STEP( CliConfig, interfaceSetCountLimitIs( 1 ),
               "262 interfaceSetCountLimit was 4294967295" ),
         STEP( CliConfig, isConfigDrivenIs( false ) ),
         STEP( CliConfig, isConfigDrivenIs( true ), "263 isConfigDriven was 0" ),
         STEP( CliConfig, isConfigDrivenIs( true ) ),
      } );
}

TEST( Publication, ArgumentsMayLiveInTheCollection ) {
   const auto vrf = vrfRuleConfigFactory( 1 );
   for ( U32 i = 1; i <= 3; ++i ) {
      vrf->ruleIs( keyOf( i ) );
   }
   TestSupport::ChangeRecorder changes( *vrf );
   const FlowspecKey& first = ( *vrf->rule().begin() )->ruleKey();
   EXPECT_EQ( vrf->ruleIs( first ), *vrf->rule().begin() );
   EXPECT_TRUE( changes.take().empty() );
   vrf->infeasibleRuleIs( first );
   vrf->ruleDel( first );
   const Vek::String one = Vek::concat( '[', valueToStrep( keyOf( 1 ) ), ']' );
   EXPECT_THAT( changes.take(),
                testing::ElementsAre( "260 infeasibleRule" + one, "259 rule" + one ) );
   EXPECT_EQ( vrf->rule().size(), 2U );

   const auto cli = cliConfigFactory( "cli" );
   cli->sourceVrfOverrideIs( intf( 0 ), "a name too long to be kept inside a string" );
   for ( U64 i = 1; i <= 100; ++i ) {
      cli->sourceVrfOverrideIs( intf( i ), cli->sourceVrfOverride().find( intf( i - 1 ) )->second );
      ASSERT_EQ( cli->sourceVrfOverride( intf( i ) ),
                 "a name too long to be kept inside a string" );
   }
   cli->enabledIntfIs( enable( 1, 1, "red" ) );
   TestSupport::ChangeRecorder cliChanges( *cli );
   cli->enabledIntfIs( cli->enabledIntf().begin()->second );
   EXPECT_TRUE( cliChanges.take().empty() );

   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   rule->matchSetIs( component( port, 1 ) );
   TestSupport::ChangeRecorder ruleChanges( *rule );
   rule->matchSetIs( rule->matchSet().begin()->second );
   rule->trafficRedirectIs( rule->trafficRedirect() );
   EXPECT_TRUE( ruleChanges.take().empty() );
}

} // namespace
} // namespace Flowspec
