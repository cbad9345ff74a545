#include "Flowspec/key/FlowspecKeyReader.h"
#include "bench/support/Measure.h"
#include "bench/support/Rules.h"
#include "tests/support/PlainKey.h"

#include <functional>

/// Reading and writing the texts of a rule key, beside the plain implementation with streams.

namespace {

using Flowspec::FlowspecKey;

template < typename Shape >
auto each( const std::vector< FlowspecKey >& keys, Shape shape ) {
   std::vector< decltype( shape( keys.front() ) ) > result;
   for ( const FlowspecKey& key : keys ) {
      result.push_back( shape( key ) );
   }
   return result;
}

// All rules in the shapes that the benchmarks take. Each list is filled at once, so that a walk
// over it meets memory in order.
struct Input {
   const std::vector< FlowspecKey > keys = Bench::rules( Bench::ruleCount );
   const std::vector< Plain::Key > plainKeys = each( keys, Plain::plainKey );
   const std::vector< std::string > cli =
      each( keys, []( const FlowspecKey& key ) { return key.toStrepCli( false ); } );
   const std::vector< std::string > cliLen =
      each( keys, []( const FlowspecKey& key ) { return key.toStrepCli( true ); } );
   const std::vector< std::string > value = each( keys, std::mem_fn( &FlowspecKey::stringValue ) );
   const std::vector< std::string > diagnostic = each( keys, std::mem_fn( &FlowspecKey::toStrep ) );

   Input() {
      for ( std::size_t i = 0; i < keys.size(); ++i ) {
         FlowspecKey read;
         Plain::Key plainRead;
         Bench::require( writeCli( plainKeys[i], false ) == cli[i] &&
                            writeCli( plainKeys[i], true ) == cliLen[i] &&
                            writeStringValue( plainKeys[i] ) == value[i] &&
                            readStringValue( value[i], plainRead ) && plainRead == plainKeys[i] &&
                            !readStringValue( value[i], read ) && read == keys[i],
                         value[i] );
      }
   }
};

const Input& input() {
   static const Input theInput;
   return theInput;
}

void readCliLen( benchmark::State& state ) {
   Bench::perItem( state, input().cliLen, []( const std::string& text ) {
      FlowspecKey key;
      benchmark::DoNotOptimize( readStrCli( text, true, key ) );
      benchmark::DoNotOptimize( key );
   } );
}
BENCHMARK( readCliLen );

void readCliLenPlain( benchmark::State& state ) {
   Bench::perItem( state, input().cliLen, []( const std::string& text ) {
      Plain::Key key;
      benchmark::DoNotOptimize( readCli( text, true, key ) );
      benchmark::DoNotOptimize( key );
   } );
}
BENCHMARK( readCliLenPlain );

void readCliText( benchmark::State& state ) {
   Bench::perItem( state, input().cli, []( const std::string& text ) {
      FlowspecKey key;
      benchmark::DoNotOptimize( readStrCli( text, false, key ) );
      benchmark::DoNotOptimize( key );
   } );
}
BENCHMARK( readCliText );

void readCliTextPlain( benchmark::State& state ) {
   Bench::perItem( state, input().cli, []( const std::string& text ) {
      Plain::Key key;
      benchmark::DoNotOptimize( readCli( text, false, key ) );
      benchmark::DoNotOptimize( key );
   } );
}
BENCHMARK( readCliTextPlain );

void readValue( benchmark::State& state ) {
   Bench::perItem( state, input().value, []( const std::string& text ) {
      FlowspecKey key;
      benchmark::DoNotOptimize( readStringValue( text, key ) );
      benchmark::DoNotOptimize( key );
   } );
}
BENCHMARK( readValue );

void readValuePlain( benchmark::State& state ) {
   Bench::perItem( state, input().value, []( const std::string& text ) {
      Plain::Key key;
      benchmark::DoNotOptimize( readStringValue( text, key ) );
      benchmark::DoNotOptimize( key );
   } );
}
BENCHMARK( readValuePlain );

void readDiagnostic( benchmark::State& state ) {
   Bench::perItem( state, input().diagnostic, []( const std::string& text ) {
      FlowspecKey key;
      benchmark::DoNotOptimize( readStrep( text, key ) );
      benchmark::DoNotOptimize( key );
   } );
}
BENCHMARK( readDiagnostic );

// Writes each key into one buffer that keeps its memory.
template < typename Append >
void writeEach( benchmark::State& state, Append append ) {
   std::string buffer;
   Bench::perItem( state, input().keys, [&]( const FlowspecKey& key ) {
      buffer.clear();
      append( key, buffer );
      benchmark::DoNotOptimize( buffer.data() );
      benchmark::ClobberMemory();
   } );
}

void writeCliLen( benchmark::State& state ) {
   writeEach( state, []( const FlowspecKey& key, std::string& buffer ) {
      key.appendStrepCli( buffer, true );
   } );
}
BENCHMARK( writeCliLen );

void writeCliLenPlain( benchmark::State& state ) {
   Bench::perItem( state, input().plainKeys, []( const Plain::Key& key ) {
      benchmark::DoNotOptimize( writeCli( key, true ) );
   } );
}
BENCHMARK( writeCliLenPlain );

void writeValue( benchmark::State& state ) {
   writeEach( state, []( const FlowspecKey& key, std::string& buffer ) {
      key.appendStringValue( buffer );
   } );
}
BENCHMARK( writeValue );

void writeValuePlain( benchmark::State& state ) {
   Bench::perItem( state, input().plainKeys, []( const Plain::Key& key ) {
      benchmark::DoNotOptimize( writeStringValue( key ) );
   } );
}
BENCHMARK( writeValuePlain );

void writeDetail( benchmark::State& state ) {
   writeEach( state, []( const FlowspecKey& key, std::string& buffer ) {
      key.appendStrepCliDetail( buffer );
   } );
}
BENCHMARK( writeDetail );

void writeDiagnostic( benchmark::State& state ) {
   writeEach( state,
              []( const FlowspecKey& key, std::string& buffer ) { key.appendStrep( buffer ); } );
}
BENCHMARK( writeDiagnostic );

} // namespace
