#include "Flowspec/key/FlowspecKey.h"

#include "Flowspec/vocab/TraceHandle.h"
#include "tests/support/ExpectFailure.h"
#include "tests/support/TraceRecorder.h"

#include <iomanip>
#include <locale>
#include <sstream>

namespace Flowspec {
namespace {

using TestSupport::raisesIndexRange;

Zorv::IpGenPrefix prefix( const char* text ) { return Zorv::IpGenPrefix::fromText( text ).value(); }

// Protocol 6, destination port 80 or 443.
FlowspecKey exampleKey() {
   FlowspecKey key;
   key.destPrefixIs( prefix( "10.1.0.0/16" ) );
   U32 index = key.setOpVal( 0, ipProto, 0x81, 6 );
   index = key.setOpVal( index, destPort, 0x11, 80 );
   key.setOpVal( index, destPort, 0x91, 443 );
   return key;
}

// One term, and nothing else.
FlowspecKey keyOfTerm( MatchCompType type, U8 op, U32 value ) {
   FlowspecKey key;
   key.setOpVal( 0, type, op, value );
   return key;
}

TEST( ToStrepCli, Example ) {
   EXPECT_EQ( exampleKey().toStrepCli( false ), "10.1.0.0/16;*;IP:=6;DP:=80|=443;" );
   EXPECT_EQ( exampleKey().toStrepCli( true ), "10.1.0.0/16;*;IP:=0L6;DP:=1L80|=1L443;" );
}

TEST( ToStrepCli, BothPrefixes ) {
   FlowspecKey key;
   key.srcPrefixIs( prefix( "192.0.2.0/24" ) );
   EXPECT_EQ( key.toStrepCli( true ), "*;192.0.2.0/24;" );
   key.destPrefixIs( prefix( "2001:db8::/32" ) );
   EXPECT_EQ( key.toStrepCli( true ), "2001:db8::/32;192.0.2.0/24;" );
   key.srcPrefixIs( prefix( "0.0.0.0/0" ) );
   EXPECT_EQ( key.toStrepCli( true ), "2001:db8::/32;0.0.0.0/0;" );
}

TEST( ToStrepCli, RangeIsTwoTermsJoinedByAnd ) {
   FlowspecKey key;
   key.setOpVal( 0, destPort, 0x13, 1024 );
   key.setOpVal( 1, destPort, 0xD5, 2047 );
   EXPECT_EQ( key.toStrepCli( false ), "*;*;DP:>=1024&<=2047;" );
   EXPECT_EQ( key.toStrepCli( true ), "*;*;DP:>=1L1024&<=1L2047;" );
}

TEST( ToStrepCli, AndOfAComponentsFirstTermIsNotPrinted ) {
   EXPECT_EQ( keyOfTerm( ipProto, 0xC1, 6 ).toStrepCli( true ), "*;*;IP:=0L6;" );
}

TEST( ToStrepCli, FourByteValueIsPrintedWhole ) {
   const FlowspecKey key = keyOfTerm( flowLabel, 0xA1, 74565 );
   EXPECT_EQ( key.toStrepCli( false ), "*;*;FL:=74565;" );
   EXPECT_EQ( key.toStrepCli( true ), "*;*;FL:=2L74565;" );
   EXPECT_EQ( keyOfTerm( flowLabel, 0xA1, 0xFFFFFFFF ).toStrepCli( true ),
              "*;*;FL:=2L4294967295;" );
   EXPECT_EQ( keyOfTerm( flowLabel, 0xA1, 0 ).toStrepCli( true ), "*;*;FL:=2L0;" );
}

TEST( ToStrepCli, WordThatHoldsMoreThanItsLengthIsPrintedWhole ) {
   FlowspecKey key;
   key.matchOpValIs( 0, MatchOpVal( ipProto, 0x81, 511 ) );
   EXPECT_EQ( key.toStrepCli( true ), "*;*;IP:=0L511;" );
}

TEST( ToStrepCli, TwoRunsOfOneTypeArePrintedAsOneComponent ) {
   FlowspecKey key;
   key.setOpVal( 0, destPort, 0x91, 80 );
   key.setOpVal( 1, destPort, 0x91, 443 );
   EXPECT_EQ( key.toStrepCli( true ), "*;*;DP:=1L80|=1L443;" );
   EXPECT_EQ( key.toStrepCliDetail(),
              "Destination Prefix: *;Source Prefix: *;Destination Port: =80 | =443;" );
   key.setOpVal( 2, srcPort, 0x91, 1 );
   key.setOpVal( 3, destPort, 0x91, 8080 );
   EXPECT_EQ( key.toStrepCli( true ), "*;*;DP:=1L80|=1L443;SP:=1L1;DP:=1L8080;" );
}

TEST( ToStrepCliDetail, Example ) {
   EXPECT_EQ( exampleKey().toStrepCliDetail(),
              "Destination Prefix: 10.1.0.0/16;Source Prefix: *;IP Protocol: =6;"
              "Destination Port: =80 | =443;" );
}

TEST( ToStrepCliDetail, AndAndBitmasks ) {
   FlowspecKey key;
   U32 index = key.setOpVal( 0, destPort, 0x13, 1024 );
   index = key.setOpVal( index, destPort, 0xD5, 2047 );
   index = key.setOpVal( index, tcpFlags, 0x03, 2 );
   index = key.setOpVal( index, tcpFlags, 0xD0, 0x112 );
   key.setOpVal( index, fragment, 0x81, 5 );
   EXPECT_EQ( key.toStrepCliDetail(),
              "Destination Prefix: *;Source Prefix: *;Destination Port: >=1024 & <=2047;"
              "TCP Flags: ALL(SYN:0) & ANY(SYN:1,ACK:1,NS:1);"
              "Fragment Flags: ALL(DF:1,first-fragment:1);" );
   EXPECT_EQ( key.toStrepCli( false ), "*;*;DP:>=1024&<=2047;TCP:!=2&274;FRAG:=5;" );
}

TEST( RouteDistinguisherForms, AnchorAndDistinguisherComeFirst ) {
   const auto rd = Zorv::RouteDistinguisher::fromText( "100:1" ).value();
   EXPECT_EQ( exampleKey().toStrepCliWithRd( rd, false ),
              "RD:100:1;10.1.0.0/16;*;IP:=6;DP:=80|=443;" );
   EXPECT_EQ( exampleKey().toStrepCliWithRd( rd, true ),
              "RD:100:1;10.1.0.0/16;*;IP:=0L6;DP:=1L80|=1L443;" );
   EXPECT_EQ( exampleKey().toStrepCliDetailWithRd( rd ),
              "Route Distinguisher: 100:1;Destination Prefix: 10.1.0.0/16;Source Prefix: *;"
              "IP Protocol: =6;Destination Port: =80 | =443;" );
   EXPECT_EQ( FlowspecKey().toStrepCliWithRd( {}, true ), "RD:0:0;*;*;" );
   const auto ipv4 = Zorv::RouteDistinguisher::fromText( "192.0.2.1:7" ).value();
   EXPECT_EQ( FlowspecKey().toStrepCliDetailWithRd( ipv4 ),
              "Route Distinguisher: 192.0.2.1:7;Destination Prefix: *;Source Prefix: *;" );
}

TEST( StringValue, Example ) {
   FlowspecKey key = keyOfTerm( ipProto, 0x81, 6 );
   key.vrfIdIs( 5 );
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   key.destPrefixIs( prefix( "10.1.0.0/16" ) );
   EXPECT_EQ( key.stringValue(), "5;ipv4;10.1.0.0/16;*;IP:=0L6;" );
   key.interfaceSetPush( 3 );
   EXPECT_EQ( key.stringValue(), "5;ipv4;IFSET:=3;10.1.0.0/16;*;IP:=0L6;" );
   key.interfaceSetPush( 17 );
   key.interfaceSetPush( 3 );
   key.vrfIdIs( 0xFFFFFFFF );
   key.addressFamilyIs( Zorv::AddressFamily::ipv6 );
   EXPECT_EQ( key.stringValue(), "4294967295;ipv6;IFSET:=3,17,3;10.1.0.0/16;*;IP:=0L6;" );
}

TEST( ToStrep, ListsTheRawWords ) {
   FlowspecKey key = exampleKey();
   EXPECT_EQ( key.toStrep(), ";;10.1.0.0/16;;58785798;85000272;93389243;" );
   key.vrfIdIs( 0 );
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   key.srcPrefixIs( prefix( "::/0" ) );
   key.interfaceSetPush( 65535 );
   key.interfaceSetPush( 0 );
   EXPECT_EQ( key.toStrep(), "0;ipv4;IFSET:=65535,0;10.1.0.0/16;::/0;58785798;85000272;93389243;" );
   EXPECT_EQ( valueToStrep( key ), key.toStrep() + "@" );
}

TEST( DefaultKey, AllForms ) {
   const FlowspecKey key;
   EXPECT_EQ( key.toStrepCli( false ), "*;*;" );
   EXPECT_EQ( key.toStrepCli( true ), "*;*;" );
   EXPECT_EQ( key.toStrepCliDetail(), "Destination Prefix: *;Source Prefix: *;" );
   EXPECT_EQ( key.stringValue(), "16777215;none;*;*;" );
   EXPECT_EQ( key.toStrep(), ";;;;" );
   EXPECT_EQ( valueToStrep( key ), ";;;;@" );
}

TEST( AddressFamilyOfAKey, UnknownOnesHaveTheirNumber ) {
   FlowspecKey key;
   key.addressFamilyIs( Zorv::AddressFamily{ 25 } );
   EXPECT_EQ( key.stringValue(), "16777215;af25;*;*;" );
   EXPECT_EQ( key.toStrep(), ";af25;;;" );
}

TEST( Hole, IsATermWithoutAType ) {
   FlowspecKey key;
   key.matchOpValIs( 2, MatchOpVal( ipProto, 0x81, 6 ) );
   key.matchOpValIs( 5, MatchOpVal( ipProto, 0x81, 7 ) );
   key.matchOpValIs( 9, MatchOpVal( ipProto, 0x81, 8 ) );
   EXPECT_EQ( key.toStrepCli( false ), "*;*;INVALID:0|0;IP:=6;" );
   EXPECT_EQ( key.toStrepCli( true ), "*;*;INVALID:0L0|0L0;IP:=0L6;" );
   EXPECT_EQ( key.toStrepCliDetail(),
              "Destination Prefix: *;Source Prefix: *;INVALID: 0 | 0;IP Protocol: =6;" );
   EXPECT_EQ( key.toStrep(), ";;;;0;0;58785798;" );
}

TEST( Hole, OnlyTheTypeTestIsTraced ) {
   FlowspecKey key;
   key.matchOpValIs( 1, MatchOpVal( ipProto, 0x81, 6 ) );
   key.matchOpValIs( 3, MatchOpVal( ipProto, 0x81, 6 ) );
   TestSupport::TraceRecorder recorder( traceHandle, { 2, 8 } );
   key.toStrepCli( true );
   EXPECT_THAT( recorder.texts(), testing::ElementsAre( "Found invalid type in routeKey" ) );
   recorder.clear();
   key.toStrep();
   EXPECT_TRUE( recorder.records().empty() );
}

TEST( FormsDeathTest, UnknownTypeAndBrokenValuesEndTheProcess ) {
   const FlowspecKey unknown = keyOfTerm( static_cast< MatchCompType >( 14 ), 0x81, 6 );
   EXPECT_ASSERTION( unknown.toStrepCli( false ), "compType < numComponentTypes" );
   EXPECT_ASSERTION( unknown.toStrepCliDetail(), "compType < numComponentTypes" );
   EXPECT_ASSERTION( unknown.stringValue(), "compType < numComponentTypes" );
   EXPECT_EQ( unknown.toStrep(), ";;;;243335174;" );
   FlowspecKey half = keyOfTerm( flowLabel, 0xA1, 74565 );
   half.matchOpValDel( 1 );
   EXPECT_ASSERTION( half.toStrepCli( false ), "index < matchOpVals()" );
   EXPECT_EQ( half.toStrep(), ";;;;228655105;" );
   FlowspecKey eight;
   eight.matchOpValIs( 0, MatchOpVal( ipProto, 0xB1, 6 ) );
   EXPECT_ASSERTION( eight.stringValue(), "byteLength < 8" );
   EXPECT_EQ( eight.toStrep(), ";;;;61931526;" );
}

TEST( FormsOfManyTerms, EndAt2047Words ) {
   FlowspecKey key;
   std::string cli = "*;*;IP:";
   std::string diagnostic = ";;;;";
   for ( U32 i = 0; i < 2047; ++i ) {
      key.matchOpValIs( i, MatchOpVal( ipProto, 0x01, 6 ) );
      cli += i ? "|=6" : "=6";
      diagnostic += "50397190;";
   }
   EXPECT_EQ( key.toStrepCli( false ), cli + ';' );
   EXPECT_EQ( key.toStrep(), diagnostic );
   key.matchOpValIs( 2047, MatchOpVal( ipProto, 0x81, 6 ) );
   EXPECT_THAT( [&] { key.toStrepCli( false ); }, raisesIndexRange() );
   EXPECT_THAT( [&] { key.toStrepCliDetail(); }, raisesIndexRange() );
   EXPECT_THAT( [&] { key.stringValue(); }, raisesIndexRange() );
   EXPECT_THAT( [&] { key.toStrep(); }, raisesIndexRange() );
   EXPECT_THAT( [&] { valueToStrep( key ); }, raisesIndexRange() );
}

TEST( StreamForms, StateOfTheStreamDoesNotMatter ) {
   struct Grouping : std::numpunct< char > {
      char do_thousands_sep() const override { return '\''; }
      std::string do_grouping() const override { return "\3"; }
   };
   FlowspecKey key = keyOfTerm( flowLabel, 0xA1, 74565 );
   key.vrfIdIs( 12345 );
   key.addressFamilyIs( Zorv::AddressFamily::ipv6 );
   key.interfaceSetPush( 16383 );
   std::ostringstream out;
   out.imbue( std::locale( std::locale::classic(), new Grouping ) );
   const auto disturbed = [&out]() -> std::ostream& {
      return out << std::setw( 60 ) << std::setfill( '#' ) << std::hex << std::showbase
                 << std::showpos << std::uppercase << std::boolalpha << std::left;
   };
   disturbed() << key;
   EXPECT_EQ( out.str(), "12345;ipv6;IFSET:=16383;*;*;FL:=2L74565;" );
   out.str( "" );
   flowspecKeyComponentsStrepCli( disturbed(), key, false );
   flowspecKeyComponentsStrepCliDetail( disturbed(), key );
   flowspecKeyInterfaceSetStrep( disturbed(), key );
   EXPECT_EQ( out.str(), "*;*;FL:=74565;"
                         "Destination Prefix: *;Source Prefix: *;Flow Label: =74565;"
                         "IFSET:=16383;" );
}

TEST( StreamForms, InterfaceSetPartIsWrittenOnlyWhenThereAreSets ) {
   FlowspecKey key;
   std::ostringstream out;
   flowspecKeyInterfaceSetStrep( out, key );
   EXPECT_EQ( out.str(), "" );
   key.interfaceSetPush( 3 );
   key.interfaceSetPush( 17 );
   flowspecKeyInterfaceSetStrep( out, key );
   EXPECT_EQ( out.str(), "IFSET:=3,17;" );
}

TEST( AppendForms, WriteBehindWhatIsThere ) {
   const FlowspecKey key = exampleKey();
   Vek::String text = "1 ";
   key.appendStrepCli( text, true );
   text += " 2 ";
   key.appendStrepCliDetail( text );
   text += " 3 ";
   key.appendStringValue( text );
   text += " 4 ";
   key.appendStrep( text );
   EXPECT_EQ( text, "1 " + key.toStrepCli( true ) + " 2 " + key.toStrepCliDetail() + " 3 " +
                       key.stringValue() + " 4 " + key.toStrep() );
}

} // namespace
} // namespace Flowspec
