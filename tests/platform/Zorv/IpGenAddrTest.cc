#include "Zorv/IpGenAddr.h"

#include "tests/support/AllocationCounter.h"

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Zorv::AddressFamily;
using Zorv::IpGenAddr;

/// The address that `text` must spell.
IpGenAddr address( std::string_view text ) {
   const auto read = IpGenAddr::fromText( text );
   EXPECT_TRUE( read.has_value() ) << text;
   return read.value_or( IpGenAddr() );
}

Vek::String rewritten( std::string_view text ) { return address( text ).stringValue(); }

TEST( IpGenAddr, DefaultIsEmpty ) {
   constexpr IpGenAddr empty;
   static_assert( empty.empty() && empty.family() == AddressFamily::none );
   EXPECT_EQ( empty.bytes(), IpGenAddr::Bytes{} );
   EXPECT_EQ( empty.stringValue(), "" );
   EXPECT_EQ( IpGenAddr::fromText( "" ), std::nullopt );
}

TEST( IpGenAddr, Ipv4ComesFromItsHostOrderInteger ) {
   const IpGenAddr addr = IpGenAddr::ipv4( 0x0A010203 );
   EXPECT_EQ( addr.family(), AddressFamily::ipv4 );
   EXPECT_EQ( addr.bytes(), ( IpGenAddr::Bytes{ 10, 1, 2, 3 } ) );
   EXPECT_EQ( addr.ipv4Value(), 0x0A010203U );
   EXPECT_FALSE( addr.empty() );
   EXPECT_EQ( addr.stringValue(), "10.1.2.3" );
   EXPECT_FALSE( IpGenAddr::ipv4( 0 ).empty() );
}

TEST( IpGenAddr, Ipv6ComesFromItsBytes ) {
   constexpr IpGenAddr::Bytes bytes{ 0x20, 0x01, 0x0D, 0xB8, 0,    0,    0, 0,
                                     0,    0,    0,    0,    0xAB, 0xCD, 0, 1 };
   constexpr IpGenAddr addr = IpGenAddr::ipv6( bytes );
   static_assert( addr.family() == AddressFamily::ipv6 && !addr.empty() );
   EXPECT_EQ( addr.bytes(), bytes );
   EXPECT_EQ( addr.stringValue(), "2001:db8::abcd:1" );
   EXPECT_FALSE( IpGenAddr::ipv6( {} ).empty() );
}

TEST( IpGenAddr, Ipv4TextIsFourDecimalNumbers ) {
   for ( const char* const text :
         { "0.0.0.0", "255.255.255.255", "1.2.3.4", "10.0.0.1", "192.0.2.255", "100.200.10.20",
           "0.0.0.1", "249.250.199.99" } ) {
      EXPECT_EQ( address( text ).family(), AddressFamily::ipv4 ) << text;
      EXPECT_EQ( rewritten( text ), text );
   }
   EXPECT_EQ( address( "1.2.3.4" ), IpGenAddr::ipv4( 0x01020304 ) );
}

TEST( IpGenAddr, OtherTextsAreNoIpv4Addresses ) {
   for ( const char* const text :
         { "1",         "1.2",       "1.2.3",      "1.2.3.",           ".1.2.3",
           "1..2.3",    "1.2.3.4.",  "1.2.3.4.5",  ".1.2.3.4",         "256.0.0.0",
           "0.0.0.256", "1.2.3.999", "1.2.3.1000", "1.2.3.4294967296", "01.2.3.4",
           "1.02.3.4",  "1.2.3.04",  "00.0.0.0",   "1.2.3.00",         "+1.2.3.4",
           "-1.2.3.4",  "1.2.3.-4",  " 1.2.3.4",   "1.2.3.4 ",         "1. 2.3.4",
           "0x1.2.3.4", "1.2.3.a",   "1,2,3,4",    "16909060",         "1.2.3.4/32",
           "...",       "....",      "." } ) {
      EXPECT_EQ( IpGenAddr::fromText( text ), std::nullopt ) << text;
   }
   EXPECT_EQ( IpGenAddr::fromText( std::string_view( "1.2.3.4\0", 8 ) ), std::nullopt );
   EXPECT_EQ( IpGenAddr::fromText( std::string_view( "1.2.3.45", 7 ) ), address( "1.2.3.4" ) );
}

