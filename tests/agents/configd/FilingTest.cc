#include "agents/configd/Filing.h"

#include "Flowspec/config/MatchSetBuilder.h"
#include "Flowspec/key/FlowspecKeyReader.h"
#include "forms/ActionJson.h"
#include "tests/agents/configd/TreeRecorder.h"
#include "tests/support/PrintRuleError.h"
#include "tests/support/RandomAction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace Agents {

using namespace Flowspec;
using namespace Forms;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::TreeRecorder;

FlowspecKey keyOf( const char* value ) {
   FlowspecKey key;
   EXPECT_EQ( readStringValue( value, key ), std::nullopt ) << value;
   return key;
}

FiledRule rule( const char* value, const char* action = "{}", U64 ruleId = 1 ) {
   FiledRule filed{ .key = keyOf( value ), .action = {}, .ruleId = ruleId, .line = 0 };
   EXPECT_EQ( Forms::readAction( nlohmann::json::parse( action ), filed.action ), std::nullopt );
   return filed;
}

RuleFile file( std::vector< FiledRule > rules, const char* name = "a" ) {
   U64 line = 0;
   for ( FiledRule& filed : rules ) {
      filed.line = ++line;
   }
   return { .file = name, .rules = std::move( rules ), .errors = {} };
}

struct FilingTest : testing::Test {
   Filed apply( std::vector< FiledRule > rules ) {
      const RuleFile files[] = { file( std::move( rules ) ) };
      return filing.apply( files );
   }

   Vek::Ptr< RuleConfig > filed( const char* value ) const {
      const FlowspecKey key = keyOf( value );
      const auto vrf = config->vrfRuleConfig( key.vrfId() );
      return vrf ? vrf->rule( key ) : nullptr;
   }

   const Vek::Ptr< Config > config = configFactory( "config" );
   Filing filing{ config };
};

constexpr const char* web = "1;ipv4;10.1.0.0/16;*;DP:=0L80|=1L443;";
constexpr const char* dns = "1;ipv4;10.2.0.0/16;*;IP:=0L17;DP:=0L53;";
constexpr const char* other = "2;ipv6;2001:db8::/32;*;IT:=0L128;";
constexpr const char* nothing = "1;ipv4;*;*;LEN:>0L100&<0L101;";
constexpr const char* pingPort = "1;ipv4;*;*;IP:=0L1;DP:=0L80;";
constexpr const char* beyond = "1;ipv4;*;*;DSCP:=0L110;";
constexpr const char* twice = "1;ipv4;*;*;DP:=0L80;SP:=0L80;DP:=0L81;";

TEST_F( FilingTest, RulesStandInTheirVrfsWithWhatTheyAskFor ) {
   const Filed result = apply( { rule( other, R"({"redirect":{"vrf":7}})", 3 ),
                                 rule( web, R"({"rateLimit":{"packets":100},"markDscp":"ef"})", 4 ),
                                 rule( dns, R"({"drop":true,"sample":true})", 5 ) } );
   EXPECT_EQ( result.feasible, 3U );
   EXPECT_EQ( result.infeasible, 0U );
   EXPECT_EQ( result.added, 3U );
   EXPECT_EQ( result.removed, 0U );
   EXPECT_THAT( result.errors, IsEmpty() );
   ASSERT_EQ( config->vrfRuleConfig().size(), 2U );
   ASSERT_EQ( config->vrfRuleConfig( 1 )->rule().size(), 2U );
   ASSERT_EQ( config->vrfRuleConfig( 2 )->rule().size(), 1U );

   const auto limited = filed( web );
   EXPECT_EQ( limited->ruleId(), 4U );
   EXPECT_EQ( limited->actionFieldSet().stringValue(), "trafficMarking|trafficRatePkt" );
   EXPECT_EQ( limited->trafficRateLimit(), 100.0F );
   EXPECT_EQ( limited->trafficMarkingDscp().value(), 46U );
   // Sanitised: ports ask for TCP or UDP.
   EXPECT_EQ( limited->matchSet().size(), 3U );
   EXPECT_TRUE( ruleConfigIpProtoContains( *limited, { 6 } ) );
   EXPECT_TRUE( ruleConfigIpProtoContains( *limited, { 17 } ) );
   EXPECT_FALSE( ruleConfigIpProtoContains( *limited, { 1 } ) );

   const auto dropped = filed( dns );
   EXPECT_EQ( dropped->actionFieldSet().stringValue(), "trafficDrop|trafficAction" );
   EXPECT_TRUE( dropped->trafficAction().sampleAndLog() );
   const auto redirected = filed( other );
   EXPECT_EQ( redirected->trafficRedirect().vrfId(), 7U );
   EXPECT_TRUE( ruleConfigIpProtoContains( *redirected, { 58 } ) );
}

