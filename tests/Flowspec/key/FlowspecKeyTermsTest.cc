#include "Flowspec/key/FlowspecKey.h"

#include "tests/support/ExpectFailure.h"

#include <vector>

namespace Flowspec {
namespace {

using TestSupport::raisesIndexRange;

constexpr U32 last = 2047;

// A key of `count` one-byte terms, word i with the value i modulo 256.
FlowspecKey keyOfTerms( U32 count ) {
   FlowspecKey key;
   for ( U32 i = 0; i < count; ++i ) {
      key.matchOpValIs( i, MatchOpVal( ipProto, 0x01, static_cast< U8 >( i ) ) );
   }
   return key;
}

std::vector< MatchOpValResult > walk( const FlowspecKey& key ) {
   std::vector< MatchOpValResult > terms;
   for ( MatchOpValResult term = key.getOptVal( 0 ); !term.isEnd();
         term = key.getOptVal( term.nextIndex() ) ) {
      terms.push_back( term );
   }
   return terms;
}

TEST( SetOpVal, TwoByteValueTakesOneWord ) {
   FlowspecKey key;
   EXPECT_EQ( key.setOpVal( 0, destPort, 0x91, 443 ), 1U );
   EXPECT_EQ( key.matchOpVals(), 1U );
   EXPECT_EQ( key.matchOpVal( 0 ), MatchOpVal( destPort, 0x91, 443 ) );
   EXPECT_EQ( key.getOptVal( 0 ), MatchOpValResult( destPort, 0x91, 443, 1 ) );
}

TEST( SetOpVal, FourByteValueTakesTwoWords ) {
   FlowspecKey key;
   EXPECT_EQ( key.setOpVal( 0, flowLabel, 0xA1, 0x12345 ), 2U );
   EXPECT_EQ( key.matchOpVals(), 2U );
   EXPECT_EQ( key.matchOpVal( 0 ), MatchOpVal( flowLabel, 0xA1, 0x0001 ) );
   EXPECT_EQ( key.matchOpVal( 1 ), MatchOpVal( flowLabel, 0xA1, 0x2345 ) );
   EXPECT_EQ( key.getOptVal( 0 ), MatchOpValResult( flowLabel, 0xA1, 0x12345, 2 ) );
}

TEST( SetOpVal, ValueIsCutToTheLengthOfTheOperator ) {
   FlowspecKey key;
   EXPECT_EQ( key.setOpVal( 0, ipProto, 0x01, 0xABCDEF12 ), 1U );
   EXPECT_EQ( key.matchOpVal( 0 ).val(), 0x12 );
   EXPECT_EQ( key.setOpVal( 1, ipProto, 0x11, 0xABCDEF12 ), 2U );
   EXPECT_EQ( key.matchOpVal( 1 ).val(), 0xEF12 );
   EXPECT_EQ( key.setOpVal( 2, ipProto, 0x21, 0xABCDEF12 ), 4U );
   EXPECT_EQ( key.getOptVal( 2 ).val32(), 0xABCDEF12U );
}

TEST( SetOpVal, OperatorAndTypeAreStoredUnchanged ) {
   for ( unsigned op = 0; op < 256; ++op ) {
      if ( ( op & 0x30 ) == 0x30 ) {
         continue;
      }
      for ( const unsigned type : { 0U, 1U, 13U, 255U } ) {
         FlowspecKey key;
         key.setOpVal( 0, static_cast< MatchCompType >( type ), static_cast< U8 >( op ), 1 );
         EXPECT_EQ( key.matchOpVal( 0 ).storage() >> 16, type << 8 | op );
         EXPECT_EQ( key.getOptVal( 0 ).op(), op );
         EXPECT_EQ( key.getOptVal( 0 ).val32(), 1U );
      }
   }
}

TEST( SetOpVal, ReplacesTheWordsThatAreThere ) {
   FlowspecKey key = keyOfTerms( 3 );
   EXPECT_EQ( key.setOpVal( 0, flowLabel, 0x21, 0x50006 ), 2U );
   EXPECT_EQ( key.matchOpVals(), 3U );
   EXPECT_EQ( key.getOptVal( 0 ).val32(), 0x50006U );
   EXPECT_EQ( key.matchOpVal( 2 ), MatchOpVal( ipProto, 0x01, 2 ) );
}

TEST( SetOpVal, WordsAreStoredBeforeTheRangeExceptionIsRaised ) {
   for ( const U8 op : std::initializer_list< U8 >{ 0x01, 0x11 } ) {
      FlowspecKey key;
      EXPECT_THAT( [&] { key.setOpVal( last, ipProto, op, 6 ); }, raisesIndexRange() );
      EXPECT_EQ( key.matchOpVals(), 1U );
      EXPECT_EQ( key.matchOpValGet( last ), MatchOpVal( ipProto, op, 6 ) );
   }
   FlowspecKey whole;
   EXPECT_THAT( [&] { whole.setOpVal( last - 1, flowLabel, 0xA1, 0x12345 ); }, raisesIndexRange() );
   EXPECT_EQ( whole.matchOpVals(), 2U );
   EXPECT_EQ( whole.matchOpValGet( last - 1 ), MatchOpVal( flowLabel, 0xA1, 0x0001 ) );
   EXPECT_EQ( whole.matchOpValGet( last ), MatchOpVal( flowLabel, 0xA1, 0x2345 ) );
   FlowspecKey half;
   EXPECT_THAT( [&] { half.setOpVal( last, flowLabel, 0xA1, 0x12345 ); }, raisesIndexRange() );
   EXPECT_EQ( half.matchOpVals(), 1U );
   EXPECT_EQ( half.matchOpValGet( last ), MatchOpVal( flowLabel, 0xA1, 0x0001 ) );
}

TEST( SetOpVal, LargestIndicesThatDoNotRaise ) {
   FlowspecKey key;
   EXPECT_EQ( key.setOpVal( last - 1, ipProto, 0x81, 6 ), last );
   EXPECT_EQ( key.setOpVal( last - 2, flowLabel, 0xA1, 6 ), last );
}

TEST( SetOpValDeathTest, EightByteValueEndsTheProcess ) {
   FlowspecKey key;
   for ( const U8 op : std::initializer_list< U8 >{ 0x30, 0xB1, 0xFF } ) {
      EXPECT_ASSERTION( key.setOpVal( 0, flowLabel, op, 1 ), "byteLength < 8" );
   }
   EXPECT_EXIT( key.setOpVal( 0, flowLabel, 0x30, 1 ), testing::KilledBySignal( SIGABRT ),
                testing::Eq( "FlowspecDalb: assertion \"byteLength < 8\" failed in setOpVal\n" ) );
}

TEST( TrySetOpVal, DoesWhatSetOpValDoesButReturnsNothingForItsFailures ) {
   FlowspecKey key;
   EXPECT_EQ( key.trySetOpVal( 0, destPort, 0x91, 443 ), 1U );
   EXPECT_EQ( key.trySetOpVal( 1, flowLabel, 0xA1, 0x12345 ), 3U );
   EXPECT_EQ( key.trySetOpVal( 3, ipProto, 0x31, 1 ), std::nullopt );
   EXPECT_EQ( key.matchOpVals(), 3U );
   EXPECT_EQ( key.trySetOpVal( last, ipProto, 0x01, 6 ), std::nullopt );
   EXPECT_EQ( key.matchOpValGet( last ), MatchOpVal( ipProto, 0x01, 6 ) );
   EXPECT_EQ( key.trySetOpVal( last, flowLabel, 0x21, 0x70000 ), std::nullopt );
   EXPECT_EQ( key.matchOpValGet( last ), MatchOpVal( flowLabel, 0x21, 7 ) );
   EXPECT_EQ( key.trySetOpVal( last - 1, flowLabel, 0x21, 0x70008 ), std::nullopt );
   EXPECT_EQ( key.matchOpValGet( last ), MatchOpVal( flowLabel, 0x21, 8 ) );
   EXPECT_EQ( key.matchOpVals(), 5U );
}

TEST( GetOptVal, IndexNotBelowTheNumberOfWordsGivesTheTerminator ) {
   EXPECT_TRUE( FlowspecKey().getOptVal( 0 ).isEnd() );
   EXPECT_TRUE( FlowspecKey().getOptVal( last ).isEnd() );
   EXPECT_TRUE( keyOfTerms( 2 ).getOptVal( 2 ).isEnd() );
   FlowspecKey gap;
   gap.matchOpValIs( 5, MatchOpVal( ipProto, 0x81, 6 ) );
   EXPECT_TRUE( gap.getOptVal( 1 ).isEnd() );
   EXPECT_TRUE( gap.getOptVal( 5 ).isEnd() ); // a word is there, but there is only one word
}

TEST( GetOptVal, DefaultIndexEndsAtOnce ) {
   EXPECT_TRUE( keyOfTerms( 2047 ).getOptVal( MatchOpValIndex() ).isEnd() );
}

TEST( GetOptVal, HoleIsATermWithoutAType ) {
   FlowspecKey key;
   key.matchOpValIs( 1, MatchOpVal( ipProto, 0x81, 6 ) );
   key.matchOpValIs( 7, MatchOpVal( ipProto, 0x81, 7 ) );
   EXPECT_EQ( key.getOptVal( 0 ), MatchOpValResult( invalid, 0, 0, 1 ) );
   EXPECT_EQ( key.getOptVal( 1 ), MatchOpValResult( ipProto, 0x81, 6, 2 ) );
   EXPECT_TRUE( key.getOptVal( 2 ).isEnd() );
   EXPECT_EQ( walk( key ).size(), 2U );
}

TEST( GetOptVal, SecondHalfLendsOnlyItsValue ) {
   FlowspecKey key;
   key.matchOpValIs( 0, MatchOpVal( flowLabel, 0xA1, 0x0001 ) );
   key.matchOpValIs( 1, MatchOpVal( static_cast< MatchCompType >( 200 ), 0x3F, 0x2345 ) );
   EXPECT_EQ( key.getOptVal( 0 ), MatchOpValResult( flowLabel, 0xA1, 0x12345, 2 ) );
}

TEST( GetOptVal, SecondHalfThatIsAHoleCountsAsZero ) {
   FlowspecKey key;
   key.matchOpValIs( 0, MatchOpVal( flowLabel, 0xA1, 0x0001 ) );
   key.matchOpValIs( 2, MatchOpVal( ipProto, 0x81, 6 ) );
   EXPECT_EQ( key.getOptVal( 0 ), MatchOpValResult( flowLabel, 0xA1, 0x10000, 2 ) );
}

TEST( GetOptValDeathTest, LoneHalfOfAFourByteValueEndsTheProcess ) {
   FlowspecKey key;
   key.matchOpValIs( 0, MatchOpVal( flowLabel, 0xA1, 0x0001 ) );
   EXPECT_EXIT( key.getOptVal( 0 ), testing::KilledBySignal( SIGABRT ),
                testing::Eq( "FlowspecDalb: assertion \"index < matchOpVals()\" failed in "
                             "getOptVal\n" ) );
}

TEST( GetOptValDeathTest, EightByteValueEndsTheProcess ) {
   FlowspecKey key;
   key.matchOpValIs( 0, MatchOpVal( ipProto, 0xB1, 6 ) );
   EXPECT_EXIT( key.getOptVal( 0 ), testing::KilledBySignal( SIGABRT ),
                testing::Eq( "FlowspecDalb: assertion \"byteLength < 8\" failed in getOptVal\n" ) );
}

TEST( GetOptVal, WalkOf2047TermsEnds ) {
   const auto terms = walk( keyOfTerms( 2047 ) );
   ASSERT_EQ( terms.size(), 2047U );
   for ( U32 i = 0; i < terms.size(); ++i ) {
      EXPECT_EQ( terms[i], MatchOpValResult( ipProto, 0x01, i % 256, i + 1 ) );
   }
}

TEST( GetOptVal, WordAtTheLastIndexHasNoNext ) {
   const FlowspecKey key = keyOfTerms( 2048 );
   EXPECT_EQ( key.getOptVal( last - 1 ), MatchOpValResult( ipProto, 0x01, 254, last ) );
   EXPECT_THAT( [&] { key.getOptVal( last ); }, raisesIndexRange() );
   EXPECT_THAT( [&] { walk( key ); }, raisesIndexRange() );
}

TEST( GetOptVal, FourByteValueAtTheLastIndicesRaises ) {
   FlowspecKey key = keyOfTerms( 2048 );
   key.matchOpValIs( last, MatchOpVal( flowLabel, 0xA1, 1 ) );
   EXPECT_THAT( [&] { key.getOptVal( last ); }, raisesIndexRange() );
   key.matchOpValIs( last - 1, MatchOpVal( flowLabel, 0xA1, 1 ) );
   EXPECT_THAT( [&] { key.getOptVal( last - 1 ); }, raisesIndexRange() );
}

TEST( GetOptVal, ZeroWordBeforeTheLastIndexLooksLikeTheEnd ) {
   FlowspecKey key = keyOfTerms( 2047 );
   key.matchOpValIs( last - 1, MatchOpVal() );
   EXPECT_EQ( walk( key ).size(), 2046U );
}

} // namespace
} // namespace Flowspec