// RFC 4291 section 2.2 gives the forms, RFC 5952 the one to write.
TEST( IpGenAddr, EveryFormOfAnIpv6AddressIsReadAndOneIsWritten ) {
   const char* const forms[][2] = {
      { "ABCD:EF01:2345:6789:ABCD:EF01:2345:6789", "abcd:ef01:2345:6789:abcd:ef01:2345:6789" },
      { "2001:DB8:0:0:8:800:200C:417A", "2001:db8::8:800:200c:417a" },
      { "2001:DB8::8:800:200C:417A", "2001:db8::8:800:200c:417a" },
      { "FF01:0:0:0:0:0:0:101", "ff01::101" },
      { "FF01::101", "ff01::101" },
      { "0:0:0:0:0:0:0:1", "::1" },
      { "::1", "::1" },
      { "0:0:0:0:0:0:0:0", "::" },
      { "::", "::" },
      { "0000:0000:0000:0000:0000:0000:0000:0000", "::" },
      { "::FFFF:129.144.52.38", "::ffff:129.144.52.38" },
      { "0:0:0:0:0:FFFF:129.144.52.38", "::ffff:129.144.52.38" },
      { "::ffff:8190:3426", "::ffff:129.144.52.38" },
      { "::ffff:0:0", "::ffff:0.0.0.0" },
      // Only the IPv4-mapped addresses are dotted, not the deprecated IPv4-compatible ones.
      { "0:0:0:0:0:0:13.1.68.3", "::d01:4403" },
      { "::13.1.68.3", "::d01:4403" },
      { "::0.0.0.1", "::1" },
      { "64:ff9b::192.0.2.33", "64:ff9b::c000:221" },
      { "::ffff:0:129.144.52.38", "::ffff:0:8190:3426" },
      { "::fffe:1.2.3.4", "::fffe:102:304" },
      { "1:0:0:0:0:ffff:1.2.3.4", "1::ffff:102:304" },
      { "1:2:3:4:5:6:7.8.9.10", "1:2:3:4:5:6:708:90a" },
      { "1::3:4:5:6:7.8.9.10", "1:0:3:4:5:6:708:90a" },
      // A "::" may stand for one group.
      { "::2:3:4:5:6:7:8", "0:2:3:4:5:6:7:8" },
      { "1:2:3:4:5:6:7::", "1:2:3:4:5:6:7:0" },
      { "1:2:3::5:6:7:8", "1:2:3:0:5:6:7:8" },
      { "1::", "1::" },
      { "1:2:3:4:5:6::", "1:2:3:4:5:6::" },
      { "::3:4:5:6:7:8", "::3:4:5:6:7:8" },
   };
   for ( const auto& [read, written] : forms ) {
      EXPECT_EQ( address( read ).family(), AddressFamily::ipv6 ) << read;
      EXPECT_EQ( rewritten( read ), written ) << read;
      EXPECT_EQ( address( written ), address( read ) ) << read;
   }
}

// The lists of RFC 5952 sections 2.1 to 2.3: spellings of one address each.
TEST( IpGenAddr, SpellingsOfOneAddressAreRewrittenAlike ) {
   const std::vector< std::vector< const char* > > lists = {
      { "2001:db8:0:0:1:0:0:1", "2001:0db8:0:0:1:0:0:1", "2001:db8::1:0:0:1", "2001:db8::0:1:0:0:1",
        "2001:0db8::1:0:0:1", "2001:db8:0:0:1::1", "2001:db8:0000:0:1::1", "2001:DB8:0:0:1::1" },
      { "2001:db8:aaaa:bbbb:cccc:dddd:eeee:1", "2001:db8:aaaa:bbbb:cccc:dddd:eeee:01",
        "2001:db8:aaaa:bbbb:cccc:dddd:eeee:001", "2001:db8:aaaa:bbbb:cccc:dddd:eeee:0001" },
      { "2001:db8:aaaa:bbbb:cccc:dddd:0:1", "2001:db8:aaaa:bbbb:cccc:dddd::1" },
      { "2001:db8::1", "2001:db8::0:1", "2001:db8:0::1", "2001:db8:0:0::1", "2001:db8:0:0:0::1",
        "2001:db8:0:0:0:0::1", "2001:db8:0:0:0:0:0:1" },
      { "2001:db8::aaaa:0:0:1", "2001:db8:0:0:aaaa::1" },
      { "2001:db8:aaaa:bbbb:cccc:dddd:eeee:aaaa", "2001:db8:aaaa:bbbb:cccc:dddd:eeee:AAAA",
        "2001:db8:aaaa:bbbb:cccc:dddd:eeee:AaAa" },
   };
   for ( const auto& spellings : lists ) {
      for ( const char* const spelling : spellings ) {
         EXPECT_EQ( address( spelling ), address( spellings.front() ) ) << spelling;
      }
   }
}

