#include "L3/ResolvedNexthopInfo.h"

#include "Vek/text/Exceptions.h"
#include "tests/support/AllocationCounter.h"

#include <iomanip>
#include <set>
#include <sstream>

#include <gmock/gmock.h>

namespace {

using L3::MplsLabel;
using L3::ResolvedNexthopInfo;
using L3::Via;
using testing::ElementsAre;
using testing::IsEmpty;
using Zorv::IntfId;
using Zorv::IpGenAddr;

IpGenAddr address( std::string_view text ) { return IpGenAddr::fromText( text ).value(); }

const Via first{ address( "192.0.2.2" ), IntfId( 3 ), MplsLabel( 100 ), true };
const Via backup{ address( "192.0.2.1" ), IntfId( 1 ), MplsLabel(), false };
const Via second{ address( "192.0.2.1" ), IntfId( 2 ), MplsLabel(), true };

TEST( ResolvedNexthopInfo, DefaultIsEmptyAndTakesNoMemory ) {
   const TestSupport::AllocationCounter allocations;
   const ResolvedNexthopInfo info;
   const ResolvedNexthopInfo copy( info );
   EXPECT_EQ( allocations.count(), 0U );
   EXPECT_THAT( info.nexthopSet(), IsEmpty() );
   EXPECT_THAT( info.vias(), IsEmpty() );
   EXPECT_THAT( info.viasActive(), IsEmpty() );
   EXPECT_EQ( info.nexthopSetStrep(), "{}" );
   EXPECT_EQ( info.stringValue(), "<nexthopSet={};vias={}>" );
   EXPECT_EQ( copy, info );
}

TEST( ResolvedNexthopInfo, NexthopSetIsInTheOrderOfTheAddresses ) {
   ResolvedNexthopInfo info;
   info.nexthopSetIs( { address( "2001:db8::1" ), address( "192.0.2.10" ), address( "192.0.2.9" ),
                        address( "192.0.2.10" ) } );
   EXPECT_THAT( info.nexthopSet(), ElementsAre( address( "192.0.2.9" ), address( "192.0.2.10" ),
                                                address( "2001:db8::1" ) ) );
   EXPECT_EQ( info.nexthopSetStrep(), "{192.0.2.9,192.0.2.10,2001:db8::1}" );
   info.nexthopSetIs( { address( "192.0.2.1" ) } );
   EXPECT_EQ( info.nexthopSetStrep(), "{192.0.2.1}" );
}

TEST( ResolvedNexthopInfo, ViasKeepTheirOrderAndTheActiveOnesToo ) {
   ResolvedNexthopInfo info;
   info.viasIs( { first, backup, second, first } );
   EXPECT_THAT( info.vias(), ElementsAre( first, backup, second, first ) );
   EXPECT_THAT( info.viasActive(), ElementsAre( first, second, first ) );
   info.viasIs( { backup } );
   EXPECT_THAT( info.viasActive(), IsEmpty() );
}

TEST( ResolvedNexthopInfo, CopiesAreIndependent ) {
   const ResolvedNexthopInfo info( { address( "192.0.2.1" ) }, { first } );
   ResolvedNexthopInfo copy( info );
   EXPECT_EQ( copy, info );
   EXPECT_EQ( copy.hash(), info.hash() );
   copy.viasIs( {} );
   copy.nexthopSetIs( {} );
   EXPECT_EQ( copy, ResolvedNexthopInfo() );
   EXPECT_EQ( info, ResolvedNexthopInfo( { address( "192.0.2.1" ) }, { first } ) );
}

TEST( ResolvedNexthopInfo, EveryPartCountsInComparisonAndHash ) {
   const IpGenAddr a = address( "192.0.2.1" );
   const IpGenAddr b = address( "192.0.2.2" );
   const IpGenAddr sameBytes = address( "c000:201::" );
   Via otherFlag = first;
   otherFlag.active = false;
   Via otherLabel = first;
   otherLabel.mplsLabel = MplsLabel();
   Via otherIntf = first;
   otherIntf.intf = IntfId( 4 );
   Via otherAddress = first;
   otherAddress.address = a;
   const std::vector< ResolvedNexthopInfo > different = {
      {},
      { { IpGenAddr() }, {} },
      { { a }, {} },
      { { sameBytes }, {} },
      { { b }, {} },
      { { a, b }, {} },
      { {}, { first } },
      { { a }, { first } },
      { {}, { otherFlag } },
      { {}, { otherLabel } },
      { {}, { otherIntf } },
      { {}, { otherAddress } },
      { {}, { first, second } },
      { {}, { second, first } },
   };
   std::set< U32 > hashes;
   for ( std::size_t i = 0; i < different.size(); ++i ) {
      for ( std::size_t j = 0; j < different.size(); ++j ) {
         EXPECT_EQ( different[i] == different[j], i == j ) << i << ' ' << j;
      }
      EXPECT_TRUE( hashes.insert( different[i].hash() ).second ) << i;
   }
}

TEST( ResolvedNexthopInfo, StreamAndWriterGiveTheText ) {
   const ResolvedNexthopInfo info( { address( "192.0.2.2" ), address( "192.0.2.1" ) },
                                   { first, backup } );
   const std::string text = "<nexthopSet={192.0.2.1,192.0.2.2};"
                            "vias={<address=192.0.2.2;intf=intf3;mplsLabel=100;active=1>,"
                            "<address=192.0.2.1;intf=intf1;mplsLabel=none;active=0>}>";
   std::ostringstream out;
   out << std::hex << std::setw( 200 ) << info;
   EXPECT_EQ( out.str(), text );
   EXPECT_EQ( Vek::concat( info ), text );
   EXPECT_EQ( info.stringValue(), text );
}

TEST( ResolvedNexthopInfo, IsReadFromItsText ) {
   const ResolvedNexthopInfo infos[] = {
      ResolvedNexthopInfo(),
      { { address( "192.0.2.1" ) }, {} },
      { { IpGenAddr() }, {} },
      { { IpGenAddr(), address( "2001:db8::1" ) }, { Via() } },
      { { address( "192.0.2.2" ), address( "192.0.2.1" ) }, { first, backup, second, first } },
   };
   for ( const ResolvedNexthopInfo& info : infos ) {
      ResolvedNexthopInfo read( { address( "10.0.0.1" ) }, { second } );
      read.stringValueIs( info.stringValue() );
      EXPECT_EQ( read, info ) << info.stringValue();
   }
   EXPECT_EQ( infos[2].stringValue(), "<nexthopSet={,};vias={}>" );
}

TEST( ResolvedNexthopInfo, OtherTextsAreRefusedAndChangeNothing ) {
   const ResolvedNexthopInfo before( { address( "192.0.2.1" ) }, { first } );
   const std::string whole = before.stringValue();
   std::vector< std::string > texts;
   for ( std::size_t size = 0; size < whole.size(); ++size ) {
      texts.push_back( whole.substr( 0, size ) );
      std::string other = whole;
      other[size] = other[size] == 'z' ? 'y' : 'z';
      texts.push_back( other );
   }
   const std::string via = "<nexthopSet={};vias={<address=192.0.2.2;intf=intf3;mplsLabel=";
   for ( const char* const text :
         { "<nexthopSet={};vias={}> ", "<nexthopSet={192.0.2.1,};vias=}>",
           "<nexthopSet={192.0.2};vias={}>", "<nexthopSet={};vias={,}>" } ) {
      texts.emplace_back( text );
   }
   for ( const char* const end : { "1048576;active=1>}>", "-1;active=1>}>", "5;active=2>}>",
                                   "5;active=11>}>", "5;active=1>,}>", "None;active=1>}>" } ) {
      texts.push_back( via + end );
   }
   for ( const std::string& text : texts ) {
      ResolvedNexthopInfo info = before;
      EXPECT_THAT( [&] { info.stringValueIs( text ); },
                   testing::ThrowsMessage< Vek::RangeException >(
                      "L3::ResolvedNexthopInfo: '" + text + "' is not a resolved next hop" ) );
      EXPECT_EQ( info, before ) << text;
   }
}

} // namespace
