#include "Flowspec/key/FlowspecKey.h"

#include "Vek/collections/Hasher.h"
#include "tests/support/KeyGenerator.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <unordered_set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

using TestSupport::KeyGenerator;

Zorv::IpGenPrefix prefix( const char* text ) { return Zorv::IpGenPrefix::fromText( text ).value(); }

// A key with a value in every attribute.
FlowspecKey fullKey() {
   FlowspecKey key;
   key.vrfIdIs( 5 );
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   key.destPrefixIs( prefix( "10.1.0.0/16" ) );
   key.srcPrefixIs( prefix( "192.0.2.0/24" ) );
   key.setOpVal( 0, ipProto, 0x81, 6 );
   key.setOpVal( 1, destPort, 0x91, 443 );
   key.interfaceSetPush( 3 );
   key.interfaceSetPush( 17 );
   return key;
}

template < typename Make >
FlowspecKey changed( Make make ) {
   FlowspecKey key = fullKey();
   make( key );
   return key;
}

TEST( PrefixHash, ReductionsOfIpv4Prefixes ) {
   EXPECT_EQ( FlowspecKey::prefixHash( prefix( "10.0.0.0/8" ) ), 0xC13C560AU );
   EXPECT_EQ( FlowspecKey::prefixHash( prefix( "10.1.0.0/16" ) ), 0xE710D808U );
   EXPECT_EQ( FlowspecKey::prefixHash( prefix( "192.168.1.1/32" ) ), 0x202E36F8U );
   EXPECT_EQ( FlowspecKey::prefixHash( prefix( "0.0.0.0/0" ) ), 0xCAA3CAA3U );
}

TEST( PrefixHash, EmptyPrefixAddsZero ) { EXPECT_EQ( FlowspecKey::prefixHash( {} ), 0U ); }

TEST( PrefixHash, Ipv6PrefixMixesTheHashOfItsAddressWithItsLength ) {
   KeyGenerator generator( 20 );
   for ( int i = 0; i < 1000; ++i ) {
      const Zorv::IpGenPrefix ipv6 = generator.prefix( Zorv::AddressFamily::ipv6 );
      U32 x = ipv6.address().hash() ^ ipv6.length();
      x = x * 32767 - 1;
      x = ( x ^ ( x >> 12 ) ) * 5;
      x = ( x ^ ( x >> 4 ) ) * 2057;
      x = x ^ ( x >> 16 );
      EXPECT_EQ( FlowspecKey::prefixHash( ipv6 ), x );
   }
}

TEST( KeyHash, EqualKeysHaveEqualHashesHoweverTheyWereMade ) {
   KeyGenerator generator( 21 );
   for ( int i = 0; i < 5000; ++i ) {
      const FlowspecKey key = generator.arbitraryKey( i % 2 ? 6 : 40 );
      FlowspecKey same;
      // From the back, with a detour over the heap.
      std::vector< TermWords::Member > members( key.matchOpVal().begin(), key.matchOpVal().end() );
      for ( U32 index = 0; index < 20; ++index ) {
         same.matchOpValIs( index, MatchOpVal( 1 ) );
      }
      same.matchOpValDelAll();
      for ( ; !members.empty(); members.pop_back() ) {
         same.matchOpValIs( members.back().index, members.back().word );
      }
      for ( const U16 id : key.interfaceSet() ) {
         same.interfaceSetPush( id );
      }
      same.srcPrefixIs( key.srcPrefix() );
      same.destPrefixIs( key.destPrefix() );
      same.addressFamilyIs( key.addressFamily() );
      same.vrfIdIs( key.vrfId() );
      ASSERT_EQ( same, key );
      ASSERT_EQ( same.hash(), key.hash() );
      ASSERT_EQ( std::hash< FlowspecKey >()( same ), key.hash() );
   }
}

TEST( KeyHash, IsTheSameOnMachinesOfAllKinds ) {
   FlowspecKey ipv4;
   ipv4.vrfIdIs( 7 );
   ipv4.copyInStrCli( "10.1.0.0/16;*;IP:=6;DP:=443|=8443;", false );
   EXPECT_EQ( ipv4.hash(), 2162141066U );
   FlowspecKey ipv6;
   ipv6.copyInStrCli( "2001:db8::/32;2001:db8:1::/48;L:>=100&<=200;", false );
   ipv6.interfaceSetPush( 5 );
   EXPECT_EQ( ipv6.hash(), 414302954U );
   EXPECT_EQ( FlowspecKey().hash(), 3365236744U );
   EXPECT_EQ( Vek::Hasher< Vek::String >()( "" ), 875170117U );
   EXPECT_EQ( Vek::Hasher< Vek::String >()( "eth0" ), 1615019746U );
   EXPECT_EQ( Vek::Hasher< Vek::String >()( "a text of more octets" ), 2901020373U );
}

