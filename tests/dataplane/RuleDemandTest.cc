#include "dataplane/RuleDemand.h"

#include "tests/support/TestRules.h"

#include <gmock/gmock.h>

namespace Dataplane {
namespace {

using namespace Flowspec;
using TestSupport::makeRule;
using TestSupport::ruleKey;

/// Splits a block of a power of two until its parts are inside or outside.
U32 slowPrefixCount( U32 first, U32 last, U32 begin, U32 size ) {
   const U32 end = begin + size - 1;
   if ( end < first || begin > last ) {
      return 0;
   }
   if ( first <= begin && end <= last ) {
      return 1;
   }
   return slowPrefixCount( first, last, begin, size / 2 ) +
          slowPrefixCount( first, last, begin + size / 2, size / 2 );
}

TEST( RuleDemand, ARangeIsMadeUpOfPrefixes ) {
   for ( U32 first = 0; first < 64; ++first ) {
      for ( U32 last = first; last < 64; ++last ) {
         ASSERT_EQ( prefixCount( first, last ), slowPrefixCount( first, last, 0, 64 ) )
            << first << " to " << last;
      }
   }
   EXPECT_EQ( prefixCount( 0, 65535 ), 1U );
   EXPECT_EQ( prefixCount( 1, 65534 ), 30U );
   EXPECT_EQ( prefixCount( 0, 0xFFFF'FFFF ), 1U );
   EXPECT_EQ( prefixCount( 0xFFFF'FFFF, 0xFFFF'FFFF ), 1U );
}

TEST( RuleDemand, EntriesAreTheProductOverTheComponents ) {
   EXPECT_EQ( entriesOf( *makeRule( ruleKey( "*;*" ) ) ), 1U );
   EXPECT_EQ( entriesOf( *makeRule( ruleKey( "10.0.0.0/8;*;DP:=80" ) ) ), 1U );
   EXPECT_EQ( entriesOf( *makeRule( ruleKey( "*;*;DP:=80|=443" ) ) ), 2U );
   EXPECT_EQ( entriesOf( *makeRule( ruleKey( "*;*;DP:>1023" ) ) ), 6U );
   EXPECT_EQ( entriesOf( *makeRule( ruleKey( "*;*;IP:=6|=17;DP:>1023;SP:=1|=5|=9" ) ) ), 36U );
   // What can be no packet's takes an entry, too.
   EXPECT_EQ( entriesOf( *makeRule( ruleKey( "*;*;DP:<5&>9" ) ) ), 1U );
}

TEST( RuleDemand, ABitMaskTakesAnEntryForEachBitOfWhichAnyMayMatch ) {
   const auto rule = ruleConfigFactory( ruleKey( "*;*" ) );
   MatchComponent flags( tcpFlags );
   flags.tcpBitMaskIs( TcpBitMask( true, 0x02, 0x12 ) );
   rule->matchSetIs( flags );
   EXPECT_EQ( entriesOf( *rule ), 1U );
   flags.tcpBitMaskIs( TcpBitMask( false, 0x07, 0x07 ) );
   rule->matchSetIs( flags );
   EXPECT_EQ( entriesOf( *rule ), 4U );
   MatchComponent fragments( fragment );
   fragments.ipBitMaskIs( IpBitMask( false, 0x06, 0x06 ) );
   rule->matchSetIs( fragments );
   EXPECT_EQ( entriesOf( *rule ), 8U );
}

TEST( RuleDemand, EntriesStopAtTheLargestNumber ) {
   const auto rule = ruleConfigFactory( ruleKey( "*;*" ) );
   MatchComponent ranges( destPort );
   for ( U32 i = 0; i < 4000; ++i ) {
      ranges.numericalRangeIs( NumericalRange( 1 + i, 65534 ) );
   }
   for ( unsigned type = 5; type <= 13; ++type ) {
      MatchComponent component( static_cast< MatchCompType >( type ) );
      for ( const NumericalRange& range : ranges.numericalRange() ) {
         component.numericalRangeIs( range );
      }
      rule->matchSetIs( component );
   }
   EXPECT_EQ( entriesOf( *rule ), ~U64{ 0 } );
}

struct Case {
   const char* key;
   const char* actions;
   HwRuleProgrammingStatus code;
   const char* reason;
};

TEST( RuleDemand, ARuleIsWhatTheProfileCanDoOfIt ) {
   const Profile profile = TestSupport::testProfile();
   for ( const Case& row : std::initializer_list< Case >{
            { "*;*", "", programmed, "" },
            { "10.0.0.0/8;*;DP:=80", "trafficDrop|trafficMarking", programmed, "" },
            { "*;*;DSCP:=4", "trafficDrop", unsupportedMatch, "the profile cannot match on dscp" },
            { "2001:db8::/32;*;DP:=80;DSCP:=4", "trafficRatePkt", unsupportedMatch,
              "the profile cannot match on destPort, dscp" },
            { "*;*", "trafficRatePkt", unsupportedAction, "the profile cannot do trafficRatePkt" },
            { "*;*", "invalid|trafficRatePkt", unsupportedAction,
              "the profile cannot do trafficRatePkt, invalid" },
            { "*;*", "trafficRatePkt|trafficMarking", programmedWithFailures,
              "the profile cannot do trafficRatePkt" },
            { "*;*", "trafficRedirect", programmed, "" },
            { "2001:db8::/32;*", "trafficRedirect|trafficDrop", programmedWithFailures,
              "the profile cannot do redirectVrf" },
            // The bits of the action are clear.
            { "2001:db8::/32;*", "trafficAction", programmed, "" },
         } ) {
      const RuleDemand demand = demandOf( *makeRule( ruleKey( row.key ), row.actions ), profile );
      EXPECT_EQ( demand.result, ( ProgrammingResult{ row.code, row.reason } ) )
         << row.key << ' ' << row.actions << ": " << stringValue( demand.result.code ) << ' '
         << demand.result.reason;
      EXPECT_EQ( demand.actions.any(), demand.result.isProgrammed() &&
                                          std::string_view( row.actions ) != "" &&
                                          std::string_view( row.actions ) != "trafficAction" );
   }
}

TEST( RuleDemand, OfRedirectsAndBitsThoseThatAreAskedForCount ) {
   const Profile profile = TestSupport::testProfile();
   const auto rule = makeRule( ruleKey( "*;*" ), "trafficRedirect|trafficAction" );
   TrafficAction bits;
   bits.continueMatchIs( true );
   rule->trafficActionIs( bits );
   TrafficRedirect redirect;
   redirect.typeIs( TrafficRedirectType::addr );
   rule->trafficRedirectIs( redirect );
   const RuleDemand demand = demandOf( *rule, profile );
   EXPECT_EQ( demand.result.reason, "the profile cannot do redirectAddr" );
   EXPECT_EQ( demand.result.code, programmedWithFailures );
   EXPECT_EQ( namesOf( demand.actions ), "continue" );
   redirect.typeIs( TrafficRedirectType::srTePolicy );
   rule->trafficRedirectIs( redirect );
   EXPECT_EQ( demandOf( *rule, profile ).result.reason,
              "the profile cannot do redirectSrTePolicy" );
   redirect.typeIs( static_cast< TrafficRedirectType >( 9 ) );
   rule->trafficRedirectIs( redirect );
   EXPECT_EQ( demandOf( *rule, profile ).result.reason, "the profile cannot do invalid" );
}

TEST( RuleDemand, AFamilyThatTheProfileDoesNotHaveCannotBeProgrammed ) {
   const Profile profile = Profile::read( R"({"capacity":9,"interfaceSets":9})" );
   const ProgrammingResult expected{ unsupportedTcamProfile, "the profile has nothing for ipv4" };
   EXPECT_EQ( demandOf( *makeRule( ruleKey( "*;*;DSCP:=4" ) ), profile ).result, expected );
   EXPECT_EQ( demandOf( *ruleConfigFactory( FlowspecKey() ), profile ).result.reason,
              "the profile has nothing for none" );
}

TEST( RuleDemand, AKeyThatIsNoRuleCannotBeMatchedOn ) {
   FlowspecKey key = ruleKey( "*;*" );
   key.matchOpValIs( 0, MatchOpVal( 0x3F070000 ) );
   EXPECT_EQ( demandOf( *ruleConfigFactory( key ), TestSupport::testProfile() ).result,
              ( ProgrammingResult{ unsupportedMatch, "the rule's key is malformed" } ) );
}

} // namespace
} // namespace Dataplane
