#include "Flowspec/policy/FlowspecPolicyConfig.h"

#include "Vek/types/TypeRegistry.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/ExpectFailure.h"

namespace Flowspec {
namespace {

using Osk::UniqueId;
using PolicyMap::Dscp;
using PolicyMap::PoliceBurstSize;
using PolicyMap::PoliceRate;
using testing::ElementsAre;
using testing::IsEmpty;

using Container = FlowspecPolicyActionContainer;

/// One kind of actions: its operations with the arguments `argument` or, when it has two, that one
/// and `second`. A kind takes as many of them as `arguments` says.
struct Kind {
   const char* row; ///< field id and name
   const char* type;
   U32 number;
   unsigned arguments;
   Vek::Ptr< PolicyMap::Action > ( *is )( Container&, const char* name, U64 id, unsigned argument,
                                          unsigned second );
   Vek::Ptr< PolicyMap::Action > ( *find )( const Container&, U64 id );
   void ( *del )( Container&, U64 id );
   void ( *delAll )( Container& );
   U32 ( *size )( const Container& );
};

constexpr Kind kinds[] = {
   { "258 dropAction", "PolicyMap::DropAction", 1, 0,
     []( Container& c, const char* name, U64 id, unsigned, unsigned )
        -> Vek::Ptr< PolicyMap::Action > { return c.dropActionIs( name, UniqueId( id ) ); },
     []( const Container& c, U64 id ) -> Vek::Ptr< PolicyMap::Action > {
        return c.dropAction( UniqueId( id ) );
     },
     []( Container& c, U64 id ) { c.dropActionDel( UniqueId( id ) ); },
     []( Container& c ) { c.dropActionDelAll(); },
     []( const Container& c ) { return c.dropAction().size(); } },
   { "259 policeAction", "PolicyMap::PoliceAction", 2, 2,
     []( Container& c, const char* name, U64 id, unsigned rate,
         unsigned burst ) -> Vek::Ptr< PolicyMap::Action > {
        return c.policeActionIs( name, UniqueId( id ), PoliceRate( rate ),
                                 PoliceBurstSize( burst ) );
     },
     []( const Container& c, U64 id ) -> Vek::Ptr< PolicyMap::Action > {
        return c.policeAction( UniqueId( id ) );
     },
     []( Container& c, U64 id ) { c.policeActionDel( UniqueId( id ) ); },
     []( Container& c ) { c.policeActionDelAll(); },
     []( const Container& c ) { return c.policeAction().size(); } },
   { "260 setDscpAction", "PolicyMap::SetDscpAction", 3, 1,
     []( Container& c, const char* name, U64 id, unsigned dscp,
         unsigned ) -> Vek::Ptr< PolicyMap::Action > {
        return c.setDscpActionIs( name, UniqueId( id ), Dscp( dscp ) );
     },
     []( const Container& c, U64 id ) -> Vek::Ptr< PolicyMap::Action > {
        return c.setDscpAction( UniqueId( id ) );
     },
     []( Container& c, U64 id ) { c.setDscpActionDel( UniqueId( id ) ); },
     []( Container& c ) { c.setDscpActionDelAll(); },
     []( const Container& c ) { return c.setDscpAction().size(); } },
   { "261 setNexthopAction", "PolicyMap::NexthopAction", 4, 0,
     []( Container& c, const char* name, U64 id, unsigned, unsigned )
        -> Vek::Ptr< PolicyMap::Action > { return c.setNexthopActionIs( name, UniqueId( id ) ); },
     []( const Container& c, U64 id ) -> Vek::Ptr< PolicyMap::Action > {
        return c.setNexthopAction( UniqueId( id ) );
     },
     []( Container& c, U64 id ) { c.setNexthopActionDel( UniqueId( id ) ); },
     []( Container& c ) { c.setNexthopActionDelAll(); },
     []( const Container& c ) { return c.setNexthopAction().size(); } },
   { "262 redirectVrfRtAction", "Flowspec::FlowspecRedirectVrfRtAction", 37, 1,
     []( Container& c, const char* name, U64 id, unsigned vrfRt,
         unsigned ) -> Vek::Ptr< PolicyMap::Action > {
        return c.redirectVrfRtActionIs( name, UniqueId( id ), vrfRt );
     },
     []( const Container& c, U64 id ) -> Vek::Ptr< PolicyMap::Action > {
        return c.redirectVrfRtAction( UniqueId( id ) );
     },
     []( Container& c, U64 id ) { c.redirectVrfRtActionDel( UniqueId( id ) ); },
     []( Container& c ) { c.redirectVrfRtActionDelAll(); },
     []( const Container& c ) { return c.redirectVrfRtAction().size(); } },
};

auto raisesReinstantiation( const Kind& kind ) {
   return testing::ThrowsMessage< Vek::ReinstantiationException >( testing::StrEq(
      Vek::concat( kind.type, " already exists with other constructor arguments" ) ) );
}

TEST( FlowspecPolicyActionContainer, CreatesOncePerIdentifier ) {
   for ( const Kind& kind : kinds ) {
      SCOPED_TRACE( kind.row );
      const auto container = flowspecPolicyActionContainerFactory( "actions" );
      TestSupport::ChangeRecorder changes( *container );
      EXPECT_EQ( kind.find( *container, 1 ), nullptr );
      const auto action = kind.is( *container, "a", 1, 10, 20 );
      EXPECT_THAT( changes.take(), ElementsAre( Vek::concat( kind.row, "[0000000000000001]" ) ) );
      EXPECT_EQ( action->name(), "a" );
      EXPECT_EQ( action->id(), UniqueId( 1 ) );
      EXPECT_EQ( action->actionType(), kind.number );
      EXPECT_EQ( action->typeInfo().name, kind.type );
      EXPECT_EQ( action->parent(), container.get() );
      EXPECT_EQ( action->useCount(), 2U );
      EXPECT_EQ( kind.is( *container, "a", 1, 10, 20 ), action );
      EXPECT_EQ( kind.find( *container, 1 ), action );
      EXPECT_EQ( kind.find( *container, 2 ), nullptr );
      EXPECT_THAT( changes.take(), IsEmpty() );
      EXPECT_NE( kind.is( *container, "a", 2, 10, 20 ), action ) << "another identifier";
      EXPECT_EQ( kind.size( *container ), 2U );
   }
}

TEST( FlowspecPolicyActionContainer, RefusesToReinstantiate ) {
   for ( const Kind& kind : kinds ) {
      SCOPED_TRACE( kind.row );
      const auto container = flowspecPolicyActionContainerFactory( "actions" );
      const auto action = kind.is( *container, "a", 1, 10, 20 );
      TestSupport::ChangeRecorder changes( *container );
      EXPECT_THAT( [&] { kind.is( *container, "b", 1, 10, 20 ); }, raisesReinstantiation( kind ) );
      EXPECT_THAT( [&] { kind.is( *container, "", 1, 10, 20 ); }, raisesReinstantiation( kind ) );
      if ( kind.arguments > 0 ) {
         EXPECT_THAT( [&] { kind.is( *container, "a", 1, 11, 20 ); },
                      raisesReinstantiation( kind ) );
      }
      if ( kind.arguments > 1 ) {
         EXPECT_THAT( [&] { kind.is( *container, "a", 1, 10, 21 ); },
                      raisesReinstantiation( kind ) );
      }
      EXPECT_THAT( changes.take(), IsEmpty() );
      EXPECT_EQ( kind.size( *container ), 1U );
      EXPECT_EQ( kind.find( *container, 1 ), action );
      EXPECT_EQ( Vek::TypeRegistry::liveInstances( action->typeInfo() ), 1U );

      // Once deleted, it can be made anew with other arguments.
      kind.del( *container, 1 );
      EXPECT_EQ( kind.is( *container, "b", 1, 11, 21 )->name(), "b" );
   }
}

TEST( FlowspecPolicyActionContainer, Removal ) {
   for ( const Kind& kind : kinds ) {
      SCOPED_TRACE( kind.row );
      const auto container = flowspecPolicyActionContainerFactory( "actions" );
      for ( const U64 id : { U64{ 3 }, U64{ 1 }, U64{ 2 } } ) {
         kind.is( *container, "a", id, 10, 20 );
      }
      const auto kept = kind.find( *container, 2 );
      TestSupport::ChangeRecorder changes( *container );
      kind.del( *container, 9 );
      EXPECT_THAT( changes.take(), IsEmpty() );
      kind.del( *container, 2 );
      EXPECT_THAT( changes.take(), ElementsAre( Vek::concat( kind.row, "[0000000000000002]" ) ) );
      EXPECT_EQ( kept->parent(), nullptr );
      EXPECT_EQ( kept->useCount(), 1U );
      kind.delAll( *container );
      EXPECT_THAT( changes.take(), ElementsAre( Vek::concat( kind.row, "[0000000000000001]" ),
                                                Vek::concat( kind.row, "[0000000000000003]" ) ) );
      kind.delAll( *container );
      EXPECT_THAT( changes.take(), IsEmpty() );
      EXPECT_EQ( kind.size( *container ), 0U );
   }
}

TEST( PolicyActions, AreEqualWhenKindAndArgumentsAre ) {
   for ( const Kind& a : kinds ) {
      for ( const Kind& b : kinds ) {
         SCOPED_TRACE( Vek::concat( a.row, " and ", b.row ) );
         const auto container = flowspecPolicyActionContainerFactory( "actions" );
         const auto one = a.is( *container, "one", 1, 10, 20 );
         EXPECT_EQ( one->equalTo( *b.is( *container, "two", 2, 10, 20 ) ), a.row == b.row );
         EXPECT_EQ( one->equalTo( *b.is( *container, "two", 3, 11, 20 ) ),
                    a.row == b.row && a.arguments < 1 );
         EXPECT_EQ( one->equalTo( *b.is( *container, "two", 4, 10, 21 ) ),
                    a.row == b.row && a.arguments < 2 );
      }
   }
}

TEST( PolicyActions, GiveTheirArguments ) {
   const auto container = flowspecPolicyActionContainerFactory( "actions" );
   const auto police =
      container->policeActionIs( "p", UniqueId( 1 ), PoliceRate( 8000 ), PoliceBurstSize( 1500 ) );
   EXPECT_EQ( police->rate(), PoliceRate( 8000 ) );
   EXPECT_EQ( police->burstSize(), PoliceBurstSize( 1500 ) );
   EXPECT_EQ( container->setDscpActionIs( "d", UniqueId( 1 ), Dscp( 46 ) )->dscp(), Dscp( 46 ) );
   EXPECT_EQ( container->redirectVrfRtActionIs( "r", UniqueId( 1 ), ~U64{ 0 } )->vrfRt(),
              ~U64{ 0 } );
}

TEST( PolicyActions, DscpIsAtMostSixBits ) {
   EXPECT_EQ( Dscp().value(), 0U );
   EXPECT_EQ( Dscp( 63 ).stringValue(), "63" );
   EXPECT_THAT( [] { Dscp( 64 ); },
                TestSupport::raisesRange( "PolicyMap::Dscp: 64 is not a DSCP" ) );
   EXPECT_THAT( [] { Dscp( 256 ); },
                TestSupport::raisesRange( "PolicyMap::Dscp: 256 is not a DSCP" ) );
}

TEST( FlowspecPolicyConfig, HoldsAnEmptyContainerFromTheBeginning ) {
   const auto policy = flowspecPolicyConfigFactory( "policy" );
   EXPECT_EQ( policy->name(), "policy" );
   EXPECT_EQ( policy->cmapType(), "FlowspecPolicy" );
   EXPECT_EQ( policy->pmapType(), "FlowspecPolicy" );
   EXPECT_EQ( policy->mapType(), 3U );
   ASSERT_TRUE( policy->actions() );
   EXPECT_EQ( policy->actions()->name(), "FlowspecPolicy" );
   EXPECT_EQ( policy->actions()->parent(), policy.get() );
   for ( const Kind& kind : kinds ) {
      EXPECT_EQ( kind.size( *policy->actions() ), 0U );
   }
}

TEST( FlowspecPolicyConfig, KeepsItsContainerWhateverTheName ) {
   const auto policy = flowspecPolicyConfigFactory( "policy" );
   const auto actions = policy->actions();
   TestSupport::ChangeRecorder changes( *policy );
   EXPECT_EQ( policy->actionsIs( "FlowspecPolicy" ), actions );
   EXPECT_EQ( policy->actionsIs( "other" ), actions );
   EXPECT_EQ( actions->name(), "FlowspecPolicy" );
   EXPECT_THAT( changes.take(), IsEmpty() );
   policy->actionsDel();
   EXPECT_THAT( changes.take(), ElementsAre( "261 actions" ) );
   EXPECT_EQ( policy->actions(), nullptr );
   policy->actionsDel();
   EXPECT_THAT( changes.take(), IsEmpty() );
   const auto made = policy->actionsIs( "other" );
   EXPECT_THAT( changes.take(), ElementsAre( "261 actions" ) );
   EXPECT_EQ( made, policy->actions() );
   EXPECT_NE( made, actions );
   EXPECT_EQ( made->name(), "other" );
}

TEST( FlowspecPolicyConfig, PublishesItsMapTypes ) {
   const auto policy = flowspecPolicyConfigFactory( "policy" );
   TestSupport::ChangeRecorder changes( *policy );
   policy->cmapTypeIs( "FlowspecPolicy" );
   policy->pmapTypeIs( "FlowspecPolicy", 3 );
   policy->cmapTypeIs( policy->pmapType() );
   EXPECT_THAT( changes.take(), IsEmpty() );
   policy->cmapTypeIs( "c" );
   EXPECT_THAT( changes.take(), ElementsAre( "258 cmapType was FlowspecPolicy" ) );
   policy->pmapTypeIs( "p", 3 );
   EXPECT_THAT( changes.take(), ElementsAre( "259 pmapType was FlowspecPolicy" ) );
   policy->pmapTypeIs( policy->pmapType(), 4 );
   EXPECT_THAT( changes.take(), ElementsAre( "260 mapType was 3" ) );
   policy->pmapTypeIs( "q", 5 );
   EXPECT_THAT( changes.take(), ElementsAre( "259 pmapType was p", "260 mapType was 4" ) );
}

TEST( FlowspecRedirectVrfRtAction, IsMadeByItsFactory ) {
   const auto action = flowspecRedirectVrfRtActionFactory( "r", UniqueId( 7 ), 5 );
   EXPECT_EQ( action->useCount(), 1U );
   EXPECT_EQ( action->parent(), nullptr );
   EXPECT_EQ( action->name(), "r" );
   EXPECT_EQ( action->id(), UniqueId( 7 ) );
   EXPECT_EQ( action->actionType(), 37U );
   EXPECT_EQ( action->vrfRt(), 5U );
   EXPECT_TRUE( action->equalTo( *flowspecRedirectVrfRtActionFactory( "s", UniqueId( 8 ), 5 ) ) );
   EXPECT_FALSE( action->equalTo( *flowspecRedirectVrfRtActionFactory( "r", UniqueId( 7 ), 6 ) ) );
}

} // namespace
} // namespace Flowspec
