#include "Vek/text/Trace.h"

#include "tests/support/AllocationCounter.h"
#include "tests/support/TraceRecorder.h"

#include <gmock/gmock.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::TraceRecorder;

constinit Vek::TraceHandle handle( "FlowspecDalb" );

/// What `body` writes to standard error.
template < typename Body >
std::string standardErrorOf( Body body ) {
   testing::internal::CaptureStderr();
   body();
   return testing::internal::GetCapturedStderr();
}

/// Traces and returns the line on which it does.
unsigned traceAt( unsigned level, std::string_view text ) {
   constexpr unsigned line = __LINE__ + 1;
   VEK_TRACE( handle, level, text );
   return line;
}

TEST( Trace, AllLevelsAreOffAtFirst ) {
   const Vek::TraceHandle fresh( "Fresh" );
   for ( unsigned level = 0; level < 32; ++level ) {
      EXPECT_FALSE( fresh.levelIsOn( level ) );
      EXPECT_FALSE( handle.levelIsOn( level ) );
   }
}

TEST( Trace, LevelsAreIndependent ) {
   Vek::TraceHandle levels( "Levels" );
   for ( unsigned level = 0; level < 32; ++level ) {
      levels.levelIs( level, true );
      for ( unsigned other = 0; other < 32; ++other ) {
         EXPECT_EQ( levels.levelIsOn( other ), other == level );
      }
      levels.levelIs( level, false );
   }
   levels.levelIs( 2, true );
   levels.levelIs( 8, true );
   levels.levelIs( 8, true );
   levels.levelIs( 3, false );
   EXPECT_TRUE( levels.levelIsOn( 2 ) );
   levels.levelIs( 2, false );
   EXPECT_FALSE( levels.levelIsOn( 2 ) );
   EXPECT_TRUE( levels.levelIsOn( 8 ) );
}

TEST( Trace, HandlesAreIndependent ) {
   Vek::TraceHandle other( "Other" );
   const TraceRecorder recorder( other, { 2 } );
   VEK_TRACE( handle, 2, "off" );
   VEK_TRACE( other, 2, "on" );
   EXPECT_THAT( recorder.texts(), ElementsAre( "on" ) );
   EXPECT_EQ( recorder.records().front().file, "Other" );
}

TEST( Trace, ArgumentsAreEvaluatedOnlyWhenTheLevelIsOn ) {
   int evaluations = 0;
   const auto count = [&] { return ++evaluations; };
   {
      const TraceRecorder recorder( handle, { 8 } );
      VEK_TRACE( handle, 2, count() );
      EXPECT_EQ( evaluations, 0 );
      VEK_TRACE( handle, 8, "evaluated ", count(), " time" );
      EXPECT_EQ( evaluations, 1 );
      EXPECT_THAT( recorder.texts(), ElementsAre( "evaluated 1 time" ) );
   }
   const TestSupport::AllocationCounter allocations;
   VEK_TRACE( handle, 8, "a text that does not fit into a string in place ", count() );
   EXPECT_EQ( evaluations, 1 );
   EXPECT_EQ( allocations.count(), 0U );
}

TEST( Trace, RecordTellsLevelModuleLineFunctionAndText ) {
   const TraceRecorder recorder( handle, { 0, 31 } );
   const unsigned line = traceAt( 31, "first" );
   traceAt( 0, "" );
   ASSERT_EQ( recorder.records().size(), 2U );
   const auto& first = recorder.records()[0];
   EXPECT_EQ( first.level, 31U );
   EXPECT_EQ( first.file, "FlowspecDalb" );
   EXPECT_EQ( first.line, line );
   EXPECT_EQ( first.function, "traceAt" );
   EXPECT_EQ( first.text, "first" );
   EXPECT_EQ( recorder.records()[1].level, 0U );
   EXPECT_EQ( recorder.records()[1].text, "" );
}

TEST( Trace, ArgumentsAreJoinedWithoutSeparators ) {
   const TraceRecorder recorder( handle, { 2 } );
   VEK_TRACE( handle, 2, "Unexpected character ", ' ', 1, Vek::String( "x" ), S64{ -2 } );
   EXPECT_THAT( recorder.texts(), ElementsAre( "Unexpected character  1x-2" ) );
}

TEST( Trace, IsOneStatement ) {
   const TraceRecorder recorder( handle, { 2 } );
   for ( const bool condition : { true, false } ) {
      if ( condition )
         VEK_TRACE( handle, 2, "then" );
      else
         VEK_TRACE( handle, 2, "else" );
   }
   EXPECT_THAT( recorder.texts(), ElementsAre( "then", "else" ) );
}

TEST( Trace, DefaultSinkWritesOneLineToStandardError ) {
   handle.levelIs( 2, true );
   unsigned line = 0;
   const std::string written = standardErrorOf( [&] {
      line = traceAt( 2, "Did not find a destination prefix " );
      traceAt( 2, "100% of \"it\"" );
      traceAt( 3, "off" );
   } );
   handle.levelIs( 2, false );
   const std::string start = "FlowspecDalb:" + std::to_string( line ) + " traceAt L2: ";
   EXPECT_EQ( written,
              start + "Did not find a destination prefix \n" + start + "100% of \"it\"\n" );
}

TEST( Trace, WriteDeliversWhetherTheLevelIsOnOrNot ) {
   EXPECT_EQ( standardErrorOf( [] { handle.write( 31, 7, "function", "text" ); } ),
              "FlowspecDalb:7 function L31: text\n" );
}

TEST( Trace, SinkGetsItsContextAndNullRestoresTheDefaultOne ) {
   handle.levelIs( 2, true );
   int calls = 0;
   const std::string whileReplaced = standardErrorOf( [&] {
      Vek::traceSinkIs(
         []( const Vek::TraceRecord&, void* context ) { ++*static_cast< int* >( context ); },
         &calls );
      traceAt( 2, "to the sink" );
   } );
   EXPECT_EQ( whileReplaced, "" );
   EXPECT_EQ( calls, 1 );
   const std::string restored = standardErrorOf( [] {
      Vek::traceSinkIs( nullptr );
      traceAt( 2, "to standard error" );
   } );
   handle.levelIs( 2, false );
   EXPECT_THAT( restored, testing::EndsWith( " traceAt L2: to standard error\n" ) );
   EXPECT_EQ( calls, 1 );
}

TEST( TraceRecorder, PutsLevelsAndSinkBack ) {
   handle.levelIs( 8, true );
   {
      TraceRecorder recorder( handle, { 2, 8 } );
      EXPECT_TRUE( handle.levelIsOn( 2 ) );
      traceAt( 2, "collected" );
      EXPECT_THAT( recorder.texts(), ElementsAre( "collected" ) );
      recorder.clear();
      EXPECT_THAT( recorder.records(), IsEmpty() );
      traceAt( 8, "after" );
      EXPECT_THAT( recorder.texts(), ElementsAre( "after" ) );
   }
   EXPECT_FALSE( handle.levelIsOn( 2 ) );
   EXPECT_TRUE( handle.levelIsOn( 8 ) );
   EXPECT_THAT( standardErrorOf( [] { traceAt( 8, "default" ); } ),
                testing::EndsWith( " traceAt L8: default\n" ) );
   handle.levelIs( 8, false );
}

} // namespace
