#include "Zorv/IpGenPrefix.h"

#include "Vek/text/Exceptions.h"

#include "tests/support/AllocationCounter.h"

#include <algorithm>
#include <iomanip>
#include <random>
#include <sstream>
#include <vector>

#include <gmock/gmock.h>

namespace {

using testing::ThrowsMessage;
using Vek::RangeException;
using Zorv::AddressFamily;
using Zorv::IpGenAddr;
using Zorv::IpGenPrefix;

IpGenAddr address( std::string_view text ) { return IpGenAddr::fromText( text ).value(); }

/// The prefix that `text` must spell.
IpGenPrefix prefix( std::string_view text ) {
   const auto read = IpGenPrefix::fromText( text );
   EXPECT_TRUE( read.has_value() ) << text;
   return read.value_or( IpGenPrefix() );
}

TEST( IpGenPrefix, DefaultIsEmpty ) {
   constexpr IpGenPrefix empty;
   static_assert( empty.empty() && empty.family() == AddressFamily::none && empty.length() == 0 );
   EXPECT_EQ( empty.address(), IpGenAddr() );
   EXPECT_EQ( empty.stringValue(), "" );
}

TEST( IpGenPrefix, TextIsTheAddressAndTheLength ) {
   for ( const char* const text :
         { "0.0.0.0/0", "10.0.0.0/8", "10.1.0.0/16", "192.0.2.0/24", "192.0.2.1/32", "128.0.0.0/1",
           "::/0", "2001:db8::/32", "2001:db8::1/128", "8000::/1", "::ffff:1.2.3.4/128",
           "::ffff:0.0.0.0/96", "::102:304/128", "2001:db8:0:1:1:1:1:0/112" } ) {
      const IpGenPrefix read = prefix( text );
      EXPECT_FALSE( read.empty() ) << text;
      EXPECT_EQ( read.stringValue(), text );
   }
   const IpGenPrefix ipv4 = prefix( "10.1.0.0/16" );
   EXPECT_EQ( ipv4.family(), AddressFamily::ipv4 );
   EXPECT_EQ( ipv4.address(), IpGenAddr::ipv4( 0x0A010000 ) );
   EXPECT_EQ( ipv4.length(), 16 );
   const IpGenPrefix ipv6 = prefix( "2001:DB8:0::/33" );
   EXPECT_EQ( ipv6.family(), AddressFamily::ipv6 );
   EXPECT_EQ( ipv6.address(), address( "2001:db8::" ) );
   EXPECT_EQ( ipv6.length(), 33 );
}

TEST( IpGenPrefix, HostBitsAreCleared ) {
   EXPECT_EQ( prefix( "10.1.2.3/16" ), prefix( "10.1.0.0/16" ) );
   EXPECT_EQ( prefix( "255.255.255.255/13" ).stringValue(), "255.248.0.0/13" );
   EXPECT_EQ( prefix( "1.2.3.4/0" ).stringValue(), "0.0.0.0/0" );
   EXPECT_EQ( prefix( "2001:db8:ffff:ffff::1/35" ).stringValue(), "2001:db8:e000::/35" );
   EXPECT_EQ( prefix( "ffff::1/0" ).stringValue(), "::/0" );
   EXPECT_EQ( prefix( "::ffff:1.2.3.4/95" ).stringValue(), "::fffe:0:0/95" );
   EXPECT_EQ( IpGenPrefix( address( "10.1.2.3" ), 16 ), prefix( "10.1.0.0/16" ) );
}

TEST( IpGenPrefix, EveryLengthKeepsAsManyBits ) {
   const auto ones = []( unsigned length ) {
      IpGenAddr::Bytes bytes{};
      for ( unsigned bit = 0; bit < length; ++bit ) {
         bytes[bit / 8] = static_cast< U8 >( bytes[bit / 8] | 0x80 >> bit % 8 );
      }
      return bytes;
   };
   for ( unsigned length = 0; length <= 32; ++length ) {
      const IpGenPrefix read = prefix( Vek::concat( "255.255.255.255/", length ) );
      EXPECT_EQ( read.length(), length );
      EXPECT_EQ( read.address().bytes(), ones( length ) );
      EXPECT_EQ( prefix( read.stringValue() ), read );
   }
   const Vek::String allOnes = "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff";
   for ( unsigned length = 0; length <= 128; ++length ) {
      const IpGenPrefix read = prefix( Vek::concat( allOnes, '/', length ) );
      EXPECT_EQ( read.length(), length );
      EXPECT_EQ( read.address().bytes(), ones( length ) );
      EXPECT_EQ( prefix( read.stringValue() ), read );
   }
}

TEST( IpGenPrefix, IsMadeOfTheFirstBitsOfAFamilysAddress ) {
   U8 bytes[16];
   std::fill_n( bytes, sizeof bytes, U8{ 0xFF } );
   EXPECT_EQ( IpGenPrefix::ofFamily( AddressFamily::ipv4, bytes, 17 ),
              prefix( "255.255.128.0/17" ) );
   EXPECT_EQ( IpGenPrefix::ofFamily( AddressFamily::ipv4, bytes, 0 ), prefix( "0.0.0.0/0" ) );
   EXPECT_EQ( IpGenPrefix::ofFamily( AddressFamily::ipv6, bytes, 66 ),
              prefix( "ffff:ffff:ffff:ffff:c000::/66" ) );
   EXPECT_EQ( IpGenPrefix::ofFamily( AddressFamily::none, bytes, 0 ), IpGenPrefix() );
}

TEST( IpGenPrefix, OtherTextsAreRejectedByNameAndChangeNothing ) {
   for ( const char* const text : { "",
                                    "/",
                                    "/8",
                                    "*",
                                    "10.0.0.0",
                                    "10.0.0.0/",
                                    "10.0.0.0/33",
                                    "10.0.0.0/033",
                                    "10.0.0.0/08",
                                    "10.0.0.0/00",
                                    "10.0.0.0/+8",
                                    "10.0.0.0/-8",
                                    "10.0.0.0/-0",
                                    "10.0.0.0/ 8",
                                    "10.0.0.0/8 ",
                                    "10.0.0.0 /8",
                                    " 10.0.0.0/8",
                                    "10.0.0.0//8",
                                    "10.0.0.0/8/8",
                                    "10.0.0.0/8/",
                                    "10.0.0.0/0x8",
                                    "10.0.0.0/8a",
                                    "10.0.0.0/a",
                                    "10.0.0.0/255.0.0.0",
                                    "10.0.0.0/256",
                                    "10.0.0.0/4294967304",
                                    "10.0.0.0/18446744073709551624",
                                    "10/8",
                                    "10.0/8",
                                    "10.0.0/8",
                                    "10.0.0.0.0/8",
                                    "010.0.0.0/8",
                                    "256.0.0.0/8",
                                    "::",
                                    "::/",
                                    "::/129",
                                    "::/0128",
                                    "::/00",
                                    "::/+1",
                                    "::/ 1",
                                    "::1%lo/128",
                                    "[::1]/128",
                                    "1:2/16",
                                    "10.0.0.0/8;",
                                    "none",
                                    "any" } ) {
      EXPECT_EQ( IpGenPrefix::fromText( text ), std::nullopt ) << text;
      const Vek::String message = Vek::concat( "Zorv::IpGenPrefix: '", text, "' is not a prefix" );
      EXPECT_EQ( IpGenPrefix::badTextMessage( text ), message );
      IpGenPrefix unchanged = prefix( "192.0.2.0/24" );
      EXPECT_THAT( [&] { unchanged.stringValueIs( text ); },
                   ThrowsMessage< RangeException >( message ) );
      EXPECT_EQ( unchanged, prefix( "192.0.2.0/24" ) );
   }
   EXPECT_EQ( IpGenPrefix::fromText( std::string_view( "10.0.0.0/8\0", 11 ) ), std::nullopt );
}

TEST( IpGenPrefix, IsTakenFromTheMiddleOfAText ) {
   for ( const std::string_view spelled :
         { "0.0.0.0/0", "10.1.2.0/24", "255.255.255.255/32", "::/0", "2001:db8::/32",
           "2001:db8:1:2:3:4:5:6/128", "::ffff:10.0.0.0/104" } ) {
      for ( const std::string_view rest : { "", ";", ";*;IP:=6;", "x", "/8" } ) {
         const std::string text = "5;" + std::string( spelled ) + std::string( rest );
         std::size_t at = 2;
         EXPECT_EQ( IpGenPrefix::takeFrom( text, at ), prefix( spelled ) ) << text;
         EXPECT_EQ( at, 2 + spelled.size() ) << text;
      }
   }
}

TEST( IpGenPrefix, NothingIsTakenOfWhatIsNone ) {
   for ( const std::string_view text : { "",
                                         ";",
                                         "*;*;",
                                         "/8",
                                         "10.0.0.0",
                                         "10.0.0.0;/8",
                                         "10.0.0/8",
                                         "10.0.0.0.0/8",
                                         "10.0.0.256/8",
                                         "10.0.0.0000/8",
                                         "10.0.0.01/8",
                                         "10.0.0.0/",
                                         "10.0.0.0/;",
                                         "10.0.0.0/08",
                                         "10.0.0.0/33",
                                         "10..0.0/8",
                                         ".10.0.0.0/8",
                                         "2001:db8::",
                                         "2001:db8::;/32",
                                         "2001:db8::/129" } ) {
      std::size_t at = 0;
      EXPECT_EQ( IpGenPrefix::takeFrom( text, at ), std::nullopt ) << text;
      EXPECT_EQ( at, 0U ) << text;
   }
}

TEST( IpGenPrefix, StringValueIsReadsAPrefix ) {
   IpGenPrefix read = prefix( "2001:db8::/32" );
   read.stringValueIs( "10.9.8.7/8" );
   EXPECT_EQ( read, prefix( "10.0.0.0/8" ) );
   read.stringValueIs( "::1/128" );
   EXPECT_EQ( read, IpGenPrefix( address( "::1" ), 128 ) );
}

TEST( IpGenPrefix, LengthBeyondTheFamilyAndEmptyAddressAreRejected ) {
   EXPECT_EQ( IpGenPrefix( address( "10.0.0.1" ), 32 ).length(), 32 );
   EXPECT_EQ( IpGenPrefix( address( "::1" ), 128 ).length(), 128 );
   EXPECT_THAT(
      [] { IpGenPrefix( address( "10.0.0.1" ), 33 ); },
      ThrowsMessage< RangeException >( "Zorv::IpGenPrefix: '10.0.0.1/33' is not a prefix" ) );
   EXPECT_THAT(
      [] { IpGenPrefix( address( "10.0.0.1" ), 256 ); },
      ThrowsMessage< RangeException >( "Zorv::IpGenPrefix: '10.0.0.1/256' is not a prefix" ) );
   EXPECT_THAT( [] { IpGenPrefix( address( "10.0.0.1" ), 0x1'0000'0018 ); },
                ThrowsMessage< RangeException >(
                   "Zorv::IpGenPrefix: '10.0.0.1/4294967320' is not a prefix" ) );
   EXPECT_THAT( [] { IpGenPrefix( address( "::1" ), 129 ); },
                ThrowsMessage< RangeException >( "Zorv::IpGenPrefix: '::1/129' is not a prefix" ) );
   EXPECT_THROW( IpGenPrefix( IpGenAddr(), 0 ), RangeException );
}

TEST( IpGenPrefix, OrderIsByFamilyThenAddressThenLength ) {
   const std::vector< IpGenPrefix > ascending = {
      IpGenPrefix(),           prefix( "0.0.0.0/0" ),   prefix( "0.0.0.0/1" ),
      prefix( "0.0.0.0/32" ),  prefix( "0.0.0.1/32" ),  prefix( "10.0.0.0/8" ),
      prefix( "10.0.0.0/16" ), prefix( "10.1.0.0/16" ), prefix( "127.0.0.0/8" ),
      prefix( "128.0.0.0/1" ), prefix( "128.0.0.0/8" ), prefix( "255.255.255.255/32" ),
      prefix( "::/0" ),        prefix( "::/127" ),      prefix( "::/128" ),
      prefix( "::1/128" ),     prefix( "1::/16" ),      prefix( "8000::/1" ),
   };
   for ( std::size_t i = 0; i < ascending.size(); ++i ) {
      for ( std::size_t j = 0; j < ascending.size(); ++j ) {
         EXPECT_EQ( ascending[i] <=> ascending[j], i <=> j ) << ascending[i] << ' ' << ascending[j];
         EXPECT_EQ( ascending[i] == ascending[j], i == j );
      }
   }
}

TEST( IpGenPrefix, RandomPrefixesAreReadBackFromTheirText ) {
   std::mt19937_64 random( 20210104 );
   for ( int round = 0; round < 50'000; ++round ) {
      IpGenAddr::Bytes bytes{};
      for ( U8& byte : bytes ) {
         byte = static_cast< U8 >( random() % 3 == 0 ? random() : 0 );
      }
      const IpGenPrefix ipv6( IpGenAddr::ipv6( bytes ), static_cast< unsigned >( random() % 129 ) );
      ASSERT_EQ( IpGenPrefix::fromText( ipv6.stringValue() ), ipv6 ) << ipv6;
      const IpGenPrefix ipv4( IpGenAddr::ipv4( static_cast< U32 >( random() ) ),
                              static_cast< unsigned >( random() % 33 ) );
      ASSERT_EQ( IpGenPrefix::fromText( ipv4.stringValue() ), ipv4 ) << ipv4;
      ASSERT_EQ( ipv4.address().masked( ipv4.length() ), ipv4.address() );
   }
}

TEST( IpGenPrefix, EqualPrefixesHaveEqualAddressHashes ) {
   EXPECT_EQ( prefix( "10.1.2.3/8" ).address().hash(), prefix( "10.0.0.0/8" ).address().hash() );
   EXPECT_EQ( prefix( "2001:DB8::1/32" ).address().hash(),
              prefix( "2001:db8::/32" ).address().hash() );
}

TEST( IpGenPrefix, StreamAndWriterGiveTheText ) {
   std::ostringstream out;
   out << std::hex << std::setfill( '*' ) << prefix( "10.0.0.0/16" ) << ' ' << IpGenPrefix() << ' '
       << prefix( "2001:db8::/32" );
   EXPECT_EQ( out.str(), "10.0.0.0/16  2001:db8::/32" );
   EXPECT_EQ( Vek::concat( prefix( "10.0.0.0/8" ), ';', IpGenPrefix(), ';' ), "10.0.0.0/8;;" );
}

TEST( IpGenPrefix, ReadingTakesNoMemory ) {
   const TestSupport::AllocationCounter allocations;
   const auto right = IpGenPrefix::fromText( "2001:db8:1:2:3:4:5:6/128" );
   const auto wrong = IpGenPrefix::fromText( "2001:db8:1:2:3:4:5:6/129" );
   EXPECT_EQ( allocations.count(), 0U );
   EXPECT_TRUE( right.has_value() );
   EXPECT_FALSE( wrong.has_value() );
}

} // namespace