TEST_F( FilingTest, WhatNoPacketMatchesIsInfeasible ) {
   const Filed result =
      apply( { rule( nothing, "{}", 8 ), rule( pingPort, R"({"drop":true})", 9 ), rule( web ) } );
   EXPECT_EQ( result.feasible, 1U );
   EXPECT_EQ( result.infeasible, 2U );
   EXPECT_EQ( result.added, 3U );
   const auto vrf = config->vrfRuleConfig( 1 );
   ASSERT_EQ( vrf->infeasibleRule().size(), 2U );
   EXPECT_EQ( vrf->infeasibleRule( keyOf( nothing ) )->matchCompType(), packetLength );
   EXPECT_EQ( vrf->infeasibleRule( keyOf( nothing ) )->ruleId(), 8U );
   EXPECT_EQ( vrf->infeasibleRule( keyOf( pingPort ) )->matchCompType(), destPort );
   EXPECT_EQ( vrf->rule().size(), 1U );
}

TEST_F( FilingTest, AKeyThatCannotBeTakenApartIsAnError ) {
   const Filed result = apply( { rule( twice ), rule( web ) } );
   EXPECT_THAT( result.errors,
                ElementsAre( RuleError{ "a", 1, "destPort occurs at two places" } ) );
   EXPECT_EQ( result.feasible, 1U );
   // Nor is a VRF made for it, or kept.
   EXPECT_EQ( apply( { rule( twice ) } ).removed, 1U );
   EXPECT_TRUE( config->vrfRuleConfig().empty() );
   TreeRecorder changes( *config );
   EXPECT_EQ( apply( { rule( twice ) } ).errors.size(), 1U );
   EXPECT_THAT( changes.take(), IsEmpty() );
}

TEST_F( FilingTest, ValuesThatNoPacketHasCountByTheirMeaning ) {
   const Filed result = apply( { rule( "1;ipv4;*;*;IP:=1L300;" ), rule( web ), rule( beyond ) } );
   EXPECT_THAT( result.errors, IsEmpty() );
   EXPECT_THAT(
      result.warnings,
      ElementsAre(
         RuleError{ "a", 1, "value 300 of ipProto is above 255, the highest that a packet has" },
         RuleError{ "a", 3, "value 110 of dscp has more than 6 bits: it counts as 46" } ) );
   EXPECT_EQ( result.feasible, 2U );
   EXPECT_EQ( result.infeasible, 1U );
   EXPECT_EQ( filed( beyond )->matchSetGet( dscp ).numericalRange(),
              Vek::HashSet{ NumericalRange( 46, 46 ) } );
}

TEST_F( FilingTest, OfEqualKeysTheFirstOneCounts ) {
   const RuleFile files[] = { file( { rule( web, R"({"drop":true})" ), rule( dns ) }, "a" ),
                              file( { rule( other ), rule( web ), rule( dns ) }, "b" ) };
   const Filed result = filing.apply( files );
   EXPECT_THAT( result.errors,
                ElementsAre( RuleError{ "b", 2, "line 2 is the rule of a:1 again" },
                             RuleError{ "b", 3, "line 3 is the rule of a:2 again" } ) );
   EXPECT_EQ( result.feasible, 3U );
   EXPECT_TRUE( filed( web )->actionFieldSet().trafficDrop() );
}

TEST_F( FilingTest, ErrorsAreInTheOrderOfFilesAndLines ) {
   const RuleFile files[] = { file( { rule( web ), rule( twice ), rule( web ) }, "b" ),
                              file( { rule( web ) }, "a" ) };
   std::vector< Vek::String > places;
   for ( const RuleError& error : filing.apply( files ).errors ) {
      places.push_back( Vek::concat( error.file, ':', error.line ) );
   }
   EXPECT_THAT( places, ElementsAre( "b:2", "b:3", "a:1" ) );
}

TEST_F( FilingTest, ANewRuleIsToldOncePiecewiseAndItsActionLast ) {
   TreeRecorder changes( *config );
   apply( { rule( web, R"({"rateLimit":{"bytes":1000}})" ), rule( nothing ) } );
   const Vek::String webKey = valueToStrep( keyOf( web ) );
   const Vek::String nothingKey = valueToStrep( keyOf( nothing ) );
   EXPECT_THAT( changes.take(),
                ElementsAre( "Config vrfRuleConfig[1]", "VrfRuleConfig rule[" + webKey + "]",
                             "RuleConfig matchSet[destPrefix]", "RuleConfig matchSet[destPort]",
                             "RuleConfig matchSet[ipProto]", "RuleConfig ruleId was 0",
                             "RuleConfig trafficRateLimit was 0", "RuleConfig actionFieldSet was ",
                             "VrfRuleConfig infeasibleRule[" + nothingKey + "]",
                             "InfeasibleRule ruleId was 0",
                             "InfeasibleRule matchCompType was invalid" ) );
}

