#include "Vek/collections/HashMap.h"
#include "bench/support/Heap.h"
#include "bench/support/Measure.h"
#include "bench/support/Rules.h"

#include <absl/container/flat_hash_map.h>

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <unordered_map>

/// The hash collection beside absl's, both with the same hash: numbers under numbers, and counters
/// under rule keys.

namespace {

using Flowspec::FlowspecKey;

// As large as what is counted for a rule.
using Counters = std::array< U64, 12 >;

template < typename Key >
Key keyOf( U64 number );
template <>
U64 keyOf( U64 number ) {
   return number * 0x9E3779B97F4A7C15;
}
template <>
FlowspecKey keyOf( U64 number ) {
   return Bench::sixWordRule( static_cast< U32 >( number ) );
}

// Distinct keys, and the same and as many others in another order.
template < typename Key >
struct Input {
   std::vector< Key > keys;
   std::vector< Key > shuffled;
   std::vector< Key > others;

   explicit Input( U64 count ) {
      for ( U64 i = 0; i < count; ++i ) {
         keys.push_back( keyOf< Key >( i ) );
         others.push_back( keyOf< Key >( count + i ) );
      }
      std::mt19937_64 random( 1 );
      std::shuffle( keys.begin(), keys.end(), random );
      shuffled = keys;
      std::shuffle( shuffled.begin(), shuffled.end(), random );
   }
};

template < typename Key >
const Input< Key >& input( const benchmark::State& state ) {
   static std::unordered_map< S64, Input< Key > > inputs;
   const S64 count = state.range( 0 );
   return inputs.try_emplace( count, static_cast< U64 >( count ) ).first->second;
}

template < typename K, typename V >
struct HashMap : Vek::HashMap< K, V > {
   using Key = K;
   void add( const K& key ) { this->insert( key, V() ); }
};

template < typename K, typename V >
struct AbslMap : absl::flat_hash_map< K, V, Vek::Hasher< K > > {
   using Key = K;
   void add( const K& key ) { this->try_emplace( key ); }
};

template < typename Map >
void addAll( Map& map, const std::vector< typename Map::Key >& keys ) {
   for ( const auto& key : keys ) {
      map.add( key );
   }
   Bench::require( map.size() == keys.size(), "the number of members" );
}

template < typename Map >
void findAll( benchmark::State& state, const std::vector< typename Map::Key >& wanted,
              bool there ) {
   Map map;
   addAll( map, input< typename Map::Key >( state ).keys );
   for ( auto _ : state ) {
      std::size_t found = 0;
      for ( const auto& key : wanted ) {
         found += map.find( key ) != map.end();
      }
      Bench::require( found == ( there ? wanted.size() : 0 ), "the members found" );
   }
   Bench::perItemCounter( state, wanted.size() );
}

template < typename Map >
void find( benchmark::State& state ) {
   findAll< Map >( state, input< typename Map::Key >( state ).shuffled, true );
}

template < typename Map >
void findNone( benchmark::State& state ) {
   findAll< Map >( state, input< typename Map::Key >( state ).others, false );
}

template < typename Map >
void insert( benchmark::State& state ) {
   const auto& keys = input< typename Map::Key >( state ).keys;
   for ( auto _ : state ) {
      auto map = std::make_unique< Map >();
      addAll( *map, keys );
      state.PauseTiming();
      map.reset();
      state.ResumeTiming();
   }
   Bench::perItemCounter( state, keys.size() );
}

template < typename Map >
void erase( benchmark::State& state ) {
   const auto& in = input< typename Map::Key >( state );
   for ( auto _ : state ) {
      state.PauseTiming();
      Map map;
      addAll( map, in.keys );
      state.ResumeTiming();
      for ( const auto& key : in.shuffled ) {
         map.erase( key );
      }
      Bench::require( map.empty(), "erasing all members" );
   }
   Bench::perItemCounter( state, in.keys.size() );
}

template < typename Map >
void iterate( benchmark::State& state ) {
   Map map;
   addAll( map, input< typename Map::Key >( state ).keys );
   for ( auto _ : state ) {
      for ( const auto& member : map ) {
         benchmark::DoNotOptimize( &member );
      }
   }
   Bench::perItemCounter( state, map.size() );
}

// In the ascending order of the keys, as dumps and the attribute log list them.
void sorted( benchmark::State& state ) {
   HashMap< FlowspecKey, Counters > map;
   addAll( map, input< FlowspecKey >( state ).keys );
   for ( auto _ : state ) {
      const auto members = map.sorted();
      benchmark::DoNotOptimize( *members.begin() );
   }
   Bench::perItemCounter( state, map.size() );
}

// The same by the order of whole keys alone.
void sortedByWholeKeys( benchmark::State& state ) {
   using Map = HashMap< FlowspecKey, Counters >;
   Map map;
   addAll( map, input< FlowspecKey >( state ).keys );
   for ( auto _ : state ) {
      std::vector< const Map::value_type* > members;
      members.reserve( map.size() );
      for ( const auto& member : map ) {
         members.push_back( &member );
      }
      std::ranges::sort(
         members, Flowspec::FlowspecKeyOrder(),
         []( const auto* member ) -> const auto& { return member->first; } );
      benchmark::DoNotOptimize( members.front() );
   }
   Bench::perItemCounter( state, map.size() );
}

template < typename Map >
void copy( benchmark::State& state ) {
   Map map;
   addAll( map, input< typename Map::Key >( state ).keys );
   for ( auto _ : state ) {
      auto other = std::make_unique< Map >( map );
      benchmark::DoNotOptimize( other );
      state.PauseTiming();
      other.reset();
      state.ResumeTiming();
   }
   Bench::perItemCounter( state, map.size() );
}

template < typename Map >
void memory( benchmark::State& state ) {
   const auto& keys = input< typename Map::Key >( state ).keys;
   for ( auto _ : state ) {
      const U64 before = Bench::heapBytes();
      Map map;
      addAll( map, keys );
      state.counters["bytesPerMember"] = static_cast< double >( Bench::heapBytes() - before ) /
                                         static_cast< double >( keys.size() );
   }
}

using Numbers = HashMap< U64, U64 >;
using AbslNumbers = AbslMap< U64, U64 >;
using Rules = HashMap< FlowspecKey, Counters >;
using AbslRules = AbslMap< FlowspecKey, Counters >;

// One work, both maps of each kind, small and large.
#define HASH_MAP_BENCHMARK( work )                                                                 \
   BENCHMARK( work< Numbers > )->Arg( 1'000 )->Arg( 1'000'000 );                                   \
   BENCHMARK( work< AbslNumbers > )->Arg( 1'000 )->Arg( 1'000'000 );                               \
   BENCHMARK( work< Rules > )->Arg( 1'000 )->Arg( 1'000'000 );                                     \
   BENCHMARK( work< AbslRules > )->Arg( 1'000 )->Arg( 1'000'000 )

HASH_MAP_BENCHMARK( find );
HASH_MAP_BENCHMARK( findNone );
HASH_MAP_BENCHMARK( insert );
HASH_MAP_BENCHMARK( erase );
HASH_MAP_BENCHMARK( iterate );
HASH_MAP_BENCHMARK( copy );
HASH_MAP_BENCHMARK( memory );
BENCHMARK( sorted )->Arg( 1'000 )->Arg( 1'000'000 );
BENCHMARK( sortedByWholeKeys )->Arg( 1'000 )->Arg( 1'000'000 );

} // namespace
