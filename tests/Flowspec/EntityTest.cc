#include "Flowspec/config/CliConfig.h"
#include "Flowspec/config/Config.h"
#include "Flowspec/policy/FlowspecPolicyConfig.h"
#include "Flowspec/status/Counter.h"
#include "Flowspec/status/Status.h"
#include "Vek/types/TypeRegistry.h"
#include "tests/support/AllocationCounter.h"

#include <algorithm>

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using Osk::UniqueId;

FlowspecKey keyOf( U32 vrfId ) {
   FlowspecKey key;
   key.vrfIdIs( vrfId );
   return key;
}

/// Counts the live instances of a type from where it was made.
class Live {
public:
   explicit Live( const Vek::TypeInfo& type ) : type_( type ), start_( now() ) {}
   S64 more() const { return static_cast< S64 >( now() - start_ ); }

private:
   U64 now() const { return Vek::TypeRegistry::liveInstances( type_ ); }

   const Vek::TypeInfo& type_;
   const U64 start_;
};

/// `make` gives a new entity, in whose collection nothing holds it.
template < typename Make >
void checkFactory( const Vek::TypeInfo& type, Make make ) {
   SCOPED_TRACE( type.name );
   const Live live( type );
   {
      const auto entity = make();
      ASSERT_TRUE( entity );
      EXPECT_EQ( entity->useCount(), 1U );
      EXPECT_EQ( entity->parent(), nullptr );
      EXPECT_EQ( &entity->typeInfo(), &type );
      EXPECT_EQ( live.more(), 1 );
      const auto second = make();
      EXPECT_NE( second, entity );
      EXPECT_EQ( live.more(), 2 );
      const auto reference = entity;
      EXPECT_EQ( entity->useCount(), 2U );
      EXPECT_EQ( live.more(), 2 );
   }
   EXPECT_EQ( live.more(), 0 );
}

TEST( Entity, FactoriesGiveOneReference ) {
   checkFactory( Config::type(), [] { return configFactory( "a" ); } );
   checkFactory( CliConfig::type(), [] { return cliConfigFactory( "a" ); } );
   checkFactory( VrfRuleConfig::type(), [] { return vrfRuleConfigFactory( 1 ); } );
   checkFactory( RuleConfig::type(), [] { return ruleConfigFactory( keyOf( 1 ) ); } );
   checkFactory( InfeasibleRule::type(), [] { return infeasibleRuleFactory( keyOf( 1 ) ); } );
   checkFactory( Status::type(), [] { return statusFactory( "a" ); } );
   checkFactory( Counter::type(), [] { return counterFactory( "a" ); } );
   checkFactory( VrfRuleStatus::type(), [] { return vrfRuleStatusFactory( 1 ); } );
   checkFactory( RuleStatus::type(), [] { return ruleStatusFactory( keyOf( 1 ) ); } );
   checkFactory( AfIntfColl::type(),
                 [] { return afIntfCollFactory( Zorv::AddressFamily::ipv6 ); } );
   checkFactory( InterfaceSet::type(), [] { return interfaceSetFactory( 1 ); } );
   checkFactory( FlowspecPolicyConfig::type(), [] { return flowspecPolicyConfigFactory( "a" ); } );
   checkFactory( FlowspecPolicyActionContainer::type(),
                 [] { return flowspecPolicyActionContainerFactory( "a" ); } );
   checkFactory( FlowspecRedirectVrfRtAction::type(),
                 [] { return flowspecRedirectVrfRtActionFactory( "a", UniqueId( 1 ), 5 ); } );
}

TEST( Entity, ConstructorFormsMakeWhatFactoriesMake ) {
   checkFactory( Config::type(), [] { return ConfigIs( "a" ); } );
   checkFactory( CliConfig::type(), [] { return CliConfigIs( "a" ); } );
   checkFactory( VrfRuleConfig::type(), [] { return VrfRuleConfigIs( 1 ); } );
   checkFactory( RuleConfig::type(), [] { return RuleConfigIs( keyOf( 1 ) ); } );
   checkFactory( InfeasibleRule::type(), [] { return InfeasibleRuleIs( keyOf( 1 ) ); } );
   checkFactory( Status::type(), [] { return StatusIs( "a" ); } );
   checkFactory( Counter::type(), [] { return CounterIs( "a" ); } );
   checkFactory( VrfRuleStatus::type(), [] { return VrfRuleStatusIs( 1 ); } );
   checkFactory( RuleStatus::type(), [] { return RuleStatusIs( keyOf( 1 ) ); } );
   checkFactory( AfIntfColl::type(), [] { return AfIntfCollIs( Zorv::AddressFamily::ipv6 ); } );
   checkFactory( InterfaceSet::type(), [] { return InterfaceSetIs( 1 ); } );
   EXPECT_EQ( StatusIs( "here" )->name(), "here" );
   EXPECT_EQ( CounterIs( "there" )->name(), "there" );
   EXPECT_EQ( RuleStatusIs( keyOf( 7 ) )->key(), keyOf( 7 ) );
   EXPECT_EQ( VrfRuleStatusIs( 7 )->vrfId(), 7U );
   EXPECT_EQ( AfIntfCollIs( Zorv::AddressFamily::ipv4 )->addressFamily(),
              Zorv::AddressFamily::ipv4 );
}

