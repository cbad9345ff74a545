#include "L3/Via.h"

#include "Vek/text/Exceptions.h"

#include <iomanip>
#include <sstream>
#include <type_traits>

#include <gmock/gmock.h>

namespace {

using L3::MplsLabel;
using L3::Via;
using testing::ThrowsMessage;
using Zorv::IntfId;
using Zorv::IpGenAddr;

static_assert( !std::is_convertible_v< U32, MplsLabel > );

IpGenAddr address( std::string_view text ) { return IpGenAddr::fromText( text ).value(); }

TEST( MplsLabel, DefaultIsNone ) {
   constexpr MplsLabel label;
   static_assert( label.value() == 1048576 && MplsLabel::none() == 1048576 && !label );
   EXPECT_EQ( label.stringValue(), "none" );
   EXPECT_EQ( label, MplsLabel( 1048576 ) );
}

TEST( MplsLabel, TextIsTheNumber ) {
   struct Form {
      U32 value;
      const char* text;
   };
   for ( const auto& [value, text] :
         { Form{ 0, "0" }, Form{ 3, "3" }, Form{ 100, "100" }, Form{ 1048575, "1048575" } } ) {
      const MplsLabel label( value );
      EXPECT_TRUE( static_cast< bool >( label ) );
      EXPECT_EQ( label.value(), value );
      EXPECT_EQ( label.stringValue(), text );
   }
}

TEST( MplsLabel, NumbersAboveNoneAreRefused ) {
   EXPECT_THAT( [] { MplsLabel( 1048577 ); },
                ThrowsMessage< Vek::RangeException >( "L3::MplsLabel: 1048577 is above 1048576" ) );
   EXPECT_THAT(
      [] { MplsLabel( 0xFFFFFFFF ); },
      ThrowsMessage< Vek::RangeException >( "L3::MplsLabel: 4294967295 is above 1048576" ) );
}

TEST( MplsLabel, WideNumbersAreNotCut ) {
   EXPECT_THAT(
      [] { MplsLabel( 0x1'0000'0005 ); },
      ThrowsMessage< Vek::RangeException >( "L3::MplsLabel: 4294967301 is above 1048576" ) );
}

TEST( Via, DefaultIsEmptyAndNotActive ) {
   const Via via;
   EXPECT_TRUE( via.address.empty() );
   EXPECT_EQ( via.intf, IntfId() );
   EXPECT_EQ( via.mplsLabel, MplsLabel() );
   EXPECT_FALSE( via.active );
   EXPECT_EQ( Vek::concat( via ), "<address=;intf=intf0;mplsLabel=none;active=0>" );
}

TEST( Via, EveryMemberCountsInComparison ) {
   const Via via{ address( "192.0.2.1" ), IntfId( 1 ), MplsLabel( 16 ), true };
   EXPECT_EQ( via, Via( via ) );
   for ( const Via& other :
         { Via{ address( "192.0.2.2" ), IntfId( 1 ), MplsLabel( 16 ), true },
           Via{ address( "192.0.2.1" ), IntfId( 2 ), MplsLabel( 16 ), true },
           Via{ address( "192.0.2.1" ), IntfId( 1 ), MplsLabel( 17 ), true },
           Via{ address( "192.0.2.1" ), IntfId( 1 ), MplsLabel(), true },
           Via{ address( "192.0.2.1" ), IntfId( 1 ), MplsLabel( 16 ), false } } ) {
      EXPECT_NE( other, via );
   }
}

TEST( Via, StreamAndWriterGiveTheText ) {
   std::ostringstream out;
   out << std::hex << std::setw( 80 ) << Via{ address( "2001:db8::1" ), IntfId( 16 ), {}, true }
       << MplsLabel( 16 ) << MplsLabel();
   EXPECT_EQ( out.str(), "<address=2001:db8::1;intf=intf16;mplsLabel=none;active=1>16none" );
   EXPECT_EQ( Vek::concat( Via{ address( "192.0.2.1" ), IntfId( 3 ), MplsLabel( 100 ), false } ),
              "<address=192.0.2.1;intf=intf3;mplsLabel=100;active=0>" );
}

} // namespace