TEST_F( FilingTest, TheSameAgainPublishesNothing ) {
   const std::vector< FiledRule > rules{ rule( web, R"({"rateLimit":{"bytes":1000}})" ),
                                         rule( dns, R"({"drop":true})" ), rule( other ),
                                         rule( nothing ), rule( pingPort ) };
   apply( rules );
   TreeRecorder changes( *config );
   const Filed again = apply( { rules.rbegin(), rules.rend() } );
   EXPECT_THAT( changes.take(), IsEmpty() );
   EXPECT_EQ( again.feasible, 3U );
   EXPECT_EQ( again.infeasible, 2U );
   EXPECT_EQ( again.added, 0U );
   EXPECT_EQ( again.removed, 0U );
}

TEST_F( FilingTest, AChangedActionPublishesItsFields ) {
   const auto change = [&]( const char* from, const char* to ) {
      apply( { rule( web, from ), rule( dns ) } );
      TreeRecorder changes( *config );
      apply( { rule( web, to ), rule( dns ) } );
      return changes.take();
   };
   EXPECT_THAT( change( R"({"rateLimit":{"bytes":10}})", R"({"rateLimit":{"bytes":20}})" ),
                ElementsAre( "RuleConfig trafficRateLimit was 10" ) );
   EXPECT_THAT( change( R"({"drop":true})", "{}" ),
                ElementsAre( "RuleConfig actionFieldSet was trafficDrop" ) );
   EXPECT_THAT( change( R"({"drop":true,"sample":true})", R"({"drop":true,"continue":true})" ),
                ElementsAre( "RuleConfig trafficAction was sampleAndLog" ) );
   // What comes into force has its value before, what goes keeps it until then.
   EXPECT_THAT( change( R"({"rateLimit":{"bytes":10}})", R"({"markDscp":46})" ),
                ElementsAre( "RuleConfig trafficMarkingDscp was 0",
                             "RuleConfig actionFieldSet was trafficRate",
                             "RuleConfig trafficRateLimit was 10" ) );
   EXPECT_THAT( change( R"({"redirect":{"vrf":1}})", R"({"redirect":{"vrf":1,"copy":true}})" ),
                testing::SizeIs( 1 ) );
   apply( { rule( web, "{}", 1 ), rule( nothing, "{}", 1 ) } );
   TreeRecorder changes( *config );
   apply( { rule( web, "{}", 2 ), rule( nothing, "{}", 3 ) } );
   EXPECT_THAT( changes.take(),
                ElementsAre( "RuleConfig ruleId was 1", "InfeasibleRule ruleId was 1" ) );
}

TEST_F( FilingTest, WhatIsGoneGoes ) {
   apply( { rule( web ), rule( dns ), rule( other ), rule( nothing ) } );
   TreeRecorder changes( *config );
   const Filed result = apply( { rule( dns ) } );
   EXPECT_EQ( result.removed, 3U );
   EXPECT_EQ( result.added, 0U );
   EXPECT_THAT( changes.take(),
                ElementsAre( "Config vrfRuleConfig[2] gone",
                             "VrfRuleConfig rule[" + valueToStrep( keyOf( web ) ) + "] gone",
                             "VrfRuleConfig infeasibleRule[" + valueToStrep( keyOf( nothing ) ) +
                                "] gone" ) );
   apply( {} );
   EXPECT_THAT( changes.take(), ElementsAre( "Config vrfRuleConfig[1] gone" ) );
}

// Rules of either kind count when their VRF goes with them.
TEST_F( FilingTest, InfeasibleRulesOfAVrfThatGoesAreGone ) {
   apply( { rule( nothing ), rule( pingPort ), rule( web ), rule( other ) } );
   TreeRecorder changes( *config );
   EXPECT_EQ( apply( { rule( other ) } ).removed, 3U );
   EXPECT_THAT( changes.take(), ElementsAre( "Config vrfRuleConfig[1] gone" ) );
   // A VRF that has no other rules goes with its last infeasible one, too.
   apply( { rule( nothing ), rule( other ) } );
   EXPECT_EQ( apply( { rule( other ) } ).removed, 1U );
   EXPECT_EQ( config->vrfRuleConfig( 1 ), nullptr );
   EXPECT_EQ( config->vrfRuleConfig().size(), 1U );
}

