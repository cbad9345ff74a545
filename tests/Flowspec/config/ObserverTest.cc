#include "Flowspec/config/CliConfig.h"
#include "Flowspec/config/Config.h"
#include "Flowspec/policy/FlowspecPolicyConfig.h"
#include "Vek/types/TypeRegistry.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/Reaction.h"

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using TestSupport::Reaction;

FlowspecKey keyOf( U32 vrfId ) {
   FlowspecKey key;
   key.vrfIdIs( vrfId );
   return key;
}

Zorv::IntfId intf( U64 number ) { return Zorv::IntfId( number ); }

TEST( Observers, AreToldLatestFirstAfterTheChange ) {
   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   std::vector< int > told;
   const auto tell = [&]( int number ) {
      return [&, number]( const Vek::Change& change ) {
         EXPECT_EQ( &change.entity, rule.get() );
         EXPECT_EQ( change.fieldId(), 259 );
         EXPECT_EQ( change.key, nullptr );
         EXPECT_EQ( change.oldAs< U64 >(), 0U );
         EXPECT_EQ( rule->ruleId(), 5U );
         told.push_back( number );
      };
   };
   Reaction first( *rule, tell( 1 ) );
   Reaction second( *rule, tell( 2 ) );
   Reaction third( *rule, tell( 3 ) );
   rule->ruleIdIs( 5 );
   EXPECT_THAT( told, testing::ElementsAre( 3, 2, 1 ) );
}

TEST( Observers, MayEndAnyObservationWhileCalled ) {
   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   Reaction last( *rule, []( const Vek::Change& ) {} );
   Reaction skipped( *rule, []( const Vek::Change& ) {} );
   Reaction ending( *rule, [&]( const Vek::Change& ) {
      skipped.observation().end();
      ending.observation().end();
   } );
   Reaction before( *rule, []( const Vek::Change& ) {} );
   rule->ruleIdIs( 1 );
   rule->ruleIdIs( 2 );
   EXPECT_EQ( before.calls(), 2U );
   EXPECT_EQ( ending.calls(), 1U );
   EXPECT_EQ( skipped.calls(), 0U );
   EXPECT_EQ( last.calls(), 2U );
   EXPECT_EQ( ending.observation().entity(), nullptr );
   EXPECT_EQ( last.observation().entity(), rule.get() );
}

// One that is next in a delivery, and in the delivery around it.
TEST( Observers, MayEndObservationsWhileDeliveriesNest ) {
   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   Reaction last( *rule, []( const Vek::Change& ) {} );
   Reaction skipped( *rule, []( const Vek::Change& ) {} );
   Reaction ending( *rule, [&]( const Vek::Change& ) { skipped.observation().end(); } );
   Reaction alsoSkipped( *rule, []( const Vek::Change& ) {} );
   Reaction nesting( *rule, [&]( const Vek::Change& ) {
      if ( rule->ruleId() == 1 ) {
         rule->ruleIdIs( 2 );
         alsoSkipped.observation().end();
      }
   } );
   rule->ruleIdIs( 1 );
   EXPECT_EQ( nesting.calls(), 2U );
   EXPECT_EQ( alsoSkipped.calls(), 1U );
   EXPECT_EQ( ending.calls(), 2U );
   EXPECT_EQ( skipped.calls(), 0U );
   EXPECT_EQ( last.calls(), 2U );
}

TEST( Observers, EndInAnyOrder ) {
   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   Reaction first( *rule, []( const Vek::Change& ) {} );
   Reaction second( *rule, []( const Vek::Change& ) {} );
   Reaction third( *rule, []( const Vek::Change& ) {} );
   second.observation().end();
   rule->ruleIdIs( 1 );
   first.observation().end();
   rule->ruleIdIs( 2 );
   EXPECT_EQ( first.calls(), 1U );
   EXPECT_EQ( second.calls(), 0U );
   EXPECT_EQ( third.calls(), 2U );
   third.observation().end();
   rule->ruleIdIs( 3 );
   EXPECT_EQ( third.calls(), 2U );
}

