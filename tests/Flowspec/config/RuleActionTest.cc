#include "Flowspec/config/RuleAction.h"

#include "Vek/entity/Observer.h"
#include "tests/support/RandomAction.h"

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

TEST( RuleAction, IsWhatIsInForce ) {
   const auto rule = ruleConfigFactory( FlowspecKey() );
   rule->trafficRateLimitIs( 5 );
   rule->trafficMarkingDscpIs( Zorv::IpTos( 46 ) );
   TrafficAction sample;
   sample.sampleAndLogIs( true );
   rule->trafficActionIs( sample );
   rule->trafficRedirectIs( { 7, TrafficRedirectType::vrf, {}, {}, true } );
   EXPECT_EQ( actionOf( *rule ), RuleAction() );
   RuleAction expected;
   expected.fields.trafficMarkingIs( true );
   expected.markDscp = Zorv::IpTos( 46 );
   rule->actionFieldSetIs( expected.fields );
   EXPECT_EQ( actionOf( *rule ), expected );
   for ( const auto unit :
         { ActionFieldSet::Field::trafficRate, ActionFieldSet::Field::trafficRatePkt } ) {
      RuleAction limited;
      limited.fields.set( unit );
      limited.rateLimit = 5;
      rule->actionFieldSetIs( limited.fields );
      EXPECT_EQ( actionOf( *rule ), limited );
   }
   RuleAction all{ ActionFieldSet( 255 ), sample, rule->trafficRedirect(), expected.markDscp, 5 };
   rule->actionFieldSetIs( all.fields );
   EXPECT_EQ( actionOf( *rule ), all );
}

// Looks at a rule after each of its changes from one action to another.
class Reader final : public Vek::Observer {
public:
   Reader( RuleConfig& rule, const RuleAction& before, const RuleAction& after )
      : rule_( rule ), before_( before ), after_( after ), observation_( rule, *this ) {}

   std::size_t changes() const { return changes_; }

private:
   // What is in force has the value of one of the two actions that have it in force.
   void onChange( const Vek::Change& ) override {
      ++changes_;
      const RuleAction now = actionOf( rule_ );
      EXPECT_TRUE( now.fields == before_.fields || now.fields == after_.fields );
      const auto expect = [&]( bool hasBefore, bool hasAfter, auto value ) {
         const bool inForce = now.fields == after_.fields ? hasAfter : hasBefore;
         EXPECT_TRUE( !inForce || ( hasBefore && now.*value == before_.*value ) ||
                      ( hasAfter && now.*value == after_.*value ) );
      };
      const auto limits = []( ActionFieldSet set ) {
         return set.trafficRate() || set.trafficRatePkt();
      };
      expect( limits( before_.fields ), limits( after_.fields ), &RuleAction::rateLimit );
      expect( before_.fields.trafficMarking(), after_.fields.trafficMarking(),
              &RuleAction::markDscp );
      expect( before_.fields.trafficRedirect(), after_.fields.trafficRedirect(),
              &RuleAction::redirect );
      expect( before_.fields.trafficAction(), after_.fields.trafficAction(),
              &RuleAction::trafficAction );
   }

   const RuleConfig& rule_;
   const RuleAction& before_;
   const RuleAction& after_;
   std::size_t changes_ = 0;
   Vek::Observation observation_;
};

TEST( RuleAction, ChangesWithoutAMomentInWhichAValueIsMissing ) {
   TestSupport::KeyGenerator random( 12 );
   const auto rule = ruleConfigFactory( FlowspecKey() );
   RuleAction before;
   for ( int i = 0; i < 2000; ++i ) {
      const RuleAction after = TestSupport::randomAction( random );
      {
         const Reader reader( *rule, before, after );
         actionIs( *rule, after );
         EXPECT_EQ( reader.changes() == 0, before == after );
      }
      EXPECT_EQ( actionOf( *rule ), after );
      const Reader reader( *rule, after, after );
      actionIs( *rule, after );
      EXPECT_EQ( reader.changes(), 0U );
      before = after;
   }
}

} // namespace
} // namespace Flowspec
