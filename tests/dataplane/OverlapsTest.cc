#include "dataplane/Overlaps.h"

#include "Flowspec/key/FlowspecKeyReader.h"
#include "match/PacketSet.h"
#include "match/RuleMatch.h"
#include "tests/match/RandomMatch.h"
#include "wire/Precedence.h"

#include <gtest/gtest.h>

namespace Dataplane {
namespace {

using namespace Flowspec;
using Match::PacketSet;
using Match::RuleMatch;

struct Rule {
   FlowspecKey key;
   RuleAction action;
};

Rule ruleOf( std::string_view text, std::initializer_list< U16 > sets = {} ) {
   Rule rule;
   rule.key.vrfIdIs( 0 );
   rule.key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   EXPECT_FALSE( readStrCli( text, false, rule.key ) ) << text;
   for ( const U16 set : sets ) {
      rule.key.interfaceSetPush( set );
   }
   return rule;
}

Rule dropOf( std::string_view text, std::initializer_list< U16 > sets = {} ) {
   Rule rule = ruleOf( text, sets );
   rule.action.fields.trafficDropIs( true );
   return rule;
}

Rule continuing( Rule rule ) {
   rule.action.fields.trafficActionIs( true );
   rule.action.trafficAction.continueMatchIs( true );
   return rule;
}

OverlapFinder finderOf( const std::vector< Rule >& rules ) {
   std::vector< ComparedRule > compared;
   for ( const Rule& rule : rules ) {
      compared.push_back( { &rule.key, &rule.action } );
   }
   return OverlapFinder( std::move( compared ) );
}

// What is found of the last rule, such as "wholly 0".
Vek::String found( const std::vector< Rule >& rules ) {
   const Overlaps overlaps = finderOf( rules ).overlapsOf( rules.size() - 1 );
   Vek::String text;
   const auto add = [&]( const char* name, const std::optional< Overlap >& overlap ) {
      if ( overlap ) {
         text +=
            Vek::concat( std::string_view( text.empty() ? "" : ", " ), name, ' ', overlap->rule );
         EXPECT_TRUE( RuleMatch( rules[overlap->rule].key ).matches( overlap->packet ) );
         EXPECT_TRUE( RuleMatch( rules.back().key ).matches( overlap->packet ) );
      }
   };
   add( "same", overlaps.same );
   add( "wholly", overlaps.wholly );
   add( "contradicts", overlaps.contradicts );
   add( "partly", overlaps.partly );
   EXPECT_EQ( overlaps.notCompared, 0U );
   return text.empty() ? "nothing" : text;
}

TEST( Overlaps, TellWhichRuleHidesAnother ) {
   const Rule web = ruleOf( "10.0.0.0/8;*;IP:=6;DP:=80;" );
   EXPECT_EQ( found( { web } ), "nothing" );
   EXPECT_EQ( found( { ruleOf( "11.0.0.0/8;*;" ), web } ), "nothing" );
   // Tried later.
   EXPECT_EQ( found( { ruleOf( "*;*;" ), web } ), "nothing" );
   EXPECT_EQ( found( { ruleOf( "10.0.0.0/8;*;IP:=6;DP:=443;" ), web } ), "nothing" );
   EXPECT_EQ( found( { ruleOf( "10.0.0.0/8;*;IP:=6|=17;DP:=80;" ), web } ), "wholly 0" );
   EXPECT_EQ(
      found( { ruleOf( "10.0.0.0/8;*;DP:=80;" ), ruleOf( "10.0.0.0/8;*;DP:=80;LEN:>99;" ) } ),
      "nothing" );
   EXPECT_EQ( found( { ruleOf( "10.0.0.0/8;*;IP:=6;DP:>=80&<=99;" ), web } ), "wholly 0" );
   EXPECT_EQ( found( { ruleOf( "10.1.0.0/16;*;" ), web } ), "partly 0" );
   EXPECT_EQ( found( { ruleOf( "10.0.0.0/8;*;IP:>5&<7;DP:>79&<81;" ), web } ), "same 0" );
   EXPECT_EQ( found( { ruleOf( "*;*;IP:=6;" ), ruleOf( "*;*;DP:=80;" ) } ), "partly 0" );
   // A destination of length 0 is any, but goes before none.
   EXPECT_EQ( found( { ruleOf( "0.0.0.0/0;10.0.0.0/8;" ), ruleOf( "*;10.1.0.0/16;" ) } ),
              "wholly 0" );
   // Rules that match nothing.
   EXPECT_EQ( found( { ruleOf( "10.1.0.0/16;*;IP:=300;" ), web } ), "nothing" );
   EXPECT_EQ( found( { web, ruleOf( "10.0.0.0/8;*;IP:=6;DP:=80;LEN:<30;" ) } ), "nothing" );
}

TEST( Overlaps, TellWhereActionsContradict ) {
   const Rule web = ruleOf( "10.0.0.0/8;*;DP:=80;" );
   EXPECT_EQ( found( { dropOf( "10.1.0.0/16;*;IP:=6;" ), web } ), "contradicts 0, partly 0" );
   EXPECT_EQ( found( { ruleOf( "10.1.0.0/16;*;IP:=6;" ), web } ), "partly 0" );
   // An exception.
   EXPECT_EQ( found( { dropOf( "10.1.0.0/16;*;DP:=80;" ), web } ), "partly 0" );
   EXPECT_EQ( found( { dropOf( "10.1.0.0/16;*;DP:=80;" ), dropOf( "10.2.0.0/16;*;IP:=6;" ), web } ),
              "contradicts 1, partly 1" );
   EXPECT_EQ( found( { continuing( dropOf( "10.1.0.0/16;*;IP:=6;" ) ), web } ), "nothing" );
   const Rule sameWeb = dropOf( "10.0.0.0/8;*;DP:>79&<81;" );
   EXPECT_EQ( found( { sameWeb, web } ), "same 0" );
   EXPECT_EQ( found( { continuing( sameWeb ), web } ), "nothing" );
   EXPECT_EQ( found( { sameWeb, continuing( web ) } ), "same 0" );
}

TEST( Overlaps, CompareRulesOfTheSameInterfaces ) {
   const auto relation = []( std::initializer_list< U16 > first,
                             std::initializer_list< U16 > second ) {
      return found( { ruleOf( "10.0.0.0/8;*;DP:=80|=443;", first ),
                      ruleOf( "10.0.0.0/8;*;DP:=443;", second ) } );
   };
   EXPECT_EQ( relation( {}, {} ), "wholly 0" );
   EXPECT_EQ( relation( {}, { 1 } ), "wholly 0" );
   EXPECT_EQ( relation( { 1, 2 }, { 2 } ), "wholly 0" );
   EXPECT_EQ( relation( { 1, 2 }, { 2, 3 } ), "partly 0" );
   EXPECT_EQ( relation( { 1 }, {} ), "partly 0" );
   EXPECT_EQ( relation( { 1 }, { 2 } ), "nothing" );
   Rule elsewhere = ruleOf( "10.0.0.0/8;*;DP:=80|=443;" );
   elsewhere.key.vrfIdIs( 7 );
   EXPECT_EQ( found( { elsewhere, ruleOf( "10.0.0.0/8;*;DP:=443;" ) } ), "nothing" );
}

// Whether rule `first` is tried before `second` and has the same packets.
bool isSameAs( const std::vector< Rule >& rules, std::size_t first, std::size_t second ) {
   const FlowspecKey& a = rules[first].key;
   const FlowspecKey& b = rules[second].key;
   return ( Wire::precedes( a, b ) || ( a == b && first < second ) ) && Wire::equivalent( a, b ) &&
          coversSets( a, b ) && coversSets( b, a );
}

// What is found beside a comparison of each pair.
TEST( Overlaps, AgreeWithAComparisonOfAll ) {
   TestSupport::RandomMatch random( 5102 );
   unsigned same = 0;
   unsigned wholly = 0;
   unsigned contradicts = 0;
   unsigned partly = 0;
   for ( unsigned round = 0; round < 60; ++round ) {
      std::vector< Rule > rules;
      auto bytes = random.packet();
      for ( unsigned i = 0; i < 25; ++i ) {
         if ( random.random().oneIn( 5 ) ) {
            bytes = random.packet();
         }
         Rule rule{ random.rule( bytes ), {} };
         rule.key.vrfIdIs( 0 );
         rule.action.fields.trafficDropIs( random.random().oneIn( 2 ) );
         rules.push_back( rule );
      }
      const OverlapFinder finder = finderOf( rules );
      for ( std::size_t i = 0; i < rules.size(); ++i ) {
         const FlowspecKey& key = rules[i].key;
         const PacketSet packets( key );
         bool isSame = false;
         bool isWhole = false;
         bool isContradicted = false;
         bool isPartly = false;
         for ( std::size_t k = 0; k < rules.size(); ++k ) {
            const FlowspecKey& other = rules[k].key;
            const bool isFirst = Wire::precedes( other, key ) || ( other == key && k < i );
            const PacketSet others( other );
            if ( k == i || !isFirst || !packets.common( others ) || !sharesSets( other, key ) ) {
               continue;
            }
            isPartly = true;
            isSame = isSame || isSameAs( rules, k, i );
            isWhole = isWhole || ( coversSets( other, key ) && !packets.beyond( others ) );
            // One that gets no packet contradicts none.
            bool isDouble = false;
            for ( std::size_t first = 0; first < rules.size(); ++first ) {
               isDouble = isDouble || isSameAs( rules, first, k );
            }
            isContradicted = isContradicted || ( !isDouble && rules[k].action != rules[i].action &&
                                                 others.beyond( packets ) );
         }
         const Overlaps overlaps = finder.overlapsOf( i );
         const Vek::String text = key.stringValue();
         ASSERT_EQ( overlaps.notCompared, 0U );
         ASSERT_EQ( overlaps.same.has_value(), isSame ) << text;
         ASSERT_EQ( overlaps.wholly.has_value(), isWhole && !isSame ) << text;
         ASSERT_EQ( overlaps.partly.has_value(), isPartly && !isWhole && !isSame ) << text;
         if ( !isWhole && !isSame ) {
            ASSERT_EQ( overlaps.contradicts.has_value(), isContradicted ) << text;
         }
         same += isSame;
         wholly += overlaps.wholly.has_value();
         contradicts += overlaps.contradicts.has_value();
         partly += overlaps.partly.has_value();
      }
   }
   EXPECT_GT( same, 5U );
   EXPECT_GT( wholly, 20U );
   EXPECT_GT( contradicts, 50U );
   EXPECT_GT( partly, 100U );
}

TEST( Overlaps, SayHowManyWereNotCompared ) {
   std::vector< Rule > rules;
   for ( unsigned at = 0; at < OverlapFinder::maxCompared + 10; ++at ) {
      // Exceptions from the last rule: none contradicts it.
      rules.push_back( dropOf( Vek::concat( "10.0.", at, ".0/24;*;DP:=80;" ) ) );
   }
   rules.push_back( ruleOf( "10.0.0.0/8;*;DP:=80;" ) );
   const OverlapFinder finder = finderOf( rules );
   EXPECT_EQ( finder.overlapsOf( 5 ).notCompared, 0U );
   const Overlaps overlaps = finder.overlapsOf( rules.size() - 1 );
   EXPECT_EQ( overlaps.notCompared, 10U );
   EXPECT_TRUE( overlaps.partly );
   EXPECT_FALSE( overlaps.contradicts );
}

} // namespace
} // namespace Dataplane
