#include "Flowspec/status/VrfRuleStatus.h"
#include "tests/support/EntangledKeys.h"
#include "tests/support/KeyGenerator.h"
#include "tests/support/Reaction.h"

#include <algorithm>
#include <iterator>

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

using Zorv::AddressFamily;
using Zorv::IntfId;

std::vector< FlowspecKey > keysOf( const VrfRuleStatus& vrf ) {
   std::vector< FlowspecKey > keys;
   for ( const auto& status : vrf.ruleStatus() ) {
      keys.push_back( status->key() );
   }
   return keys;
}

TEST( VrfRuleStatus, StartsWithItsVrfAndNothingElse ) {
   const auto vrf = vrfRuleStatusFactory( 7 );
   EXPECT_EQ( vrf->vrfId(), 7U );
   EXPECT_TRUE( vrf->activeIntfPerAf().empty() );
   EXPECT_TRUE( vrf->intfError().empty() );
   EXPECT_TRUE( vrf->ruleStatus().empty() );
   EXPECT_EQ( vrf->activeIntfPerAf( AddressFamily::ipv4 ), nullptr );
   EXPECT_EQ( vrf->intfError( IntfErrorKey() ), "" );
   EXPECT_EQ( vrf->ruleStatus( FlowspecKey() ), nullptr );
   EXPECT_TRUE( vrf->activeIntfPerAf().empty() && vrf->intfError().empty() &&
                vrf->ruleStatus().empty() )
      << "a look-up creates nothing";
}

TEST( VrfRuleStatus, KeysThatAreMutuallyLessAreFoundErasedAndInsertedAgain ) {
   const std::vector< FlowspecKey > keys = TestSupport::entangledKeys();
   ASSERT_TRUE( std::ranges::any_of( keys, [&]( const FlowspecKey& a ) {
      return std::ranges::any_of( keys, [&]( const FlowspecKey& b ) { return a < b && b < a; } );
   } ) );
   const auto vrf = vrfRuleStatusFactory( 1 );
   std::vector< Vek::Ptr< RuleStatus > > statuses;
   for ( const FlowspecKey& key : keys ) {
      statuses.push_back( vrf->ruleStatusIs( key ) );
   }
   ASSERT_EQ( vrf->ruleStatus().size(), keys.size() );
   for ( std::size_t i = 0; i < keys.size(); ++i ) {
      EXPECT_EQ( vrf->ruleStatus( keys[i] ), statuses[i] ) << i;
      EXPECT_EQ( vrf->ruleStatusIs( keys[i] ), statuses[i] ) << i;
      EXPECT_EQ( statuses[i]->parent(), vrf.get() ) << i;
   }
   for ( std::size_t i = 0; i < keys.size(); ++i ) {
      vrf->ruleStatusDel( keys[i] );
      EXPECT_EQ( vrf->ruleStatus( keys[i] ), nullptr ) << i;
      EXPECT_EQ( statuses[i]->parent(), nullptr ) << i;
      EXPECT_NE( vrf->ruleStatusIs( keys[i] ), statuses[i] ) << i;
      EXPECT_EQ( vrf->ruleStatus().size(), keys.size() );
   }
   for ( const FlowspecKey& key : keys ) {
      vrf->ruleStatusDel( key );
   }
   EXPECT_TRUE( vrf->ruleStatus().empty() );
}

TEST( VrfRuleStatus, RulesAscendWhateverTheOrderOfInsertion ) {
   std::vector< FlowspecKey > keys = TestSupport::entangledKeys();
   TestSupport::KeyGenerator generator( 5575 );
   for ( unsigned i = 0; i < 50; ++i ) {
      keys.push_back( generator.realisticKey() );
   }
   std::vector< FlowspecKey > first;
   for ( unsigned round = 0; round < 50; ++round ) {
      for ( std::size_t i = keys.size(); i > 1; --i ) {
         std::swap( keys[i - 1], keys[generator.below( i )] );
      }
      const auto vrf = vrfRuleStatusFactory( 1 );
      for ( const FlowspecKey& key : keys ) {
         vrf->ruleStatusIs( key );
      }
      const std::vector< FlowspecKey > order = keysOf( *vrf );
      if ( round == 0 ) {
         first = order;
         ASSERT_EQ( order.size(), keys.size() );
         for ( std::size_t i = 1; i < order.size(); ++i ) {
            EXPECT_TRUE( order[i - 1] < order[i] ) << i;
         }
      }
      ASSERT_EQ( order, first ) << round;
   }
}

