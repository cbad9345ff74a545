#include "Zorv/IntfId.h"

#include "Vek/text/Exceptions.h"

#include <iomanip>
#include <random>
#include <sstream>
#include <type_traits>

#include <gmock/gmock.h>

namespace {

using testing::ThrowsMessage;
using Zorv::IntfId;

static_assert( sizeof( IntfId ) == 8 && std::is_trivially_copyable_v< IntfId > );
static_assert( !std::is_convertible_v< U64, IntfId > );

struct Form {
   const char* text;
   U64 value;
};

constexpr Form forms[] = {
   { "intf0", 0 },
   { "intf1", 1 },
   { "intf10", 10 },
   { "intf4294967296", 4294967296 },
   { "intf18446744073709551615", 18446744073709551615U },
};

TEST( IntfId, TextIsIntfAndTheNumberBothWays ) {
   for ( const auto& [text, value] : forms ) {
      EXPECT_EQ( IntfId( value ).value(), value );
      EXPECT_EQ( IntfId( value ).stringValue(), text );
      EXPECT_EQ( IntfId::fromText( text ), IntfId( value ) );
      IntfId read( 7 );
      read.stringValueIs( text );
      EXPECT_EQ( read, IntfId( value ) );
   }
   std::mt19937_64 random( 20230317 );
   for ( int i = 0; i < 10'000; ++i ) {
      const IntfId intf( random() >> random() % 64 );
      ASSERT_EQ( IntfId::fromText( intf.stringValue() ), intf );
   }
}

TEST( IntfId, DefaultIsZero ) {
   constexpr IntfId intf;
   static_assert( intf.value() == 0 );
   EXPECT_EQ( intf, IntfId( 0 ) );
}

TEST( IntfId, OtherTextsAreRejectedByNameAndChangeNothing ) {
   for ( const char* const text :
         { "", "intf", "1", "Intf1", "int1", "intf01", "intf00", "intf-1", "intf+1", "intf 1",
           " intf1", "intf1 ", "intf1;", "intf0x1", "intf1a", "intfintf1", "Ethernet1",
           "intf18446744073709551616", "intf99999999999999999999" } ) {
      EXPECT_EQ( IntfId::fromText( text ), std::nullopt ) << text;
      const Vek::String message = Vek::concat( "Zorv::IntfId: '", text, "' is not an interface" );
      EXPECT_EQ( IntfId::badTextMessage( text ), message );
      IntfId unchanged( 7 );
      EXPECT_THAT( [&] { unchanged.stringValueIs( text ); },
                   ThrowsMessage< Vek::RangeException >( message ) );
      EXPECT_EQ( unchanged, IntfId( 7 ) );
   }
}

TEST( IntfId, OrderAndHashFollowTheNumber ) {
   EXPECT_LT( IntfId( 9 ), IntfId( 10 ) );
   EXPECT_LT( IntfId( 0xFFFFFFFF ), IntfId( 0x100000000 ) );
   EXPECT_EQ( IntfId( 5 ).hash(), IntfId( 5 ).hash() );
   EXPECT_NE( IntfId( 5 ).hash(), IntfId( 6 ).hash() );
   EXPECT_NE( IntfId( 1 ).hash(), IntfId( 0x100000000 ).hash() );
}

TEST( IntfId, StreamAndWriterGiveTheText ) {
   std::ostringstream out;
   out << std::hex << std::setw( 20 ) << IntfId( 16 );
   EXPECT_EQ( out.str(), "intf16" );
   EXPECT_EQ( Vek::concat( '<', IntfId( 16 ), '>' ), "<intf16>" );
}

} // namespace
