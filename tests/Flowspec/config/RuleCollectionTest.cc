#include "Flowspec/config/VrfRuleConfig.h"
#include "tests/support/ChangeRecorder.h"
#include "tests/support/EntangledKeys.h"
#include "tests/support/KeyGenerator.h"

#include <algorithm>
#include <iterator>
#include <map>

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using TestSupport::entangledKeys;

std::vector< FlowspecKey > keysOf( const VrfRuleConfig& vrf ) {
   std::vector< FlowspecKey > keys;
   for ( const auto& rule : vrf.rule() ) {
      keys.push_back( rule->ruleKey() );
   }
   return keys;
}

TEST( RuleCollection, KeysThatAreMutuallyLessAreFoundErasedAndInsertedAgain ) {
   const std::vector< FlowspecKey > keys = entangledKeys();
   unsigned mutual = 0;
   for ( const FlowspecKey& a : keys ) {
      for ( const FlowspecKey& b : keys ) {
         mutual += a < b && b < a;
      }
   }
   ASSERT_GT( mutual, 0U ) << "the keys are to be such";

   const auto vrf = vrfRuleConfigFactory( 1 );
   std::vector< Vek::Ptr< RuleConfig > > rules;
   for ( const FlowspecKey& key : keys ) {
      rules.push_back( vrf->ruleIs( key ) );
   }
   ASSERT_EQ( vrf->rule().size(), keys.size() );
   for ( std::size_t i = 0; i < keys.size(); ++i ) {
      EXPECT_EQ( vrf->rule( keys[i] ), rules[i] ) << i;
      EXPECT_EQ( vrf->ruleIs( keys[i] ), rules[i] ) << i;
   }
   for ( std::size_t i = 0; i < keys.size(); ++i ) {
      vrf->ruleDel( keys[i] );
      EXPECT_EQ( vrf->rule( keys[i] ), nullptr ) << i;
      EXPECT_EQ( vrf->rule().size(), keys.size() - 1 );
      const auto again = vrf->ruleIs( keys[i] );
      EXPECT_NE( again, rules[i] ) << i;
      EXPECT_EQ( vrf->rule( keys[i] ), again ) << i;
   }
   for ( const FlowspecKey& key : keys ) {
      vrf->ruleDel( key );
   }
   EXPECT_TRUE( vrf->rule().empty() );
}

TEST( RuleCollection, OrderDoesNotDependOnTheOrderOfInsertion ) {
   std::vector< FlowspecKey > keys = entangledKeys();
   std::mt19937_64 random( 8955 );
   std::vector< FlowspecKey > first;
   for ( unsigned round = 0; round < 200; ++round ) {
      for ( std::size_t i = keys.size(); i > 1; --i ) {
         std::swap( keys[i - 1], keys[random() % i] );
      }
      const auto vrf = vrfRuleConfigFactory( 1 );
      for ( const FlowspecKey& key : keys ) {
         vrf->ruleIs( key );
         vrf->infeasibleRuleIs( key );
      }
      const std::vector< FlowspecKey > order = keysOf( *vrf );
      if ( round == 0 ) {
         first = order;
         for ( std::size_t i = 1; i < order.size(); ++i ) {
            EXPECT_TRUE( order[i - 1] < order[i] ) << i;
         }
      }
      ASSERT_EQ( order, first ) << round;
      std::size_t i = 0;
      for ( const auto& rule : vrf->infeasibleRule() ) {
         ASSERT_EQ( rule->ruleKey(), first[i++] ) << round;
      }
   }
}

TEST( RuleCollection, AgreesWithAModelOverRandomOperations ) {
   constexpr unsigned operations = 100'000;
   const auto vrf = vrfRuleConfigFactory( 1 );
   std::map< FlowspecKey, RuleConfig*, FlowspecKeyOrder > model;
   TestSupport::KeyGenerator generator( 5575 );
   std::vector< FlowspecKey > pool;
   for ( unsigned i = 0; i < 2000; ++i ) {
      pool.push_back( i % 2 == 0 ? generator.similarKey() : generator.realisticKey() );
   }
   const auto agree = [&] {
      auto expected = model.begin();
      for ( const auto& rule : vrf->rule() ) {
         ASSERT_NE( expected, model.end() );
         ASSERT_EQ( rule.get(), expected->second );
         ASSERT_EQ( rule->ruleKey(), expected->first );
         ASSERT_EQ( rule->parent(), vrf.get() );
         ++expected;
      }
      ASSERT_EQ( expected, model.end() );
   };
   for ( unsigned i = 0; i < operations; ++i ) {
      const FlowspecKey& key = pool[generator.below( pool.size() )];
      const auto expected = model.find( key );
      // Times of growth and of shrinking take turns.
      const bool grows = i / 20'000 % 2 == 0;
      switch ( generator.below( 4 ) ) {
      case 0: {
         const auto rule = vrf->ruleIs( key );
         if ( expected != model.end() ) {
            ASSERT_EQ( rule.get(), expected->second );
         } else {
            model.emplace( key, rule.get() );
         }
         break;
      }
      case 1:
         ASSERT_EQ( vrf->rule( key ).get(), expected == model.end() ? nullptr : expected->second );
         break;
      case 2:
         if ( grows ) {
            model[key] = vrf->ruleIs( key ).get();
            break;
         }
         [[fallthrough]];
      default: {
         const auto at = vrf->rule().find( key );
         ASSERT_EQ( at == vrf->rule().end(), expected == model.end() );
         if ( expected == model.end() ) {
            vrf->ruleDel( key );
         } else {
            const auto behind = vrf->ruleDel( at );
            const auto modelBehind = model.erase( expected );
            ASSERT_EQ( behind == vrf->rule().end(), modelBehind == model.end() );
            if ( modelBehind != model.end() ) {
               ASSERT_EQ( ( *behind ).get(), modelBehind->second );
            }
         }
      }
      }
      ASSERT_EQ( vrf->rule().size(), model.size() );
      if ( i % 5000 == 0 ) {
         agree();
      }
   }
   agree();
   vrf->ruleDelAll();
   EXPECT_TRUE( vrf->rule().empty() );
   EXPECT_EQ( vrf->rule().begin(), vrf->rule().end() );
}

