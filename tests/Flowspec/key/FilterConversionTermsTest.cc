// The parts of the conversion from filters: single ranges, TCP flags, members, limits and traces.
#include "Flowspec/key/FilterConversion.h"

#include "Classification/StructuredFilter.h"
#include "Flowspec/vocab/TraceHandle.h"
#include "tests/support/ExpectFailure.h"
#include "tests/support/KeyWords.h"
#include "tests/support/TraceRecorder.h"

#include <gmock/gmock.h>

namespace {

using namespace Classification;
using Flowspec::FlowspecKey;
using Flowspec::MatchOpValIndex;
using testing::ElementsAre;
using testing::IsEmpty;
using TestSupport::raisesIndexRange;
using TestSupport::TraceRecorder;
using TestSupport::words;

using Words = std::vector< std::string >;

/// The words that `addNumericRange` writes at index 0, and after them the index that it returns.
Words rangeWords( U8 firstLen, U8 secondLen, bool isLast, const NumericalRange& range ) {
   FlowspecKey key;
   const MatchOpValIndex next =
      Flowspec::addNumericRange( key, 0, Flowspec::destPort, firstLen, secondLen, isLast, range );
   Words result = words( key );
   result.push_back( Vek::concat( next.value() ) );
   return result;
}

TEST( AddNumericRange, LengthCodesAndEndAreThoseGiven ) {
   const NumericalRange value( 80, 80 );
   EXPECT_EQ( rangeWords( 0, 0, false, value ), ( Words{ "0: destPort 1 80", "1" } ) );
   EXPECT_EQ( rangeWords( 0, 1, true, value ), ( Words{ "0: destPort 81 80", "1" } ) );
   EXPECT_EQ( rangeWords( 1, 0, false, value ), ( Words{ "0: destPort 11 80", "1" } ) );
   EXPECT_EQ( rangeWords( 1, 1, true, value ), ( Words{ "0: destPort 91 80", "1" } ) );
   const NumericalRange range( 80, 90 );
   EXPECT_EQ( rangeWords( 0, 0, false, range ),
              ( Words{ "0: destPort 3 80", "1: destPort 45 90", "2" } ) );
   EXPECT_EQ( rangeWords( 0, 1, true, range ),
              ( Words{ "0: destPort 3 80", "1: destPort d5 90", "2" } ) );
   EXPECT_EQ( rangeWords( 1, 0, true, range ),
              ( Words{ "0: destPort 13 80", "1: destPort c5 90", "2" } ) );
   EXPECT_EQ( rangeWords( 1, 1, false, range ),
              ( Words{ "0: destPort 13 80", "1: destPort 55 90", "2" } ) );
}

TEST( AddNumericRange, LowerFourBitsOfACodeArePlacedAsTheyStand ) {
   const NumericalRange value( 80, 80 );
   EXPECT_EQ( rangeWords( 2, 0, false, value ),
              ( Words{ "0: destPort 21 0", "1: destPort 21 80", "2" } ) );
   EXPECT_EQ( rangeWords( 4, 0, false, value ), ( Words{ "0: destPort 41 80", "1" } ) );
   EXPECT_EQ( rangeWords( 9, 0, false, value ), ( Words{ "0: destPort 91 80", "1" } ) );
   EXPECT_EQ( rangeWords( 0xF0, 0, false, value ), ( Words{ "0: destPort 1 80", "1" } ) );
   EXPECT_EQ( rangeWords( 0, 0x18, false, NumericalRange( 80, 90 ) ),
              ( Words{ "0: destPort 3 80", "1: destPort c5 90", "2" } ) );
}

TEST( AddNumericRangeDeathTest, EightByteCodeFailsAsTheKeyDoes ) {
   EXPECT_ASSERTION( rangeWords( 3, 0, false, NumericalRange( 80, 80 ) ), "byteLength < 8" );
}

TEST( AddNumericRange, BoundsAreCutTo16BitsAndThenToTheirLength ) {
   const NumericalRange range( 0x12345, 0xFFF56789 );
   EXPECT_EQ( rangeWords( 1, 1, false, range ),
              ( Words{ "0: destPort 13 9029", "1: destPort 55 26505", "2" } ) );
   EXPECT_EQ( rangeWords( 0, 0, false, range ),
              ( Words{ "0: destPort 3 69", "1: destPort 45 137", "2" } ) );
   EXPECT_EQ( rangeWords( 2, 2, false, NumericalRange( 0x12345, 0x12345 ) ),
              ( Words{ "0: destPort 21 0", "1: destPort 21 9029", "2" } ) );
}

TEST( AddNumericRange, WritesAtItsIndexOverWhatIsThere ) {
   FlowspecKey key;
   for ( U32 i = 0; i < 4; ++i ) {
      key.setOpVal( i, Flowspec::dscp, 0x81, i );
   }
   const MatchOpValIndex next =
      Flowspec::addNumericRange( key, 1, Flowspec::srcPort, 0, 1, true, { 1, 256 } );
   EXPECT_EQ( next.value(), 3U );
   EXPECT_THAT( words( key ), ElementsAre( "0: dscp 81 0", "1: srcPort 3 1", "2: srcPort d5 256",
                                           "3: dscp 81 3" ) );
}

/// The words of TCP flag tests that one protocol entry holds.
Words tcpWords( std::initializer_list< TcpFlagAndMask > tests ) {
   const auto filter = structuredFilterFactory();
   filter->proto[ProtocolRange( 6 )].tcpFlagAndMask = tests;
   FlowspecKey key;
   key.copyInStructuredFilterTcpFlags( filter, 0 );
   return words( key );
}

TEST( FilterConversionTcpFlags, SetAndClearBitsAreTermsOfTheirOwn ) {
   EXPECT_THAT( tcpWords( { { 0x02, 0x02 } } ), ElementsAre( "0: tcpFlags 81 2" ) );
   EXPECT_THAT( tcpWords( { { 0x00, 0x04 } } ), ElementsAre( "0: tcpFlags 82 4" ) );
   EXPECT_THAT( tcpWords( { { 0x02, 0x12 } } ),
                ElementsAre( "0: tcpFlags 1 2", "1: tcpFlags c2 16" ) );
   EXPECT_THAT( tcpWords( { { 0xFF, 0xFF } } ), ElementsAre( "0: tcpFlags 81 255" ) );
   EXPECT_THAT( tcpWords( { { 0x00, 0xFF } } ), ElementsAre( "0: tcpFlags 82 255" ) );
   EXPECT_THAT( tcpWords( { { 0xF0, 0x3C } } ),
                ElementsAre( "0: tcpFlags 1 48", "1: tcpFlags c2 12" ) );
   EXPECT_THAT( tcpWords( { { 0xFF, 0x00 } } ), IsEmpty() );
   EXPECT_THAT( tcpWords( {} ), IsEmpty() );
}

TEST( FilterConversionTcpFlags, OnlyTheLastTestEndsTheList ) {
   EXPECT_THAT( tcpWords( { { 0x20, 0x20 }, { 0x02, 0x02 } } ),
                ElementsAre( "0: tcpFlags 1 2", "1: tcpFlags 81 32" ) );
   EXPECT_THAT( tcpWords( { { 0x20, 0x20 }, { 0x00, 0x04 } } ),
                ElementsAre( "0: tcpFlags 2 4", "1: tcpFlags 81 32" ) );
   EXPECT_THAT( tcpWords( { { 0x00, 0x04 }, { 0x02, 0x12 } } ),
                ElementsAre( "0: tcpFlags 2 4", "1: tcpFlags 1 2", "2: tcpFlags c2 16" ) );
   EXPECT_THAT( tcpWords( { { 0x02, 0x12 }, { 0x20, 0x21 } } ),
                ElementsAre( "0: tcpFlags 1 2", "1: tcpFlags 42 16", "2: tcpFlags 1 32",
                             "3: tcpFlags c2 1" ) );
}

TEST( FilterConversionTcpFlags, EmptyMaskEmitsNothingAndIsTheLastElementAllTheSame ) {
   EXPECT_THAT( tcpWords( { { 0x00, 0x00 }, { 0x02, 0x02 } } ), ElementsAre( "0: tcpFlags 81 2" ) );
   EXPECT_THAT( tcpWords( { { 0x02, 0x12 }, { 0x03, 0x00 } } ),
                ElementsAre( "0: tcpFlags 1 2", "1: tcpFlags 42 16" ) );
}

TEST( FilterConversionTcpFlags, TestsOfAllProtocolsAreKept ) {
   const auto filter = structuredFilterFactory();
   filter->proto[ProtocolRange( 6 )].tcpFlagAndMask = { { 0x02, 0x12 }, { 0x01, 0x01 } };
   filter->proto[ProtocolRange( 0, 5 )].tcpFlagAndMask = { { 0x02, 0x12 } };
   FlowspecKey key;
   const MatchOpValIndex next = key.copyInStructuredFilterTcpFlags( filter, 0 );
   EXPECT_THAT( words( key ),
                ElementsAre( "0: tcpFlags 1 1", "1: tcpFlags 1 2", "2: tcpFlags c2 16",
                             "3: tcpFlags 1 2", "4: tcpFlags c2 16" ) );
   EXPECT_EQ( next.value(), 5U );
}

using Member = MatchOpValIndex ( FlowspecKey::* )( const FlowspecKey::FilterPtr&, MatchOpValIndex );

TEST( FilterConversionMembers, EachAppendsItsComponentAtTheIndexAndReturnsTheNext ) {
   const auto filter = structuredFilterFactory();
   ProtoField& proto = filter->proto[ProtocolRange( 6 )];
   proto.port[Osk::UniqueId()] = { { PortRange( 1024, 65535 ) }, { PortRange( 80 ) } };
   proto.icmpType[IcmpTypeRange( 3 )].icmpCode = { IcmpCodeRange( 0, 4 ) };
   proto.tcpFlagAndMask = { { 0x02, 0x12 } };
   filter->length = { PacketLengthRange( 64 ) };
   filter->dscp = { DscpRange( 46 ) };
   filter->destPrefix = { Zorv::IpGenPrefix::fromText( "10.0.0.0/8" ).value() };
   const struct {
      Member member;
      Words expected;
   } members[] = {
      { &FlowspecKey::copyInStructuredFilterProto, { "5: ipProto 81 6" } },
      { &FlowspecKey::copyInStructuredFilterDestPort, { "5: destPort 81 80" } },
      { &FlowspecKey::copyInStructuredFilterSourcePort,
        { "5: srcPort 13 1024", "6: srcPort d5 65535" } },
      { &FlowspecKey::copyInStructuredFilterIcmpType, { "5: icmpType 81 3" } },
      { &FlowspecKey::copyInStructuredFilterIcmpCode, { "5: icmpCode 3 0", "6: icmpCode c5 4" } },
      { &FlowspecKey::copyInStructuredFilterTcpFlags, { "5: tcpFlags 1 2", "6: tcpFlags c2 16" } },
      { &FlowspecKey::copyInStructuredFilterPacketLength, { "5: packetLength 81 64" } },
      { &FlowspecKey::copyInStructuredFilterDscp, { "5: dscp 81 46" } },
   };
   for ( const auto& [member, expected] : members ) {
      FlowspecKey key;
      const MatchOpValIndex next = ( key.*member )( filter, 5 );
      EXPECT_EQ( words( key ), expected );
      EXPECT_EQ( next.value(), 5 + expected.size() );
      EXPECT_TRUE( key.destPrefix().empty() );
      FlowspecKey untouched;
      EXPECT_EQ( ( untouched.*member )( structuredFilterFactory(), 5 ).value(), 5U );
      EXPECT_EQ( untouched, FlowspecKey() );
   }
}

TEST( FilterConversion, KeyHolds2047WordsAndRefusesMore ) {
   const auto filter = structuredFilterFactory();
   for ( U32 i = 0; i < 2047; ++i ) {
      filter->length.emplace( 2 * i );
   }
   FlowspecKey key;
   key.copyInStructuredFilter( filter );
   EXPECT_EQ( key.matchOpVals(), 2047U );
   EXPECT_TRUE( key.matchOpVal( 2046 ).endOfList() );
   EXPECT_FALSE( key.matchOpVal( 2045 ).endOfList() );
   filter->length.emplace( 65535 );
   EXPECT_THAT( [&] { key.copyInStructuredFilter( filter ); }, raisesIndexRange() );
   EXPECT_EQ( key.matchOpVals(), 2048U );
}

TEST( FilterConversion, TracesEachPrefixAndTermAtLevel8 ) {
   const auto filter = structuredFilterFactory();
   filter->destPrefix = { Zorv::IpGenPrefix::fromText( "10.0.0.0/8" ).value(),
                          Zorv::IpGenPrefix::fromText( "192.0.2.0/24" ).value() };
   filter->srcPrefix = { Zorv::IpGenPrefix::fromText( "2001:db8::/32" ).value() };
   ProtoField& proto = filter->proto[ProtocolRange( 6 )];
   proto.port[Osk::UniqueId()] = { { PortRange( 53 ) },
                                   { PortRange( 80 ), PortRange( 255, 256 ) } };
   proto.icmpType[IcmpTypeRange( 3, 4 )].icmpCode = { IcmpCodeRange( 1 ) };
   proto.tcpFlagAndMask = { { 0x02, 0x12 }, { 0x02, 0x00 } };
   filter->proto[ProtocolRange( 16, 18 )] = proto;
   filter->length = { PacketLengthRange( 0, 1500 ) };
   filter->dscp = { DscpRange( 46 ) };
   filter->fragment = fragmentFactory( FragmentType::notFragment );
   FlowspecKey key;
   const TraceRecorder recorder( Flowspec::traceHandle, { 8 } );
   key.copyInStructuredFilter( filter );
   EXPECT_THAT(
      recorder.texts(),
      ElementsAre(
         "copyInStructuredFilter Destination prefix: 10.0.0.0/8",
         "copyInStructuredFilter Source prefix: 2001:db8::/32",
         "copyInStructuredFilterProto Proto range: 6",
         "copyInStructuredFilterProto Proto range: 16-18",
         "copyInStructuredFilterDestPort Dest ports: 80, len1: 0, len2: 0, endOfList: 0",
         "copyInStructuredFilterDestPort Dest ports: 255-256, len1: 0, len2: 1, endOfList: 1",
         "copyInStructuredFilterSourcePort Source ports: 53, len1: 0, len2: 0, endOfList: 1",
         "copyInStructuredFilterIcmpType ICMP types: 3-4",
         "copyInStructuredFilterIcmpType ICMP types: 3-4",
         "copyInStructuredFilterIcmpCode ICMP codes: 1",
         "copyInStructuredFilterTcpFlags TCP flag: 2 TCP flagMask: 18",
         "copyInStructuredFilterTcpFlags TCP flag: 2 TCP flagMask: 18",
         "copyInStructuredFilterPacketLength Lengths: 0-1500, len1: 0, len2: 1, endOfList: 1",
         "copyInStructuredFilterDscp DSCP: 46", "copyInStructuredFilter Fragment: notFragment" ) );
   for ( const auto& record : recorder.records() ) {
      EXPECT_EQ( record.level, 8U );
      EXPECT_EQ( record.file, "FlowspecDalb" );
      EXPECT_TRUE( record.text.starts_with( record.function + ' ' ) ) << record.function;
   }
}

TEST( FilterConversion, TracesNothingAtOtherLevels ) {
   const auto filter = structuredFilterFactory();
   filter->proto[ProtocolRange( 6 )].tcpFlagAndMask = { { 0x02, 0x12 } };
   filter->dscp = { DscpRange( 46 ) };
   filter->fragment = fragmentFactory( FragmentType::anyFragment );
   FlowspecKey key;
   const TraceRecorder recorder( Flowspec::traceHandle, { 2, 7, 9 } );
   key.copyInStructuredFilter( filter );
   EXPECT_THAT( recorder.records(), IsEmpty() );
}

} // namespace