TEST( Entity, IsConstructedFromAnArrayOfArguments ) {
   Vek::String name = "a";
   U32 vrfId = 7;
   FlowspecKey key = keyOf( 7 );
   Zorv::AddressFamily family = Zorv::AddressFamily::ipv6;
   U16 setId = 9;
   UniqueId id( 1 );
   U64 number = 5;
   PolicyMap::PoliceRate rate( 8000 );
   PolicyMap::PoliceBurstSize burstSize( 1500 );
   PolicyMap::Dscp dscp( 46 );
   struct Row {
      std::string_view type;
      std::vector< void* > arguments;
   };
   const Row rows[] = {
      { "Flowspec::Config", { &name } },
      { "Flowspec::CliConfig", { &name } },
      { "Flowspec::VrfRuleConfig", { &vrfId } },
      { "Flowspec::RuleConfig", { &key } },
      { "Flowspec::InfeasibleRule", { &key } },
      { "Flowspec::Status", { &name } },
      { "Flowspec::Counter", { &name } },
      { "Flowspec::VrfRuleStatus", { &vrfId } },
      { "Flowspec::RuleStatus", { &key } },
      { "Flowspec::AfIntfColl", { &family } },
      { "Flowspec::InterfaceSet", { &setId } },
      { "Flowspec::FlowspecPolicyConfig", { &name } },
      { "Flowspec::FlowspecPolicyActionContainer", { &name } },
      { "Flowspec::FlowspecRedirectVrfRtAction", { &name, &id, &number } },
      { "PolicyMap::DropAction", { &name, &id } },
      { "PolicyMap::PoliceAction", { &name, &id, &rate, &burstSize } },
      { "PolicyMap::SetDscpAction", { &name, &id, &dscp } },
      { "PolicyMap::NexthopAction", { &name, &id } },
   };
   for ( const Row& row : rows ) {
      const Vek::TypeInfo& type = *Vek::TypeRegistry::find( row.type );
      ASSERT_TRUE( type.isEntity() );
      ASSERT_EQ( type.parameters.size(), row.arguments.size() );
      checkFactory( type, [&] { return type.construct( row.arguments.data() ); } );
   }
   const auto construct = [&]( std::string_view type ) {
      const Row& row = *std::ranges::find( rows, type, &Row::type );
      return Vek::TypeRegistry::find( type )->construct( row.arguments.data() );
   };
   const auto named = construct( "Flowspec::Config" );
   EXPECT_EQ( dynamic_cast< Config& >( *named ).name(), "a" );
   const auto vrf = construct( "Flowspec::VrfRuleConfig" );
   EXPECT_EQ( dynamic_cast< VrfRuleConfig& >( *vrf ).vrfId(), 7U );
   const auto rule = construct( "Flowspec::RuleConfig" );
   EXPECT_EQ( dynamic_cast< RuleConfig& >( *rule ).ruleKey(), key );
   const auto status = construct( "Flowspec::RuleStatus" );
   EXPECT_EQ( dynamic_cast< RuleStatus& >( *status ).key(), key );
   const auto active = construct( "Flowspec::AfIntfColl" );
   EXPECT_EQ( dynamic_cast< AfIntfColl& >( *active ).addressFamily(), family );
   const auto set = construct( "Flowspec::InterfaceSet" );
   EXPECT_EQ( dynamic_cast< InterfaceSet& >( *set ).interfaceSetId(), 9U );
   const auto police = construct( "PolicyMap::PoliceAction" );
   EXPECT_EQ( dynamic_cast< PolicyMap::PoliceAction& >( *police ).burstSize(), burstSize );
   const auto redirect = construct( "Flowspec::FlowspecRedirectVrfRtAction" );
   EXPECT_EQ( dynamic_cast< FlowspecRedirectVrfRtAction& >( *redirect ).vrfRt(), 5U );
}

