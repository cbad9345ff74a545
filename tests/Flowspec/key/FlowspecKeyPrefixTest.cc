#include "Flowspec/key/FlowspecKey.h"

#include "tests/support/KeyGenerator.h"

#include <algorithm>
#include <set>
#include <vector>

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

using TestSupport::KeyGenerator;

Vek::KeyPrefix keyPrefix( const FlowspecKey& key ) { return FlowspecKeyOrder::keyPrefix( key ); }

// Of keys in their order the key prefixes never descend: that is the law, for all pairs at once.
void expectAscending( std::vector< FlowspecKey > keys ) {
   std::sort( keys.begin(), keys.end(), FlowspecKeyOrder() );
   for ( std::size_t i = 1; i < keys.size(); ++i ) {
      const auto before = keyPrefix( keys[i - 1] );
      const auto behind = keyPrefix( keys[i] );
      ASSERT_LE( before, behind ) << keys[i - 1].toStrep() << "\n" << keys[i].toStrep();
   }
}

template < typename Draw >
std::vector< FlowspecKey > drawn( U32 count, Draw draw ) {
   std::vector< FlowspecKey > keys;
   for ( U32 i = 0; i < count; ++i ) {
      keys.push_back( draw() );
   }
   return keys;
}

TEST( FlowspecKeyPrefix, OrdersArbitraryKeys ) {
   KeyGenerator generator( 1 );
   expectAscending( drawn( 50'000U, [&] { return generator.arbitraryKey(); } ) );
}

TEST( FlowspecKeyPrefix, OrdersKeysThatDifferInLittle ) {
   KeyGenerator generator( 2 );
   expectAscending( drawn( 100'000U, [&] { return generator.similarKey(); } ) );
}

TEST( FlowspecKeyPrefix, OrdersRules ) {
   KeyGenerator generator( 3 );
   expectAscending( drawn( 50'000U, [&] { return generator.realisticKey(); } ) );
   expectAscending( drawn( 50'000U, [&] { return generator.canonicalKey(); } ) );
}

TEST( FlowspecKeyPrefix, OrdersVrfsAndFamiliesWhereTheirCodesChange ) {
   std::vector< FlowspecKey > keys;
   for ( const U32 vrf : { 0U, 1U, 126U, 127U, 128U, 129U, 16383U, 16384U, 0xFFFFFEU, 0xFFFFFFU,
                           0x1000000U, 0xFFFFFFFEU, 0xFFFFFFFFU } ) {
      for ( const U32 family : { 0U, 1U, 2U, 3U, 4U, 255U } ) {
         FlowspecKey key;
         key.vrfIdIs( vrf );
         key.addressFamilyIs( static_cast< Zorv::AddressFamily >( family ) );
         keys.push_back( key );
      }
   }
   expectAscending( keys );
   std::set< Vek::KeyPrefix > distinct;
   for ( const FlowspecKey& key : keys ) {
      distinct.insert( keyPrefix( key ) );
   }
   EXPECT_EQ( distinct.size(), keys.size() );
}

TEST( FlowspecKeyPrefix, OrdersEveryPrefixOfAFewAddresses ) {
   std::vector< FlowspecKey > keys;
   for ( const U32 address : { 0x00000000U, 0x00000001U, 0x0A000000U, 0x0A000001U, 0x7FFFFFFFU,
                               0x80000000U, 0xAAAAAAAAU, 0xFFFFFFFEU, 0xFFFFFFFFU } ) {
      for ( unsigned length = 0; length <= 32; ++length ) {
         FlowspecKey key;
         key.destPrefixIs( { Zorv::IpGenAddr::ipv4( address ), length } );
         keys.push_back( key );
         key.srcPrefixIs( key.destPrefix() );
         keys.push_back( key );
      }
   }
   for ( const char* text : { "::", "::1", "2001:db8::", "2001:db8::1", "2001:db8:1::1",
                              "1::", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff" } ) {
      for ( unsigned length = 0; length <= 128; ++length ) {
         FlowspecKey key;
         key.destPrefixIs( { Zorv::IpGenAddr::fromText( text ).value(), length } );
         keys.push_back( key );
      }
   }
   keys.emplace_back();
   expectAscending( keys );
}

TEST( FlowspecKeyPrefix, TellsEveryIpv4PrefixFromAnother ) {
   std::set< std::pair< U32, unsigned > > prefixes;
   std::set< Vek::KeyPrefix > distinct;
   for ( const U32 address : { 0U, 0x0A0A0A0AU, 0xFFFFFFFFU, 0x80000000U } ) {
      for ( unsigned length = 0; length <= 32; ++length ) {
         FlowspecKey key;
         key.destPrefixIs( { Zorv::IpGenAddr::ipv4( address ), length } );
         prefixes.emplace( key.destPrefix().address().ipv4Value(), length );
         distinct.insert( keyPrefix( key ) );
      }
   }
   EXPECT_EQ( distinct.size(), prefixes.size() );
}

TEST( FlowspecKeyPrefix, OrdersWordsWhereTheirCodesChange ) {
   std::vector< FlowspecKey > keys;
   for ( const U32 type : { 0U, 3U, 14U, 15U, 16U, 255U } ) {
      for ( const U32 op : { 0x00U, 0x01U, 0x0FU, 0x10U, 0x30U, 0x81U, 0xFFU } ) {
         for ( const U32 value : { 0U, 6U, 255U, 256U, 65535U } ) {
            for ( const U32 index : { 0U, 1U, 2047U } ) {
               FlowspecKey key;
               key.matchOpValIs( index, MatchOpVal( type << 24 | op << 16 | value ) );
               keys.push_back( key );
               key.matchOpValIs( 2046, MatchOpVal( value ) );
               keys.push_back( key );
               key.interfaceSetPush( 7 );
               keys.push_back( key );
            }
         }
      }
   }
   expectAscending( keys );
}

TEST( FlowspecKeyPrefix, HoldsAnIpv4RulesDestinationProtocolAndPort ) {
   const auto rule = []( U32 vrf, U32 protocol, U32 port, U32 secondPort ) {
      FlowspecKey key;
      key.vrfIdIs( vrf );
      key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
      key.destPrefixIs( { Zorv::IpGenAddr::ipv4( 0xFFFFFFFE ), 32 } );
      key.setOpVal( 0, ipProto, 0x81, protocol );
      key.setOpVal( 1, destPort, 0x11, port );
      key.setOpVal( 2, destPort, 0x91, secondPort );
      return keyPrefix( key );
   };
   for ( const U32 vrf : { 0U, 127U, Vrf::VrfIdMap::invalid() } ) {
      EXPECT_LT( rule( vrf, 6, 443, 80 ), rule( vrf, 7, 80, 80 ) );
      EXPECT_LT( rule( vrf, 6, 79, 443 ), rule( vrf, 6, 80, 80 ) );
      // The second port fits but for its last four bits.
      EXPECT_LT( rule( vrf, 6, 80, 443 ), rule( vrf, 6, 80, 443 + 16 ) );
   }
}

TEST( FlowspecKeyPrefix, DiffersForMostRules ) {
   KeyGenerator generator( 4 );
   std::set< FlowspecKey, FlowspecKeyOrder > keys;
   std::set< Vek::KeyPrefix > distinct;
   for ( U32 i = 0; i < 100'000; ++i ) {
      const FlowspecKey key = generator.realisticKey();
      keys.insert( key );
      distinct.insert( keyPrefix( key ) );
   }
   EXPECT_GT( distinct.size(), keys.size() * 99 / 100 );
}

TEST( FlowspecKeyPrefix, IsEqualWhenItsBitsEndBeforeTheDifference ) {
   FlowspecKey a;
   for ( U32 i = 0; i < 10; ++i ) {
      a.setOpVal( i, destPort, 0x11, i );
   }
   FlowspecKey b = a;
   b.setOpVal( 9, destPort, 0x11, 10 );
   EXPECT_EQ( keyPrefix( a ), keyPrefix( b ) );
   EXPECT_LT( FlowspecKeyOrder::compare( a, b ), 0 );
}

} // namespace
} // namespace Flowspec