TEST_F( FilingTest, WhatOthersFiledIsPutRight ) {
   const auto vrf = config->vrfRuleConfigIs( 1 );
   vrf->ruleIs( keyOf( nothing ) );
   vrf->ruleIs( keyOf( twice ) );
   vrf->infeasibleRuleIs( keyOf( web ) );
   vrf->infeasibleRuleIs( keyOf( twice ) );
   MatchComponent protocol( ipProto );
   protocol.numericalRangeIs( NumericalRange( 1, 1 ) );
   vrf->ruleIs( keyOf( dns ) )->matchSetIs( protocol );
   config->vrfRuleConfigIs( 9 );
   const Filed result = apply( { rule( web ), rule( nothing ), rule( twice ), rule( dns ) } );
   EXPECT_EQ( result.removed, 4U );
   EXPECT_EQ( result.added, 2U );
   EXPECT_EQ( vrf->rule().size(), 2U );
   EXPECT_EQ( vrf->infeasibleRule().size(), 1U );
   EXPECT_TRUE( ruleConfigIpProtoContains( *filed( dns ), { 17 } ) );
   EXPECT_FALSE( ruleConfigIpProtoContains( *filed( dns ), { 1 } ) );
   EXPECT_EQ( config->vrfRuleConfig( 9 ), nullptr );
}

TEST_F( FilingTest, OtherConfigurationIsLeftAlone ) {
   config->enabledIntfIs( Zorv::IntfId( 3 ) );
   config->twoColorCounterEnabledIs( true );
   apply( { rule( web ) } );
   apply( {} );
   EXPECT_TRUE( config->enabledIntf().contains( Zorv::IntfId( 3 ) ) );
   EXPECT_TRUE( config->twoColorCounterEnabled() );
}

// What a configuration should be, made of nothing.
Vek::String dump( const Config& config ) {
   Vek::String text;
   for ( const auto* const vrf : config.vrfRuleConfig().sorted() ) {
      text += Vek::concat( "vrf ", vrf->first, '\n' );
      for ( const auto& filed : vrf->second->rule() ) {
         text += Vek::concat(
            filed->ruleKey().toStrep(), ' ', filed->ruleId(), ' ',
            filed->actionFieldSet().stringValue(), ' ', filed->trafficAction().stringValue(), ' ',
            filed->trafficMarkingDscp().value(), ' ', std::to_string( filed->trafficRateLimit() ),
            ' ', static_cast< U8 >( filed->trafficRedirect().type() ), ' ',
            filed->trafficRedirect().vrfId(), ' ', filed->matchSet().size(), '\n' );
      }
      for ( const auto& filed : vrf->second->infeasibleRule() ) {
         text += Vek::concat( filed->ruleKey().toStrep(), ' ', filed->ruleId(), " infeasible ",
                              stringValue( filed->matchCompType() ), '\n' );
      }
   }
   return text;
}

TEST_F( FilingTest, AnyHistoryEndsWhereANewConfigurationBegins ) {
   TestSupport::KeyGenerator random( 8955 );
   std::vector< FlowspecKey > keys;
   for ( int i = 0; i < 60; ++i ) {
      keys.push_back( random.oneIn( 2 ) ? random.canonicalKey() : random.arbitraryKey() );
      keys.back().vrfIdIs( static_cast< U32 >( random.below( 4 ) ) );
   }
   for ( int round = 0; round < 300; ++round ) {
      std::vector< RuleFile > files( 1 + random.below( 3 ) );
      for ( RuleFile& each : files ) {
         std::vector< FiledRule > rules;
         for ( U64 count = random.below( 40 ); count > 0; --count ) {
            rules.push_back( { .key = random.oneOf( keys ),
                               .action = TestSupport::randomAction( random ),
                               .ruleId = random.below( 5 ),
                               .line = 0 } );
         }
         each = file( std::move( rules ) );
      }
      const Vek::Ptr< Config > fresh = configFactory( "fresh" );
      const Filed wanted = Filing( fresh ).apply( files );
      const Filed result = filing.apply( files );
      ASSERT_EQ( dump( *config ), dump( *fresh ) );
      ASSERT_EQ( result.errors, wanted.errors );
      ASSERT_EQ( result.feasible, wanted.feasible );
      ASSERT_EQ( result.infeasible, wanted.infeasible );
      TreeRecorder changes( *config );
      filing.apply( files );
      ASSERT_THAT( changes.take(), IsEmpty() );
   }
}

} // namespace
} // namespace Agents
