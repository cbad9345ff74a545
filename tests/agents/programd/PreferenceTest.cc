#include "tests/agents/programd/ProgrammerRoots.h"
#include "tests/support/KeyGenerator.h"

#include <map>

#include <gmock/gmock.h>

/// Rules in several roots, of which the first one that has a key counts.

namespace Agents {
namespace {

using namespace Dataplane;
using namespace Flowspec;
using TestSupport::fill;
using TestSupport::KeyGenerator;
using TestSupport::ruleKey;
using TestSupport::testProfile;

const FlowspecKey key = ruleKey( "10.0.0.0/8;*" );

class Preference : public TestSupport::ProgrammerRoots {
protected:
   Vek::Ptr< RuleConfig > announce( const FlowspecKey& ruleKey, std::string_view actions = "" ) {
      auto rule = bgp_->vrfRuleConfigIs( ruleKey.vrfId() )->ruleIs( ruleKey );
      fill( *rule, actions );
      return rule;
   }
   U64 packets() {
      cli_->counterUpdateRequestTimeIs( cli_->counterUpdateRequestTime() + 1 );
      process( 1 );
      return statusOf( key )->packetCount();
   }
};

// When the first root's rule goes the second's takes over in the same turn; it asks for the same,
// so it goes on counting. One that asks for something else begins anew.
TEST_F( Preference, TheNextRootTakesOverWithoutAGap ) {
   enable( 1, "ipv4" );
   add( key, "trafficDrop" );
   announce( key, "trafficDrop" );
   process();
   send( 1 );
   const Osk::UniqueId version = statusOf( key )->version();
   EXPECT_EQ( packets(), 1U );
   config_->vrfRuleConfigDel( 0 );
   process();
   send( 1 );
   EXPECT_EQ( packets(), 2U );
   EXPECT_EQ( statusOf( key )->version(), version );
   add( key, "trafficMarking" );
   process();
   EXPECT_NE( statusOf( key )->version(), version );
   EXPECT_EQ( packets(), 0U );
   bgp_->vrfRuleConfigDelAll();
   process();
   send( 1 );
   EXPECT_EQ( packets(), 1U );
   config_->vrfRuleConfigDelAll();
   process();
   EXPECT_EQ( statusOf( key ), nullptr );
}

TEST_F( Preference, AHiddenRuleThatChangesIsNotProgrammed ) {
   add( key, "trafficDrop" );
   const auto hidden = announce( key, "trafficDrop" );
   process();
   const Osk::UniqueId version = statusOf( key )->version();
   fill( *hidden, "trafficRatePkt" );
   process();
   EXPECT_EQ( statusOf( key )->version(), version );
   EXPECT_EQ( statusOf( key )->statusCode(), programmed );
}

TEST_F( Preference, AnyRootConfigures ) {
   EXPECT_FALSE( agent_->programmer.configured() );
   bgp_->enabledIntfIs( Zorv::IntfId( 1 ) );
   process();
   EXPECT_THAT( active( 0 ), testing::ElementsAre( Zorv::IntfId( 1 ) ) );
   EXPECT_FALSE( agent_->programmer.configured() );
   announce( key );
   EXPECT_TRUE( agent_->programmer.configured() );
   EXPECT_EQ( error( 0, 1 ), "" );
}

/// Hardware that holds what it was given, and complains of a rule that goes and comes back.
class Holding final : public Backend {
public:
   const Profile& profile() const override { return profile_; }
   void ruleIs( const RuleConfig& rule ) override {
      EXPECT_FALSE( gone_.contains( rule.ruleKey() ) ) << "a gap";
      rules_[rule.ruleKey()] = rule.actionFieldSet();
   }
   void ruleDel( const FlowspecKey& ruleKey ) override {
      rules_.erase( ruleKey );
      gone_.insert( ruleKey );
   }
   void interfaceIs( Zorv::IntfId, const InterfaceSetup& ) override {}
   void interfaceSetLimitIs( U32 ) override {}
   [[nodiscard]] std::vector< RuleChange > apply() override {
      gone_.clear();
      return {};
   }
   QosLib::ColoredCounters counters( const FlowspecKey& ) const override { return {}; }
   std::vector< U16 > interfaceSetsInUse() const override { return {}; }
   std::vector< InterfaceResult > interfaces() const override { return {}; }

   using Rules = std::map< FlowspecKey, ActionFieldSet, FlowspecKeyOrder >;
   const Rules& rules() const { return rules_; }

private:
   const Profile profile_ = testProfile();
   Rules rules_;
   std::set< FlowspecKey, FlowspecKeyOrder > gone_; // since `apply`
};

// The rules that are to be in hardware: of each key that of the first root, looked for in all.
Holding::Rules expectedOf( const ConfigWatcher::Configs& configs ) {
   Holding::Rules expected;
   for ( const auto& config : configs ) {
      for ( const auto& [vrfId, vrf] : config->vrfRuleConfig() ) {
         for ( const auto& rule : vrf->rule() ) {
            expected.emplace( rule->ruleKey(), rule->actionFieldSet() );
         }
      }
   }
   return expected;
}

TEST( PreferenceProperty, HardwareHoldsTheRuleOfTheFirstRootThatHasTheKey ) {
   KeyGenerator random( 1 );
   std::vector< FlowspecKey > keys;
   for ( U32 i = 0; i < 12; ++i ) {
      keys.push_back( ruleKey( Vek::concat( 10 + i, ".0.0.0/8;*" ), i % 3 ) );
   }
   const ConfigWatcher::Configs configs{ configFactory( "a" ), configFactory( "b" ),
                                         configFactory( "c" ) };
   Holding hardware;
   Programmer programmer( configs, cliConfigFactory( "cli" ), hardware, statusFactory( "status" ),
                          counterFactory( "counter" ) );
   unsigned hidden = 0;
   for ( unsigned round = 0; round < 3000; ++round ) {
      for ( U64 changes = random.below( 4 ); changes > 0; --changes ) {
         Config& config = *configs[random.below( configs.size() )];
         const FlowspecKey& ruleKey = keys[random.below( keys.size() )];
         const auto vrf = config.vrfRuleConfigIs( ruleKey.vrfId() );
         if ( random.oneIn( 40 ) ) {
            config.vrfRuleConfigDelAll();
         } else if ( random.oneIn( 20 ) ) {
            config.vrfRuleConfigDel( ruleKey.vrfId() );
         } else if ( random.oneIn( 3 ) ) {
            vrf->ruleDel( ruleKey );
         } else {
            vrf->ruleIs( ruleKey )->actionFieldSetIs( ActionFieldSet( random.below( 256 ) ) );
         }
         hidden += ( configs[0]->vrfRuleConfig( ruleKey.vrfId() ) &&
                     configs[0]->vrfRuleConfig( ruleKey.vrfId() )->rule( ruleKey ) &&
                     configs[2]->vrfRuleConfig( ruleKey.vrfId() ) &&
                     configs[2]->vrfRuleConfig( ruleKey.vrfId() )->rule( ruleKey ) );
      }
      programmer.process( 0 );
      ASSERT_FALSE( programmer.changed() );
      ASSERT_EQ( hardware.rules(), expectedOf( configs ) ) << "in round " << round;
   }
   EXPECT_GT( hidden, 100U ) << "no rule was behind another one";
}

} // namespace
} // namespace Agents
