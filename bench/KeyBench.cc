#include "bench/support/Measure.h"
#include "bench/support/Rules.h"
#include "tests/support/PlainKey.h"

#include <algorithm>
#include <set>
#include <unordered_set>

/// Rule keys as values: equality, copies, order and look-ups, beside keys with words in a map.

namespace {

using Flowspec::FlowspecKey;
using Flowspec::FlowspecKeyOrder;

// So many that they do not hide in the first cache, so few that the memory is not what is measured.
constexpr U32 keyCount = 1000;

template < typename Key >
struct Keys {
   std::vector< Key > keys;
   std::vector< Key > equals;
};

const Keys< FlowspecKey >& sixWordKeys() {
   static const auto made = [] {
      Keys< FlowspecKey > result;
      for ( U32 i = 0; i < keyCount; ++i ) {
         result.keys.push_back( Bench::sixWordRule( i ) );
      }
      result.equals = result.keys;
      return result;
   }();
   return made;
}

const Keys< Plain::Key >& sixWordPlainKeys() {
   static const auto made = [] {
      Keys< Plain::Key > result;
      for ( const FlowspecKey& key : sixWordKeys().keys ) {
         result.keys.push_back( Plain::plainKey( key ) );
         Bench::require( result.keys.back().words.size() == 6, key.stringValue() );
      }
      result.equals = result.keys;
      return result;
   }();
   return made;
}

template < typename Key >
void compareEqual( benchmark::State& state, const Keys< Key >& keys ) {
   std::size_t i = 0;
   Bench::perItem( state, keys.keys, [&]( const Key& key ) {
      benchmark::DoNotOptimize( key == keys.equals[i] );
      i = ( i + 1 ) % keyCount;
   } );
}

void equality( benchmark::State& state ) { compareEqual( state, sixWordKeys() ); }
BENCHMARK( equality );

void equalityPlain( benchmark::State& state ) { compareEqual( state, sixWordPlainKeys() ); }
BENCHMARK( equalityPlain );

template < typename Key >
void makeCopy( benchmark::State& state, const Keys< Key >& keys ) {
   Bench::perItem( state, keys.keys, []( const Key& key ) {
      Key copied( key );
      benchmark::DoNotOptimize( copied );
   } );
}

void copy( benchmark::State& state ) { makeCopy( state, sixWordKeys() ); }
BENCHMARK( copy );

void copyPlain( benchmark::State& state ) { makeCopy( state, sixWordPlainKeys() ); }
BENCHMARK( copyPlain );

const std::vector< FlowspecKey >& ruleKeys() {
   static const std::vector< FlowspecKey > keys = Bench::rules( Bench::ruleCount );
   return keys;
}

void sortRules( benchmark::State& state ) {
   for ( auto _ : state ) {
      state.PauseTiming();
      std::vector< FlowspecKey > keys = ruleKeys();
      state.ResumeTiming();
      std::sort( keys.begin(), keys.end(), FlowspecKeyOrder() );
      benchmark::DoNotOptimize( keys.data() );
   }
   Bench::perItemCounter( state, Bench::ruleCount );
}
BENCHMARK( sortRules );

void findInSet( benchmark::State& state ) {
   static const std::set< FlowspecKey, FlowspecKeyOrder > rules( ruleKeys().begin(),
                                                                 ruleKeys().end() );
   Bench::perItem( state, ruleKeys(), []( const FlowspecKey& key ) {
      benchmark::DoNotOptimize( rules.find( key ) );
   } );
}
BENCHMARK( findInSet );

void findInHashSet( benchmark::State& state ) {
   static const std::unordered_set< FlowspecKey > rules( ruleKeys().begin(), ruleKeys().end() );
   Bench::perItem( state, ruleKeys(), []( const FlowspecKey& key ) {
      benchmark::DoNotOptimize( rules.find( key ) );
   } );
}
BENCHMARK( findInHashSet );

} // namespace
