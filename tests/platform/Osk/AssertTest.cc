#include "Osk/Assert.h"

#include <csignal>

#include <gmock/gmock.h>

// The module of what follows, as the build defines it for each library.
#undef OSK_MODULE
#define OSK_MODULE "FlowspecDalb"

namespace {

using testing::Eq;

void requirePositive( int value ) { OSK_ASSERT( value > 0, "value < \"limit\" && %d" ); }

struct Checked {
   static void requireFlag( bool flag ) { OSK_ASSERT( flag, "flag" ); }
};

TEST( AssertDeathTest, BrokenConditionWritesOneLineAndAborts ) {
   EXPECT_EXIT( requirePositive( 0 ), testing::KilledBySignal( SIGABRT ),
                Eq( "FlowspecDalb: assertion \"value < \"limit\" && %d\" failed in "
                    "requirePositive\n" ) );
}

TEST( AssertDeathTest, MemberFunctionIsNamedWithoutItsClass ) {
   EXPECT_EXIT( Checked::requireFlag( false ), testing::KilledBySignal( SIGABRT ),
                Eq( "FlowspecDalb: assertion \"flag\" failed in requireFlag\n" ) );
}

TEST( AssertDeathTest, FailureWritesTheModuleTextAndFunctionThatItIsGiven ) {
   EXPECT_EXIT( Osk::assertionFailed( "FlowspecPolicy", "byteLength < 8", "setOpVal" ),
                testing::KilledBySignal( SIGABRT ),
                Eq( "FlowspecPolicy: assertion \"byteLength < 8\" failed in setOpVal\n" ) );
}

#undef OSK_MODULE
#define OSK_MODULE "FlowspecPolicy"

TEST( AssertDeathTest, ModuleIsThatOfTheAssertingSource ) {
   const auto fail = [] { OSK_ASSERT( false, "false" ); };
   EXPECT_EXIT( fail(), testing::KilledBySignal( SIGABRT ),
                Eq( "FlowspecPolicy: assertion \"false\" failed in operator()\n" ) );
}

TEST( Assert, ConditionThatHoldsIsEvaluatedOnceAndWritesNothing ) {
   int evaluations = 0;
   testing::internal::CaptureStderr();
   OSK_ASSERT( ++evaluations == 1, "once" );
   EXPECT_EQ( testing::internal::GetCapturedStderr(), "" );
   EXPECT_EQ( evaluations, 1 );
}

TEST( Assert, IsAnExpressionAmongOthers ) {
   int value = 1;
   if ( value == 1 )
      OSK_ASSERT( value == 1, "then" );
   else
      OSK_ASSERT( value != 1, "else" );
   const int result = ( OSK_ASSERT( value, "comma" ), value + 1 );
   EXPECT_EQ( result, 2 );
}

} // namespace
