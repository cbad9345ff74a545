#include "tests/agents/bgp/message/UpdateBytes.h"

#include <gmock/gmock.h>

namespace Bgp {
namespace {

using namespace TestSupport;

std::string read( const std::string& attributes, const Agreed& agreed = external,
                  const std::string& nlri = "", const std::string& withdrawn = "" ) {
   Update update;
   return verdict( updateBody( attributes, nlri, withdrawn ), agreed, update );
}

// With all that a rule takes before it.
std::string readWith( const std::string& attributes, const Agreed& agreed = external ) {
   return read( reachRule + origin + asPath + attributes, agreed );
}

std::vector< U8 > dataOf( const std::string& attributes ) {
   Update update;
   const auto fault = readUpdate( updateBody( attributes ), external, update );
   return fault ? fault->notification.data : bytesOf( "EE" );
}

TEST( BgpUpdateFault, LengthsOfTheMessageMustAgree ) {
   Update update;
   const auto verdictOf = [&update]( const char* hex ) {
      return verdict( bytesOf( hex ), external, update );
   };
   EXPECT_EQ( verdictOf( "0000 0000" ), "use" );
   EXPECT_EQ( verdictOf( "0001 0000" ), "reset 3/1: the withdrawn routes end after the message" );
   EXPECT_EQ( verdictOf( "FFFF 0000" ), "reset 3/1: the withdrawn routes end after the message" );
   EXPECT_EQ( verdictOf( "0000 0001" ), "reset 3/1: the path attributes end after the message" );
   EXPECT_EQ( verdictOf( "0001 00 0001" ), "reset 3/1: the path attributes end after the message" );
}

TEST( BgpUpdateFault, AListThatIsCutOffWithdraws ) {
   EXPECT_EQ( readWith( "80" ), "withdraw: the list of path attributes is cut off" );
   EXPECT_EQ( readWith( "8004" ), "withdraw: the list of path attributes is cut off" );
   EXPECT_EQ( readWith( "900400" ), "withdraw: the list of path attributes is cut off" );
   EXPECT_EQ( readWith( "800401" ), "withdraw: MULTI_EXIT_DISC is cut off" );
   EXPECT_EQ( readWith( "90040004 010203" ), "withdraw: MULTI_EXIT_DISC is cut off" );
   EXPECT_EQ( readWith( "C06304 010203" ), "withdraw: attribute 99 is cut off" );
   // Without a route that it is about.
   EXPECT_EQ( read( unreachRule + "80" ),
              "reset 3/1: the list of path attributes is cut off, and no route" );
   EXPECT_EQ( read( "800E09 0001850000" ), "reset 3/1: MP_REACH_NLRI is cut off, and no route" );
}

TEST( BgpUpdateFault, FaultsWithoutARouteEndTheSession ) {
   EXPECT_EQ( read( unreachRule + attribute( 0x40, 1, "03" ) ),
              "reset 3/1: ORIGIN: the value is 3, and no route" );
   EXPECT_EQ( read( attribute( 0x80, 14, "0001850000" ) + attribute( 0x40, 1, "03" ) ),
              "reset 3/1: ORIGIN: the value is 3, and no route" );
   // But for attributes that are discarded.
   EXPECT_EQ( read( unreachRule + attribute( 0x40, 6, "00" ) ),
              "use; ATOMIC_AGGREGATE: the length is 1" );
   EXPECT_EQ( read( unreachRule + origin ), "use" );
}

TEST( BgpUpdateFault, RoutesNeedOriginAndPath ) {
   EXPECT_EQ( read( reachRule + origin + asPath ), "use" );
   EXPECT_EQ( read( reachRule + asPath ), "withdraw: ORIGIN is missing" );
   EXPECT_EQ( read( reachRule + origin ), "withdraw: AS_PATH is missing" );
   EXPECT_EQ( read( reachRule ), "withdraw: ORIGIN is missing" );
   EXPECT_EQ( read( unreachRule ), "use" );
   const std::string prefix = "18C00002";
   EXPECT_EQ( read( reachRule + origin + asPath, external, prefix ),
              "withdraw: NEXT_HOP is missing; IPv4 routes: the SAFI 1 was not agreed on" );
   EXPECT_EQ( readWith( "" ), "use" );
}

TEST( BgpUpdateFault, FlagsAreThoseOfTheType ) {
   struct Case {
      unsigned type;
      unsigned flags;
      std::string value;
   };
   const Case withdrawn[] = {
      { 1, 0x40, "00" },
      { 2, 0x40, "" },
      { 3, 0x40, "01020304" },
      { 4, 0x80, "01020304" },
      { 5, 0x40, "01020304" },
      { 8, 0xC0, "01020304" },
      { 9, 0x80, "01020304" },
      { 10, 0x80, "01020304" },
      { 16, 0xC0, std::string( 16, '0' ) },
      { 25, 0xC0, std::string( 40, '0' ) },
      { 32, 0xC0, std::string( 24, '0' ) },
   };
   for ( const auto& [type, flags, value] : withdrawn ) {
      SCOPED_TRACE( type );
      const std::string before = reachRule + ( type == 1   ? asPath
                                               : type == 2 ? origin
                                                           : origin + asPath );
      for ( const unsigned others : { 0x00U, 0x20U, 0x10U, 0x0FU } ) {
         EXPECT_EQ( read( before + attribute( flags | others, type, value ), internal ), "use" );
      }
      for ( const unsigned wrong : { 0x00U, 0x40U, 0x80U, 0xC0U } ) {
         if ( wrong != flags ) {
            const AttributeFault fault{ AttributeFaultCode::flags, static_cast< U8 >( type ),
                                        static_cast< U16 >( wrong ) };
            EXPECT_EQ( read( before + attribute( wrong, type, value ), internal ),
                       "withdraw: " + fault.message() );
         }
      }
   }
   EXPECT_EQ( readWith( attribute( 0x80, 6, "" ) ), "use; ATOMIC_AGGREGATE: the flags are 0x80" );
   EXPECT_EQ( readWith( attribute( 0x40, 7, "0000FBF4 01020304" ) ),
              "use; AGGREGATOR: the flags are 0x40" );
   EXPECT_EQ( read( attribute( 0xC0, 14, "0001 85 00 00" + rule ) + origin + asPath ),
              "reset 3/4: MP_REACH_NLRI: the flags are 0xc0" );
   EXPECT_EQ( read( attribute( 0x00, 15, "0001 85" + rule ) ),
              "reset 3/4: MP_UNREACH_NLRI: the flags are 0x0" );
   EXPECT_EQ( dataOf( attribute( 0x00, 15, "0001 85" ) ), bytesOf( "000F03 000185" ) );
}

TEST( BgpUpdateFault, LengthsAreThoseOfTheType ) {
   const auto with = []( unsigned flags, unsigned type, unsigned octets, unsigned fill = 1 ) {
      std::string value;
      for ( unsigned i = 0; i < octets; ++i ) {
         value += hexNumber( fill, 1 );
      }
      const std::string before = reachRule + ( type == 1 ? asPath : origin + asPath );
      return read( before + attribute( flags, type, value ), internal );
   };
   for ( const unsigned octets : { 0U, 2U } ) {
      EXPECT_EQ( with( 0x40, 1, octets ),
                 Vek::concat( "withdraw: ORIGIN: the length is ", octets ) );
   }
   for ( const unsigned octets : { 0U, 3U, 5U, 8U } ) {
      EXPECT_EQ( with( 0x40, 3, octets ),
                 Vek::concat( "withdraw: NEXT_HOP: the length is ", octets ) );
      EXPECT_EQ( with( 0x80, 4, octets ),
                 Vek::concat( "withdraw: MULTI_EXIT_DISC: the length is ", octets ) );
      EXPECT_EQ( with( 0x40, 5, octets ),
                 Vek::concat( "withdraw: LOCAL_PREF: the length is ", octets ) );
      EXPECT_EQ( with( 0x80, 9, octets ),
                 Vek::concat( "withdraw: ORIGINATOR_ID: the length is ", octets ) );
   }
   struct Multiple {
      unsigned flags;
      unsigned type;
      unsigned octets;
   };
   for ( const auto& [flags, type, octets] :
         { Multiple{ 0xC0, 8, 4 }, Multiple{ 0x80, 10, 4 }, Multiple{ 0xC0, 16, 8 },
           Multiple{ 0xC0, 25, 20 }, Multiple{ 0xC0, 32, 12 } } ) {
      const Vek::String name = attributeName( static_cast< U8 >( type ) );
      const auto refused = [&name]( unsigned length ) {
         return "withdraw: " + name + Vek::concat( ": the length is ", length );
      };
      EXPECT_EQ( with( flags, type, 0 ), refused( 0 ) );
      EXPECT_EQ( with( flags, type, octets - 1 ), refused( octets - 1 ) );
      EXPECT_EQ( with( flags, type, octets + 1 ), refused( octets + 1 ) );
      EXPECT_EQ( with( flags, type, octets ), "use" );
      EXPECT_EQ( with( flags, type, 3 * octets ), "use" );
   }
   EXPECT_EQ( with( 0x40, 6, 1 ), "use; ATOMIC_AGGREGATE: the length is 1" );
   EXPECT_EQ( with( 0xC0, 7, 6 ), "use; AGGREGATOR: the length is 6" );
   EXPECT_EQ( with( 0xC0, 7, 8 ), "use" );
   EXPECT_EQ( with( 0xC0, 7, 8, 0 ), "use; AGGREGATOR: an AS number is 0" );
}

TEST( BgpUpdateFault, OriginIsKnown ) {
   for ( const char* value : { "00", "01", "02" } ) {
      EXPECT_EQ( read( reachRule + asPath + attribute( 0x40, 1, value ) ), "use" );
   }
   EXPECT_EQ( read( reachRule + asPath + attribute( 0x40, 1, "03" ) ),
              "withdraw: ORIGIN: the value is 3" );
}

TEST( BgpUpdateFault, PathsAreWholeSegmentsOfAsNumbers ) {
   const auto path = []( const char* value, const Agreed& agreed = external ) {
      return read( reachRule + origin + attribute( 0x40, 2, value ), agreed );
   };
   const auto segment = []( int octet ) {
      return Vek::concat( "withdraw: AS_PATH: the segment at octet ", octet, " is malformed" );
   };
   EXPECT_EQ( path( "" ), "use" );
   EXPECT_EQ( path( "0201 0000FBF4 0102 0000FBF5 0000FBF6" ), "use" );
   EXPECT_EQ( path( "0200" ), segment( 0 ) );
   EXPECT_EQ( path( "0001 0000FBF4" ), segment( 0 ) );
   EXPECT_EQ( path( "0301 0000FBF4" ), segment( 0 ) ) << "of a confederation";
   EXPECT_EQ( path( "0501 0000FBF4" ), segment( 0 ) );
   EXPECT_EQ( path( "0202 0000FBF4" ), segment( 0 ) );
   EXPECT_EQ( path( "0201 0000FB" ), segment( 0 ) );
   EXPECT_EQ( path( "0201 0000FBF4 02" ), segment( 6 ) );
   EXPECT_EQ( path( "0201 0000FBF4 0101 0000FB" ), segment( 6 ) );
   EXPECT_EQ( path( "0201 00000000" ), "withdraw: AS_PATH: an AS number is 0" );
   EXPECT_EQ( path( "0201 FBF4", twoOctet ), "use" );
   EXPECT_EQ( path( "0201 0000", twoOctet ), "withdraw: AS_PATH: an AS number is 0" );
   EXPECT_EQ( path( "0202 FBF4", twoOctet ), segment( 0 ) );
}

TEST( BgpUpdateFault, OnlyTheFirstOfATypeCounts ) {
   EXPECT_EQ( readWith( origin + attribute( 0x40, 1, "03" ) ),
              "use; ORIGIN is there again; ORIGIN is there again" );
   EXPECT_EQ( readWith( attribute( 0xC0, 99, "" ) + attribute( 0x00, 99, "" ) ),
              "use; attribute 99 is there again" );
   EXPECT_EQ( read( reachRule + origin + asPath + reachRule ),
              "reset 3/1: MP_REACH_NLRI is there twice" );
   EXPECT_EQ( read( unreachRule + unreachRule ), "reset 3/1: MP_UNREACH_NLRI is there twice" );
   EXPECT_EQ( read( attribute( 0x80, 14, "0019410000" ) + reachRule ),
              "reset 3/1: MP_REACH_NLRI is there twice" );
   EXPECT_EQ( dataOf( unreachRule + unreachRule ), bytesOf( "" ) );
}

TEST( BgpUpdateFault, RemarksAreBounded ) {
   std::string many;
   for ( int i = 0; i < 1000; ++i ) {
      many += origin;
   }
   Update update;
   EXPECT_FALSE( readUpdate( updateBody( reachRule + asPath + many ), external, update ) );
   EXPECT_EQ( update.discarded.size(), 16U );
}

TEST( BgpUpdateFault, WellKnownAttributesAreKnown ) {
   const std::string unknown = attribute( 0x40, 99, "0102" );
   EXPECT_EQ( readWith( unknown ), "reset 3/2: the well-known attribute 99 is not known" );
   EXPECT_EQ( dataOf( unknown ), bytesOf( unknown ) );
   EXPECT_EQ( dataOf( attribute( 0x10, 99, "0102" ) ), bytesOf( "10630002 0102" ) );
   EXPECT_EQ( readWith( attribute( 0x80, 99, "0102" ) + attribute( 0xE0, 98, "" ) ), "use" );
}

TEST( BgpUpdateFault, AttributesOfInternalPeersAreDiscardedFromOthers ) {
   for ( const U8 type : { U8{ 5 }, U8{ 9 }, U8{ 10 } } ) {
      const unsigned flags = type == 5 ? 0x40 : 0x80;
      const std::string refused =
         Vek::concat( "use; ", attributeName( type ), " is not for this peer to send" );
      EXPECT_EQ( readWith( attribute( flags, type, "01020304" ) ), refused );
      EXPECT_EQ( readWith( attribute( 0x00, type, "01" ) ), refused ) << "malformed or not";
      EXPECT_EQ( readWith( attribute( flags, type, "01020304" ), internal ), "use" );
   }
}

TEST( BgpUpdateFault, As4AttributesAreDiscarded ) {
   const std::string path = "0201 FBF4";
   const auto with = [&path]( const std::string& attributes ) {
      return read( reachRule + origin + attribute( 0x40, 2, path ) + attributes, twoOctet );
   };
   EXPECT_EQ( with( attribute( 0xC0, 17, "0201 00010000" ) ), "use" );
   EXPECT_EQ( with( attribute( 0xC0, 17, "" ) ), "use; AS4_PATH: the length is 0" );
   EXPECT_EQ( with( attribute( 0xC0, 17, "0202 00010000" ) ),
              "use; AS4_PATH: the segment at octet 0 is malformed" );
   EXPECT_EQ( with( attribute( 0xC0, 17, "0501 00010000" ) ),
              "use; AS4_PATH: the segment at octet 0 is malformed" );
   EXPECT_EQ( with( attribute( 0xC0, 17, "0201 00000000" ) ), "use; AS4_PATH: an AS number is 0" );
   EXPECT_EQ( with( attribute( 0x40, 17, "0201 00010000" ) ), "use; AS4_PATH: the flags are 0x40" );
   EXPECT_EQ( with( attribute( 0xC0, 18, "00010000 010203" ) ),
              "use; AS4_AGGREGATOR: the length is 7" );
   EXPECT_EQ( with( attribute( 0xC0, 18, "00000000 01020304" ) ),
              "use; AS4_AGGREGATOR: an AS number is 0" );
   EXPECT_EQ( with( attribute( 0xC0, 7, "0000 01020304" ) ), "use; AGGREGATOR: an AS number is 0" );
   EXPECT_EQ( with( attribute( 0xC0, 7, "0000FBF4 01020304" ) ),
              "use; AGGREGATOR: the length is 8" );
   EXPECT_EQ( readWith( attribute( 0xC0, 17, "0201 00010000" ) +
                        attribute( 0xC0, 18, "00010000 01020304" ) ),
              "use; AS4_PATH is not for this peer to send; "
              "AS4_AGGREGATOR is not for this peer to send" );
}

TEST( BgpUpdateFault, NextHopHasALengthOfTheFamily ) {
   const auto reach = []( const char* family, unsigned octets ) {
      return read(
         attribute( 0x80, 14,
                    family + hexNumber( octets, 1 ) + std::string( 2 * octets, '0' ) + "00" ) +
         origin + asPath );
   };
   for ( unsigned octets = 0; octets <= 40; ++octets ) {
      const std::string refused =
         Vek::concat( "reset 3/9: MP_REACH_NLRI: the next hop has ", octets, " octets" );
      const bool plain = octets == 0 || octets == 4 || octets == 16;
      const bool vpn = plain || octets == 12 || octets == 24;
      EXPECT_EQ( reach( "000185", octets ), plain ? "use" : refused );
      EXPECT_EQ( reach( "000285", octets ), plain ? "use" : refused );
      EXPECT_EQ( reach( "000186", octets ), vpn ? "use" : refused );
      EXPECT_EQ( reach( "000286", octets ), vpn ? "use" : refused );
   }
   const std::string three = attribute( 0x80, 14, "00018503 010203 00" );
   EXPECT_EQ( dataOf( three ), bytesOf( three ) );
}

TEST( BgpUpdateFault, RoutesHaveAFamily ) {
   const auto length = []( const char* value ) { return read( attribute( 0x80, 14, value ) ); };
   EXPECT_EQ( length( "" ), "reset 3/9: MP_REACH_NLRI: the length is 0" );
   EXPECT_EQ( length( "00018500" ), "reset 3/9: MP_REACH_NLRI: the length is 4" );
   EXPECT_EQ( length( "0001850100" ), "reset 3/9: MP_REACH_NLRI: the length is 5" );
   EXPECT_EQ( length( "00018504 01020304" ), "reset 3/9: MP_REACH_NLRI: the length is 8" );
   EXPECT_EQ( read( attribute( 0x80, 15, "0001" ) ),
              "reset 3/9: MP_UNREACH_NLRI: the length is 2" );
}

TEST( BgpUpdateFault, RoutesOfOtherFamiliesArePassedOver ) {
   Agreed one = external;
   one.families = { ipv6Flow };
   EXPECT_EQ( read( reachRule + origin + asPath, one ),
              "use; MP_REACH_NLRI: the SAFI 133 was not agreed on" );
   EXPECT_EQ( read( reachRule, one ), "use; MP_REACH_NLRI: the SAFI 133 was not agreed on" );
   EXPECT_EQ( read( unreachRule, one ), "use; MP_UNREACH_NLRI: the SAFI 133 was not agreed on" );
   // IPv6 unicast, with a next hop that no family of rules has.
   EXPECT_EQ( readWith( attribute( 0x80, 15, "000201 40" ) ),
              "use; MP_UNREACH_NLRI: the SAFI 1 was not agreed on" );
   EXPECT_EQ( read( attribute( 0x80, 14, "000201 20" + std::string( 64, '0' ) + "0000" ) + origin +
                    asPath ),
              "use; MP_REACH_NLRI: the SAFI 1 was not agreed on" );
}

TEST( BgpUpdateFault, RulesCanBeToldApart ) {
   const auto reach = []( const std::string& nlri ) {
      return read( attribute( 0x80, 14, "0001850000" + nlri ) + origin + asPath );
   };
   EXPECT_EQ( reach( rule + rule ), "use" );
   EXPECT_EQ( reach( "F005 0118C00002" + rule ), "use" );
   EXPECT_EQ( reach( "00" ), "use" ) << "a bad rule, but it has an end";
   const std::string refused = "reset 3/9: MP_REACH_NLRI: an NLRI is longer than what is left";
   EXPECT_EQ( reach( rule + "01" ), refused );
   EXPECT_EQ( reach( rule + "F0" ), refused );
   EXPECT_EQ( reach( "F006 0118C00002" ), refused );
   EXPECT_EQ( reach( "06 0118C00002" ), refused );
   EXPECT_EQ( read( attribute( 0x80, 15, "000185 06 0118C00002" ) ),
              "reset 3/9: MP_UNREACH_NLRI: an NLRI is longer than what is left" );
   const std::string broken = attribute( 0x80, 15, "000185 06 0118C00002" );
   EXPECT_EQ( dataOf( broken ), bytesOf( broken ) );
}

TEST( BgpUpdateFault, PrefixesCanBeToldApart ) {
   const std::string nextHop = attribute( 0x40, 3, "C0000201" );
   const auto prefixes = [&nextHop]( const char* nlri, const char* withdrawn ) {
      return read( origin + asPath + nextHop, external, nlri, withdrawn );
   };
   const std::string notAgreed = "use; IPv4 routes: the SAFI 1 was not agreed on";
   const std::string refused = "reset 3/10: the IPv4 prefixes cannot be told apart";
   EXPECT_EQ( prefixes( "00 18C00002 20C0000201 01 80", "" ), notAgreed );
   EXPECT_EQ( prefixes( "", "00 18C00002" ), notAgreed );
   EXPECT_EQ( prefixes( "21C000020100", "" ), refused );
   EXPECT_EQ( prefixes( "18C000", "" ), refused );
   EXPECT_EQ( prefixes( "", "18C000" ), refused );
   EXPECT_EQ( prefixes( "", "FFC000" ), refused );
}

TEST( BgpUpdateFault, TheGravestOfSeveralIsTold ) {
   const std::string badOrigin = attribute( 0x40, 1, "03" );
   EXPECT_EQ( read( reachRule + badOrigin + asPath + attribute( 0x40, 99, "" ) ),
              "reset 3/2: the well-known attribute 99 is not known" );
   EXPECT_EQ( read( reachRule + badOrigin + attribute( 0x40, 2, "FF" ) ),
              "withdraw: ORIGIN: the value is 3" );
   EXPECT_EQ( read( reachRule + asPath + attribute( 0x40, 6, "00" ) + badOrigin ),
              "withdraw: ORIGIN: the value is 3; ATOMIC_AGGREGATE: the length is 1" );
}

} // namespace
} // namespace Bgp
