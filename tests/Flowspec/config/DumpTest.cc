#include "tests/support/Dump.h"
#include "Flowspec/config/Config.h"

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using TestSupport::dump;
using TestSupport::indented;

FlowspecKey portKey( U16 value ) {
   FlowspecKey key;
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   key.destPrefixIs( Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv4( 0x0A010000 ), 16 ) );
   key.setOpVal( 0, destPort, 0x91, value );
   return key;
}

const std::string emptyRule = "ruleKey: 10.1.0.0/16;*;DP:=80;, ruleId: 0\n"
                              "ruleKey with value length: 10.1.0.0/16;*;DP:=1L80;\n"
                              "matchSets #0\n"
                              "actionFieldSet is 0, trafficAction is 0, trafficRedirect is "
                              "(vrf=16777215, addr=, copy=0), trafficMarkingDscp is 0\n";

const std::string infeasibleRule = "ruleKey: 10.1.0.0/16;*;DP:=81;, ruleId: 18446744073709551615\n"
                                   "matchCompType is 9\n";

TEST( Dump, RuleWithAnEmptyMatchSet ) {
   const auto rule = ruleConfigFactory( portKey( 80 ) );
   EXPECT_EQ( dump( *rule, 0 ), emptyRule );
   EXPECT_EQ( dump( *rule, 1 ), indented( 1, emptyRule ) );
   EXPECT_EQ( dump( *rule, 4 ), indented( 4, emptyRule ) );
}

TEST( Dump, RuleWithAllKindsOfComponentsAndActions ) {
   const auto rule = ruleConfigFactory( portKey( 80 ) );
   rule->ruleIdIs( 7 );
   MatchComponent prefix( destPrefix );
   prefix.prefixIs( rule->ruleKey().destPrefix() );
   rule->matchSetIs( prefix );
   MatchComponent ports( destPort );
   ports.numericalRangeIs( NumericalRange( 443, 443 ) );
   ports.numericalRangeIs( NumericalRange( 80, 81 ) );
   rule->matchSetIs( ports );
   MatchComponent flags( tcpFlags );
   flags.tcpBitMaskIs( TcpBitMask( true, 2, 0x12 ) );
   rule->matchSetIs( flags );
   MatchComponent fragments( fragment );
   fragments.ipBitMaskIs( IpBitMask( true, 1, 3 ) );
   rule->matchSetIs( fragments );
   rule->actionFieldSetIs( ActionFieldSet( 96 ) );
   rule->trafficActionIs( TrafficAction( 3 ) );
   rule->trafficRedirectIs( TrafficRedirect( 5, TrafficRedirectType::addr,
                                             Zorv::IpGenAddr::ipv4( 0xC0000201 ), {}, true ) );
   rule->trafficMarkingDscpIs( Zorv::IpTos( 46 ) );
   const std::string expected =
      "ruleKey: 10.1.0.0/16;*;DP:=80;, ruleId: 7\n"
      "ruleKey with value length: 10.1.0.0/16;*;DP:=1L80;\n"
      "matchSets #4\n"
      "  compType is 1, prefix is 10.1.0.0/16\n"
      "  numericalRanges #0\n"
      "  ipBitMasks #0\n"
      "  tcpBitMasks #0\n"
      "  compType is 5, prefix is \n"
      "  numericalRanges #2\n"
      "    [ 80, 81 ]\n"
      "    [ 443, 443 ]\n"
      "  ipBitMasks #0\n"
      "  tcpBitMasks #0\n"
      "  compType is 9, prefix is \n"
      "  numericalRanges #0\n"
      "  ipBitMasks #0\n"
      "  tcpBitMasks #1\n"
      "    <value:0x2;mask:0x12>\n"
      "  compType is 12, prefix is \n"
      "  numericalRanges #0\n"
      "  ipBitMasks #1\n"
      "    <value:0x1;mask:0x3>\n"
      "  tcpBitMasks #0\n"
      "actionFieldSet is 96, trafficAction is 3, trafficRedirect is (vrf=5, addr=192.0.2.1, "
      "copy=1), trafficMarkingDscp is 46\n";
   EXPECT_EQ( dump( *rule, 0 ), expected );
   EXPECT_EQ( dump( *rule, 4 ), indented( 4, expected ) );
}

TEST( Dump, ComponentByItself ) {
   MatchComponent component( fragment );
   component.ipBitMaskIs( IpBitMask( true, 0, 2 ) );
   component.ipBitMaskIs( IpBitMask( false, 1, 1 ) );
   const std::string expected = "compType is 12, prefix is \n"
                                "numericalRanges #0\n"
                                "ipBitMasks #2\n"
                                "  <value:0x1;mask:0x1>\n"
                                "  <value:0x0;mask:0x2>\n"
                                "tcpBitMasks #0\n";
   EXPECT_EQ( dump( component, 0 ), expected );
   EXPECT_EQ( dump( component, 3 ), indented( 3, expected ) );
}

TEST( Dump, InfeasibleRule ) {
   const auto rule = infeasibleRuleFactory( portKey( 81 ) );
   rule->ruleIdIs( ~U64{ 0 } );
   rule->matchCompTypeIs( tcpFlags );
   EXPECT_EQ( dump( *rule, 0 ), infeasibleRule );
   EXPECT_EQ( dump( *rule, 4 ), indented( 4, infeasibleRule ) );
}

TEST( Dump, ConfigGoesDownToTheRules ) {
   const auto config = configFactory( "rules" );
   EXPECT_EQ( dump( *config, 0 ), "FlowspecConfig: vrfRuleConfigs #0\n" );
   EXPECT_EQ( dump( *config, 4 ), "    FlowspecConfig: vrfRuleConfigs #0\n" );
   config->vrfRuleConfigIs( 20 );
   const auto vrf = config->vrfRuleConfigIs( 3 );
   vrf->ruleIs( portKey( 80 ) );
   const auto infeasible = vrf->infeasibleRuleIs( portKey( 81 ) );
   infeasible->ruleIdIs( ~U64{ 0 } );
   infeasible->matchCompTypeIs( tcpFlags );
   const std::string vrfText = "vrfId is 3, rules #1\n" + indented( 2, emptyRule ) +
                               "infeasibleRules #1\n" + indented( 2, infeasibleRule );
   EXPECT_EQ( dump( *vrf, 0 ), vrfText );
   EXPECT_EQ( dump( *vrf, 4 ), indented( 4, vrfText ) );
   const std::string expected = "FlowspecConfig: vrfRuleConfigs #2\n" + indented( 2, vrfText ) +
                                "  vrfId is 20, rules #0\n"
                                "  infeasibleRules #0\n";
   EXPECT_EQ( dump( *config, 0 ), expected );
   EXPECT_EQ( dump( *config, 4 ), indented( 4, expected ) );
}

} // namespace
} // namespace Flowspec