Vek::Ptr< VrfRuleStatus > vrfWith( U32 rules ) {
   auto vrf = vrfRuleStatusFactory( 1 );
   for ( U32 i = rules; i > 0; --i ) {
      FlowspecKey key;
      key.vrfIdIs( i );
      vrf->ruleStatusIs( key );
   }
   return vrf;
}

TEST( VrfRuleStatus, RemovalByIteratorGoesOnBehind ) {
   const auto vrf = vrfWith( 500 );
   U32 expected = 1;
   for ( auto at = vrf->ruleStatus().begin(); at != vrf->ruleStatus().end(); ) {
      ASSERT_EQ( ( *at )->key().vrfId(), expected );
      at = expected % 3 == 0 ? std::next( at ) : vrf->ruleStatusDel( at );
      ++expected;
   }
   EXPECT_EQ( expected, 501U );
   EXPECT_EQ( vrf->ruleStatus().size(), 166U );
   for ( auto at = vrf->ruleStatus().begin(); at != vrf->ruleStatus().end(); ) {
      at = vrf->ruleStatusDel( at );
   }
   EXPECT_TRUE( vrf->ruleStatus().empty() );
}

TEST( VrfRuleStatus, RemovalByIteratorMeetsEachOfTheMutuallyLessOnce ) {
   const std::vector< FlowspecKey > keys = TestSupport::entangledKeys();
   const auto vrf = vrfRuleStatusFactory( 1 );
   for ( const FlowspecKey& key : keys ) {
      vrf->ruleStatusIs( key );
   }
   const std::vector< FlowspecKey > order = keysOf( *vrf );
   std::vector< FlowspecKey > met;
   for ( auto at = vrf->ruleStatus().begin(); at != vrf->ruleStatus().end(); ) {
      met.push_back( ( *at )->key() );
      at = vrf->ruleStatusDel( at );
   }
   EXPECT_EQ( met, order );
}

TEST( VrfRuleStatus, RemovalByIteratorGoesOnBehindWhateverObserversDo ) {
   FlowspecKey five;
   five.vrfIdIs( 5 );
   FlowspecKey six;
   six.vrfIdIs( 6 );
   const auto vrf = vrfWith( 10 );
   const TestSupport::Reaction removes( *vrf,
                                        [&]( const Vek::Change& ) { vrf->ruleStatusDel( six ); } );
   const auto behind = vrf->ruleStatusDel( vrf->ruleStatus().find( five ) );
   ASSERT_NE( behind, vrf->ruleStatus().end() );
   EXPECT_EQ( ( *behind )->key().vrfId(), 7U );
   EXPECT_EQ( vrf->ruleStatus().size(), 8U );
   EXPECT_EQ( removes.calls(), 2U );
}

TEST( VrfRuleStatus, KeysMayBeThoseOfItsChildren ) {
   const auto vrf = vrfWith( 3 );
   while ( !vrf->ruleStatus().empty() ) {
      const FlowspecKey& key = ( *vrf->ruleStatus().begin() )->key();
      EXPECT_EQ( vrf->ruleStatusIs( key ), *vrf->ruleStatus().begin() );
      vrf->ruleStatusDel( key );
   }
   const IntfErrorKey key( IntfId( 0 ), AddressFamily::ipv4 );
   vrf->intfErrorIs( key, "an error too long to be kept inside a string" );
   for ( U64 i = 1; i < 100; ++i ) {
      vrf->intfErrorIs( IntfErrorKey( IntfId( i ), AddressFamily::ipv4 ),
                        vrf->intfError().begin()->second );
   }
   for ( const auto& [errorKey, text] : vrf->intfError() ) {
      EXPECT_EQ( text, "an error too long to be kept inside a string" );
   }
}

} // namespace
} // namespace Flowspec
