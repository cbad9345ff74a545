#include "Flowspec/key/FlowspecKey.h"
#include "Flowspec/key/FlowspecKeyReader.h"

#include "tests/support/AllocationCounter.h"

#include <utility>

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

using TestSupport::AllocationCounter;

static_assert( sizeof( FlowspecKey ) <= 160 );

constexpr const char* fullText =
   "5;ipv6;IFSET:=1,2,3,16383;2001:db8:ffff:ffff::/64;2001:db8:eeee:eeee::/64;"
   "IP:=0L6|=0L17;DP:>=1L1024&<=1L65535;TCP:!=0L2;FL:=2L1048575;IT:=0L8;";

void fill( FlowspecKey& key ) {
   key.vrfIdIs( 5 );
   key.addressFamilyIs( Zorv::AddressFamily::ipv6 );
   U32 index = key.setOpVal( 0, ipProto, 0x01, 6 );
   index = key.setOpVal( index, ipProto, 0x81, 17 );
   index = key.setOpVal( index, destPort, 0x13, 1024 );
   index = key.setOpVal( index, destPort, 0xD5, 65535 );
   index = key.setOpVal( index, tcpFlags, 0x83, 2 );
   index = key.setOpVal( index, flowLabel, 0xA1, 1048575 );
   key.setOpVal( index, icmpType, 0x81, 8 );
   for ( const int id : { 1, 2, 3, 16383 } ) {
      key.interfaceSetPush( static_cast< U16 >( id ) );
   }
}

FlowspecKey fullKey() {
   FlowspecKey key;
   key.copyInStringValue( fullText );
   return key;
}

TEST( Allocations, KeyOfEightWordsAndFourInterfaceSetsIsTheLargestInPlace ) {
   FlowspecKey key = fullKey();
   EXPECT_EQ( key.matchOpVals(), 8U );
   EXPECT_EQ( key.interfaceSets(), 4U );
   EXPECT_EQ( key.stringValue(), fullText );
   const AllocationCounter words;
   key.matchOpValIs( 8, MatchOpVal() );
   EXPECT_EQ( words.count(), 1U );
   const AllocationCounter sets;
   key.interfaceSetPush( 0 );
   EXPECT_EQ( sets.count(), 1U );
}

TEST( Allocations, NoneToConstructFillAndChange ) {
   const AllocationCounter counter;
   FlowspecKey key;
   fill( key );
   key.matchOpValDel( 3 );
   key.matchOpValIs( 3, MatchOpVal( 7 ) );
   key.interfaceSetIs( 0, 9 );
   key.interfaceSetPush( key.interfaceSetPop() );
   key.matchOpValDelAll();
   key.interfaceSetPopAll();
   fill( key );
   const U64 count = counter.count();
   EXPECT_EQ( count, 0U );
   EXPECT_EQ( key.matchOpVals(), 8U );
}

TEST( Allocations, NoneToCopyMoveAndAssign ) {
   const FlowspecKey key = fullKey();
   const AllocationCounter counter;
   FlowspecKey copy( key );
   FlowspecKey moved( std::move( copy ) );
   copy = key;
   copy = std::move( moved );
   moved.copyIn( copy );
   copy = FlowspecKey();
   const U64 count = counter.count();
   EXPECT_EQ( count, 0U );
   EXPECT_EQ( moved, key );
   EXPECT_FALSE( copy );
}

TEST( Allocations, NoneToCompareOrderHashAndWalk ) {
   const FlowspecKey a = fullKey();
   const FlowspecKey b = fullKey();
   const AllocationCounter counter;
   bool all = a == b && a.isEq( b ) && a.compare( b, true ) && !( a < b ) &&
              !FlowspecKeyOrder()( a, b ) && a.hash() == b.hash() && static_cast< bool >( a ) &&
              !unprintableTerm( a );
   U32 terms = 0;
   for ( MatchOpValResult term = a.getOptVal( 0 ); !term.isEnd();
         term = a.getOptVal( term.nextIndex() ) ) {
      ++terms;
   }
   for ( const auto& [index, word] : a.matchOpVal() ) {
      all = all && a.matchOpVal( index ) == word && a.matchOpValGet( index );
   }
   const U64 count = counter.count();
   EXPECT_EQ( count, 0U );
   EXPECT_TRUE( all );
   EXPECT_EQ( terms, 7U );
}

TEST( Allocations, NoneToPrintIntoABufferWithCapacity ) {
   const FlowspecKey key = fullKey();
   Vek::String text;
   text.reserve( 2000 );
   const AllocationCounter counter;
   key.appendStrepCli( text, false );
   key.appendStrepCli( text, true );
   key.appendStrepCliDetail( text );
   key.appendStringValue( text );
   key.appendStrep( text );
   const U64 count = counter.count();
   EXPECT_EQ( count, 0U );
   EXPECT_EQ( text, key.toStrepCli( false ) + key.toStrepCli( true ) + key.toStrepCliDetail() +
                       key.stringValue() + key.toStrep() );
}

TEST( Allocations, NoneToReadTheCommandLineAndTheValueForm ) {
   const FlowspecKey key = fullKey();
   const Vek::String withoutLengths = key.toStrepCli( false );
   const Vek::String withLengths = key.toStrepCli( true );
   const Vek::String behindRd = key.toStrepCliWithRd( Zorv::RouteDistinguisher( 7 ), true );
   const Vek::String value = key.stringValue();
   const Vek::String diagnostic = key.toStrep();
   FlowspecKey keys[9];
   Zorv::RouteDistinguisher rd;
   const AllocationCounter counter;
   bool good = keys[0].copyInStrCli( withoutLengths, false );
   good = good && keys[1].copyInStrCli( withLengths, true );
   good = good && keys[2].copyInStrCliWithRd( behindRd, true );
   keys[3].copyInStringValue( value );
   keys[4].copyInStr( diagnostic );
   good = good && !readStrCli( withLengths, true, keys[5] );
   good = good && !readStrCliWithRd( behindRd, true, rd, keys[6] );
   good = good && !readStringValue( value, keys[7] );
   good = good && !readStrep( diagnostic, keys[8] );
   const U64 count = counter.count();
   EXPECT_EQ( count, 0U );
   EXPECT_TRUE( good );
   EXPECT_EQ( keys[3], key );
   EXPECT_EQ( keys[4], key );
   EXPECT_EQ( keys[7], key );
   EXPECT_EQ( keys[8], key );
   for ( const int i : { 1, 2, 5, 6 } ) {
      EXPECT_EQ( keys[i].toStrepCli( true ), withLengths );
   }
}

TEST( Allocations, NoneForATextThatFailsWhileTheTraceIsOff ) {
   FlowspecKey key;
   const AllocationCounter counter;
   const bool good = key.copyInStrCli( "10.0.0.0/8;*;DP:=80|=", false );
   const U64 count = counter.count();
   EXPECT_FALSE( good );
   EXPECT_EQ( count, 0U );
}

} // namespace
} // namespace Flowspec
