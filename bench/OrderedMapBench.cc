#include "Mell/Slab.h"
#include "Vek/collections/OrderedMap.h"
#include "Vek/types/Ptr.h"
#include "bench/support/Heap.h"
#include "bench/support/Measure.h"
#include "bench/support/Rules.h"

#include <absl/container/btree_map.h>

#include <algorithm>
#include <map>
#include <random>
#include <unordered_set>

/// The ordered collection of rules, beside the standard library's tree and a B-tree. Rules are made
/// before; the collections hold references to them, the rivals under copies of their keys.

namespace {

using Flowspec::FlowspecKey;
using Flowspec::FlowspecKeyOrder;

constinit Mell::Slab slab( 256, 8 );

// As large as the rules of a configuration are.
class Rule : public Vek::Counted {
public:
   explicit Rule( const FlowspecKey& ruleKey ) : key( ruleKey ) {}

   static void* operator new( std::size_t ) { return slab.allocate(); }
   static void operator delete( void* memory ) { slab.free( memory ); }

   const FlowspecKey key;
   const std::byte attributes[64] = {};
};
static_assert( sizeof( Rule ) <= 256 );

using RulePtr = Vek::Ptr< Rule >;

struct KeyOfRule {
   const FlowspecKey& operator()( const RulePtr& rule ) const { return rule->key; }
};

// Distinct rules in the order of their creation, and their keys in another order.
struct Input {
   std::vector< RulePtr > rules;
   std::vector< FlowspecKey > keys;

   explicit Input( U32 count ) {
      std::unordered_set< FlowspecKey > seen;
      for ( U32 drawn = 2 * count; seen.size() < count; drawn *= 2 ) {
         seen.clear();
         rules.clear();
         for ( const FlowspecKey& key : Bench::rules( drawn ) ) {
            if ( seen.size() < count && seen.insert( key ).second ) {
               rules.push_back( Vek::make< Rule >( key ) );
            }
         }
      }
      for ( const RulePtr& rule : rules ) {
         keys.push_back( rule->key );
      }
      std::shuffle( keys.begin(), keys.end(), std::mt19937_64( 1 ) );
   }
};

const Input& input( S64 count ) {
   static std::map< S64, Input > inputs;
   return inputs.try_emplace( count, static_cast< U32 >( count ) ).first->second;
}

struct OrderedMap : Vek::OrderedMap< RulePtr, KeyOfRule, FlowspecKeyOrder > {
   void add( const RulePtr& rule ) { insert( rule ); }
   const Rule* at( const FlowspecKey& key ) const { return find( key )->get(); }
   static const Rule* ruleOf( const RulePtr& member ) { return member.get(); }
   static const FlowspecKey& keyOf( const RulePtr& member ) { return member->key; }
};

template < typename Map >
struct Keyed : Map {
   void add( const RulePtr& rule ) { this->emplace( rule->key, rule.get() ); }
   const Rule* at( const FlowspecKey& key ) const { return this->find( key )->second; }
   static const Rule* ruleOf( const auto& member ) { return member.second; }
   static const FlowspecKey& keyOf( const auto& member ) { return member.first; }
};

using StdMap = Keyed< std::map< FlowspecKey, Rule*, FlowspecKeyOrder > >;
using AbslMap = Keyed< absl::btree_map< FlowspecKey, Rule*, FlowspecKeyOrder > >;

template < typename Map >
void addAll( Map& map, const std::vector< RulePtr >& rules ) {
   for ( const RulePtr& rule : rules ) {
      map.add( rule );
   }
   Bench::require( map.size() == rules.size(), "the number of rules" );
}

void perKey( benchmark::State& state ) {
   Bench::perItemCounter( state, static_cast< std::size_t >( state.range( 0 ) ) );
}

template < typename Map >
void find( benchmark::State& state ) {
   Map map;
   addAll( map, input( state.range( 0 ) ).rules );
   for ( auto _ : state ) {
      for ( const FlowspecKey& key : input( state.range( 0 ) ).keys ) {
         const Rule* const rule = map.at( key );
         benchmark::DoNotOptimize( rule );
      }
   }
   perKey( state );
}

template < typename Map >
void insert( benchmark::State& state ) {
   const std::vector< RulePtr >& rules = input( state.range( 0 ) ).rules;
   for ( auto _ : state ) {
      auto map = std::make_unique< Map >();
      addAll( *map, rules );
      state.PauseTiming();
      map.reset();
      state.ResumeTiming();
   }
   perKey( state );
}

// Goes over the members without looking at the rules.
template < typename Map >
void iterate( benchmark::State& state ) {
   Map map;
   addAll( map, input( state.range( 0 ) ).rules );
   for ( auto _ : state ) {
      for ( const auto& member : map ) {
         const Rule* const rule = Map::ruleOf( member );
         benchmark::DoNotOptimize( rule );
      }
   }
   perKey( state );
}

// Goes over the members and reads each key.
template < typename Map >
void iterateKeys( benchmark::State& state ) {
   Map map;
   addAll( map, input( state.range( 0 ) ).rules );
   for ( auto _ : state ) {
      U32 sum = 0;
      for ( const auto& member : map ) {
         sum += Map::keyOf( member ).matchOpVals();
      }
      benchmark::DoNotOptimize( sum );
   }
   perKey( state );
}

template < typename Map >
void erase( benchmark::State& state ) {
   const Input& in = input( state.range( 0 ) );
   for ( auto _ : state ) {
      state.PauseTiming();
      Map map;
      addAll( map, in.rules );
      state.ResumeTiming();
      for ( const FlowspecKey& key : in.keys ) {
         map.erase( key );
      }
      Bench::require( map.empty(), "erasing all rules" );
   }
   perKey( state );
}

// The bytes of the heap that a member takes beyond its rule.
template < typename Map >
void memory( benchmark::State& state ) {
   const std::vector< RulePtr >& rules = input( state.range( 0 ) ).rules;
   for ( auto _ : state ) {
      const U64 before = Bench::heapBytes();
      Map map;
      addAll( map, rules );
      const U64 bytes = Bench::heapBytes() - before;
      state.counters["bytesPerKey"] =
         static_cast< double >( bytes ) / static_cast< double >( rules.size() );
   }
}

// One work, the three collections, both sizes.
#define ORDERED_MAP_BENCHMARK( work )                                                              \
   BENCHMARK( work< OrderedMap > )->Arg( 100'000 )->Arg( 1'000'000 );                              \
   BENCHMARK( work< StdMap > )->Arg( 100'000 )->Arg( 1'000'000 );                                  \
   BENCHMARK( work< AbslMap > )->Arg( 100'000 )->Arg( 1'000'000 )

ORDERED_MAP_BENCHMARK( find );
ORDERED_MAP_BENCHMARK( insert );
ORDERED_MAP_BENCHMARK( iterate );
ORDERED_MAP_BENCHMARK( iterateKeys );
ORDERED_MAP_BENCHMARK( erase );
ORDERED_MAP_BENCHMARK( memory );

} // namespace
