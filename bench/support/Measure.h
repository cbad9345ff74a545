#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace Bench {

/// Ends the program when its two implementations disagree: a figure would mean nothing.
inline void require( bool agree, const std::string& subject ) {
   if ( !agree ) {
      std::fprintf( stderr, "the implementations disagree about %s\n", subject.c_str() );
      std::abort();
   }
}

/// Reports the CPU time of one of the `items` of every iteration as the counter "perItem", in
/// seconds.
inline void perItemCounter( benchmark::State& state, std::size_t items ) {
   using benchmark::Counter;
   state.counters["perItem"] = Counter( static_cast< double >( items ),
                                        Counter::kIsIterationInvariantRate | Counter::kInvert );
}

/// Calls `work` with each item of `items` in every iteration, and reports the CPU time of one call.
template < typename Items, typename Work >
void perItem( benchmark::State& state, const Items& items, Work work ) {
   for ( auto _ : state ) {
      for ( const auto& item : items ) {
         work( item );
      }
   }
   perItemCounter( state, items.size() );
}

} // namespace Bench