TEST( Observers, ThatBeginWhileCalledAreToldOfTheNextChange ) {
   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   std::vector< std::unique_ptr< Reaction > > begun;
   Reaction begins( *rule, [&]( const Vek::Change& ) {
      begun.push_back( std::make_unique< Reaction >( *rule, []( const Vek::Change& ) {} ) );
   } );
   rule->ruleIdIs( 1 );
   ASSERT_EQ( begun.size(), 1U );
   EXPECT_EQ( begun[0]->calls(), 0U );
   rule->ruleIdIs( 2 );
   ASSERT_EQ( begun.size(), 2U );
   EXPECT_EQ( begun[0]->calls(), 1U );
   EXPECT_EQ( begun[1]->calls(), 0U );
}

TEST( Observers, MayChangeTheEntityWhileCalled ) {
   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   TestSupport::ChangeRecorder changes( *rule );
   Reaction counting( *rule, [&]( const Vek::Change& ) {
      if ( rule->ruleId() < 3 ) {
         rule->ruleIdIs( rule->ruleId() + 1 );
      }
   } );
   rule->ruleIdIs( 1 );
   EXPECT_EQ( rule->ruleId(), 3U );
   // The inner deliveries end before the outer ones go on.
   EXPECT_THAT( changes.take(), testing::ElementsAre( "259 ruleId was 2", "259 ruleId was 1",
                                                      "259 ruleId was 0" ) );
}

TEST( Observers, MovedObservationsGoOn ) {
   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   Reaction last( *rule, []( const Vek::Change& ) {} );
   Vek::Observation moved;
   Reaction moving( *rule, [&]( const Vek::Change& ) {
      if ( !moved.entity() ) {
         moved = std::move( last.observation() );
      }
   } );
   rule->ruleIdIs( 1 );
   rule->ruleIdIs( 2 );
   EXPECT_EQ( last.calls(), 2U );
   EXPECT_EQ( last.observation().entity(), nullptr );
   moved.end();
   rule->ruleIdIs( 3 );
   EXPECT_EQ( last.calls(), 2U );
   EXPECT_EQ( moving.calls(), 3U );
}

// With others before it and after it.
TEST( Observers, MovedObservationsGoOnWithTheOneAfterThem ) {
   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   Reaction last( *rule, []( const Vek::Change& ) {} );
   Reaction middle( *rule, []( const Vek::Change& ) {} );
   Vek::Observation moved;
   Reaction moving( *rule,
                    [&]( const Vek::Change& ) { moved = std::move( middle.observation() ); } );
   rule->ruleIdIs( 1 );
   EXPECT_EQ( middle.calls(), 1U );
   EXPECT_EQ( last.calls(), 1U );
   EXPECT_EQ( moved.entity(), rule.get() );
}

TEST( Observers, MovedToThemselvesOrFarFromADeliveryGoOn ) {
   const auto rule = ruleConfigFactory( keyOf( 1 ) );
   Reaction last( *rule, []( const Vek::Change& ) {} );
   Reaction middle( *rule, []( const Vek::Change& ) {} );
   Vek::Observation moved;
   Reaction moving( *rule, [&]( const Vek::Change& ) { moved = std::move( last.observation() ); } );
   Vek::Observation& same = middle.observation();
   middle.observation() = std::move( same );
   rule->ruleIdIs( 1 );
   EXPECT_EQ( middle.calls(), 1U );
   EXPECT_EQ( last.calls(), 1U );
   EXPECT_EQ( moved.entity(), rule.get() );
}

TEST( Observers, EndWithTheEntity ) {
   auto rule = ruleConfigFactory( keyOf( 1 ) );
   Reaction observer( *rule, []( const Vek::Change& ) {} );
   EXPECT_EQ( observer.observation().entity(), rule.get() );
   rule = nullptr;
   EXPECT_EQ( observer.observation().entity(), nullptr );
}

TEST( Observers, SeeAnAddedChildInItsPlaceAndARemovedOneOutOfIt ) {
   const auto config = configFactory( "config" );
   bool adds = true;
   Vek::Ptr< VrfRuleConfig > child;
   Reaction observer( *config, [&]( const Vek::Change& change ) {
      EXPECT_EQ( change.fieldId(), 259 );
      EXPECT_EQ( change.keyAs< U32 >(), 7U );
      EXPECT_EQ( change.oldValue, nullptr );
      if ( adds ) {
         child = config->vrfRuleConfig( 7 );
         ASSERT_TRUE( child );
         EXPECT_EQ( child->parent(), config.get() );
      } else {
         EXPECT_EQ( config->vrfRuleConfig( 7 ), nullptr );
         EXPECT_EQ( child->parent(), nullptr );
      }
   } );
   EXPECT_EQ( config->vrfRuleConfigIs( 7 ), child );
   adds = false;
   config->vrfRuleConfigDel( 7 );
   EXPECT_EQ( observer.calls(), 2U );
   EXPECT_EQ( child->useCount(), 1U );
}

