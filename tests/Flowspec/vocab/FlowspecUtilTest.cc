#include "Flowspec/vocab/FlowspecUtil.h"

#include "Flowspec/vocab/InterfaceSetId.h"
#include "tests/support/ExpectFailure.h"

#include <map>

namespace Flowspec {
namespace {

struct LabelsOfType {
   MatchCompType type;
   const char* brief;
   const char* detail;
};

constexpr LabelsOfType labelsOfTypes[] = {
   { invalid, "INVALID", "INVALID" },
   { destPrefix, "", "Destination Prefix" },
   { srcPrefix, "", "Source Prefix" },
   { ipProto, "IP", "IP Protocol" },
   { port, "P", "Port" },
   { destPort, "DP", "Destination Port" },
   { srcPort, "SP", "Source Port" },
   { icmpType, "IT", "ICMP Type" },
   { icmpCode, "IC", "ICMP Code" },
   { tcpFlags, "TCP", "TCP Flags" },
   { packetLength, "LEN", "Packet Length" },
   { dscp, "DSCP", "DSCP" },
   { fragment, "FRAG", "Fragment Flags" },
   { flowLabel, "FL", "Flow Label" },
};

TEST( FlowspecUtil, EveryTypeHasItsTwoLabels ) {
   ASSERT_EQ( std::size( labelsOfTypes ), 14U );
   for ( const LabelsOfType& row : labelsOfTypes ) {
      EXPECT_EQ( FlowspecUtil::compTypeToLabel( row.type ), row.brief );
      EXPECT_EQ( FlowspecUtil::compTypeToDetailLabel( row.type ), row.detail );
   }
}

TEST( FlowspecUtilDeathTest, TypeAboveThirteenHasNoLabel ) {
   for ( const unsigned number : { 14U, 255U } ) {
      const auto type = static_cast< MatchCompType >( number );
      EXPECT_ASSERTION( FlowspecUtil::compTypeToLabel( type ), "compType < numComponentTypes" );
      EXPECT_ASSERTION( FlowspecUtil::compTypeToDetailLabel( type ),
                        "compType < numComponentTypes" );
   }
}

const std::map< U32, std::string_view > dscpModel = {
   { 10, "af11" }, { 12, "af12" }, { 14, "af13" }, { 18, "af21" }, { 20, "af22" }, { 22, "af23" },
   { 26, "af31" }, { 28, "af32" }, { 30, "af33" }, { 34, "af41" }, { 36, "af42" }, { 38, "af43" },
   { 0, "cs0" },   { 8, "cs1" },   { 16, "cs2" },  { 24, "cs3" },  { 32, "cs4" },  { 40, "cs5" },
   { 48, "cs6" },  { 56, "cs7" },  { 46, "ef" },
};

TEST( FlowspecUtil, DscpNamesAreThoseOfThePerHopBehaviours ) {
   for ( U32 value = 0; value < 300; ++value ) {
      const auto row = dscpModel.find( value );
      EXPECT_EQ( FlowspecUtil::dscpMeaningFromValue( value ),
                 row == dscpModel.end() ? "" : row->second )
         << value;
   }
   EXPECT_EQ( FlowspecUtil::dscpMeaningFromValue( 46 ), "ef" );
   EXPECT_EQ( FlowspecUtil::dscpMeaningFromValue( 0 ), "cs0" );
   EXPECT_EQ( FlowspecUtil::dscpMeaningFromValue( 1 ), "" );
   EXPECT_EQ( FlowspecUtil::dscpMeaningFromValue( 256 + 46 ), "" );
   EXPECT_EQ( FlowspecUtil::dscpMeaningFromValue( 0xFFFFFFFF ), "" );
}

TEST( FlowspecUtil, DscpTableHasTwentyOneEntriesAscendingAlsoAfterMisses ) {
   FlowspecUtil::dscpMeaningFromValue( 1 );
   const auto names = FlowspecUtil::dscpNames();
   ASSERT_EQ( names.size(), 21U );
   auto expected = dscpModel.begin();
   for ( const DscpName& row : names ) {
      EXPECT_EQ( row.value, expected->first );
      EXPECT_EQ( row.name, expected->second );
      ++expected;
   }
}

TEST( FlowspecUtil, StatusCodesHaveTexts ) {
   EXPECT_EQ( FlowspecUtil::statusCodeToStrep( unprocessed ), "Not processed" );
   EXPECT_EQ( FlowspecUtil::statusCodeToStrep( programmed ), "Programmed" );
   EXPECT_EQ( FlowspecUtil::statusCodeToStrep( programmedWithFailures ),
              "Programmed with some failures" );
   EXPECT_EQ( FlowspecUtil::statusCodeToStrep( unsupportedMatch ), "Unsupported Match" );
   EXPECT_EQ( FlowspecUtil::statusCodeToStrep( unsupportedTcamProfile ),
              "Unsupported TCAM Profile" );
   EXPECT_EQ( FlowspecUtil::statusCodeToStrep( unsupportedAction ), "Unsupported Action" );
   EXPECT_EQ( FlowspecUtil::statusCodeToStrep( resourceExhausted ), "Resource Exhausted" );
   EXPECT_EQ( FlowspecUtil::statusCodeToStrep( intfSetResourceExhausted ),
              "Interface-set Resource Exhausted" );
}

TEST( FlowspecUtilDeathTest, CodeWithoutANameHasNoText ) {
   for ( const unsigned code : { 8U, 9U, 255U } ) {
      EXPECT_ASSERTION(
         FlowspecUtil::statusCodeToStrep( static_cast< HwRuleProgrammingStatus >( code ) ),
         "false && \"Unexpected status code\"" );
   }
}

TEST( FlowspecUtil, AllInstancesAreEqual ) { EXPECT_EQ( FlowspecUtil(), FlowspecUtil() ); }

TEST( InterfaceSetId, RangeAndTextOfIdentifiers ) {
   EXPECT_EQ( minInterfaceSetId, 0 );
   EXPECT_EQ( maxInterfaceSetId, 16383 );
   EXPECT_EQ( interfaceSetAnchor, "IFSET:=" );
   EXPECT_EQ( interfaceSetListDelim, ',' );
}

TEST( FindInterfaceSet, GivesTheFirstSegmentWithItsEnd ) {
   EXPECT_EQ( FlowspecUtil::findInterfaceSet( "IFSET:=3,10,200;" ), "IFSET:=3,10,200;" );
   EXPECT_EQ( FlowspecUtil::findInterfaceSet( "5;ipv4;IFSET:=3,17;10.0.0.0/8;*;" ),
              "IFSET:=3,17;" );
   EXPECT_EQ( FlowspecUtil::findInterfaceSet( "a;IFSET:=1;b;IFSET:=2;" ), "IFSET:=1;" );
   EXPECT_EQ( FlowspecUtil::findInterfaceSet( "IFSET:=;" ), "IFSET:=;" );
   EXPECT_EQ( FlowspecUtil::findInterfaceSet( "IFSET:IFSET:=no number;" ), "IFSET:=no number;" );
}

TEST( FindInterfaceSet, TextWithoutAWholeSegmentGivesNothing ) {
   for ( const char* text : { "", ";", "IFSET:", "IFSET=1;", "ifset:=1;", "IFSET:=1", "a;IFSET:=1",
                              "10.0.0.0/8;*;IP:=6;" } ) {
      EXPECT_EQ( FlowspecUtil::findInterfaceSet( text ), "" ) << text;
   }
}

} // namespace
} // namespace Flowspec
