#include "agents/programd/SoftwareTcam.h"

#include "tests/support/KeyGenerator.h"
#include "tests/support/TestRules.h"
#include "wire/Precedence.h"

#include <algorithm>
#include <iterator>

#include <gmock/gmock.h>

namespace Agents {
namespace {

using namespace Dataplane;
using namespace Flowspec;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::makeRule;
using TestSupport::ruleKey;
using TestSupport::testProfile;

/// The changes as texts: VRF, key and code.
std::vector< Vek::String > texts( const std::vector< RuleChange >& changes ) {
   std::vector< Vek::String > result;
   for ( const RuleChange& change : changes ) {
      result.push_back( Vek::concat( change.key.vrfId(), ' ', change.key.toStrepCli( false ), ' ',
                                     stringValue( change.result.code ) ) );
   }
   return result;
}

TEST( SoftwareTcam, TellsEachChangeOnce ) {
   SoftwareTcam tcam( testProfile() );
   EXPECT_THAT( tcam.apply(), IsEmpty() );
   tcam.ruleIs( *makeRule( ruleKey( "10.0.0.0/8;*;" ) ) );
   tcam.ruleIs( *makeRule( ruleKey( "*;*;DSCP:=1;" ) ) );
   EXPECT_THAT( texts( tcam.apply() ),
                ElementsAre( "0 10.0.0.0/8;*; programmed", "0 *;*;DSCP:=1; unsupportedMatch" ) );
   EXPECT_EQ( tcam.entriesInUse(), 1U );
   tcam.ruleIs( *makeRule( ruleKey( "10.0.0.0/8;*;" ) ) );
   EXPECT_THAT( tcam.apply(), IsEmpty() );
   tcam.ruleIs( *makeRule( ruleKey( "10.0.0.0/8;*;" ), "trafficDrop" ) );
   EXPECT_THAT( texts( tcam.apply() ), ElementsAre( "0 10.0.0.0/8;*; programmed" ) );
   tcam.ruleDel( ruleKey( "10.0.0.0/8;*;" ) );
   tcam.ruleDel( ruleKey( "10.0.0.0/8;*;" ) );
   EXPECT_THAT( tcam.apply(), IsEmpty() );
   EXPECT_EQ( tcam.entriesInUse(), 0U );
   tcam.ruleIs( *makeRule( ruleKey( "10.0.0.0/8;*;" ) ) );
   tcam.ruleDel( ruleKey( "10.0.0.0/8;*;" ) );
   EXPECT_THAT( tcam.apply(), IsEmpty() );
}

TEST( SoftwareTcam, AChangeOfWhatGoesWithAnActionIsANewProgramming ) {
   SoftwareTcam tcam( testProfile() );
   const auto rule = makeRule( ruleKey( "10.0.0.0/8;*;" ), "trafficRate" );
   tcam.ruleIs( *rule );
   EXPECT_EQ( tcam.apply().size(), 1U );
   rule->trafficRateLimitIs( 1000 );
   tcam.ruleIs( *rule );
   EXPECT_EQ( tcam.apply().size(), 1U );
   rule->ruleIdIs( 7 );
   tcam.ruleIs( *rule );
   EXPECT_THAT( tcam.apply(), IsEmpty() );
}

TEST( SoftwareTcam, EntriesGoToTheRulesOfHigherPrecedence ) {
   SoftwareTcam tcam( testProfile( 7 ) );
   const auto small = makeRule( ruleKey( "10.0.0.0/8;*;" ) );
   const auto large = makeRule( ruleKey( "10.1.0.0/16;*;DP:>1023;" ) ); // 6 entries
   const auto other = makeRule( ruleKey( "*;10.0.0.0/8;DP:=1|=5;" ) );
   tcam.ruleIs( *other );
   EXPECT_THAT( texts( tcam.apply() ), ElementsAre( "0 *;10.0.0.0/8;DP:=1|=5; programmed" ) );
   tcam.ruleIs( *large );
   tcam.ruleIs( *small );
   EXPECT_THAT( texts( tcam.apply() ),
                ElementsAre( "0 10.1.0.0/16;*;DP:>1023; programmed", "0 10.0.0.0/8;*; programmed",
                             "0 *;10.0.0.0/8;DP:=1|=5; resourceExhausted" ) );
   EXPECT_EQ( tcam.entriesInUse(), 7U );
   tcam.ruleDel( large->ruleKey() );
   const auto changes = tcam.apply();
   EXPECT_THAT( texts( changes ), ElementsAre( "0 *;10.0.0.0/8;DP:=1|=5; programmed" ) );
   EXPECT_EQ( tcam.entriesInUse(), 3U );
}

TEST( SoftwareTcam, ARuleThatDoesNotFitKeepsNoSmallerOneOut ) {
   SoftwareTcam tcam( testProfile( 2 ) );
   tcam.ruleIs( *makeRule( ruleKey( "10.1.0.0/16;*;DP:>1023;" ) ) );
   tcam.ruleIs( *makeRule( ruleKey( "*;*;" ) ) );
   const auto changes = tcam.apply();
   EXPECT_THAT( texts( changes ),
                ElementsAre( "0 10.1.0.0/16;*;DP:>1023; resourceExhausted", "0 *;*; programmed" ) );
   EXPECT_EQ( changes[0].result.reason, "6 of 2 entries are needed" );
}

TEST( SoftwareTcam, LowerVrfsAndThenIpv4GoFirst ) {
   SoftwareTcam tcam( testProfile( 1 ) );
   tcam.ruleIs( *makeRule( ruleKey( "10.1.1.1/32;*;", 1 ) ) );
   EXPECT_THAT( texts( tcam.apply() ), ElementsAre( "1 10.1.1.1/32;*; programmed" ) );
   tcam.ruleIs( *makeRule( ruleKey( "2001:db8::/32;*;" ) ) );
   EXPECT_THAT( texts( tcam.apply() ), ElementsAre( "0 2001:db8::/32;*; programmed",
                                                    "1 10.1.1.1/32;*; resourceExhausted" ) );
   tcam.ruleIs( *makeRule( ruleKey( "*;*;" ) ) );
   EXPECT_THAT( texts( tcam.apply() ),
                ElementsAre( "0 *;*; programmed", "0 2001:db8::/32;*; resourceExhausted" ) );
}

TEST( SoftwareTcam, InterfaceSetsGoToTheRulesOfHigherPrecedence ) {
   SoftwareTcam tcam( testProfile( 100, 2 ) );
   tcam.ruleIs( *makeRule( ruleKey( "10.1.1.1/32;*;", 0, { 5, 5 } ) ) );
   tcam.ruleIs( *makeRule( ruleKey( "10.1.1.3/32;*;", 0, { 9 } ) ) );
   EXPECT_EQ( tcam.apply().size(), 2U );
   EXPECT_THAT( tcam.interfaceSetsInUse(), ElementsAre( 5, 9 ) );
   tcam.ruleIs( *makeRule( ruleKey( "10.1.1.2/32;*;", 0, { 7, 5 } ) ) );
   tcam.ruleIs( *makeRule( ruleKey( "10.1.1.4/32;*;", 0, { 7 } ) ) );
   tcam.ruleIs( *makeRule( ruleKey( "10.1.1.5/32;*;" ) ) );
   const auto changes = tcam.apply();
   EXPECT_THAT( texts( changes ),
                ElementsAre( "0 10.1.1.2/32;*; programmed",
                             "0 10.1.1.3/32;*; intfSetResourceExhausted",
                             "0 10.1.1.4/32;*; programmed", "0 10.1.1.5/32;*; programmed" ) );
   EXPECT_EQ( changes[1].result.reason, "there is room for 2 interface sets" );
   EXPECT_THAT( tcam.interfaceSetsInUse(), ElementsAre( 5, 7 ) );
}

TEST( SoftwareTcam, InterfaceSetsCanBeLimitedFurther ) {
   SoftwareTcam tcam( testProfile( 100, 2 ) );
   tcam.ruleIs( *makeRule( ruleKey( "10.1.1.1/32;*;", 0, { 5 } ) ) );
   tcam.ruleIs( *makeRule( ruleKey( "10.1.1.2/32;*;", 0, { 7 } ) ) );
   EXPECT_EQ( tcam.apply().size(), 2U );
   tcam.interfaceSetLimitIs( 3 );
   EXPECT_THAT( tcam.apply(), IsEmpty() );
   tcam.interfaceSetLimitIs( 1 );
   EXPECT_THAT( texts( tcam.apply() ), ElementsAre( "0 10.1.1.2/32;*; intfSetResourceExhausted" ) );
   tcam.interfaceSetLimitIs( 0 );
   EXPECT_THAT( texts( tcam.apply() ), ElementsAre( "0 10.1.1.2/32;*; programmed" ) );
}

/// What becomes of the rules of a set by going over all of them once.
std::map< FlowspecKey, HwRuleProgrammingStatus, FlowspecKeyOrder >
expectedCodes( std::vector< Vek::Ptr< RuleConfig > > rules, const Profile& profile, U32 limit ) {
   const auto rank = []( const FlowspecKey& key ) {
      return std::pair( key.vrfId(), key.addressFamily() );
   };
   std::ranges::sort( rules, [&]( const auto& a, const auto& b ) {
      const FlowspecKey& x = a->ruleKey();
      const FlowspecKey& y = b->ruleKey();
      return rank( x ) == rank( y ) ? Wire::precedes( x, y ) : rank( x ) < rank( y );
   } );
   std::map< FlowspecKey, HwRuleProgrammingStatus, FlowspecKeyOrder > codes;
   U64 room = profile.capacity();
   std::set< U16 > sets;
   for ( const auto& rule : rules ) {
      const FlowspecKey& key = rule->ruleKey();
      const RuleDemand demand = demandOf( *rule, profile );
      std::set< U16 > wanted = sets;
      wanted.insert( key.interfaceSet().begin(), key.interfaceSet().end() );
      HwRuleProgrammingStatus& code = codes[key];
      code = demand.result.code;
      if ( !demand.result.isProgrammed() ) {
         continue;
      }
      if ( wanted.size() > limit ) {
         code = intfSetResourceExhausted;
      } else if ( demand.entries > room ) {
         code = resourceExhausted;
      } else {
         room -= demand.entries;
         sets = wanted;
      }
   }
   return codes;
}

Vek::Ptr< RuleConfig > randomRule( TestSupport::KeyGenerator& random ) {
   static constexpr const char* prefixes[] = { "10.0.0.0/8", "10.1.0.0/16", "10.1.1.1/32", "*" };
   static constexpr const char* ports[] = { "", "DP:=1;", "DP:=1|=5|=9;", "DP:>1023;", "DSCP:=1;" };
   static constexpr const char* actions[] = { "", "trafficDrop", "trafficRatePkt",
                                              "trafficRatePkt|trafficDrop" };
   const Vek::String text =
      random.oneIn( 5 ) ? "2001:db8::/32;*;"
                        : Vek::concat( random.oneOf( prefixes ), ";*;", random.oneOf( ports ) );
   FlowspecKey key = ruleKey( text, random.number( 1 ) );
   while ( random.oneIn( 3 ) ) {
      key.interfaceSetPush( static_cast< U16 >( random.below( 5 ) ) );
   }
   return makeRule( key, random.oneOf( actions ) );
}

TEST( SoftwareTcam, WhatIsProgrammedDependsOnTheRulesAlone ) {
   TestSupport::KeyGenerator random( 1 );
   constexpr unsigned rounds = 200U;
   unsigned exhausted = 0;
   for ( unsigned round = 0; round < rounds; ++round ) {
      const U32 sets = random.number( 3 );
      const Profile profile = testProfile( random.below( 60 ), sets );
      SoftwareTcam tcam( profile );
      std::map< FlowspecKey, Vek::Ptr< RuleConfig >, FlowspecKeyOrder > rules;
      std::map< FlowspecKey, HwRuleProgrammingStatus, FlowspecKeyOrder > told;
      U32 limit = sets;
      for ( unsigned step = 0; step < 60; ++step ) {
         for ( U64 count = random.below( 4 ); count > 0; --count ) {
            if ( !rules.empty() && random.oneIn( 3 ) ) {
               const auto at =
                  std::next( rules.begin(), static_cast< int >( random.below( rules.size() ) ) );
               tcam.ruleDel( at->first );
               told.erase( at->first );
               rules.erase( at );
            } else {
               const auto rule = randomRule( random );
               rules[rule->ruleKey()] = rule;
               tcam.ruleIs( *rule );
            }
         }
         if ( random.oneIn( 10 ) ) {
            const U32 further = random.number( 3 );
            tcam.interfaceSetLimitIs( further );
            limit = further == 0 ? sets : std::min( sets, further );
         }
         for ( const RuleChange& change : tcam.apply() ) {
            told[change.key] = change.result.code;
         }
         std::vector< Vek::Ptr< RuleConfig > > all;
         for ( const auto& [key, rule] : rules ) {
            all.push_back( rule );
         }
         ASSERT_EQ( told, expectedCodes( all, profile, limit ) ) << round << ' ' << step;
         exhausted += static_cast< unsigned >( std::ranges::count_if( told, []( const auto& one ) {
            return one.second == resourceExhausted || one.second == intfSetResourceExhausted;
         } ) );
      }
   }
   EXPECT_GT( exhausted, rounds * 50 );
}

} // namespace
} // namespace Agents
