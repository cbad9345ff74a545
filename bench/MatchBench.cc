#include "bench/support/Heap.h"
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

enum class To { network, victim };

// One packet in two is made for a rule, of which it has destination, protocol and destination port;
// the others go to any address of the rules' network, or to the one that all rules are about.
std::vector< U8 > packetBytes( std::mt19937_64& random, const FlowspecKey& key, To to ) {
   PacketParts parts;
   if ( key.addressFamily() == Zorv::AddressFamily::ipv6 ) {
      parts = PacketParts::ipv6();
   }
   const bool meant = random() % 2;
   const U16 source = static_cast< U16 >( random() );
   if ( to == To::victim ) {
      parts.destination = Zorv::IpGenAddr::ipv4( 0x0A010203 );
   } else if ( meant ) {
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

Traffic makeTraffic( const std::vector< FlowspecKey >& keys, To to = To::network ) {
   std::mt19937_64 random( 8955 );
   Traffic traffic;
   for ( U32 i = 0; i < packetCount; ++i ) {
      traffic.bytes.push_back( packetBytes( random, keys[random() % keys.size()], to ) );
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

void matchAll( benchmark::State& state, const std::vector< FlowspecKey >& keys, To to ) {
   const Traffic traffic = makeTraffic( keys, to );
   const Match::Matcher matcher( rulesOf( keys ) );
   for ( U32 i = 0; i < packetCount; i += 100 ) {
      Bench::require( matcher.match( traffic.packets[i] ) == slowWinner( keys, traffic.bytes[i] ),
                      std::to_string( i ) );
   }
   Bench::perItem( state, traffic.packets, [&]( const Match::Packet& packet ) {
      benchmark::DoNotOptimize( matcher.match( packet ) );
   } );
}

void matcher( benchmark::State& state ) { matchAll( state, keysOf( state ), To::network ); }
BENCHMARK( matcher )->RangeMultiplier( 10 )->Range( 10, 100'000 );

void victim( benchmark::State& state ) {
   matchAll( state, Bench::victimRules( static_cast< U32 >( state.range( 0 ) ) ), To::victim );
}
BENCHMARK( victim )->RangeMultiplier( 10 )->Range( 1000, 100'000 );

void nested( benchmark::State& state ) {
   matchAll( state, Bench::nestedRules( static_cast< U32 >( state.range( 0 ) ) ), To::victim );
}
BENCHMARK( nested )->RangeMultiplier( 10 )->Range( 1000, 100'000 );

void tryOneByOne( benchmark::State& state, const std::vector< FlowspecKey >& keys, To to ) {
   const Traffic traffic = makeTraffic( keys, to );
   const std::vector< Match::RuleMatch > rules( keys.begin(), keys.end() );
   Bench::perItem( state, traffic.packets, [&]( const Match::Packet& packet ) {
      benchmark::DoNotOptimize( linearWinner( rules, packet ) );
   } );
}

void linear( benchmark::State& state ) { tryOneByOne( state, keysOf( state ), To::network ); }
BENCHMARK( linear )->Arg( 1000 );

void linearVictim( benchmark::State& state ) {
   tryOneByOne( state, Bench::victimRules( static_cast< U32 >( state.range( 0 ) ) ), To::victim );
}
BENCHMARK( linearVictim )->Arg( 10'000 );

void linearNested( benchmark::State& state ) {
   tryOneByOne( state, Bench::nestedRules( static_cast< U32 >( state.range( 0 ) ) ), To::victim );
}
BENCHMARK( linearNested )->Arg( 10'000 );

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

// One rule after the other leaves and comes back.
void changeRule( benchmark::State& state, const std::vector< FlowspecKey >& keys ) {
   const auto rules = rulesOf( keys );
   Match::Matcher matcher( rules );
   std::size_t next = 0;
   for ( auto _ : state ) {
      const Match::Candidate& rule = rules[next];
      next = ( next + 7919 ) % rules.size();
      matcher.erase( rule.id );
      matcher.insert( rule );
   }
   Bench::perItemCounter( state, 1 );
}

void changeMixed( benchmark::State& state ) { changeRule( state, Bench::rules( 100'000 ) ); }
BENCHMARK( changeMixed );

void changeVictim( benchmark::State& state ) { changeRule( state, Bench::victimRules( 100'000 ) ); }
BENCHMARK( changeVictim );

// The memory of a matcher, for each of its rules.
void memoryOf( benchmark::State& state, const std::vector< FlowspecKey >& keys ) {
   const auto rules = rulesOf( keys );
   const U64 before = Bench::heapBytes();
   const Match::Matcher matcher( rules );
   const U64 after = Bench::heapBytes();
   for ( auto _ : state ) {
      benchmark::DoNotOptimize( &matcher );
   }
   state.counters["bytesPerMember"] =
      static_cast< double >( after - before ) / static_cast< double >( rules.size() );
}

void memoryMixed( benchmark::State& state ) { memoryOf( state, Bench::rules( 100'000 ) ); }
BENCHMARK( memoryMixed );

void memoryVictim( benchmark::State& state ) { memoryOf( state, Bench::victimRules( 100'000 ) ); }
BENCHMARK( memoryVictim );

} // namespace