TEST( Observers, MayRemoveTheChildThatWasJustAdded ) {
   const auto config = configFactory( "config" );
   Reaction observer( *config, [&]( const Vek::Change& change ) {
      config->vrfRuleConfigDel( change.keyAs< U32 >() );
   } );
   const auto child = config->vrfRuleConfigIs( 7 );
   ASSERT_TRUE( child );
   EXPECT_EQ( child->vrfId(), 7U );
   EXPECT_EQ( child->parent(), nullptr );
   EXPECT_TRUE( config->vrfRuleConfig().empty() );
   EXPECT_EQ( observer.calls(), 2U );
}

// Members that come while all are removed stay, and are not met again.
TEST( Observers, MayAddMembersWhileAllAreRemoved ) {
   const auto config = configFactory( "config" );
   for ( U64 i = 1; i <= 3; ++i ) {
      config->enabledIntfIs( intf( i ) );
   }
   Reaction observer( *config, [&]( const Vek::Change& ) {
      config->enabledIntfIs( intf( 9 ) );
      config->enabledIntfDel( intf( 3 ) );
   } );
   config->enabledIntfDelAll();
   EXPECT_EQ( config->enabledIntf().size(), 1U );
   EXPECT_TRUE( config->enabledIntf().contains( intf( 9 ) ) );
}

// The change drops the entity's last reference; the mutator still ends as it should.
template < typename T >
void expectEndsByItsObserver( Vek::Ptr< T > entity, void ( *change )( T& ) ) {
   const U64 live = Vek::TypeRegistry::liveInstances( T::type() );
   T& held = *entity;
   Reaction observer( held, [&]( const Vek::Change& ) { entity = nullptr; } );
   change( held );
   EXPECT_GT( observer.calls(), 0U );
   EXPECT_EQ( observer.observation().entity(), nullptr );
   EXPECT_EQ( Vek::TypeRegistry::liveInstances( T::type() ), live - 1 );
}

TEST( Observers, AreToldAfterOneThatDropsTheEntity ) {
   auto rule = ruleConfigFactory( keyOf( 1 ) );
   RuleConfig& held = *rule;
   Reaction last( held, [&]( const Vek::Change& ) { EXPECT_EQ( held.ruleId(), 5U ); } );
   Reaction dropping( held, [&]( const Vek::Change& ) { rule = nullptr; } );
   held.ruleIdIs( 5 );
   EXPECT_EQ( last.calls(), 1U );
   EXPECT_EQ( last.observation().entity(), nullptr );
}

