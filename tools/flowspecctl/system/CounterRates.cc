#include "tools/flowspecctl/system/CounterRates.h"

#include <algorithm>
#include <cmath>

namespace Tools {

using namespace Flowspec;

namespace {

constexpr U64 maxTop = 1'000'000;

std::optional< Rates > ratesOf( const CounterVersion& before, const CounterVersion& now,
                                double seconds ) {
   const QosLib::ColoredCounters& first = before.coloredCounters();
   const QosLib::ColoredCounters& second = now.coloredCounters();
   if ( !( seconds > 0 ) || before.version() != now.version() ||
        first.packetHits() > second.packetHits() || first.byteHits() > second.byteHits() ) {
      return std::nullopt;
   }
   return Rates{ static_cast< double >( second.packetHits() - first.packetHits() ) / seconds,
                 static_cast< double >( second.byteHits() - first.byteHits() ) / seconds };
}

template < typename Rate, typename Hits >
bool busier( const CountedRule& a, const CountedRule& b, Rate rate, Hits hits ) {
   if ( a.rates && b.rates ) {
      return rate( *a.rates ) > rate( *b.rates );
   }
   if ( a.rates || b.rates ) {
      return a.rates.has_value();
   }
   return hits( a.now->coloredCounters() ) > hits( b.now->coloredCounters() );
}

} // namespace

std::vector< CountedRule >
countedRules( const Counter& counter, const std::optional< CounterReading >& before,
              const std::function< bool( const FlowspecKey& ) >& admits ) {
   std::vector< CountedRule > rules;
   for ( const auto* const snapshot : counter.snapshot().sorted() ) {
      const auto& [key, now] = *snapshot;
      if ( !admits( key ) ) {
         continue;
      }
      CountedRule rule{ &key, &now, std::nullopt };
      if ( before ) {
         if ( const auto earlier = before->snapshots.find( key );
              earlier != before->snapshots.end() ) {
            rule.rates = ratesOf( earlier->second, now, counter.timestamp() - before->time );
         }
      }
      rules.push_back( rule );
   }
   return rules;
}

bool busierByBytes( const CountedRule& a, const CountedRule& b ) {
   return busier(
      a, b, []( const Rates& rates ) { return rates.bytes; },
      []( const QosLib::ColoredCounters& counters ) { return counters.byteHits(); } );
}

bool busierByPackets( const CountedRule& a, const CountedRule& b ) {
   return busier(
      a, b, []( const Rates& rates ) { return rates.packets; },
      []( const QosLib::ColoredCounters& counters ) { return counters.packetHits(); } );
}

void keepTop( std::vector< CountedRule >& rules, U64 count,
              bool ( *busier )( const CountedRule&, const CountedRule& ) ) {
   std::ranges::stable_sort( rules, busier );
   rules.resize( std::min< U64 >( rules.size(), count ) );
}

Vek::String rateText( double rate ) { return Vek::concat( std::llround( rate ) ); }

void addTopCount( CLI::App& command, const char* name, const Vek::String& help,
                  std::optional< U64 >& top ) {
   addOption(
      command, name, "N", help,
      []( const Vek::String& text ) {
         const auto number = Vek::decimal( text, maxTop );
         return number && *number > 0 ? number : std::nullopt;
      },
      "a whole number from 1 to 1000000", [&top]( U64 value ) { top = value; } );
}

} // namespace Tools
