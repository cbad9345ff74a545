#include "Flowspec/status/Status.h"
#include "Flowspec/status/Counter.h"
#include "tests/support/Reaction.h"

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

using TestSupport::Reaction;
using Zorv::AddressFamily;
using Zorv::IntfId;

FlowspecKey keyOf( U32 vrfId ) {
   FlowspecKey key;
   key.vrfIdIs( vrfId );
   return key;
}

TEST( Status, StartsWithItsNameAndDefaults ) {
   const auto status = statusFactory( "status" );
   EXPECT_EQ( status->name(), "status" );
   EXPECT_TRUE( status->vrfRuleStatus().empty() );
   EXPECT_EQ( status->counterUpdateTime(), 0 );
   EXPECT_FALSE( status->flowspecSupported() );
   EXPECT_TRUE( status->unsupportedQual().empty() );
   EXPECT_TRUE( status->interfaceSet().empty() );
}

TEST( Status, RemovingAVrfRemovesAllBelow ) {
   const auto status = statusFactory( "status" );
   const auto live = [] {
      return RuleStatus::type().allocator->live() + AfIntfColl::type().allocator->live() +
             VrfRuleStatus::type().allocator->live();
   };
   const U64 before = live();
   for ( U32 vrfId = 0; vrfId < 2; ++vrfId ) {
      const auto vrf = status->vrfRuleStatusIs( vrfId );
      for ( U32 i = 0; i < 100; ++i ) {
         vrf->ruleStatusIs( keyOf( i ) );
      }
      vrf->activeIntfPerAfIs( AddressFamily::ipv4 );
   }
   EXPECT_EQ( live(), before + 204 );
   const auto kept = status->vrfRuleStatus( 1 )->ruleStatus( keyOf( 5 ) );
   status->vrfRuleStatusDel( 1 );
   EXPECT_EQ( live(), before + 102 + 1 );
   EXPECT_EQ( kept->parent(), nullptr ) << "its parent is gone";
   EXPECT_EQ( kept->key(), keyOf( 5 ) );
   status->vrfRuleStatusDelAll();
   EXPECT_EQ( live(), before + 1 );
}

// The change drops the entity's last reference; the mutator still ends as it should.
template < typename T >
void expectEndsByItsObserver( Vek::Ptr< T > entity, void ( *change )( T& ) ) {
   const U64 live = T::type().allocator->live();
   T& held = *entity;
   Reaction observer( held, [&]( const Vek::Change& ) { entity = nullptr; } );
   change( held );
   EXPECT_GT( observer.calls(), 0U );
   EXPECT_EQ( observer.observation().entity(), nullptr );
   EXPECT_EQ( T::type().allocator->live(), live - 1 );
}

TEST( Status, ObserversMayDropTheEntityThatPublishes ) {
   const auto rule = [] { return ruleStatusFactory( keyOf( 1 ) ); };
   expectEndsByItsObserver< RuleStatus >( rule(), []( auto& e ) { e.packetCountIs( 1 ); } );
   expectEndsByItsObserver< RuleStatus >( rule(), []( auto& e ) { e.errorReasonIs( "full" ); } );
   const auto vrf = [] {
      auto result = vrfRuleStatusFactory( 1 );
      for ( U32 i = 1; i <= 2; ++i ) {
         result->ruleStatusIs( keyOf( i ) );
         result->intfErrorIs( IntfErrorKey( IntfId( i ), AddressFamily::ipv4 ), "down" );
      }
      return result;
   };
   expectEndsByItsObserver< VrfRuleStatus >(
      vrf(), []( auto& e ) { EXPECT_EQ( e.ruleStatusIs( keyOf( 3 ) )->key(), keyOf( 3 ) ); } );
   expectEndsByItsObserver< VrfRuleStatus >( vrf(), []( auto& e ) { e.ruleStatusDelAll(); } );
   expectEndsByItsObserver< VrfRuleStatus >(
      vrf(), []( auto& e ) { e.ruleStatusDel( e.ruleStatus().begin() ); } );
   expectEndsByItsObserver< VrfRuleStatus >( vrf(), []( auto& e ) { e.intfErrorDelAll(); } );
   expectEndsByItsObserver< VrfRuleStatus >(
      vrf(), []( auto& e ) { e.intfErrorIs( e.intfError().begin()->first, "up" ); } );
   expectEndsByItsObserver< Status >( statusFactory( "a" ),
                                      []( auto& e ) { e.interfaceSetIs( 1 ); } );
   expectEndsByItsObserver< Status >( statusFactory( "a" ),
                                      []( auto& e ) { e.unsupportedQualIs( UnsupportedQual() ); } );
   expectEndsByItsObserver< InterfaceSet >( interfaceSetFactory( 1 ),
                                            []( auto& e ) { e.intfIs( IntfId( 1 ) ); } );
   const auto counter = [] {
      auto result = counterFactory( "a" );
      result->snapshotIs( keyOf( 1 ), CounterVersion() );
      result->snapshotIs( keyOf( 2 ), CounterVersion() );
      return result;
   };
   expectEndsByItsObserver< Counter >(
      counter(), []( auto& e ) { e.snapshotIs( keyOf( 1 ), CounterVersion() ); } );
   expectEndsByItsObserver< Counter >(
      counter(), []( auto& e ) { e.snapshotIs( keyOf( 3 ), CounterVersion() ); } );
   expectEndsByItsObserver< Counter >( counter(), []( auto& e ) { e.snapshotDelAll(); } );
}

// What is told of is a copy: the member that the key was taken from may go meanwhile.
TEST( Status, ObserversMayRemoveTheMemberThatChanged ) {
   const auto counter = counterFactory( "counters" );
   FlowspecKey large;
   for ( U32 index = 0; index < 50; ++index ) {
      large.matchOpValIs( index, MatchOpVal( index ) );
   }
   counter->snapshotIs( large, CounterVersion() );
   Reaction last( *counter, [&]( const Vek::Change& change ) {
      EXPECT_EQ( change.keyAs< FlowspecKey >(), large );
   } );
   Reaction removes( *counter, [&]( const Vek::Change& change ) {
      counter->snapshotDel( change.keyAs< FlowspecKey >() );
   } );
   counter->snapshotIs( counter->snapshot().begin()->first, CounterVersion() );
   EXPECT_TRUE( counter->snapshot().empty() );
   EXPECT_EQ( last.calls(), 2U );
}

} // namespace
} // namespace Flowspec
