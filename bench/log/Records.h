#pragma once

#include "Flowspec/status/Counter.h"
#include "bench/support/Rules.h"

#include <vector>

namespace Bench {

/// What is streamed for one rule: its key of six words and its counters.
struct Record {
   Flowspec::FlowspecKey key;
   Flowspec::CounterVersion value;

   bool operator==( const Record& ) const = default;
};

inline QosLib::ColoredCounters countersOf( U64 number ) {
   QosLib::ColoredCounters counters;
   counters.packetHitsIs( number );
   counters.byteHitsIs( number * 1000 );
   counters.greenIs( { number, number * 900, 0 } );
   counters.redIs( { number / 10, number * 100, number / 10 } );
   return counters;
}

/// `count` records with distinct keys.
inline std::vector< Record > records( std::size_t count ) {
   std::vector< Record > result;
   result.reserve( count );
   for ( U32 number = 0; number < count; ++number ) {
      result.push_back( { sixWordRule( number ),
                          Flowspec::CounterVersion( countersOf( number ), Osk::UniqueId( 7 ) ) } );
   }
   return result;
}

/// The attribute log's encoding of a record, as in a `member` message.
inline std::size_t sizeOf( const Record& record ) {
   return Vek::valueType< Flowspec::FlowspecKey >.logSize( &record.key ) +
          Vek::valueType< Flowspec::CounterVersion >.logSize( &record.value );
}
inline U8* write( U8* at, const Record& record ) {
   Vek::LogWriter out( at );
   Vek::valueType< Flowspec::FlowspecKey >.logWrite( out, &record.key );
   Vek::valueType< Flowspec::CounterVersion >.logWrite( out, &record.value );
   return out.at();
}
inline void read( Vek::LogReader& in, Record& record ) {
   Vek::valueType< Flowspec::FlowspecKey >.logRead( in, &record.key );
   Vek::valueType< Flowspec::CounterVersion >.logRead( in, &record.value );
}

} // namespace Bench
