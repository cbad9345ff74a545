#include "bench/support/Measure.h"
#include "bench/support/Rules.h"
#include "dataplane/Overlaps.h"

/// Looking for hidden rules: how the time for one grows with their number. To file them is part of
/// it.

namespace {

using Flowspec::FlowspecKey;

void findOverlaps( benchmark::State& state, const std::vector< FlowspecKey >& keys ) {
   const Flowspec::RuleAction action;
   std::vector< Dataplane::ComparedRule > rules;
   for ( const FlowspecKey& key : keys ) {
      rules.push_back( { &key, &action } );
   }
   for ( auto _ : state ) {
      const Dataplane::OverlapFinder finder( rules );
      for ( std::size_t i = 0; i < rules.size(); ++i ) {
         benchmark::DoNotOptimize( finder.overlapsOf( i ) );
      }
   }
   Bench::perItemCounter( state, rules.size() );
}

void overlaps( benchmark::State& state ) {
   findOverlaps( state, Bench::rules( static_cast< U32 >( state.range( 0 ) ) ) );
}
BENCHMARK( overlaps )->Arg( 10 )->Arg( 1000 )->Arg( 10'000 )->Arg( 100'000 );

// The same without destinations: as many of a kind as can be may meet.
void overlapsOfOneDestination( benchmark::State& state ) {
   std::vector< FlowspecKey > keys = Bench::rules( static_cast< U32 >( state.range( 0 ) ) );
   for ( FlowspecKey& key : keys ) {
      key.destPrefixIs( {} );
   }
   findOverlaps( state, keys );
}
BENCHMARK( overlapsOfOneDestination )->Arg( 10 )->Arg( 1000 )->Arg( 10'000 )->Arg( 100'000 );

} // namespace
