#include "Flowspec/vocab/NumericalRange.h"

#include "Flowspec/vocab/TraceHandle.h"
#include "tests/support/ExpectFailure.h"
#include "tests/support/TraceRecorder.h"

#include <iterator>
#include <set>
#include <unordered_set>
#include <vector>

namespace Flowspec {
namespace {

using TestSupport::raisesRange;
using TestSupport::TraceRecorder;

constexpr U32 tooLarge = 16777216;

std::vector< NumericalRange > rangesBelow( U32 end ) {
   std::vector< NumericalRange > ranges;
   for ( U32 low = 0; low < end; ++low ) {
      for ( U32 high = low; high < end; ++high ) {
         ranges.emplace_back( low, high );
      }
   }
   return ranges;
}

std::set< U32 > numbersOf( const NumericalRange& range ) {
   std::set< U32 > numbers;
   for ( U32 i = range.rangeMin(); i <= range.rangeMax(); ++i ) {
      numbers.insert( i );
   }
   return numbers;
}

TEST( NumericalRange, DefaultIsTheInvalidRange ) {
   const NumericalRange range;
   EXPECT_EQ( range.rangeMin(), tooLarge );
   EXPECT_EQ( range.rangeMax(), tooLarge );
   EXPECT_EQ( range, NumericalRange( tooLarge, tooLarge ) );
   EXPECT_FALSE( range.isValid() );
   for ( const U32 value : { 0U, 5U, tooLarge - 1, tooLarge, tooLarge + 1, 0xFFFFFFFFU } ) {
      EXPECT_FALSE( range.contains( value ) ) << value;
   }
   EXPECT_EQ( NumericalRange::min(), 0U );
   EXPECT_EQ( NumericalRange::invalidValue(), tooLarge );
}

TEST( NumericalRange, IsValidWhenBothBoundsHave24Bits ) {
   EXPECT_TRUE( NumericalRange( 0, 0 ).isValid() );
   EXPECT_TRUE( NumericalRange( 0, tooLarge - 1 ).isValid() );
   EXPECT_TRUE( NumericalRange( tooLarge - 1, tooLarge - 1 ).isValid() );
   EXPECT_FALSE( NumericalRange( 0, tooLarge ).isValid() );
   EXPECT_FALSE( NumericalRange( tooLarge, tooLarge ).isValid() );
}

TEST( NumericalRange, BoundsAreCheckedInOrder ) {
   const std::string upsideDown = "Flowspec::NumericalRange::rangeMin > rangeMax_ not allowed";
   const std::string min =
      "Flowspec::NumericalRange::rangeMin < Flowspec::NumericalRange::min or > "
      "Flowspec::NumericalRange::invalidValue not allowed";
   const std::string max =
      "Flowspec::NumericalRange::rangeMax < Flowspec::NumericalRange::min or > "
      "Flowspec::NumericalRange::invalidValue not allowed";
   EXPECT_THAT( [] { NumericalRange( 5, 4 ); }, raisesRange( upsideDown ) );
   EXPECT_THAT( [] { NumericalRange( tooLarge + 2, tooLarge + 1 ); }, raisesRange( upsideDown ) );
   EXPECT_THAT( [] { NumericalRange( tooLarge + 1, 0 ); }, raisesRange( upsideDown ) );
   EXPECT_THAT( [] { NumericalRange( tooLarge + 1, tooLarge + 1 ); }, raisesRange( min ) );
   EXPECT_THAT( [] { NumericalRange( 0, tooLarge + 1 ); }, raisesRange( max ) );
   EXPECT_THAT( [] { NumericalRange( tooLarge, 0xFFFFFFFF ); }, raisesRange( max ) );
}

TEST( NumericalRange, WideBoundsAreNotCut ) {
   EXPECT_THAT( [] { NumericalRange( 0x1'0000'0005, 9 ); },
                raisesRange( "Flowspec::NumericalRange::rangeMin > rangeMax_ not allowed" ) );
   EXPECT_THAT( [] { NumericalRange( 5, 0x1'0000'0009 ); },
                raisesRange( "Flowspec::NumericalRange::rangeMax < Flowspec::NumericalRange::min "
                             "or > Flowspec::NumericalRange::invalidValue not allowed" ) );
}

TEST( NumericalRange, ContainsItsBoundsAndWhatIsBetween ) {
   EXPECT_TRUE( NumericalRange( 5, 5 ).contains( 5 ) );
   for ( const NumericalRange& range : rangesBelow( 8 ) ) {
      for ( U32 value = 0; value < 10; ++value ) {
         EXPECT_EQ( range.contains( value ), numbersOf( range ).contains( value ) )
            << range.toStrep() << ' ' << value;
      }
   }
   EXPECT_FALSE( NumericalRange( 0, tooLarge ).contains( 5 ) );
   EXPECT_FALSE( NumericalRange( 0, tooLarge ).contains( tooLarge ) );
}

TEST( NumericalRange, OverlapIntersectionAndUnionAreThoseOfTheSetsOfNumbers ) {
   const auto ranges = rangesBelow( 8 );
   ASSERT_EQ( ranges.size(), 36U );
   for ( const NumericalRange& a : ranges ) {
      for ( const NumericalRange& b : ranges ) {
         std::set< U32 > common;
         std::ranges::set_intersection( numbersOf( a ), numbersOf( b ),
                                        std::inserter( common, common.end() ) );
         std::set< U32 > all = numbersOf( a );
         all.merge( numbersOf( b ) );
         EXPECT_EQ( a.isRangeOverlap( b ), !common.empty() );
         if ( common.empty() ) {
            EXPECT_EQ( a.rangeIntersection( b ), NumericalRange() );
            EXPECT_EQ( a.rangeUnion( b ), NumericalRange() );
         } else {
            EXPECT_EQ( numbersOf( a.rangeIntersection( b ) ), common );
            EXPECT_EQ( numbersOf( a.rangeUnion( b ) ), all );
         }
      }
   }
}

TEST( NumericalRange, RangesThatOnlyTouchAreNotJoined ) {
   const NumericalRange high( 5, 9 );
   EXPECT_FALSE( NumericalRange( 1, 4 ).isRangeOverlap( high ) );
   EXPECT_EQ( NumericalRange( 1, 4 ).rangeUnion( high ), NumericalRange() );
   EXPECT_TRUE( NumericalRange( 1, 5 ).isRangeOverlap( high ) );
   EXPECT_EQ( NumericalRange( 1, 5 ).rangeUnion( high ), NumericalRange( 1, 9 ) );
   EXPECT_EQ( NumericalRange( 1, 5 ).rangeIntersection( high ), NumericalRange( 5, 5 ) );
   EXPECT_EQ( NumericalRange( 1, 3 ).rangeIntersection( NumericalRange( 4, 9 ) ),
              NumericalRange() );
}

TEST( NumericalRange, AlgebraReachesTheLargestValidBound ) {
   const NumericalRange all( 0, tooLarge - 1 );
   const NumericalRange last( tooLarge - 1, tooLarge - 1 );
   EXPECT_EQ( all.rangeUnion( last ), all );
   EXPECT_EQ( all.rangeIntersection( last ), last );
}

TEST( NumericalRangeDeathTest, AlgebraDemandsValidRanges ) {
   const NumericalRange valid( 1, 5 );
   const std::string text = "isValid() && otherRange.isValid()";
   for ( const NumericalRange& other : { NumericalRange(), NumericalRange( 0, tooLarge ) } ) {
      EXPECT_ASSERTION( valid.isRangeOverlap( other ), text );
      EXPECT_ASSERTION( other.isRangeOverlap( valid ), text );
      EXPECT_ASSERTION( valid.rangeIntersection( other ), text );
      EXPECT_ASSERTION( other.rangeIntersection( valid ), text );
      EXPECT_ASSERTION( valid.rangeUnion( other ), text );
      EXPECT_ASSERTION( other.rangeUnion( valid ), text );
   }
}

TEST( MatchCompTypeMax, IsTheLargestValueOfTheField ) {
   for ( const MatchCompType type : { port, destPort, srcPort, packetLength } ) {
      EXPECT_EQ( NumericalRange::matchCompTypeMax( type ), 65535U );
   }
   for ( const MatchCompType type : { ipProto, icmpType, icmpCode } ) {
      EXPECT_EQ( NumericalRange::matchCompTypeMax( type ), 255U );
   }
   EXPECT_EQ( NumericalRange::matchCompTypeMax( dscp ), 63U );
   EXPECT_EQ( NumericalRange::matchCompTypeMax( flowLabel ), 1048575U );
}

TEST( MatchCompTypeMax, InvalidTypeIsOnlyTraced ) {
   TraceRecorder recorder( traceHandle, { 2 } );
   EXPECT_EQ( NumericalRange::matchCompTypeMax( invalid ), 255U );
   EXPECT_THAT( recorder.texts(), testing::ElementsAre( "Found invalid type in routeKey" ) );
}

TEST( MatchCompTypeMaxDeathTest, PrefixesAndBitmasksHaveNone ) {
   const std::string text = "!isBitfieldType( matchCompType ) && matchCompType != destPrefix() && "
                            "matchCompType != srcPrefix()";
   for ( const unsigned number : { 1U, 2U, 9U, 12U, 14U, 255U } ) {
      const auto type = static_cast< MatchCompType >( number );
      EXPECT_ASSERTION( NumericalRange::matchCompTypeMax( type ), text );
   }
}

TEST( NumericalRange, IsOrderedByTheLowerThenTheUpperBound ) {
   auto ranges = rangesBelow( 5 );
   ranges.emplace_back();
   for ( const NumericalRange& a : ranges ) {
      for ( const NumericalRange& b : ranges ) {
         const bool equal = a.rangeMin() == b.rangeMin() && a.rangeMax() == b.rangeMax();
         const bool less = a.rangeMin() < b.rangeMin() ||
                           ( a.rangeMin() == b.rangeMin() && a.rangeMax() < b.rangeMax() );
         EXPECT_EQ( a == b, equal );
         EXPECT_EQ( a < b, less );
      }
   }
}

TEST( NumericalRange, HashTellsAllSmallRangesApart ) {
   const auto ranges = rangesBelow( 40 );
   std::unordered_set< U32 > hashes;
   for ( const NumericalRange& range : ranges ) {
      EXPECT_EQ( range.hash(), NumericalRange( range.rangeMin(), range.rangeMax() ).hash() );
      hashes.insert( range.hash() );
   }
   EXPECT_EQ( hashes.size(), ranges.size() );
}

TEST( NumericalRange, TextShowsBothBounds ) {
   EXPECT_EQ( NumericalRange( 80, 443 ).toStrep(), "[ 80, 443 ]" );
   EXPECT_EQ( NumericalRange( 0, 0 ).toStrep(), "[ 0, 0 ]" );
   EXPECT_EQ( NumericalRange().toStrep(), "[ 16777216, 16777216 ]" );
}

} // namespace
} // namespace Flowspec
