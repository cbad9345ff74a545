#include "agents/filing/RuleFiler.h"

#include "Flowspec/key/FlowspecKeyReader.h"
#include "tests/agents/configd/TreeRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Agents {
namespace {

using Flowspec::FlowspecKey;
using testing::IsEmpty;
using Outcome = RuleFiler::Outcome;

FlowspecKey keyOf( const char* value ) {
   FlowspecKey key;
   EXPECT_EQ( Flowspec::readStringValue( value, key ), std::nullopt ) << value;
   return key;
}

const FlowspecKey web = keyOf( "1;ipv4;10.1.0.0/16;*;DP:=0L80;" );
const FlowspecKey pingPort = keyOf( "1;ipv4;*;*;IP:=0L1;DP:=0L80;" );
const FlowspecKey twice = keyOf( "1;ipv4;*;*;DP:=0L80;SP:=0L80;DP:=0L81;" );

Flowspec::RuleAction drop() {
   Flowspec::RuleAction action;
   action.fields.trafficDropIs( true );
   return action;
}

struct RuleFilerTest : testing::Test {
   const Vek::Ptr< Flowspec::Config > config = Flowspec::configFactory( "config" );
   RuleFiler filer{ config };
};

TEST_F( RuleFilerTest, FilesARuleWithItsActionAndImpliedProtocols ) {
   const auto filed = filer.file( web, drop(), 7 );
   EXPECT_EQ( filed.outcome, Outcome::feasible );
   EXPECT_TRUE( filed.added );
   EXPECT_EQ( filed.removed, 0U );
   const auto rule = config->vrfRuleConfig( 1 )->rule( web );
   ASSERT_NE( rule, nullptr );
   EXPECT_EQ( rule->ruleId(), 7U );
   EXPECT_EQ( Flowspec::actionOf( *rule ), drop() );
   EXPECT_EQ( rule->matchSet( Flowspec::ipProto ).compType(), Flowspec::ipProto );
}

TEST_F( RuleFilerTest, FiledAgainNothingIsPublished ) {
   filer.file( web, drop(), 7 );
   filer.file( pingPort, drop(), 8 );
   TestSupport::TreeRecorder changes( *config );
   EXPECT_FALSE( filer.file( web, drop(), 7 ).added );
   EXPECT_FALSE( filer.file( pingPort, drop(), 8 ).added );
   EXPECT_THAT( changes.take(), IsEmpty() );
}

TEST_F( RuleFilerTest, InfeasibleOnesStandApartWithTheComponentAtFault ) {
   EXPECT_EQ( filer.file( pingPort, drop(), 1 ).outcome, Outcome::infeasible );
   const auto vrf = config->vrfRuleConfig( 1 );
   EXPECT_THAT( vrf->rule(), IsEmpty() );
   ASSERT_NE( vrf->infeasibleRule( pingPort ), nullptr );
   EXPECT_EQ( vrf->infeasibleRule( pingPort )->matchCompType(), Flowspec::destPort );
}

TEST_F( RuleFilerTest, ARuleStandsInOnePlace ) {
   config->vrfRuleConfigIs( 1 )->infeasibleRuleIs( web );
   config->vrfRuleConfigIs( 1 )->ruleIs( pingPort );
   config->vrfRuleConfigIs( 1 )->ruleIs( twice );
   EXPECT_EQ( filer.file( web, drop(), 1 ).removed, 1U );
   EXPECT_EQ( filer.file( pingPort, drop(), 1 ).removed, 1U );
   const auto refused = filer.file( twice, drop(), 1 );
   EXPECT_EQ( refused.outcome, Outcome::refused );
   EXPECT_EQ( refused.removed, 1U );
   EXPECT_EQ( refused.reason, "destPort occurs at two places" );
   EXPECT_EQ( config->vrfRuleConfig( 1 )->rule().size(), 1U );
   EXPECT_EQ( config->vrfRuleConfig( 1 )->infeasibleRule().size(), 1U );
}

TEST_F( RuleFilerTest, WhatIsRefusedOrUnknownMakesNoVrf ) {
   EXPECT_EQ( filer.file( twice, drop(), 1 ).outcome, Outcome::refused );
   EXPECT_EQ( filer.remove( web ), 0U );
   filer.dropEmptyVrf( 1 );
   EXPECT_THAT( config->vrfRuleConfig(), IsEmpty() );
}

TEST_F( RuleFilerTest, AnEmptyVrfIsDroppedWhenItIsSaid ) {
   filer.file( web, drop(), 1 );
   filer.file( pingPort, drop(), 2 );
   EXPECT_EQ( filer.remove( web ), 1U );
   filer.dropEmptyVrf( 1 );
   ASSERT_NE( config->vrfRuleConfig( 1 ), nullptr );
   EXPECT_EQ( filer.remove( pingPort ), 1U );
   ASSERT_NE( config->vrfRuleConfig( 1 ), nullptr );
   filer.dropEmptyVrf( 1 );
   EXPECT_EQ( config->vrfRuleConfig( 1 ), nullptr );
}

} // namespace
} // namespace Agents
