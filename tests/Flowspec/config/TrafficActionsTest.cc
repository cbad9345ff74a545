#include "Flowspec/config/TrafficActions.h"

#include "Flowspec/config/RuleConfig.h"
#include "Vek/types/RecordText.h"
#include "Vek/types/TypeRegistry.h"
#include "tests/support/ExpectFailure.h"

#include <sstream>

namespace Flowspec {
namespace {

using TestSupport::raisesRange;

struct ActionFlag {
   const char* name;
   unsigned bit;
   bool ( ActionFieldSet::*get )() const;
   void ( ActionFieldSet::*set )( bool );
};
constexpr ActionFlag actionFlags[] = {
   { "invalid", 1, &ActionFieldSet::invalid, &ActionFieldSet::invalidIs },
   { "trafficPermit", 2, &ActionFieldSet::trafficPermit, &ActionFieldSet::trafficPermitIs },
   { "trafficDrop", 4, &ActionFieldSet::trafficDrop, &ActionFieldSet::trafficDropIs },
   { "trafficRate", 8, &ActionFieldSet::trafficRate, &ActionFieldSet::trafficRateIs },
   { "trafficAction", 16, &ActionFieldSet::trafficAction, &ActionFieldSet::trafficActionIs },
   { "trafficRedirect", 32, &ActionFieldSet::trafficRedirect, &ActionFieldSet::trafficRedirectIs },
   { "trafficMarking", 64, &ActionFieldSet::trafficMarking, &ActionFieldSet::trafficMarkingIs },
   { "trafficRatePkt", 128, &ActionFieldSet::trafficRatePkt, &ActionFieldSet::trafficRatePktIs },
};

TEST( ActionFieldSet, EachFlagIsOneBit ) {
   for ( const ActionFlag& flag : actionFlags ) {
      ActionFieldSet set;
      EXPECT_FALSE( set );
      EXPECT_FALSE( ( set.*flag.get )() );
      ( set.*flag.set )( true );
      EXPECT_TRUE( set );
      EXPECT_EQ( set.value(), flag.bit );
      EXPECT_EQ( set.stringValue(), flag.name );
      ActionFieldSet all( 255 );
      EXPECT_TRUE( ( all.*flag.get )() );
      ( all.*flag.set )( false );
      EXPECT_EQ( all.value(), 255 - flag.bit );
      EXPECT_FALSE( ( all.*flag.get )() );
      ( all.*flag.set )( false );
      EXPECT_EQ( all.value(), 255 - flag.bit );
   }
}

TEST( ActionFieldSet, TextNamesTheFlagsInTheOrderOfTheirBits ) {
   EXPECT_EQ( ActionFieldSet().stringValue(), "" );
   EXPECT_EQ( ActionFieldSet( 132 ).stringValue(), "trafficDrop|trafficRatePkt" );
   EXPECT_EQ( ActionFieldSet( 255 ).stringValue(),
              "invalid|trafficPermit|trafficDrop|trafficRate|trafficAction|trafficRedirect|"
              "trafficMarking|trafficRatePkt" );
   EXPECT_THAT( [] { ActionFieldSet( 256 ); },
                raisesRange( "Flowspec::ActionFieldSet: 256 is not a set of flags" ) );
}

TEST( TrafficAction, HasTwoFlags ) {
   TrafficAction action;
   EXPECT_FALSE( action );
   action.sampleAndLogIs( true );
   EXPECT_EQ( action.value(), 1U );
   EXPECT_TRUE( action.sampleAndLog() );
   EXPECT_FALSE( action.continueMatch() );
   action.continueMatchIs( true );
   EXPECT_EQ( action.value(), 3U );
   EXPECT_EQ( action.stringValue(), "sampleAndLog|continueMatch" );
   action.sampleAndLogIs( false );
   EXPECT_EQ( action, TrafficAction( 2 ) );
   EXPECT_THAT( [] { TrafficAction( 4 ); },
                raisesRange( "Flowspec::TrafficAction: 4 is not a set of flags" ) );
}

TEST( TrafficRedirectType, NumbersAndNames ) {
   constexpr std::pair< TrafficRedirectType, const char* > rows[] = {
      { TrafficRedirectType::vrf, "vrf" },
      { TrafficRedirectType::addr, "addr" },
      { TrafficRedirectType::srTePolicy, "srTePolicy" } };
   unsigned number = 0;
   for ( const auto& [type, name] : rows ) {
      EXPECT_EQ( static_cast< unsigned >( type ), number );
      EXPECT_EQ( stringValue( type ), name );
      EXPECT_EQ( TrafficRedirectTypeInstance( number ), type );
      EXPECT_EQ( TrafficRedirectTypeInstance( name ), type );
      std::ostringstream out;
      out << type;
      EXPECT_EQ( out.str(), name );
      ++number;
   }
   EXPECT_THAT( [] { TrafficRedirectTypeInstance( 3U ); },
                raisesRange( "Flowspec::TrafficRedirectType: 3 is not an enumerator" ) );
   EXPECT_THAT( [] { TrafficRedirectTypeInstance( "VRF" ); },
                raisesRange( "Flowspec::TrafficRedirectType: 'VRF' is not an enumerator" ) );
}

const Zorv::IpGenAddr address = Zorv::IpGenAddr::ipv4( 0xC0000201 );

TEST( TrafficRedirect, Defaults ) {
   const TrafficRedirect redirect;
   EXPECT_EQ( redirect.vrfId(), 16777215U );
   EXPECT_EQ( redirect.type(), TrafficRedirectType::vrf );
   EXPECT_EQ( redirect.addr(), Zorv::IpGenAddr() );
   EXPECT_EQ( redirect.srTePolicyKey(), SrTePolicy::PolicyKey() );
   EXPECT_FALSE( redirect.copy() );
}

TEST( TrafficRedirect, EqualityIsOfAllAttributes ) {
   const TrafficRedirect redirect( 5, TrafficRedirectType::addr, address, { 100, address }, true );
   TrafficRedirect other;
   EXPECT_NE( other, redirect );
   other.vrfIdIs( 5 );
   EXPECT_NE( other, redirect );
   other.typeIs( TrafficRedirectType::addr );
   EXPECT_NE( other, redirect );
   other.addrIs( address );
   EXPECT_NE( other, redirect );
   other.srTePolicyKeyIs( SrTePolicy::PolicyKey( 100, address ) );
   EXPECT_NE( other, redirect );
   other.copyIs( true );
   EXPECT_EQ( other, redirect );
}

TEST( TrafficRedirect, TextIsThatOfItsAttributes ) {
   const Vek::TypeInfo& type = *Vek::TypeRegistry::find( "Flowspec::TrafficRedirect" );
   const TrafficRedirect redirect( 5, TrafficRedirectType::srTePolicy, address, { 100, address },
                                   true );
   EXPECT_EQ( Vek::valueText( type, &redirect ), "5;srTePolicy;192.0.2.1;100,192.0.2.1;1;" );
   TrafficRedirect read;
   Vek::textToValue( type, "5;srTePolicy;192.0.2.1;100,192.0.2.1;1;", &read );
   EXPECT_EQ( read, redirect );
   Vek::textToValue( type, "16777215;vrf;;0,;0;", &read );
   EXPECT_EQ( read, TrafficRedirect() );
}

TEST( RuleConfig, StreamsItsCountsAndActions ) {
   const auto rule = ruleConfigFactory( FlowspecKey() );
   std::ostringstream out;
   out << std::hex << rule;
   EXPECT_EQ( out.str(), "<matchSets=0;actionFieldSet=>" );
   for ( U8 type = 0; type < 14; ++type ) {
      rule->matchSetIs( MatchComponent( static_cast< MatchCompType >( type ) ) );
   }
   rule->actionFieldSetIs( ActionFieldSet( 12 ) );
   out.str( "" );
   out << rule;
   const std::string expected = "<matchSets=14;actionFieldSet=trafficDrop|trafficRate>";
   EXPECT_EQ( out.str(), expected );
   const auto printed = []( const auto& pointer ) {
      std::ostringstream text;
      text << pointer << '.';
      return text.str();
   };
   EXPECT_EQ( printed( Vek::Ptr< const RuleConfig >( rule ) ), expected + '.' );
   EXPECT_EQ( printed( rule.get() ), expected + '.' );
   EXPECT_EQ( printed( static_cast< const RuleConfig* >( rule.get() ) ), expected + '.' );
   EXPECT_EQ( rule->useCount(), 1U );
}

TEST( RuleConfigDeathTest, NoRuleIsPrinted ) {
   std::ostringstream out;
   EXPECT_ASSERTION( out << Vek::Ptr< RuleConfig >(), "rule != nullptr" );
   EXPECT_ASSERTION( out << Vek::Ptr< const RuleConfig >(), "rule != nullptr" );
   EXPECT_ASSERTION( out << static_cast< RuleConfig* >( nullptr ), "rule != nullptr" );
}

TEST( RuleConfig, StartsWithItsKeyAndDefaults ) {
   FlowspecKey key;
   key.vrfIdIs( 3 );
   const auto rule = ruleConfigFactory( key );
   EXPECT_EQ( rule->ruleKey(), key );
   EXPECT_EQ( rule->ruleId(), 0U );
   EXPECT_TRUE( rule->matchSet().empty() );
   EXPECT_FALSE( rule->actionFieldSet() );
   EXPECT_FALSE( rule->trafficAction() );
   EXPECT_EQ( rule->trafficRedirect(), TrafficRedirect() );
   EXPECT_EQ( rule->trafficMarkingDscp().value(), 0U );
   EXPECT_EQ( rule->trafficRateLimit(), 0 );
}

TEST( RuleConfig, MatchSetGoesByTheNumberOfTheType ) {
   const auto rule = ruleConfigFactory( FlowspecKey() );
   for ( const MatchCompType type : { flowLabel, tcpFlags, destPrefix, dscp, ipProto } ) {
      rule->matchSetIs( MatchComponent( type ) );
   }
   std::vector< MatchCompType > order;
   for ( const auto& [type, component] : rule->matchSet() ) {
      EXPECT_EQ( component.compType(), type );
      order.push_back( type );
   }
   EXPECT_THAT( order, testing::ElementsAre( destPrefix, ipProto, tcpFlags, dscp, flowLabel ) );
   EXPECT_EQ( rule->matchSet( dscp ), MatchComponent( dscp ) );
   EXPECT_EQ( rule->matchSetGet( dscp ), MatchComponent( dscp ) );
   EXPECT_EQ( rule->matchSetGet( port ), MatchComponent() );
   EXPECT_EQ( rule->matchSet( port ), MatchComponent() );
}

} // namespace
} // namespace Flowspec