// RFC 5952 section 4.
TEST( IpGenAddr, LongestRunOfZeroGroupsIsShortenedAndTheFirstOfEqualOnes ) {
   EXPECT_EQ( rewritten( "2001:0db8::0001" ), "2001:db8::1" );
   EXPECT_EQ( rewritten( "2001:db8:0:0:0:0:2:1" ), "2001:db8::2:1" );
   EXPECT_EQ( rewritten( "2001:db8::1:1:1:1:1" ), "2001:db8:0:1:1:1:1:1" );
   EXPECT_EQ( rewritten( "2001:0:0:1:0:0:0:1" ), "2001:0:0:1::1" );
   EXPECT_EQ( rewritten( "2001:db8:0:0:1:0:0:1" ), "2001:db8::1:0:0:1" );
   EXPECT_EQ( rewritten( "0:0:1:0:0:0:1:0" ), "0:0:1::1:0" );
   EXPECT_EQ( rewritten( "0:0:1:1:1:1:0:0" ), "::1:1:1:1:0:0" );
   EXPECT_EQ( rewritten( "0:1:0:1:0:1:0:1" ), "0:1:0:1:0:1:0:1" );
   EXPECT_EQ( rewritten( "1:0:0:0:0:0:0:0" ), "1::" );
}

TEST( IpGenAddr, OtherTextsAreNoIpv6Addresses ) {
   for ( const char* const text : { ":",
                                    ":::",
                                    "::::",
                                    "1",
                                    "1:",
                                    ":1",
                                    "1:2",
                                    "1:2:3:4:5:6:7",
                                    "1:2:3:4:5:6:7:",
                                    "1:2:3:4:5:6:7:8:",
                                    ":1:2:3:4:5:6:7:8",
                                    "1:2:3:4:5:6:7:8:9",
                                    "::1:2:3:4:5:6:7:8",
                                    "1:2:3:4::5:6:7:8",
                                    "1:2:3:4:5:6:7:8::",
                                    "1::2::3",
                                    "1:::2",
                                    ":::1",
                                    "1:::",
                                    ":1::2",
                                    "1::2:",
                                    "12345::",
                                    "::12345",
                                    "::00001",
                                    "g::",
                                    "::g",
                                    "::-1",
                                    "::+1",
                                    ":: 1",
                                    " ::1",
                                    "::1 ",
                                    "::0x1",
                                    "::1/128",
                                    "::1%eth0",
                                    "[::1]",
                                    "::1.2.3",
                                    "::1.2.3.4.5",
                                    "::1.2.3.256",
                                    "::01.2.3.4",
                                    "::1.2.3.4:",
                                    "::1.2.3.4:5",
                                    "1.2.3.4::",
                                    "1.2::",
                                    "1:2:3:4:5:6:7:1.2.3.4",
                                    "1:2:3:4:5:1.2.3.4",
                                    "::1:2:3:4:5:6:1.2.3.4",
                                    "1:2:3:4:5:6:1.2.3.4::",
                                    "1.2.3.4:1:2:3:4:5:6",
                                    "::.",
                                    "::1.",
                                    "0123456789abcdef0123456789abcdef" } ) {
      EXPECT_EQ( IpGenAddr::fromText( text ), std::nullopt ) << text;
   }
   EXPECT_EQ( IpGenAddr::fromText( std::string_view( "::1\0", 4 ) ), std::nullopt );
}

