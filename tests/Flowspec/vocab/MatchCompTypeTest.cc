#include "Flowspec/vocab/MatchCompType.h"

#include "Flowspec/vocab/TraceHandle.h"
#include "tests/support/ExpectFailure.h"
#include "tests/support/TraceRecorder.h"

#include <iomanip>
#include <sstream>

namespace Flowspec {
namespace {

using TestSupport::raisesRange;
using TestSupport::TraceRecorder;

struct NamedType {
   unsigned number;
   MatchCompType type;
   const char* name;
};

constexpr NamedType types[] = {
   { 0, invalid, "invalid" },
   { 1, destPrefix, "destPrefix" },
   { 2, srcPrefix, "srcPrefix" },
   { 3, ipProto, "ipProto" },
   { 4, port, "port" },
   { 5, destPort, "destPort" },
   { 6, srcPort, "srcPort" },
   { 7, icmpType, "icmpType" },
   { 8, icmpCode, "icmpCode" },
   { 9, tcpFlags, "tcpFlags" },
   { 10, packetLength, "packetLength" },
   { 11, dscp, "dscp" },
   { 12, fragment, "fragment" },
   { 13, flowLabel, "flowLabel" },
};

MatchCompType typeOf( unsigned number );

TEST( MatchCompType, TermsAreThoseOfTypes3To13 ) {
   for ( unsigned number = 0; number < 256; ++number ) {
      EXPECT_EQ( hasTerms( typeOf( number ) ), number >= 3 && number <= 13 ) << number;
   }
}

MatchCompType typeOf( unsigned number ) { return static_cast< MatchCompType >( number ); }

TEST( MatchCompType, IsOneByteAndCountsFourteenTypes ) {
   EXPECT_EQ( sizeof( MatchCompType ), 1U );
   EXPECT_EQ( numComponentTypes, 14 );
   EXPECT_EQ( std::size( types ), 14U );
}

TEST( MatchCompType, NumberAndNameGiveEachOther ) {
   for ( const NamedType& row : types ) {
      EXPECT_EQ( static_cast< unsigned >( row.type ), row.number );
      EXPECT_EQ( stringValue( row.type ), row.name );
      EXPECT_EQ( MatchCompTypeInstance( row.number ), row.type );
      EXPECT_EQ( MatchCompTypeInstance( row.name ), row.type );
   }
}

TEST( MatchCompType, NumberWithoutANameIsItsOwnText ) {
   EXPECT_EQ( stringValue( typeOf( 14 ) ), "14" );
   EXPECT_EQ( stringValue( typeOf( 255 ) ), "255" );
}

TEST( MatchCompType, UnknownNumberRaisesTheRangeException ) {
   EXPECT_THAT( [] { MatchCompTypeInstance( 14 ); },
                raisesRange( "Flowspec::MatchCompType: 14 is not an enumerator" ) );
   EXPECT_THAT( [] { MatchCompTypeInstance( 259 ); },
                raisesRange( "Flowspec::MatchCompType: 259 is not an enumerator" ) );
}

TEST( MatchCompType, WideNumbersAreNotCut ) {
   EXPECT_THAT( [] { MatchCompTypeInstance( 0x1'0000'0005 ); },
                raisesRange( "Flowspec::MatchCompType: 4294967301 is not an enumerator" ) );
}

TEST( MatchCompType, UnknownNameRaisesTheRangeException ) {
   EXPECT_THAT( [] { MatchCompTypeInstance( "DestPort" ); },
                raisesRange( "Flowspec::MatchCompType: 'DestPort' is not an enumerator" ) );
   EXPECT_THAT( [] { MatchCompTypeInstance( "" ); },
                raisesRange( "Flowspec::MatchCompType: '' is not an enumerator" ) );
   EXPECT_THAT( [] { MatchCompTypeInstance( "dest" ); },
                raisesRange( "Flowspec::MatchCompType: 'dest' is not an enumerator" ) );
}

TEST( MatchCompType, StreamTakesTheNameWhateverItsState ) {
   std::ostringstream out;
   out << destPort << std::hex << std::setw( 20 ) << std::setfill( '#' ) << typeOf( 200 );
   EXPECT_EQ( out.str(), "destPort200" );
}

TEST( MatchCompType, IsReadFromTheFrontOfACharacterRange ) {
   Vek::CharRange range( "tcpFlags;rest" );
   MatchCompType type = invalid;
   sequenceToValue( range, &type );
   EXPECT_EQ( type, tcpFlags );
   EXPECT_EQ( range.rest(), ";rest" );
}

TEST( MatchCompType, UnknownNameInACharacterRangeLeavesTheValue ) {
   MatchCompType type = dscp;
   const auto read = [&type]( const char* text ) {
      Vek::CharRange range( text );
      sequenceToValue( range, &type );
   };
   EXPECT_THAT( [&] { read( "tcpFlagsX" ); },
                raisesRange( "Flowspec::MatchCompType: 'tcpFlagsX' is not an enumerator" ) );
   EXPECT_THAT( [&] { read( ";tcpFlags" ); },
                raisesRange( "Flowspec::MatchCompType: '' is not an enumerator" ) );
   EXPECT_EQ( type, dscp );
}

TEST( IsBitfieldType, HoldsForTcpFlagsFragmentAndNumbersAboveThirteen ) {
   for ( unsigned number = 0; number < 256; ++number ) {
      EXPECT_EQ( isBitfieldType( typeOf( number ) ), number == 9 || number == 12 || number > 13 )
         << number;
   }
}

TEST( IsBitfieldType, InvalidTypeIsTracedAndNoOther ) {
   TraceRecorder recorder( traceHandle, { 2 } );
   EXPECT_FALSE( isBitfieldType( invalid ) );
   ASSERT_EQ( recorder.records().size(), 1U );
   EXPECT_EQ( recorder.records()[0].level, 2U );
   EXPECT_EQ( recorder.records()[0].file, "FlowspecDalb" );
   EXPECT_EQ( recorder.records()[0].function, "isBitfieldType" );
   EXPECT_EQ( recorder.records()[0].text, "Found invalid type in routeKey" );
   for ( unsigned number = 1; number < 256; ++number ) {
      isBitfieldType( typeOf( number ) );
   }
   EXPECT_EQ( recorder.records().size(), 1U );
}

TEST( IsBitfieldType, NothingIsTracedWhenTheLevelIsOff ) {
   TraceRecorder recorder( traceHandle, { 8 } );
   isBitfieldType( invalid );
   EXPECT_TRUE( recorder.records().empty() );
}

struct Labelled {
   const char* text;
   MatchCompType type;
};

constexpr Labelled labelled[] = {
   // Each label alone.
   { "IP", ipProto },
   { "P", port },
   { "DP", destPort },
   { "SP", srcPort },
   { "IT", icmpType },
   { "IC", icmpCode },
   { "TCP", tcpFlags },
   { "LEN", packetLength },
   { "DSCP", dscp },
   { "FRAG", fragment },
   { "FL", flowLabel },
   // With something after it.
   { "IPX", ipProto },
   { "PORT", port },
   { "DPX:=1", destPort },
   { "TCPFLAGS", tcpFlags },
   { "LENGTH", packetLength },
   { "DSCP:", dscp },
   { "FRAGMENT", fragment },
   { "FLX", flowLabel },
   { "ICMP", icmpCode },
   { "ITEM", icmpType },
   // No label: something before it, a part of it, another case, the labels of prefixes.
   { "XYZ", invalid },
   { "", invalid },
   { " IP", invalid },
   { ":IP", invalid },
   { "I", invalid },
   { "D", invalid },
   { "TC", invalid },
   { "LE", invalid },
   { "DSC", invalid },
   { "FRA", invalid },
   { "F", invalid },
   { "ip", invalid },
   { "INVALID", invalid },
   { "Destination Prefix", invalid },
};

TEST( GetCompType, TakesTheFirstTypeWhoseLabelBeginsTheText ) {
   for ( const Labelled& row : labelled ) {
      EXPECT_EQ( getCompType( row.text ), row.type ) << row.text;
   }
}

TEST( GetCompType, LabelMayHoldNoNul ) {
   EXPECT_EQ( getCompType( std::string_view( "D\0P", 3 ) ), invalid );
   EXPECT_EQ( getCompType( std::string_view( "DP\0", 3 ) ), destPort );
}

} // namespace
} // namespace Flowspec