TEST( Entity, ParametersHaveTypes ) {
   const auto parameters = []( std::string_view type ) {
      Vek::String text;
      for ( const Vek::ValueType* const parameter : Vek::TypeRegistry::find( type )->parameters ) {
         text += Vek::concat( parameter->name, ' ' );
      }
      return text;
   };
   EXPECT_EQ( parameters( "Flowspec::Config" ), "Vek::String " );
   EXPECT_EQ( parameters( "Flowspec::VrfRuleConfig" ), "U32 " );
   EXPECT_EQ( parameters( "Flowspec::RuleConfig" ), "Flowspec::FlowspecKey " );
   EXPECT_EQ( parameters( "Flowspec::InfeasibleRule" ), "Flowspec::FlowspecKey " );
   EXPECT_EQ( parameters( "Flowspec::AfIntfColl" ), "Zorv::AddressFamily " );
   EXPECT_EQ( parameters( "Flowspec::InterfaceSet" ), "U16 " );
   EXPECT_EQ( parameters( "Flowspec::FlowspecRedirectVrfRtAction" ),
              "Vek::String Osk::UniqueId U64 " );
}

TEST( Entity, ChildrenLiveAsLongAsSomethingHoldsThem ) {
   const Live configs( Config::type() );
   const Live vrfs( VrfRuleConfig::type() );
   const Live rules( RuleConfig::type() );
   const Live infeasible( InfeasibleRule::type() );
   Vek::Ptr< RuleConfig > kept;
   {
      const auto config = configFactory( "rules" );
      for ( U32 vrfId = 0; vrfId < 3; ++vrfId ) {
         const auto vrf = config->vrfRuleConfigIs( vrfId );
         EXPECT_EQ( vrf->useCount(), 2U );
         for ( U32 i = 0; i < 4; ++i ) {
            kept = vrf->ruleIs( keyOf( i ) );
            vrf->infeasibleRuleIs( keyOf( i ) );
         }
      }
      EXPECT_EQ( vrfs.more(), 3 );
      EXPECT_EQ( rules.more(), 12 );
      EXPECT_EQ( infeasible.more(), 12 );
      config->vrfRuleConfig( 0 )->ruleDel( keyOf( 0 ) );
      config->vrfRuleConfig( 0 )->infeasibleRuleDelAll();
      EXPECT_EQ( rules.more(), 11 );
      EXPECT_EQ( infeasible.more(), 8 );
      config->vrfRuleConfigDel( 1 );
      EXPECT_EQ( vrfs.more(), 2 );
      EXPECT_EQ( rules.more(), 7 );
      EXPECT_EQ( infeasible.more(), 4 );
   }
   EXPECT_EQ( configs.more(), 0 );
   EXPECT_EQ( vrfs.more(), 0 );
   EXPECT_EQ( rules.more(), 1 ) << "the one that is held";
   EXPECT_EQ( infeasible.more(), 0 );
   EXPECT_EQ( kept->ruleKey(), keyOf( 3 ) );
   kept = nullptr;
   EXPECT_EQ( rules.more(), 0 );
}

TEST( Entity, PolicyActionsLiveWithTheirContainer ) {
   const Live containers( FlowspecPolicyActionContainer::type() );
   const Live drops( PolicyMap::DropAction::type() );
   {
      const auto policy = flowspecPolicyConfigFactory( "policy" );
      EXPECT_EQ( containers.more(), 1 );
      policy->actions()->dropActionIs( "a", UniqueId( 1 ) );
      policy->actions()->dropActionIs( "a", UniqueId( 1 ) );
      policy->actions()->dropActionIs( "b", UniqueId( 2 ) );
      EXPECT_EQ( drops.more(), 2 );
   }
   EXPECT_EQ( containers.more(), 0 );
   EXPECT_EQ( drops.more(), 0 );
}

// Statuses of rules are on the heap, one by one; all others share the pages of their types.
TEST( Entity, RuleStatusTakesTheHeap ) {
   const Vek::Ptr< RuleStatus > status = ruleStatusFactory( keyOf( 1 ) );
   const auto another = vrfRuleStatusFactory( 1 );
   const Live statuses( RuleStatus::type() );
   const U64 bytes = RuleStatus::type().allocator->bytes();
   {
      const TestSupport::AllocationCounter allocations;
      const auto onTheHeap = ruleStatusFactory( keyOf( 1 ) );
      EXPECT_EQ( allocations.count(), 1U );
      EXPECT_EQ( statuses.more(), 1 );
      EXPECT_EQ( RuleStatus::type().allocator->bytes(), bytes + sizeof( RuleStatus ) );
      const TestSupport::AllocationCounter slabs;
      const auto inAPage = vrfRuleStatusFactory( 1 );
      EXPECT_EQ( slabs.count(), Mell::slabsUseHeap ? 1U : 0U );
   }
   EXPECT_EQ( statuses.more(), 0 );
   EXPECT_EQ( RuleStatus::type().allocator->bytes(), bytes );
}

TEST( Entity, ValuesHaveNoInstancesToCount ) {
   EXPECT_EQ(
      Vek::TypeRegistry::liveInstances( *Vek::TypeRegistry::find( "Flowspec::NumericalRange" ) ),
      0U );
}

} // namespace
} // namespace Flowspec
