#include "Flowspec/status/RuleStatus.h"

#include "tests/support/ChangeRecorder.h"

#include <set>

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using testing::ElementsAre;

FlowspecKey keyOf( U32 vrfId ) {
   FlowspecKey key;
   key.vrfIdIs( vrfId );
   return key;
}

TEST( RuleStatus, StartsUnprocessed ) {
   const auto status = ruleStatusFactory( keyOf( 7 ) );
   EXPECT_EQ( status->key(), keyOf( 7 ) );
   EXPECT_EQ( &status->ruleKey(), &status->key() );
   EXPECT_EQ( status->statusCode(), unprocessed );
   EXPECT_EQ( status->errorReason(), "" );
   EXPECT_EQ( status->coloredCounters(), QosLib::ColoredCounters() );
   EXPECT_EQ( status->packetCount(), 0U );
   EXPECT_EQ( status->byteCount(), 0U );
   EXPECT_TRUE( status->version() );
   EXPECT_TRUE( status->resolvedNexthopInfo().nexthopSet().empty() );
   EXPECT_TRUE( status->resolvedNexthopInfo().vias().empty() );
   EXPECT_FALSE( status->isProgrammed() );
   EXPECT_EQ( status->parent(), nullptr );
}

TEST( RuleStatus, FreshOnesHaveDifferentVersions ) {
   std::set< Osk::UniqueId > versions;
   for ( U32 i = 0; i < 1000; ++i ) {
      EXPECT_TRUE( versions.insert( ruleStatusFactory( keyOf( 1 ) )->version() ).second );
   }
}

TEST( RuleStatus, IsProgrammedByTwoOfAllCodes ) {
   const auto status = ruleStatusFactory( keyOf( 1 ) );
   for ( unsigned code = 0; code < 256; ++code ) {
      status->statusCodeIs( static_cast< HwRuleProgrammingStatus >( code ) );
      EXPECT_EQ( status->isProgrammed(), code == 1 || code == 2 ) << code;
   }
}

TEST( RuleStatus, AnyCodeMayFollowAnyOther ) {
   const auto status = ruleStatusFactory( keyOf( 1 ) );
   for ( unsigned from = 0; from < 10; ++from ) {
      for ( unsigned to = 0; to < 10; ++to ) {
         status->statusCodeIs( static_cast< HwRuleProgrammingStatus >( from ) );
         TestSupport::ChangeRecorder changes( *status );
         status->statusCodeIs( static_cast< HwRuleProgrammingStatus >( to ) );
         EXPECT_EQ( static_cast< unsigned >( status->statusCode() ), to );
         EXPECT_EQ( changes.take().size(), from == to ? 0U : 1U );
      }
   }
}

TEST( RuleStatus, CountsAreViewsOfTheCounters ) {
   const auto status = ruleStatusFactory( keyOf( 1 ) );
   QosLib::ColoredCounters counters;
   counters.packetHitsIs( 1 );
   counters.byteHitsIs( 2 );
   counters.redIs( { 3, 4, 5 } );
   status->coloredCountersIs( counters );
   EXPECT_EQ( status->packetCount(), 1U );
   EXPECT_EQ( status->byteCount(), 2U );
   status->packetCountIs( 10 );
   status->byteCountIs( ~U64{ 0 } );
   counters.packetHitsIs( 10 );
   counters.byteHitsIs( ~U64{ 0 } );
   EXPECT_EQ( status->coloredCounters(), counters ) << "the others stay";
}

TEST( RuleStatus, ArgumentsMayBeItsOwn ) {
   const auto status = ruleStatusFactory( keyOf( 1 ) );
   status->errorReasonIs( "a reason too long to be kept inside a string" );
   TestSupport::ChangeRecorder changes( *status );
   status->errorReasonIs( status->errorReason() );
   status->coloredCountersIs( status->coloredCounters() );
   status->resolvedNexthopInfoIs( status->resolvedNexthopInfo() );
   status->versionIs( status->version() );
   status->statusCodeIs( status->statusCode() );
   EXPECT_TRUE( changes.take().empty() );
   EXPECT_EQ( status->errorReason(), "a reason too long to be kept inside a string" );
}

// One that is received with a code of a later version is kept whole.
TEST( RuleStatus, KeepsACodeWithoutAName ) {
   const auto status = ruleStatusFactory( keyOf( 1 ) );
   TestSupport::ChangeRecorder changes( *status );
   status->statusCodeIs( HwRuleProgrammingStatus{ 9 } );
   EXPECT_EQ( static_cast< unsigned >( status->statusCode() ), 9U );
   status->statusCodeIs( programmed );
   EXPECT_THAT( changes.take(),
                ElementsAre( "260 statusCode was unprocessed", "260 statusCode was 9" ) );
}

} // namespace
} // namespace Flowspec
