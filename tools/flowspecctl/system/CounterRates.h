#pragma once

#include "Flowspec/status/Counter.h"
#include "tools/flowspecctl/Options.h"

#include <functional>

/// Counters between two readings.
namespace Tools {

/// Changes of counters by the second.
struct Rates {
   double packets;
   double bytes;
};

/// The counters as they were at one time.
struct CounterReading {
   explicit CounterReading( const Flowspec::Counter& counter )
      : snapshots( counter.snapshot() ), time( counter.timestamp() ) {}

   Flowspec::Counter::Snapshots snapshots;
   double time;
};

/// What a rule counts. It refers to the entity of counters.
struct CountedRule {
   const Flowspec::FlowspecKey* key;
   const Flowspec::CounterVersion* now;
   /// None without an earlier reading, and for a rule that was programmed anew since that: it
   /// began to count again.
   std::optional< Rates > rates;
};

/// The rules that `admits` wants, ascending by key, with their rates since `before`.
std::vector< CountedRule >
countedRules( const Flowspec::Counter& counter, const std::optional< CounterReading >& before,
              const std::function< bool( const Flowspec::FlowspecKey& ) >& admits );

/// Whether one rule is busier than another: by its rates, those without any last; without rates of
/// both by what they counted.
bool busierByBytes( const CountedRule& a, const CountedRule& b );
bool busierByPackets( const CountedRule& a, const CountedRule& b );

/// Keeps the `count` busiest rules, the busiest first; of two that are alike that of the smaller
/// key.
void keepTop( std::vector< CountedRule >& rules, U64 count,
              bool ( *busier )( const CountedRule&, const CountedRule& ) );

/// A rate as a whole number.
Vek::String rateText( double rate );

/// An option that takes a number of rules from 1 on.
void addTopCount( CLI::App& command, const char* name, const Vek::String& help,
                  std::optional< U64 >& top );

} // namespace Tools