Vek::Ptr< VrfRuleConfig > vrfWith( U32 rules ) {
   auto vrf = vrfRuleConfigFactory( 1 );
   for ( U32 i = 1; i <= rules; ++i ) {
      FlowspecKey key;
      key.vrfIdIs( i );
      vrf->ruleIs( key );
      vrf->infeasibleRuleIs( key );
   }
   return vrf;
}

TEST( RuleCollection, RemovalByIteratorGoesOnBehind ) {
   const auto vrf = vrfWith( 500 );
   U32 expected = 1;
   for ( auto at = vrf->rule().begin(); at != vrf->rule().end(); ) {
      ASSERT_EQ( ( *at )->ruleKey().vrfId(), expected );
      at = expected % 3 == 0 ? std::next( at ) : vrf->ruleDel( at );
      ++expected;
   }
   EXPECT_EQ( expected, 501U );
   EXPECT_EQ( vrf->rule().size(), 166U );
   for ( auto at = vrf->infeasibleRule().begin(); at != vrf->infeasibleRule().end(); ) {
      at = vrf->infeasibleRuleDel( at );
   }
   EXPECT_TRUE( vrf->infeasibleRule().empty() );
}

/// Removes and adds rules when one is removed.
class Meddler : public Vek::Observer {
public:
   Meddler( VrfRuleConfig& vrf, std::vector< U32 > removed, std::vector< U32 > added )
      : vrf_( vrf ), removed_( std::move( removed ) ), added_( std::move( added ) ),
        observation_( vrf.observe( *this ) ) {}

   void onChange( const Vek::Change& ) override {
      for ( const U32 id : std::exchange( removed_, {} ) ) {
         vrf_.ruleDel( key( id ) );
      }
      for ( const U32 id : std::exchange( added_, {} ) ) {
         vrf_.ruleIs( key( id ) );
      }
   }

private:
   static FlowspecKey key( U32 vrfId ) {
      FlowspecKey result;
      result.vrfIdIs( vrfId );
      return result;
   }

   VrfRuleConfig& vrf_;
   std::vector< U32 > removed_;
   std::vector< U32 > added_;
   Vek::Observation observation_;
};

TEST( RuleCollection, RemovalByIteratorGoesOnBehindWhateverObserversDo ) {
   const auto goesOnAt = []( std::vector< U32 > removed, std::vector< U32 > added ) -> U32 {
      const auto vrf = vrfWith( 10 );
      const auto at = std::ranges::find_if(
         vrf->rule(), []( const auto& rule ) { return rule->ruleKey().vrfId() == 5; } );
      const Meddler meddler( *vrf, std::move( removed ), std::move( added ) );
      const auto behind = vrf->ruleDel( at );
      return behind == vrf->rule().end() ? 0 : ( *behind )->ruleKey().vrfId();
   };
   EXPECT_EQ( goesOnAt( {}, {} ), 6U );
   EXPECT_EQ( goesOnAt( { 4, 6 }, {} ), 7U );
   EXPECT_EQ( goesOnAt( { 6, 7, 8, 9, 10 }, {} ), 0U );
   EXPECT_EQ( goesOnAt( { 1, 2, 3, 4, 6, 7, 8, 9, 10 }, {} ), 0U );
   EXPECT_EQ( goesOnAt( { 1, 2, 3, 4 }, { 0, 11 } ), 6U );
   EXPECT_EQ( goesOnAt( { 6 }, { 6 } ), 6U );
   EXPECT_EQ( goesOnAt( {}, { 5 } ), 5U ) << "what took the removed one's place comes next";
   std::vector< U32 > many;
   for ( U32 id = 100; id < 400; ++id ) {
      many.push_back( id );
   }
   EXPECT_EQ( goesOnAt( {}, many ), 6U );
}

} // namespace
} // namespace Flowspec