TEST( KeyHash, EveryAttributeChangesIt ) {
   const std::vector< FlowspecKey > keys = {
      FlowspecKey(),
      fullKey(),
      changed( []( FlowspecKey& key ) { key.vrfIdIs( 6 ); } ),
      changed( []( FlowspecKey& key ) { key.addressFamilyIs( Zorv::AddressFamily::ipv6 ); } ),
      changed( []( FlowspecKey& key ) { key.destPrefixIs( prefix( "10.1.0.0/17" ) ); } ),
      changed( []( FlowspecKey& key ) { key.destPrefixIs( prefix( "10.2.0.0/16" ) ); } ),
      changed( []( FlowspecKey& key ) { key.destPrefixIs( {} ); } ),
      changed( []( FlowspecKey& key ) { key.srcPrefixIs( prefix( "192.0.2.0/25" ) ); } ),
      changed( []( FlowspecKey& key ) { key.srcPrefixIs( prefix( "192.0.3.0/24" ) ); } ),
      changed( []( FlowspecKey& key ) { key.srcPrefixIs( {} ); } ),
      changed( []( FlowspecKey& key ) {
         key.destPrefixIs( prefix( "192.0.2.0/24" ) );
         key.srcPrefixIs( prefix( "10.1.0.0/16" ) );
      } ),
      changed( []( FlowspecKey& key ) { key.setOpVal( 0, ipProto, 0x81, 7 ); } ),
      changed( []( FlowspecKey& key ) { key.setOpVal( 0, ipProto, 0x80, 6 ); } ),
      changed( []( FlowspecKey& key ) { key.setOpVal( 0, icmpType, 0x81, 6 ); } ),
      changed( []( FlowspecKey& key ) { key.setOpVal( 1, destPort, 0x91, 444 ); } ),
      changed( []( FlowspecKey& key ) { key.matchOpValDel( 1 ); } ),
      changed( []( FlowspecKey& key ) { key.matchOpValDelAll(); } ),
      changed( []( FlowspecKey& key ) {
         key.matchOpValDel( 1 );
         key.setOpVal( 2, destPort, 0x91, 443 );
      } ),
      changed( []( FlowspecKey& key ) { key.matchOpValIs( 2, MatchOpVal() ); } ),
      changed( []( FlowspecKey& key ) { key.interfaceSetIs( 0, 4 ); } ),
      changed( []( FlowspecKey& key ) { key.interfaceSetIs( 1, 16 ); } ),
      changed( []( FlowspecKey& key ) { key.interfaceSetPop(); } ),
      changed( []( FlowspecKey& key ) { key.interfaceSetPush( 0 ); } ),
      changed( []( FlowspecKey& key ) { key.interfaceSetPopAll(); } ),
      changed( []( FlowspecKey& key ) {
         key.interfaceSetIs( 0, 17 );
         key.interfaceSetIs( 1, 3 );
      } ),
   };
   std::set< U32 > hashes;
   for ( const FlowspecKey& key : keys ) {
      EXPECT_TRUE( hashes.insert( key.hash() ).second ) << key.toStrep();
   }
}

TEST( KeyHash, SetFindsEveryKey ) {
   KeyGenerator generator( 22 );
   std::unordered_set< FlowspecKey > set;
   std::vector< FlowspecKey > keys;
   for ( int i = 0; i < 10000; ++i ) {
      keys.push_back( generator.similarKey() );
      set.insert( keys.back() );
   }
   EXPECT_LT( set.size(), keys.size() );
   for ( const FlowspecKey& key : keys ) {
      EXPECT_TRUE( set.contains( key ) );
   }
}

constexpr std::size_t many = 1000000;

// How many pairs of neighbours by hash are different keys.
std::size_t collisions( const std::vector< FlowspecKey >& keys ) {
   std::vector< std::pair< U32, U32 > > hashes;
   for ( U32 i = 0; i < keys.size(); ++i ) {
      hashes.emplace_back( keys[i].hash(), i );
   }
   std::ranges::sort( hashes );
   std::size_t count = 0;
   for ( std::size_t i = 1; i < hashes.size(); ++i ) {
      count += hashes[i - 1].first == hashes[i].first &&
               keys[hashes[i - 1].second] != keys[hashes[i].second];
   }
   return count;
}

// Of n keys with perfect 32-bit hashes about n * n / 2^33 collide; four standard deviations more.
double mostCollisions() {
   const double mean = std::ldexp( double{ many } * double{ many }, -33 );
   return mean + 4 * std::sqrt( mean );
}

TEST( KeyHash, MillionRealisticKeysCollideNoMoreThanChance ) {
   KeyGenerator generator( 23 );
   std::vector< FlowspecKey > keys;
   keys.reserve( many );
   while ( keys.size() < many ) {
      keys.push_back( generator.realisticKey() );
   }
   EXPECT_LE( collisions( keys ), mostCollisions() );
}

TEST( KeyHash, MillionKeysThatCountUpCollideNoMoreThanChance ) {
   std::vector< FlowspecKey > keys( many, fullKey() );
   for ( U32 i = 0; i < keys.size(); ++i ) {
      const U32 n = i / 4;
      switch ( i % 4 ) {
      case 0:
         keys[i].destPrefixIs( { Zorv::IpGenAddr::ipv4( 0x0A000000 + n ), 32 } );
         break;
      case 1:
         keys[i].setOpVal( 2, destPort, 0x11, n % 1000 );
         keys[i].setOpVal( 3, destPort, 0x91, n / 1000 );
         break;
      case 2:
         keys[i].interfaceSetIs( 0, static_cast< U16 >( n % 1000 ) );
         keys[i].interfaceSetIs( 1, static_cast< U16 >( n / 1000 ) );
         break;
      default:
         keys[i].vrfIdIs( n + 10 );
      }
   }
   EXPECT_LE( collisions( keys ), mostCollisions() );
}

} // namespace
} // namespace Flowspec