TEST( Observers, MayDropTheEntityThatPublishes ) {
   const auto rule = [] { return ruleConfigFactory( keyOf( 1 ) ); };
   const auto filled = [&] {
      auto result = rule();
      result->matchSetIs( MatchComponent( tcpFlags ) );
      result->matchSetIs( MatchComponent( destPort ) );
      return result;
   };
   expectEndsByItsObserver< RuleConfig >( rule(), []( auto& e ) { e.ruleIdIs( 1 ); } );
   expectEndsByItsObserver< RuleConfig >(
      rule(), []( auto& e ) { e.matchSetIs( MatchComponent( port ) ); } );
   expectEndsByItsObserver< RuleConfig >( filled(), []( auto& e ) { e.matchSetDel( destPort ); } );
   expectEndsByItsObserver< RuleConfig >( filled(), []( auto& e ) { e.matchSetDelAll(); } );
   expectEndsByItsObserver< RuleConfig >(
      filled(), []( auto& e ) { EXPECT_EQ( e.sanitizeMatchSet(), invalid ); } );

   const auto vrf = [] {
      auto result = vrfRuleConfigFactory( 1 );
      result->ruleIs( keyOf( 1 ) );
      result->ruleIs( keyOf( 2 ) );
      return result;
   };
   expectEndsByItsObserver< VrfRuleConfig >(
      vrf(), []( auto& e ) { EXPECT_EQ( e.ruleIs( keyOf( 3 ) )->ruleKey(), keyOf( 3 ) ); } );
   expectEndsByItsObserver< VrfRuleConfig >( vrf(), []( auto& e ) { e.ruleDel( keyOf( 1 ) ); } );
   expectEndsByItsObserver< VrfRuleConfig >( vrf(),
                                             []( auto& e ) { e.ruleDel( e.rule().begin() ); } );
   expectEndsByItsObserver< VrfRuleConfig >( vrf(), []( auto& e ) { e.ruleDelAll(); } );

   const auto config = [] {
      auto result = configFactory( "config" );
      result->enabledIntfIs( intf( 1 ) );
      result->enabledIntfIs( intf( 2 ) );
      return result;
   };
   expectEndsByItsObserver< Config >( config(), []( auto& e ) { e.enabledIntfIs( intf( 3 ) ); } );
   expectEndsByItsObserver< Config >( config(), []( auto& e ) { e.enabledIntfDelAll(); } );
   expectEndsByItsObserver< Config >( config(), []( auto& e ) { e.vrfRuleConfigIs( 1 ); } );

   const auto policy = [] { return flowspecPolicyConfigFactory( "policy" ); };
   expectEndsByItsObserver< FlowspecPolicyConfig >( policy(),
                                                    []( auto& e ) { e.pmapTypeIs( "other", 4 ); } );
   expectEndsByItsObserver< FlowspecPolicyConfig >( policy(), []( auto& e ) { e.actionsDel(); } );
   auto without = policy();
   without->actionsDel();
   expectEndsByItsObserver< FlowspecPolicyConfig >(
      std::move( without ), []( auto& e ) { EXPECT_EQ( e.actionsIs( "new" )->name(), "new" ); } );
   expectEndsByItsObserver< FlowspecPolicyActionContainer >(
      flowspecPolicyActionContainerFactory( "actions" ), []( auto& e ) {
         EXPECT_EQ( e.dropActionIs( "drop", Osk::UniqueId( 1 ) )->name(), "drop" );
      } );
}

TEST( Parents, AreClearedOnRemovalAndByTheParentsEnd ) {
   auto config = configFactory( "config" );
   EXPECT_EQ( config->parent(), nullptr );
   const auto removed = config->vrfRuleConfigIs( 1 );
   const auto all = config->vrfRuleConfigIs( 2 );
   EXPECT_EQ( removed->parent(), config.get() );
   EXPECT_EQ( removed->parentReference(), config );
   config->vrfRuleConfigDel( 1 );
   EXPECT_EQ( removed->parent(), nullptr );
   EXPECT_EQ( all->parent(), config.get() );
   config->vrfRuleConfigDelAll();
   EXPECT_EQ( all->parent(), nullptr );

   const auto kept = config->vrfRuleConfigIs( 3 );
   const auto rule = kept->ruleIs( keyOf( 1 ) );
   const auto infeasible = kept->infeasibleRuleIs( keyOf( 1 ) );
   const auto orphan = config->vrfRuleConfigIs( 4 )->ruleIs( keyOf( 1 ) );
   config = nullptr;
   EXPECT_EQ( kept->parent(), nullptr );
   EXPECT_EQ( orphan->parent(), nullptr ) << "its parent went with the root";
   EXPECT_EQ( rule->parent(), kept.get() );
   EXPECT_EQ( infeasible->parent(), kept.get() );
   EXPECT_EQ( kept->rule( keyOf( 1 ) ), rule );
   kept->ruleDelAll();
   EXPECT_EQ( rule->parent(), nullptr );
   EXPECT_EQ( rule->useCount(), 1U );
   rule->ruleIdIs( 5 );
   EXPECT_EQ( rule->ruleId(), 5U );
}

TEST( Parents, OfPolicyActions ) {
   auto policy = flowspecPolicyConfigFactory( "policy" );
   const auto container = policy->actions();
   EXPECT_EQ( container->parent(), policy.get() );
   policy->actionsDel();
   EXPECT_EQ( container->parent(), nullptr );
   const auto second = policy->actionsIs( "second" );
   const auto action = second->dropActionIs( "drop", Osk::UniqueId( 1 ) );
   EXPECT_EQ( action->parent(), second.get() );
   policy = nullptr;
   EXPECT_EQ( second->parent(), nullptr );
   EXPECT_EQ( action->parent(), second.get() );
   second->dropActionDel( Osk::UniqueId( 1 ) );
   EXPECT_EQ( action->parent(), nullptr );
}

} // namespace
} // namespace Flowspec
