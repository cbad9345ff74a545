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

/// Calls `work` with each item of `items` in every iteration, and reports the CPU time of one call
/// as the counter "perItem", in seconds.
template < typename Items, typename Work >
void perItem( benchmark::State& state, const Items& items, Work work ) {
   for ( auto _ : state ) {
      for ( const auto& item : items ) {
         work( item );
      }
   }
   using benchmark::Counter;
   state.counters["perItem"] = Counter( static_cast< double >( items.size() ),
                                        Counter::kIsIterationInvariantRate | Counter::kInvert );
}

} // namespace Bench
