#include "Zorv/IpGenAddr.h"

#include <arpa/inet.h>
#include <cstring>
#include <random>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace {

using Zorv::IpGenAddr;

std::mt19937_64 newRandom() { return std::mt19937_64( 20210104 ); }

/// An IPv6 address as they occur: most groups are zero, some are short.
IpGenAddr::Bytes randomBytes( std::mt19937_64& random ) {
   IpGenAddr::Bytes bytes{};
   for ( std::size_t i = 0; i < bytes.size(); i += 2 ) {
      switch ( random() % 6 ) {
      case 0:
         bytes[i] = static_cast< U8 >( random() );
         [[fallthrough]];
      case 1:
         bytes[i + 1] = static_cast< U8 >( random() >> random() % 8 );
         break;
      case 2:
         bytes[i] = bytes[i + 1] = 0xFF;
         break;
      default:
         break;
      }
   }
   return bytes;
}

/// RFC 5952 step by step: all groups, then every run of zero groups is tried for "::".
std::string slowText( const IpGenAddr::Bytes& bytes ) {
   std::size_t count = 8;
   std::string tail;
   if ( std::string_view( reinterpret_cast< const char* >( bytes.data() ), 12 ) ==
        std::string_view( "\0\0\0\0\0\0\0\0\0\0\xFF\xFF", 12 ) ) {
      count = 6;
      for ( std::size_t i = 12; i < 16; ++i ) {
         tail += ( i == 12 ? ":" : "." ) + std::to_string( bytes[i] );
      }
   }
   std::string groups[8];
   for ( std::size_t i = 0; i < count; ++i ) {
      std::ostringstream hex;
      hex << std::hex << bytes[i * 2] * 256 + bytes[i * 2 + 1];
      groups[i] = hex.str();
   }
   const auto joined = [&]( std::size_t from, std::size_t to ) {
      std::string text;
      for ( std::size_t i = from; i < to; ++i ) {
         text += ( i == from ? "" : ":" ) + groups[i];
      }
      return text;
   };
   for ( std::size_t length = count; length >= 2; --length ) {
      for ( std::size_t from = 0; from + length <= count; ++from ) {
         bool allZero = true;
         for ( std::size_t i = from; i < from + length; ++i ) {
            allZero = allZero && groups[i] == "0";
         }
         if ( allZero ) {
            return joined( 0, from ) + "::" + joined( from + length, count ) + tail;
         }
      }
   }
   return joined( 0, count ) + tail;
}

/// Whether the C library writes the address dotted although it is not IPv4-mapped: the deprecated
/// IPv4-compatible addresses, of which RFC 5952 section 5 does not speak.
bool isIpv4Compatible( const IpGenAddr::Bytes& bytes ) {
   const IpGenAddr::Bytes zero{};
   return std::memcmp( bytes.data(), zero.data(), 12 ) == 0 && ( bytes[12] != 0 || bytes[13] != 0 );
}

TEST( IpGenAddrRandom, Ipv6IsWrittenByTheRulesAndAsTheCLibraryWritesIt ) {
   auto random = newRandom();
   int compared = 0;
   int compatible = 0;
   for ( int round = 0; round < 100'000; ++round ) {
      const auto bytes = randomBytes( random );
      const auto text = IpGenAddr::ipv6( bytes ).stringValue();
      ASSERT_EQ( text, slowText( bytes ) );
      if ( isIpv4Compatible( bytes ) ) {
         ASSERT_EQ( text.find( '.' ), std::string::npos ) << text;
         ++compatible;
         continue;
      }
      char expected[INET6_ADDRSTRLEN];
      ASSERT_NE( inet_ntop( AF_INET6, bytes.data(), expected, sizeof expected ), nullptr );
      ASSERT_EQ( text, expected );
      ++compared;
   }
   EXPECT_GT( compared, 90'000 );
   EXPECT_GT( compatible, 100 );
}

TEST( IpGenAddrRandom, TextIsReadBackAsTheSameAddress ) {
   auto random = newRandom();
   for ( int round = 0; round < 100'000; ++round ) {
      const IpGenAddr ipv6 = IpGenAddr::ipv6( randomBytes( random ) );
      ASSERT_EQ( IpGenAddr::fromText( ipv6.stringValue() ), ipv6 ) << ipv6;
      const IpGenAddr ipv4 = IpGenAddr::ipv4( static_cast< U32 >( random() >> random() % 64 ) );
      ASSERT_EQ( IpGenAddr::fromText( ipv4.stringValue() ), ipv4 ) << ipv4;
   }
}

TEST( IpGenAddrRandom, Ipv4IsWrittenAsTheCLibraryWritesIt ) {
   auto random = newRandom();
   for ( int round = 0; round < 100'000; ++round ) {
      const U32 value = static_cast< U32 >( random() );
      const in_addr network{ htonl( value ) };
      char expected[INET_ADDRSTRLEN];
      ASSERT_NE( inet_ntop( AF_INET, &network, expected, sizeof expected ), nullptr );
      ASSERT_EQ( IpGenAddr::ipv4( value ).stringValue(), expected );
   }
}

/// A spelling of an address, right or slightly wrong.
std::string randomSpelling( std::mt19937_64& random ) {
   static const char* const pieces[] = { "0",     "0",   "1",   "00ab", "FFFF", "c3",
                                         "12345", "255", "256", "07",   "" };
   std::string text;
   if ( random() % 4 == 0 ) {
      for ( U64 i = 0, count = 3 + random() % 3; i < count; ++i ) {
         text += ( i == 0 ? "" : "." ) + std::to_string( random() % 300 );
      }
      return text;
   }
   for ( U64 i = 0, count = random() % 9; i <= count; ++i ) {
      text += pieces[random() % ( random() % 8 == 0 ? std::size( pieces ) : 6 )];
      text += i == count ? "" : random() % 6 == 0 ? "::" : ":";
   }
   if ( random() % 4 == 0 ) {
      text += ":1.2.3.4";
   }
   if ( random() % 4 == 0 ) {
      static const std::string characters = "0123456789abcdefABCDEF:.:.g %/-+x";
      const char c = characters[random() % characters.size()];
      const std::size_t at = random() % ( text.size() + 1 );
      random() % 2 == 0 || at == text.size() ? text.insert( at, 1, c )
                                             : text.replace( at, 1, 1, c );
   }
   return text;
}

TEST( IpGenAddrRandom, SpellingsAreReadAsTheCLibraryReadsThem ) {
   auto random = newRandom();
   int ipv4 = 0;
   int ipv6 = 0;
   int wrong = 0;
   for ( int round = 0; round < 300'000; ++round ) {
      const std::string text = randomSpelling( random );
      const auto read = IpGenAddr::fromText( text );
      IpGenAddr::Bytes bytes{};
      if ( inet_pton( AF_INET, text.c_str(), bytes.data() ) == 1 ) {
         ASSERT_TRUE( read && read->family() == Zorv::AddressFamily::ipv4 ) << text;
         ASSERT_EQ( read->bytes(), bytes ) << text;
         ++ipv4;
      } else if ( bytes = {}; inet_pton( AF_INET6, text.c_str(), bytes.data() ) == 1 ) {
         ASSERT_EQ( read, IpGenAddr::ipv6( bytes ) ) << text;
         ++ipv6;
      } else {
         ASSERT_EQ( read, std::nullopt ) << text;
         ++wrong;
      }
   }
   EXPECT_GT( ipv4, 5'000 );
   EXPECT_GT( ipv6, 30'000 );
   EXPECT_GT( wrong, 30'000 );
}

} // namespace