TEST( IpGenAddr, MaskKeepsTheFirstBitsAndClearsTheRest ) {
   const IpGenAddr ones4 = IpGenAddr::ipv4( 0xFFFFFFFF );
   for ( unsigned length = 0; length <= 32; ++length ) {
      EXPECT_EQ( ones4.masked( length ).ipv4Value(),
                 static_cast< U32 >( 0xFFFFFFFF00000000 >> length ) )
         << length;
   }
   IpGenAddr::Bytes bytes;
   bytes.fill( 0xFF );
   const IpGenAddr ones6 = IpGenAddr::ipv6( bytes );
   for ( unsigned length = 0; length <= 128; ++length ) {
      IpGenAddr::Bytes expected{};
      for ( unsigned bit = 0; bit < length; ++bit ) {
         expected[bit / 8] = static_cast< U8 >( expected[bit / 8] | 0x80 >> bit % 8 );
      }
      EXPECT_EQ( ones6.masked( length ), IpGenAddr::ipv6( expected ) ) << length;
   }
   EXPECT_EQ( address( "10.11.12.13" ).masked( 32 ), address( "10.11.12.13" ) );
   EXPECT_EQ( address( "10.11.12.13" ).masked( 128 ), address( "10.11.12.13" ) );
   EXPECT_EQ( address( "a5a5::5a5a" ).masked( 13 ), address( "a5a0::" ) );
   EXPECT_EQ( IpGenAddr().masked( 0 ), IpGenAddr() );
}

TEST( IpGenAddr, OrderIsByFamilyThenByBytes ) {
   const std::vector< IpGenAddr > ascending = {
      IpGenAddr(),
      address( "0.0.0.0" ),
      address( "0.0.0.255" ),
      address( "0.0.1.0" ),
      address( "1.0.0.0" ),
      address( "127.0.0.0" ),
      address( "128.0.0.0" ),
      address( "255.255.255.255" ),
      address( "::" ),
      address( "::1" ),
      address( "::100" ),
      address( "1::" ),
      address( "7fff::" ),
      address( "8000::" ),
      address( "ffff::" ),
   };
   for ( std::size_t i = 0; i < ascending.size(); ++i ) {
      for ( std::size_t j = 0; j < ascending.size(); ++j ) {
         EXPECT_EQ( ascending[i] <=> ascending[j], i <=> j );
         EXPECT_EQ( ascending[i] == ascending[j], i == j );
      }
   }
   EXPECT_NE( address( "1.2.3.4" ), address( "102:304::" ) );
}

TEST( IpGenAddr, HashIsEqualForEqualAddresses ) {
   EXPECT_EQ( address( "2001:DB8::1" ).hash(), address( "2001:db8:0:0::1" ).hash() );
   EXPECT_EQ( address( "10.0.0.1" ).hash(), IpGenAddr::ipv4( 0x0A000001 ).hash() );
   EXPECT_NE( address( "2001:db8::1" ).hash(), address( "2001:db8::2" ).hash() );
   EXPECT_NE( address( "2001:db8::1" ).hash(), address( "2001:db9::1" ).hash() );
}

TEST( IpGenAddr, StreamAndWriterGiveTheText ) {
   std::ostringstream out;
   out << std::hex << std::setfill( '*' ) << address( "10.20.30.40" ) << ' '
       << address( "::ffff:1.2.3.4" ) << ' ' << IpGenAddr() << '.';
   EXPECT_EQ( out.str(), "10.20.30.40 ::ffff:1.2.3.4 ." );
   EXPECT_EQ( Vek::concat( address( "::1" ), '/', IpGenAddr(), '/', address( "1.2.3.4" ) ),
              "::1//1.2.3.4" );
}

TEST( IpGenAddr, ReadingAndWritingTakeNoMemory ) {
   Vek::String text;
   text.reserve( 64 );
   const TestSupport::AllocationCounter allocations;
   const auto read = IpGenAddr::fromText( "abcd:ef01:2345:6789:abcd:ef01:2345:6789" );
   Vek::TextWriter writer( text );
   writer << read.value_or( IpGenAddr() );
   writer.flush();
   EXPECT_EQ( allocations.count(), 0U );
   EXPECT_EQ( text, "abcd:ef01:2345:6789:abcd:ef01:2345:6789" );
}

} // namespace
