#include "bench/support/Measure.h"
#include "bench/support/Rules.h"
#include "match/Matcher.h"
#include "tests/match/SlowMatch.h"
#include "tests/support/PacketBytes.h"

#include <random>

/// Finding the rule that wins a packet, beside trying one rule after the other: with the slow
/// implementation of the tests, and with the matcher's own rules.

namespace {

using Flowspec::FlowspecKey;
using TestSupport::PacketParts;

constexpr U32 packetCount = 1000;

struct Traffic {
   std::vector< std::vector< U8 > > bytes;
   std::vector< Match::Packet > packets;
};

U8 protocolOf( const FlowspecKey& key ) { return static_cast< U8 >( key.matchOpVal( 0 ).val() ); }

U16 portOf( const FlowspecKey& key ) { return key.matchOpVal( 1 ).val(); }

// One packet in two is made for a rule, of which it has destination, protocol and destination port;
// the others go to any address of the rules' network.
std::vector< U8 > packetBytes( std::mt19937_64& random, const FlowspecKey& key ) {
   PacketParts parts;
   if ( key.addressFamily() == Zorv::AddressFamily::ipv6 ) {
      parts = PacketParts::ipv6();
   }
   const bool meant = random() % 2;
   const U16 source = static_cast< U16 >( random() );
   if ( meant ) {
      parts.destination = key.destPrefix().address();
   } else if ( parts.family == Zorv::AddressFamily::ipv4 ) {
      parts.destination =
         Zorv::IpGenAddr::ipv4( 0x0A000000 | static_cast< U32 >( random() % 0x1000000 ) );
   }
   const U16 destination = meant ? portOf( key ) : static_cast< U16 >( random() );
   parts.protocol = protocolOf( key );
   parts.payload = parts.protocol == 6 ? TestSupport::tcpBytes( source, destination, 0x002 )
                                       : TestSupport::portBytes( source, destination );
   return TestSupport::packetBytes( parts );
}

Traffic makeTraffic( const std::vector< FlowspecKey >& keys ) {
   std::mt19937_64 random( 8955 );
   Traffic traffic;
   for ( U32 i = 0; i < packetCount; ++i ) {
      traffic.bytes.push_back( packetBytes( random, keys[random() % keys.size()] ) );
      traffic.packets.push_back( Match::parsePacket( traffic.bytes.back() ).value() );
   }
   return traffic;
}

std::vector< Match::Candidate > rulesOf( const std::vector< FlowspecKey >& keys ) {
   std::vector< Match::Candidate > rules;
   for ( U32 i = 0; i < keys.size(); ++i ) {
      rules.push_back( { &keys[i], i, i } );
   }
   return rules;
}

std::optional< U32 > slowWinner( const std::vector< FlowspecKey >& keys,
                                 const std::vector< U8 >& bytes ) {
   for ( U32 i = 0; i < keys.size(); ++i ) {
      if ( TestSupport::slowMatches( keys[i], bytes ) ) {
         return i;
      }
   }
   return std::nullopt;
}

std::optional< U32 > linearWinner( const std::vector< Match::RuleMatch >& rules,
                                   const Match::Packet& packet ) {
   for ( U32 i = 0; i < rules.size(); ++i ) {
      if ( rules[i].matches( packet ) ) {
         return i;
      }
   }
   return std::nullopt;
}

std::vector< FlowspecKey > keysOf( const benchmark::State& state ) {
   return Bench::rules( static_cast< U32 >( state.range( 0 ) ) );
}

void matcher( benchmark::State& state ) {
   const auto keys = keysOf( state );
   const Traffic traffic = makeTraffic( keys );
   const Match::Matcher matcher( rulesOf( keys ) );
   for ( U32 i = 0; i < packetCount; i += 100 ) {
      Bench::require( matcher.match( traffic.packets[i] ) == slowWinner( keys, traffic.bytes[i] ),
                      std::to_string( i ) );
   }
   Bench::perItem( state, traffic.packets, [&]( const Match::Packet& packet ) {
      benchmark::DoNotOptimize( matcher.match( packet ) );
   } );
}
BENCHMARK( matcher )->RangeMultiplier( 10 )->Range( 10, 10'000 );

void linear( benchmark::State& state ) {
   const auto keys = keysOf( state );
   const Traffic traffic = makeTraffic( keys );
   const std::vector< Match::RuleMatch > rules( keys.begin(), keys.end() );
   Bench::perItem( state, traffic.packets, [&]( const Match::Packet& packet ) {
      benchmark::DoNotOptimize( linearWinner( rules, packet ) );
   } );
}
BENCHMARK( linear )->Arg( 1000 );

void slow( benchmark::State& state ) {
   const auto keys = keysOf( state );
   const Traffic traffic = makeTraffic( keys );
   const std::span some( traffic.bytes.data(), 100 );
   Bench::perItem( state, some, [&]( const std::vector< U8 >& bytes ) {
      benchmark::DoNotOptimize( slowWinner( keys, bytes ) );
   } );
}
BENCHMARK( slow )->Arg( 1000 );

void parse( benchmark::State& state ) {
   const Traffic traffic = makeTraffic( Bench::rules( 1000 ) );
   Bench::perItem( state, traffic.bytes, []( const std::vector< U8 >& bytes ) {
      benchmark::DoNotOptimize( Match::parsePacket( bytes ) );
   } );
}
BENCHMARK( parse );

void buildMatcher( benchmark::State& state ) {
   const auto keys = keysOf( state );
   const auto rules = rulesOf( keys );
   for ( auto _ : state ) {
      const Match::Matcher matcher( rules );
      benchmark::DoNotOptimize( &matcher );
   }
   Bench::perItemCounter( state, rules.size() );
}
BENCHMARK( buildMatcher )->Arg( 10'000 );

} // namespace
