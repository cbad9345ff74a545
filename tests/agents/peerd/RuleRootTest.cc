#include "agents/peerd/RuleRoot.h"

#include "Flowspec/key/FlowspecKeyReader.h"

#include <gmock/gmock.h>

namespace Peerd {
namespace {

using Flowspec::FlowspecKey;

FlowspecKey keyOf( const char* value ) {
   FlowspecKey key;
   EXPECT_EQ( Flowspec::readStringValue( value, key ), std::nullopt ) << value;
   return key;
}

bool isNotFiled( const FlowspecKey& ) { return false; }

/// A root with rules of a former run, of which one matches no packet.
struct RuleRootTest : testing::Test {
   RuleRootTest() {
      for ( const FlowspecKey& key : { web, dns, nothing } ) {
         root.file( key, {}, 1 );
      }
      root.commit();
   }

   /// The keys of all rules.
   std::vector< FlowspecKey > keys() const {
      std::vector< FlowspecKey > all;
      for ( const auto& [vrfId, vrf] : config->vrfRuleConfig() ) {
         for ( const auto& rule : vrf->rule() ) {
            all.push_back( rule->ruleKey() );
         }
         for ( const auto& rule : vrf->infeasibleRule() ) {
            all.push_back( rule->ruleKey() );
         }
      }
      return all;
   }

   const FlowspecKey web = keyOf( "0;ipv4;192.0.2.1/32;*;IP:=0L6;DP:=0L80;" );
   const FlowspecKey dns = keyOf( "0;ipv4;192.0.2.2/32;*;IP:=0L17;SP:=0L53;" );
   const FlowspecKey nothing = keyOf( "7;ipv4;192.0.2.1/32;*;IP:=0L1;DP:=0L80;" );
   const Vek::Ptr< Flowspec::Config > config = Flowspec::configFactory( "config" );
   RuleRoot root{ config };
};

TEST_F( RuleRootTest, DropsWhatIsNotFiled ) {
   root.dropOthers( [this]( const FlowspecKey& key ) { return key == dns; } );
   EXPECT_FALSE( root.work( 10 ) );
   EXPECT_THAT( keys(), testing::ElementsAre( dns ) );
   EXPECT_EQ( config->vrfRuleConfig( 7 ), nullptr ) << "it is empty";
   EXPECT_FALSE( root.empty() );
}

TEST_F( RuleRootTest, KeepsWhatIsFiledAgainMeanwhile ) {
   root.dropOthers( isNotFiled );
   root.file( dns, {}, 2 );
   root.commit();
   EXPECT_FALSE( root.work( 10 ) );
   EXPECT_THAT( keys(), testing::ElementsAre( dns ) );
}

TEST_F( RuleRootTest, DropsAPartAtATime ) {
   root.dropOthers( isNotFiled );
   EXPECT_TRUE( root.work( 2 ) );
   EXPECT_EQ( keys().size(), 1U );
   EXPECT_FALSE( root.work( 2 ) );
   EXPECT_TRUE( root.empty() );
}

TEST_F( RuleRootTest, DropsAVrfWithItsLastRuleWhenAllIsDone ) {
   root.withdraw( nothing );
   EXPECT_NE( config->vrfRuleConfig( 7 ), nullptr );
   root.commit();
   EXPECT_EQ( config->vrfRuleConfig( 7 ), nullptr );
}

} // namespace
} // namespace Peerd
