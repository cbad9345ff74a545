#include "Flowspec/vocab/MatchOpVal.h"

#include "tests/support/ExpectFailure.h"

#include <sstream>

namespace Flowspec {
namespace {

using TestSupport::raisesIndexRange;
using TestSupport::raisesRange;

// The eight flags of an operator byte, taken off bit by bit.
struct SlowFlags {
   bool endOfList, andPrevious, lt, gt, eq, invert, match;
   unsigned len;
   unsigned byteLength;

   explicit SlowFlags( unsigned op ) {
      const auto bit = [op]( unsigned n ) { return ( op / ( 1U << n ) ) % 2 == 1; };
      endOfList = bit( 7 );
      andPrevious = bit( 6 );
      len = 2U * bit( 5 ) + bit( 4 );
      lt = bit( 2 );
      gt = bit( 1 );
      eq = bit( 0 );
      invert = bit( 1 );
      match = bit( 0 );
      byteLength = len == 0 ? 1 : len == 1 ? 2 : len == 2 ? 4 : 8;
   }
};

template < typename T >
void expectFlags( const T& term, unsigned op ) {
   const SlowFlags flags( op );
   EXPECT_EQ( term.op(), op );
   EXPECT_EQ( term.endOfList(), flags.endOfList ) << op;
   EXPECT_EQ( term.andPrevious(), flags.andPrevious ) << op;
   EXPECT_EQ( term.len(), flags.len ) << op;
   EXPECT_EQ( term.lt(), flags.lt ) << op;
   EXPECT_EQ( term.gt(), flags.gt ) << op;
   EXPECT_EQ( term.eq(), flags.eq ) << op;
   EXPECT_EQ( term.invert(), flags.invert ) << op;
   EXPECT_EQ( term.match(), flags.match ) << op;
   EXPECT_EQ( term.byteLength(), flags.byteLength ) << op;
}

std::string slowFlagsText( const std::string& name, unsigned op ) {
   const SlowFlags flags( op );
   std::ostringstream out;
   out << "<matchType=" << name << ";andPrevious=" << flags.andPrevious << ";lt=" << flags.lt
       << ";gt=" << flags.gt << ";eq=" << flags.eq << ";invert=" << flags.invert
       << ";match=" << flags.match;
   return out.str();
}

TEST( MatchOpVal, WordHoldsTypeOperatorAndValueFromTheTop ) {
   const MatchOpVal word( destPort, 0x91, 443 );
   EXPECT_EQ( word.storage(), 0x059101BBU );
   EXPECT_EQ( word.matchType(), destPort );
   EXPECT_EQ( word.op(), 0x91 );
   EXPECT_EQ( word.val(), 443 );
   EXPECT_EQ( word, MatchOpVal( 0x059101BB ) );
   EXPECT_EQ( sizeof( MatchOpVal ), 4U );
}

TEST( MatchOpVal, DestinationPort443OfTheEdgeCase ) {
   const MatchOpVal word( destPort, 0x91, 443 );
   EXPECT_EQ( word.byteLength(), 2 );
   EXPECT_TRUE( word.endOfList() );
   EXPECT_TRUE( word.eq() );
   EXPECT_TRUE( word.match() );
   EXPECT_FALSE( word.lt() );
   EXPECT_FALSE( word.gt() );
}

TEST( MatchOpVal, DefaultIsTheZeroWord ) {
   EXPECT_EQ( MatchOpVal().storage(), 0U );
   EXPECT_EQ( MatchOpVal().matchType(), invalid );
}

TEST( MatchOpVal, AllWordsAreKeptUnchanged ) {
   const MatchOpVal word( 0xFFFFFFFF );
   EXPECT_EQ( word.storage(), 0xFFFFFFFFU );
   EXPECT_EQ( static_cast< unsigned >( word.matchType() ), 255U );
   EXPECT_EQ( word.op(), 0xFF );
   EXPECT_EQ( word.val(), 0xFFFF );
   EXPECT_EQ( MatchOpVal( ipProto, 0x08, 0 ).op(), 0x08 ); // the reserved bit
}

TEST( MatchOpVal, FlagsOfAllOperatorBytes ) {
   for ( unsigned op = 0; op < 256; ++op ) {
      const U8 byte = static_cast< U8 >( op );
      expectFlags( MatchOpVal( destPort, byte, 0xFFFF ), op );
      expectFlags( MatchOpValResult( destPort, byte, 0xFFFFFFFF, 0 ), op );
   }
}

TEST( MatchOpVal, EqualWhenTheWordsAre ) {
   const MatchOpVal word( destPort, 0x91, 443 );
   EXPECT_EQ( word, MatchOpVal( destPort, 0x91, 443 ) );
   EXPECT_NE( word, MatchOpVal( srcPort, 0x91, 443 ) );
   EXPECT_NE( word, MatchOpVal( destPort, 0x99, 443 ) );
   EXPECT_NE( word, MatchOpVal( destPort, 0x91, 444 ) );
   EXPECT_LT( word, MatchOpVal( destPort, 0x91, 444 ) );
   EXPECT_LT( MatchOpVal( destPort, 0xFF, 0xFFFF ), MatchOpVal( srcPort, 0, 0 ) );
}

TEST( MatchOpVal, DiagnosticTextOfAllOperatorBytes ) {
   for ( unsigned op = 0; op < 256; ++op ) {
      std::ostringstream expected;
      expected << slowFlagsText( "tcpFlags", op ) << ";byteLength=" << SlowFlags( op ).byteLength
               << ";val=0x1f>";
      EXPECT_EQ( MatchOpVal( tcpFlags, static_cast< U8 >( op ), 0x1F ).toStrep(), expected.str() );
   }
}

TEST( MatchOpVal, DiagnosticTextOfOneTermOfEachKind ) {
   EXPECT_EQ( MatchOpVal( destPort, 0x91, 443 ).toStrep(),
              "<matchType=destPort;andPrevious=0;lt=0;gt=0;eq=1;invert=0;match=1;byteLength=2;"
              "val=0x1bb>" );
   EXPECT_EQ( MatchOpVal().toStrep(),
              "<matchType=invalid;andPrevious=0;lt=0;gt=0;eq=0;invert=0;match=0;byteLength=1;"
              "val=0x0>" );
   EXPECT_EQ( MatchOpVal( 0xFFFFFFFF ).toStrep(),
              "<matchType=255;andPrevious=1;lt=1;gt=1;eq=1;invert=1;match=1;byteLength=8;"
              "val=0xffff>" );
   EXPECT_EQ( MatchOpVal( flowLabel, 0xA1, 0x00AB ).toStrep(),
              "<matchType=flowLabel;andPrevious=0;lt=0;gt=0;eq=1;invert=0;match=1;byteLength=4;"
              "val=0xab>" );
}

TEST( MatchOpValResult, DefaultEndsAWalk ) {
   const MatchOpValResult end;
   EXPECT_EQ( end.matchType(), invalid );
   EXPECT_EQ( end.op(), 0 );
   EXPECT_EQ( end.val32(), 0U );
   EXPECT_EQ( end.nextIndex().value(), 2047 );
   EXPECT_TRUE( end.isEnd() );
   EXPECT_FALSE( MatchOpValResult( invalid, 0, 0, 1 ).isEnd() );
   EXPECT_FALSE( MatchOpValResult( ipProto, 0, 0, 2047 ).isEnd() );
}

TEST( MatchOpValResult, EqualWhenAllFourAttributesAre ) {
   const MatchOpValResult term( destPort, 0x91, 443, 1 );
   EXPECT_EQ( term, MatchOpValResult( destPort, 0x91, 443, 1 ) );
   EXPECT_NE( term, MatchOpValResult( srcPort, 0x91, 443, 1 ) );
   EXPECT_NE( term, MatchOpValResult( destPort, 0x11, 443, 1 ) );
   EXPECT_NE( term, MatchOpValResult( destPort, 0x91, 0x100001BB, 1 ) );
   EXPECT_NE( term, MatchOpValResult( destPort, 0x91, 443, 2 ) );
}

TEST( MatchOpValResult, DiagnosticTextOfAllOperatorBytes ) {
   for ( unsigned op = 0; op < 256; ++op ) {
      EXPECT_EQ( MatchOpValResult( dscp, static_cast< U8 >( op ), 0xDEADBEEF, 12 ).toStrep(),
                 slowFlagsText( "dscp", op ) + ";nextIndex=12;val32=0xdeadbeef>" );
   }
}

TEST( MatchOpValResult, DiagnosticTextOfTheTerminator ) {
   EXPECT_EQ( MatchOpValResult().toStrep(),
              "<matchType=invalid;andPrevious=0;lt=0;gt=0;eq=0;invert=0;match=0;nextIndex=2047;"
              "val32=0x0>" );
}

TEST( MatchOpValIndex, RunsFrom0To2047AndIs2047ByDefault ) {
   EXPECT_EQ( MatchOpValIndex::min(), 0 );
   EXPECT_EQ( MatchOpValIndex::max(), 2047 );
   EXPECT_EQ( MatchOpValIndex().value(), 2047 );
   EXPECT_EQ( MatchOpValIndex( 0 ).value(), 0 );
   EXPECT_EQ( MatchOpValIndex( 2047 ).value(), 2047 );
   EXPECT_THAT( [] { MatchOpValIndex( 2048 ); }, raisesIndexRange() );
   EXPECT_THAT( [] { MatchOpValIndex( 0x10000 ); }, raisesIndexRange() );
   EXPECT_THAT( [] { MatchOpValIndex( 0xFFFFFFFF ); }, raisesIndexRange() );
   EXPECT_THAT( [] { MatchOpValIndex( 0x1'0000'0005 ); }, raisesIndexRange() );
   EXPECT_THAT( [] { MatchOpValIndex( ~U64{ 0 } ); }, raisesIndexRange() );
   EXPECT_LT( MatchOpValIndex( 255 ), MatchOpValIndex( 256 ) );
}

U16 indexOfText( const char* text ) {
   Vek::CharRange range( text );
   MatchOpValIndex index = 1;
   sequenceToValue( range, &index );
   return index.value();
}

TEST( MatchOpValIndex, IsReadFromText ) {
   EXPECT_EQ( indexOfText( "0" ), 0 );
   EXPECT_EQ( indexOfText( "2047" ), 2047 );
   EXPECT_EQ( indexOfText( "7;9" ), 7 );
   EXPECT_THAT( [] { indexOfText( "2048" ); }, raisesIndexRange() );
   EXPECT_THAT( [] { indexOfText( "4294967296" ); }, raisesIndexRange() );
   EXPECT_THAT( [] { indexOfText( "18446744073709551615" ); }, raisesIndexRange() );
   EXPECT_THAT( [] { indexOfText( "18446744073709551621" ); }, raisesIndexRange() );
}

TEST( MatchOpValIndex, TextWithoutANumberRaisesTheRangeException ) {
   EXPECT_THAT( [] { indexOfText( "" ); },
                raisesRange( "Flowspec::MatchOpValIndex: '' is not a number" ) );
   EXPECT_THAT( [] { indexOfText( "-1" ); },
                raisesRange( "Flowspec::MatchOpValIndex: '' is not a number" ) );
   EXPECT_THAT( [] { indexOfText( "7x" ); },
                raisesRange( "Flowspec::MatchOpValIndex: '7x' is not a number" ) );
   EXPECT_THAT( [] { indexOfText( "05" ); },
                raisesRange( "Flowspec::MatchOpValIndex: '05' is not a number" ) );
}

} // namespace
} // namespace Flowspec
