#include "Zorv/RouteDistinguisher.h"

#include "Vek/text/Exceptions.h"

#include <iomanip>
#include <random>
#include <sstream>

#include <gmock/gmock.h>

namespace {

using testing::ThrowsMessage;
using Vek::RangeException;
using Zorv::RouteDistinguisher;

/// The number that `text` must spell.
U64 valueOf( std::string_view text ) {
   const auto read = RouteDistinguisher::fromText( text );
   EXPECT_TRUE( read.has_value() ) << text;
   return read.value_or( RouteDistinguisher( 0xDEAD ) ).value();
}

Vek::String textOf( U64 value ) { return RouteDistinguisher( value ).stringValue(); }

struct Form {
   const char* text;
   U64 value;
};

// RFC 4364 section 4.2: two bytes of type, six of value.
constexpr Form forms[] = {
   { "0:0", 0 },
   { "0:1", 0x0000'0000'00000001 },
   { "1:0", 0x0000'0001'00000000 },
   { "100:1", 0x0000'0064'00000001 },
   { "65000:100", 0x0000'FDE8'00000064 },
   { "65535:4294967295", 0x0000'FFFF'FFFFFFFF },
   { "0:4294967295", 0x0000'0000'FFFFFFFF },
   { "65535:0", 0x0000'FFFF'00000000 },
   { "0:65536", 0x0000'0000'00010000 },
   { "192.0.2.1:100", 0x0001'C0000201'0064 },
   { "0.0.0.0:0", 0x0001'00000000'0000 },
   { "255.255.255.255:65535", 0x0001'FFFFFFFF'FFFF },
   { "0.0.0.100:1", 0x0001'00000064'0001 },
   { "70000:100", 0x0002'00011170'0064 },
   { "65536:0", 0x0002'00010000'0000 },
   { "65536:65535", 0x0002'00010000'FFFF },
   { "4294967295:65535", 0x0002'FFFFFFFF'FFFF },
   { "0L:0", 0x0002'00000000'0000 },
   { "0L:65535", 0x0002'00000000'FFFF },
   { "100L:1", 0x0002'00000064'0001 },
   { "65535L:65535", 0x0002'0000FFFF'FFFF },
   { "0x0003000000000000", 0x0003'000000000000 },
   { "0x00030000000000ff", 0x0003'0000000000FF },
   { "0x0123456789abcdef", 0x0123'456789ABCDEF },
   { "0xffffffffffffffff", 0xFFFF'FFFFFFFFFFFF },
};

TEST( RouteDistinguisher, EveryTypeHasItsTextBothWays ) {
   for ( const auto& [text, value] : forms ) {
      EXPECT_EQ( textOf( value ), text );
      EXPECT_EQ( valueOf( text ), value ) << text;
      EXPECT_EQ( RouteDistinguisher( value ).type(), value >> 48 );
   }
}

TEST( RouteDistinguisher, DefaultIsZeroAndPrintsAsSuch ) {
   constexpr RouteDistinguisher zero;
   static_assert( zero.value() == 0 && zero.type() == 0 && !zero );
   EXPECT_EQ( zero.stringValue(), "0:0" );
   EXPECT_EQ( RouteDistinguisher::fromText( "0:0" ), zero );
}

TEST( RouteDistinguisher, OnlyAllZeroBytesConvertToFalse ) {
   for ( unsigned bit = 0; bit < 64; ++bit ) {
      EXPECT_TRUE( static_cast< bool >( RouteDistinguisher( U64{ 1 } << bit ) ) );
   }
   EXPECT_FALSE( static_cast< bool >( RouteDistinguisher( 0 ) ) );
}

TEST( RouteDistinguisher, HexadecimalDigitsAreReadInEitherCase ) {
   EXPECT_EQ( valueOf( "0x0003ABCDEFabcdef" ), 0x0003ABCDEFABCDEFU );
   EXPECT_EQ( textOf( 0x0003ABCDEFABCDEF ), "0x0003abcdefabcdef" );
}

TEST( RouteDistinguisher, OtherTextsAreRejectedByNameAndChangeNothing ) {
   for ( const char* const text :
         { "", ":", "1", "1:", ":1", "1:2:3", "1::2", "::", "a:1", "1:a", "-1:1", "1:-1", "+1:1",
           "1:+1", " 1:1", "1: 1", "1 :1", "1:1 ", "01:1", "1:01", "00:0", "0:00", "1.5:1", "0:0;",
           // Fields beyond their limits.
           "65535:4294967296", "0:18446744073709551616", "65536:65536", "70000:70000",
           "4294967296:1", "4294967295:65536", "18446744073709551617:1",
           // IPv4 addresses.
           "192.0.2.1", "192.0.2.1:", "192.0.2.1:65536", "192.0.2.256:1", "192.0.2:1",
           "192.0.2.01:1", "192.0.2.1L:1", ".:1", "192.0.2.1/32:1", "::1.2.3.4:1", "::1:1",
           "2001:db8::1:100",
           // The suffix of short four-byte AS numbers.
           "L:1", "100l:1", "100LL:1", "65536L:1", "70000L:1", "L100:1", "100L:65536",
           "100L:", "100L", "100:1L", "100 L:1",
           // Raw bytes: 16 digits, and none of a type with a text of its own.
           "0x", "0x0", "0x003", "0x000300000000000", "0x00030000000000000", "0X0003000000000000",
           "0x000300000000000g", "0xfffffffffffffffg", "0xfffffffffffffff ", "0x-003000000000000",
           "0x+003000000000000", "0x 003000000000000", "0x0x03000000000000", "0003000000000000",
           "0x0000000000000000", "0x0000006400000001", "0x0001c00002010064",
           "0x0002000111700064" } ) {
      EXPECT_EQ( RouteDistinguisher::fromText( text ), std::nullopt ) << text;
      const Vek::String message =
         Vek::concat( "Zorv::RouteDistinguisher: '", text, "' is not a route distinguisher" );
      EXPECT_EQ( RouteDistinguisher::badTextMessage( text ), message );
      RouteDistinguisher unchanged( 7 );
      EXPECT_THAT( [&] { unchanged.stringValueIs( text ); },
                   ThrowsMessage< RangeException >( message ) );
      EXPECT_EQ( unchanged, RouteDistinguisher( 7 ) );
   }
   EXPECT_EQ( RouteDistinguisher::fromText( std::string_view( "1:1\0", 4 ) ), std::nullopt );
}

TEST( RouteDistinguisher, StringValueIsReadsADistinguisher ) {
   RouteDistinguisher rd( 7 );
   rd.stringValueIs( "192.0.2.1:100" );
   EXPECT_EQ( rd.value(), 0x0001C00002010064U );
   rd.stringValueIs( "0:0" );
   EXPECT_EQ( rd.value(), 0U );
}

TEST( RouteDistinguisher, RandomValuesAreReadBackFromTheirText ) {
   std::mt19937_64 random( 20210104 );
   for ( int round = 0; round < 100'000; ++round ) {
      // The shift makes short numbers as common as long ones.
      const U64 value = ( random() >> 16 ) >> random() % 48;
      for ( U64 type = 0; type <= 5; ++type ) {
         const RouteDistinguisher rd( type << 48 | value );
         ASSERT_EQ( RouteDistinguisher::fromText( rd.stringValue() ), rd ) << rd;
      }
      const RouteDistinguisher any( random() );
      ASSERT_EQ( RouteDistinguisher::fromText( any.stringValue() ), any ) << any;
   }
}

TEST( RouteDistinguisher, OrderIsThatOfTheNetworkOrderBytes ) {
   const RouteDistinguisher ascending[] = {
      RouteDistinguisher( 0 ),
      RouteDistinguisher( 1 ),
      RouteDistinguisher( 0x0000'0001'00000000 ),
      RouteDistinguisher( 0x0000'FFFF'FFFFFFFF ),
      RouteDistinguisher( 0x0001'00000000'0000 ),
      RouteDistinguisher( 0x7FFF'00000000'0000 ),
      RouteDistinguisher( 0x8000'00000000'0000 ),
      RouteDistinguisher( 0xFFFF'FFFFFFFF'FFFF ),
   };
   for ( std::size_t i = 0; i < std::size( ascending ); ++i ) {
      for ( std::size_t j = 0; j < std::size( ascending ); ++j ) {
         EXPECT_EQ( ascending[i] <=> ascending[j], i <=> j );
         EXPECT_EQ( ascending[i] == ascending[j], i == j );
      }
   }
}

TEST( RouteDistinguisher, StreamAndWriterGiveTheText ) {
   std::ostringstream out;
   out << std::hex << std::setfill( '*' ) << RouteDistinguisher( 0x0000'0064'00000010 ) << ' '
       << RouteDistinguisher( 0x0003'0000000000FF );
   EXPECT_EQ( out.str(), "100:16 0x00030000000000ff" );
   EXPECT_EQ( Vek::concat( "RD:", RouteDistinguisher( 0x0002'00000064'0001 ), ';' ), "RD:100L:1;" );
}

} // namespace
