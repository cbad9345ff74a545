#include "agents/programd/ConfigWatcher.h"

#include "tests/support/TestRules.h"

#include <gmock/gmock.h>

namespace Agents {
namespace {

using namespace Flowspec;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::ruleKey;

const FlowspecKey first = ruleKey( "10.0.0.0/8;*" );
const FlowspecKey second = ruleKey( "11.0.0.0/8;*" );
const FlowspecKey other = ruleKey( "10.0.0.0/8;*", 1 );

class ConfigWatcherTest : public testing::Test {
protected:
   void takeAll() {
      watcher_.takeRules();
      watcher_.takeVrfs();
      watcher_.takeInterfaces();
      watcher_.takeCounterRequest();
      EXPECT_FALSE( watcher_.changed() );
   }

   const Vek::Ptr< Config > config_ = configFactory( "config" );
   const Vek::Ptr< Config > bgp_ = configFactory( "bgp" );
   const Vek::Ptr< CliConfig > cli_ = cliConfigFactory( "cli" );
   const Vek::Ptr< RuleConfig > rule_ = config_->vrfRuleConfigIs( 0 )->ruleIs( first );
   ConfigWatcher watcher_{ { config_, bgp_ }, cli_ };
};

TEST_F( ConfigWatcherTest, BeginsWithAllThatIsThere ) {
   EXPECT_TRUE( watcher_.changed() );
   EXPECT_THAT( watcher_.takeRules(), ElementsAre( first ) );
   EXPECT_TRUE( watcher_.takeVrfs() );
   EXPECT_TRUE( watcher_.takeInterfaces() );
   EXPECT_FALSE( watcher_.takeCounterRequest() );
   EXPECT_FALSE( watcher_.changed() );
   EXPECT_THAT( watcher_.takeRules(), IsEmpty() );
}

TEST_F( ConfigWatcherTest, NotesRulesThatChangeComeAndGo ) {
   takeAll();
   rule_->trafficRateLimitIs( 3 );
   rule_->matchSetIs( MatchComponent( destPort ) );
   EXPECT_THAT( watcher_.takeRules(), ElementsAre( first ) );
   const auto vrf = config_->vrfRuleConfig( 0 );
   const auto added = vrf->ruleIs( second );
   EXPECT_THAT( watcher_.takeRules(), ElementsAre( second ) );
   added->ruleIdIs( 4 );
   EXPECT_THAT( watcher_.takeRules(), ElementsAre( second ) );
   vrf->ruleDel( first );
   rule_->trafficRateLimitIs( 4 );
   EXPECT_THAT( watcher_.takeRules(), ElementsAre( first ) );
   rule_->trafficRateLimitIs( 5 );
   vrf->infeasibleRuleIs( first );
   EXPECT_FALSE( watcher_.changed() );
}

TEST_F( ConfigWatcherTest, NotesTheRulesOfVrfsThatComeAndGo ) {
   takeAll();
   const auto vrf = config_->vrfRuleConfigIs( 1 );
   EXPECT_TRUE( watcher_.takeVrfs() );
   vrf->ruleIs( other );
   EXPECT_FALSE( watcher_.takeVrfs() );
   EXPECT_THAT( watcher_.takeRules(), ElementsAre( other ) );
   config_->vrfRuleConfigDel( 1 );
   EXPECT_TRUE( watcher_.takeVrfs() );
   EXPECT_THAT( watcher_.takeRules(), ElementsAre( other ) );
   vrf->rule( other )->ruleIdIs( 4 );
   vrf->ruleDelAll();
   EXPECT_FALSE( watcher_.changed() );
}

// A rule counts as long as no root before has one with its key.
TEST_F( ConfigWatcherTest, OfTwoRulesWithOneKeyThatOfTheFirstRootCounts ) {
   takeAll();
   const auto hidden = bgp_->vrfRuleConfigIs( 0 )->ruleIs( first );
   bgp_->vrfRuleConfigIs( 1 )->ruleIs( other );
   EXPECT_TRUE( watcher_.takeVrfs() );
   EXPECT_THAT( watcher_.takeRules(), ElementsAre( first, other ) );
   EXPECT_EQ( watcher_.rule( first ), rule_ );
   EXPECT_NE( watcher_.rule( other ), nullptr );
   EXPECT_EQ( watcher_.rule( second ), nullptr );
   config_->vrfRuleConfigDel( 0 );
   EXPECT_THAT( watcher_.takeRules(), ElementsAre( first ) );
   EXPECT_EQ( watcher_.rule( first ), hidden );
   hidden->ruleIdIs( 4 );
   EXPECT_THAT( watcher_.takeRules(), ElementsAre( first ) );
   bgp_->vrfRuleConfigDelAll();
   EXPECT_THAT( watcher_.takeRules(), ElementsAre( first, other ) );
   EXPECT_EQ( watcher_.rule( first ), nullptr );
   EXPECT_TRUE( watcher_.takeVrfs() );
   bgp_->enabledIntfIs( Zorv::IntfId( 1 ) );
   EXPECT_TRUE( watcher_.takeInterfaces() );
}

TEST_F( ConfigWatcherTest, TellsInterfacesFromRequestsForCounters ) {
   takeAll();
   cli_->counterUpdateRequestTimeIs( 4 );
   EXPECT_TRUE( watcher_.changed() );
   EXPECT_FALSE( watcher_.takeInterfaces() );
   EXPECT_TRUE( watcher_.takeCounterRequest() );
   cli_->sourceVrfOverrideIs( Zorv::IntfId( 1 ), "red" );
   EXPECT_TRUE( watcher_.takeInterfaces() );
   config_->enabledIntfIs( Zorv::IntfId( 1 ) );
   EXPECT_TRUE( watcher_.takeInterfaces() );
   EXPECT_FALSE( watcher_.changed() );
}

/// Undoes what it is told of.
class Undo final : public Vek::Observer {
public:
   explicit Undo( Config& config )
      : config_( config ), onConfig_( config.observe( *this ) ),
        onVrf_( config.vrfRuleConfig( 0 )->observe( *this ) ) {}

   void onChange( const Vek::Change& change ) override {
      if ( change.field.name == "rule" ) {
         config_.vrfRuleConfig( 0 )->ruleDel( second );
      } else {
         config_.vrfRuleConfigDel( 1 );
      }
   }

private:
   Config& config_;
   Vek::Observation onConfig_;
   Vek::Observation onVrf_;
};

TEST_F( ConfigWatcherTest, BearsThatOthersRemoveWhatCame ) {
   takeAll();
   const Undo undo( *config_ );
   config_->vrfRuleConfig( 0 )->ruleIs( second );
   EXPECT_THAT( watcher_.takeRules(), ElementsAre( second ) );
   config_->vrfRuleConfigIs( 1 );
   EXPECT_TRUE( watcher_.takeVrfs() );
}

} // namespace
} // namespace Agents
