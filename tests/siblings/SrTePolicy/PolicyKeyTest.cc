#include "SrTePolicy/PolicyKey.h"

#include "Vek/text/Exceptions.h"

#include <iomanip>
#include <random>
#include <set>
#include <sstream>

#include <gmock/gmock.h>

namespace {

using SrTePolicy::PolicyKey;
using testing::ThrowsMessage;
using Zorv::IpGenAddr;

IpGenAddr address( std::string_view text ) { return IpGenAddr::fromText( text ).value(); }

struct Form {
   const char* text;
   U32 color;
   const char* endpoint;
};

constexpr Form forms[] = {
   { "0,0.0.0.0", 0, "0.0.0.0" },
   { "100,192.0.2.1", 100, "192.0.2.1" },
   { "4294967295,255.255.255.255", 4294967295, "255.255.255.255" },
   { "7,::", 7, "::" },
   { "100,2001:db8::1", 100, "2001:db8::1" },
};

TEST( PolicyKey, TextIsColorAndEndpointBothWays ) {
   for ( const auto& [text, color, endpoint] : forms ) {
      const PolicyKey key( color, address( endpoint ) );
      EXPECT_EQ( key.color(), color );
      EXPECT_EQ( key.endpoint(), address( endpoint ) );
      EXPECT_EQ( key.stringValue(), text );
      EXPECT_EQ( PolicyKey::fromText( text ), key );
      PolicyKey read;
      read.stringValueIs( text );
      EXPECT_EQ( read, key );
   }
}

TEST( PolicyKey, DefaultHasNoEndpoint ) {
   const PolicyKey none;
   EXPECT_EQ( none.color(), 0U );
   EXPECT_TRUE( none.endpoint().empty() );
   EXPECT_EQ( none.stringValue(), "0," );
   EXPECT_EQ( PolicyKey::fromText( "0," ), none );
   EXPECT_EQ( PolicyKey::fromText( "5," ), PolicyKey( 5, IpGenAddr() ) );
   EXPECT_NE( none, PolicyKey( 0, address( "0.0.0.0" ) ) );
}

TEST( PolicyKey, OtherTextsAreRejectedByNameAndChangeNothing ) {
   for ( const char* const text : { "",
                                    ",",
                                    "0",
                                    "100",
                                    ",192.0.2.1",
                                    "100;192.0.2.1",
                                    "100:192.0.2.1",
                                    "a,192.0.2.1",
                                    "01,192.0.2.1",
                                    "-1,192.0.2.1",
                                    "+1,192.0.2.1",
                                    " 1,192.0.2.1",
                                    "1, 192.0.2.1",
                                    "1,192.0.2.1 ",
                                    "0x1,192.0.2.1",
                                    "4294967296,192.0.2.1",
                                    "1,192.0.2",
                                    "1,192.0.2.256",
                                    "1,192.0.2.1/32",
                                    "1,2001:db8:::1",
                                    "1,1,192.0.2.1",
                                    "1,192.0.2.1,",
                                    "1,none" } ) {
      EXPECT_EQ( PolicyKey::fromText( text ), std::nullopt ) << text;
      const Vek::String message =
         Vek::concat( "SrTePolicy::PolicyKey: '", text, "' is not a policy key" );
      EXPECT_EQ( PolicyKey::badTextMessage( text ), message );
      const PolicyKey before( 7, address( "192.0.2.7" ) );
      PolicyKey unchanged = before;
      EXPECT_THAT( [&] { unchanged.stringValueIs( text ); },
                   ThrowsMessage< Vek::RangeException >( message ) );
      EXPECT_EQ( unchanged, before );
   }
}

TEST( PolicyKey, OrderIsByColorThenEndpoint ) {
   const PolicyKey ascending[] = {
      PolicyKey(),
      PolicyKey( 0, address( "0.0.0.0" ) ),
      PolicyKey( 0, address( "192.0.2.1" ) ),
      PolicyKey( 0, address( "::" ) ),
      PolicyKey( 1, IpGenAddr() ),
      PolicyKey( 9, address( "192.0.2.9" ) ),
      PolicyKey( 10, address( "192.0.2.1" ) ),
      PolicyKey( 0xFFFFFFFF, address( "ffff::" ) ),
   };
   std::set< U32 > hashes;
   for ( std::size_t i = 0; i < std::size( ascending ); ++i ) {
      for ( std::size_t j = 0; j < std::size( ascending ); ++j ) {
         EXPECT_EQ( ascending[i] <=> ascending[j], i <=> j );
         EXPECT_EQ( ascending[i] == ascending[j], i == j );
      }
      EXPECT_TRUE( hashes.insert( ascending[i].hash() ).second ) << i;
   }
}

TEST( PolicyKey, RandomKeysAreReadBackFromTheirText ) {
   std::mt19937_64 random( 20220731 );
   for ( int i = 0; i < 10'000; ++i ) {
      IpGenAddr::Bytes bytes;
      for ( U8& byte : bytes ) {
         byte = static_cast< U8 >( random() & random() );
      }
      const U32 color = static_cast< U32 >( random() >> ( 32 + random() % 32 ) );
      for ( const PolicyKey& key :
            { PolicyKey( color, IpGenAddr::ipv6( bytes ) ),
              PolicyKey( color, IpGenAddr::ipv4( static_cast< U32 >( random() ) ) ) } ) {
         const auto read = PolicyKey::fromText( key.stringValue() );
         ASSERT_EQ( read, key );
         ASSERT_EQ( read->hash(), key.hash() );
      }
   }
}

TEST( PolicyKey, StreamAndWriterGiveTheText ) {
   const PolicyKey key( 16, address( "192.0.2.1" ) );
   std::ostringstream out;
   out << std::hex << std::setw( 40 ) << key;
   EXPECT_EQ( out.str(), "16,192.0.2.1" );
   EXPECT_EQ( Vek::concat( '<', key, '>' ), "<16,192.0.2.1>" );
}

} // namespace
