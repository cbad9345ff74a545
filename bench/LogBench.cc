#include "Flowspec/FlowspecDalb.h"
#include "Vek/log/Connection.h"
#include "Vek/mount/FdTransport.h"
#include "bench/log/Rivals.h"
#include "bench/support/Measure.h"

#include <sys/socket.h>
#include <unistd.h>

#include <absl/container/flat_hash_map.h>

#include <sstream>

/// The attribute log beside FlatBuffers, Protocol Buffers and plain copies.

namespace {

using namespace Bench;
using Flowspec::Counter;
using Flowspec::CounterVersion;
using Flowspec::FlowspecKey;
using Flowspec::RuleStatus;
using Flowspec::Status;
using Flowspec::VrfRuleStatus;
using Vek::Directory;
using Vek::log::Connection;
using Vek::log::FdTransport;
using Vek::log::Receiver;
using Vek::log::Sender;
using Vek::log::Source;

const std::vector< Record >& input( const benchmark::State& state ) {
   static std::map< S64, std::vector< Record > > inputs;
   std::vector< Record >& result = inputs[state.range( 0 )];
   if ( result.empty() ) {
      result = records( static_cast< std::size_t >( state.range( 0 ) ) );
   }
   return result;
}

// What is written, and the record that is read: as much of each as a connection has at a time.
struct Window {
   std::vector< U8 > bytes = std::vector< U8 >( 1U << 18 );
   Record read;
};

void encodeDecode( benchmark::State& state ) {
   Window window;
   perItem( state, input( state ), [&]( const Record& record ) {
      const U8* const end = write( window.bytes.data(), record );
      Vek::LogReader in( { window.bytes.data(), end }, Vek::LogReader::Trust::checked );
      read( in, window.read );
      benchmark::DoNotOptimize( window.read );
   } );
   require( window.read == input( state ).back(), "the log's encoding" );
}
BENCHMARK( encodeDecode )->Arg( 10000 )->Arg( 1000000 );

void encodeDecodeFlat( benchmark::State& state ) {
   Window window;
   FlatCodec codec;
   perItem( state, input( state ), [&]( const Record& record ) {
      require( FlatCodec::decode( codec.encode( record ), window.read ), "FlatBuffers" );
      benchmark::DoNotOptimize( window.read );
   } );
   require( window.read == input( state ).back(), "FlatBuffers" );
}
BENCHMARK( encodeDecodeFlat )->Arg( 10000 )->Arg( 1000000 );

void encodeDecodeProto( benchmark::State& state ) {
   Window window;
   ProtoCodec codec;
   std::string text;
   perItem( state, input( state ), [&]( const Record& record ) {
      text.clear();
      codec.encode( record, text );
      const auto* const bytes = reinterpret_cast< const U8* >( text.data() );
      require( codec.decode( { bytes, text.size() }, window.read ), "Protocol Buffers" );
      benchmark::DoNotOptimize( window.read );
   } );
   require( window.read == input( state ).back(), "Protocol Buffers" );
}
BENCHMARK( encodeDecodeProto )->Arg( 10000 )->Arg( 1000000 );

// The bytes of all records from one place in memory to another.
void copyEncoded( benchmark::State& state ) {
   const std::vector< Record >& all = input( state );
   std::vector< U8 > from( all.size() * sizeOf( all.front() ), 1 );
   std::vector< U8 > to( from.size(), 2 );
   for ( auto _ : state ) {
      std::memcpy( to.data(), from.data(), from.size() );
      benchmark::DoNotOptimize( to.data() );
      benchmark::ClobberMemory();
   }
   perItemCounter( state, all.size() );
}
BENCHMARK( copyEncoded )->Arg( 10000 )->Arg( 1000000 );

// The same from records in memory to bytes in memory and back.
void encodeAllDecodeAll( benchmark::State& state ) {
   const std::vector< Record >& all = input( state );
   std::vector< U8 > bytes( all.size() * sizeOf( all.front() ), 1 );
   Record record;
   for ( auto _ : state ) {
      U8* at = bytes.data();
      for ( const Record& each : all ) {
         at = write( at, each );
      }
      Vek::LogReader in( bytes, Vek::LogReader::Trust::checked );
      while ( in.left() > 0 ) {
         read( in, record );
         benchmark::DoNotOptimize( record );
      }
   }
   perItemCounter( state, all.size() );
}
BENCHMARK( encodeAllDecodeAll )->Arg( 10000 )->Arg( 1000000 );

std::pair< int, int > sockets() {
   int fds[2];
   require( ::socketpair( AF_UNIX, SOCK_STREAM, 0, fds ) == 0, "socket pairs" );
   return { fds[0], fds[1] };
}

// How many records are written between two turns of the event loop.
constexpr std::size_t turn = 256;

// Records filed in one process's collection until they stand in another's.
void throughSocket( benchmark::State& state ) {
   const std::vector< Record >& all = input( state );
   for ( auto _ : state ) {
      Directory here;
      Directory there;
      const auto root = here.create( "Flowspec::Counter", "counter" );
      auto& counter = static_cast< Counter& >( *root );
      Source source;
      source.rootIs( *root );
      const auto [near, far] = sockets();
      Connection sending( std::make_unique< FdTransport >( near ), { .source = &source } );
      Connection receiving( std::make_unique< FdTransport >( far ), { .directory = &there } );
      const auto step = [&] {
         require( sending.process() && receiving.process(), sending.error() + receiving.error() );
      };
      std::size_t filed = 0;
      for ( const Record& record : all ) {
         counter.snapshotIs( record.key, record.value );
         if ( ++filed % turn == 0 ) {
            step();
         }
      }
      do {
         step();
      } while ( !sending.allSent() );
      receiving.process();
      state.PauseTiming();
      const auto& replica = static_cast< const Counter& >( *there.entity( "counter" ) );
      require( replica.snapshot().size() == all.size(), "the replica" );
      here.erase( "counter" );
      there.erase( "counter" );
      state.ResumeTiming();
   }
   perItemCounter( state, all.size() );
}
BENCHMARK( throughSocket )->Arg( 10000 )->Arg( 1000000 );

// The same with Protocol Buffers, each after its length, into hash maps.
void throughSocketProto( benchmark::State& state ) {
   const std::vector< Record >& all = input( state );
   for ( auto _ : state ) {
      absl::flat_hash_map< FlowspecKey, CounterVersion, Vek::Hasher< FlowspecKey > > here;
      absl::flat_hash_map< FlowspecKey, CounterVersion, Vek::Hasher< FlowspecKey > > there;
      FdTransport near( sockets().first );
      const auto [a, b] = sockets();
      FdTransport writer( a );
      FdTransport reader( b );
      ProtoCodec codec;
      std::string out;
      std::vector< U8 > in;
      std::vector< U8 > room( 1U << 16 );
      Record record;
      const auto step = [&] {
         std::size_t sent = 0;
         while ( const std::size_t count = writer.send(
                    { reinterpret_cast< const U8* >( out.data() ) + sent, out.size() - sent } ) ) {
            sent += count;
            if ( sent == out.size() ) {
               break;
            }
         }
         out.erase( 0, sent );
         while ( const std::size_t count = reader.receive( room ).value_or( 0 ) ) {
            in.insert( in.end(), room.begin(), room.begin() + static_cast< S64 >( count ) );
         }
         std::size_t at = 0;
         while ( in.size() - at >= 4 ) {
            const U32 length = Osk::loadBig32( in.data() + at );
            if ( in.size() - at - 4 < length ) {
               break;
            }
            require( codec.decode( { in.data() + at + 4, length }, record ), "Protocol Buffers" );
            there.insert_or_assign( record.key, record.value );
            at += 4 + length;
         }
         in.erase( in.begin(), in.begin() + static_cast< S64 >( at ) );
      };
      std::size_t filed = 0;
      for ( const Record& each : all ) {
         here.insert_or_assign( each.key, each.value );
         const std::size_t begin = out.size();
         out.append( 4, '\0' );
         codec.encode( each, out );
         Osk::storeBig32( reinterpret_cast< U8* >( out.data() + begin ),
                          static_cast< U32 >( out.size() - begin - 4 ) );
         if ( ++filed % turn == 0 ) {
            step();
         }
      }
      while ( !out.empty() || there.size() < all.size() ) {
         step();
      }
      state.PauseTiming();
      here.clear();
      there.clear();
      state.ResumeTiming();
   }
   perItemCounter( state, all.size() );
}
BENCHMARK( throughSocketProto )->Arg( 10000 )->Arg( 1000000 );

Vek::Ptr< Counter > filled( const std::vector< Record >& all ) {
   const auto counter = Flowspec::counterFactory( "counter" );
   for ( const Record& record : all ) {
      counter->snapshotIs( record.key, record.value );
   }
   return counter;
}

void refreshUnchanged( benchmark::State& state ) {
   const auto counter = filled( input( state ) );
   Source source;
   source.rootIs( *counter );
   perItem( state, input( state ),
            [&]( const Record& record ) { counter->snapshotIs( record.key, record.value ); } );
}
BENCHMARK( refreshUnchanged )->Arg( 10000 )->Arg( 1000000 );

void lookUp( benchmark::State& state ) {
   const auto counter = filled( input( state ) );
   perItem( state, input( state ), [&]( const Record& record ) {
      benchmark::DoNotOptimize( counter->snapshot().find( record.key ) );
   } );
}
BENCHMARK( lookUp )->Arg( 10000 )->Arg( 1000000 );

// One change of one rule, told to a number of connections that are up to date, `times` times.
void change( benchmark::State& state, std::size_t connections, int times, bool copies ) {
   const auto status = Flowspec::statusFactory( "status" );
   const auto rule = status->vrfRuleStatusIs( 1 )->ruleStatusIs( sixWordRule( 1 ) );
   Source source;
   source.rootIs( *status );
   std::vector< std::unique_ptr< Sender > > senders;
   for ( std::size_t i = 0; i < connections; ++i ) {
      senders.push_back( std::make_unique< Sender >( source, 1U << 16 ) );
   }
   const auto drain = [&] {
      for ( const auto& sender : senders ) {
         do {
            sender->fill();
            sender->sent( sender->pending().size() );
         } while ( !sender->idle() );
      }
   };
   drain();
   constexpr std::size_t messageSize = 16 + 88;
   std::vector< U8 > places( 100 * ( 1U << 16 ) );
   const std::vector< U8 > message( messageSize, 1 );
   constexpr int batch = 200;
   U64 packets = 0;
   for ( auto _ : state ) {
      for ( int i = 0; i < batch; ++i ) {
         for ( int time = 0; time < times; ++time ) {
            rule->packetCountIs( ++packets );
         }
         for ( std::size_t place = 0; copies && place < 100; ++place ) {
            std::memcpy( places.data() + ( place << 16 ) +
                            static_cast< std::size_t >( i ) * messageSize,
                         message.data(), messageSize );
         }
         benchmark::ClobberMemory();
      }
      state.PauseTiming();
      drain();
      state.ResumeTiming();
   }
   perItemCounter( state, batch );
}
void changeTo100( benchmark::State& state ) { change( state, 100, 1, false ); }
BENCHMARK( changeTo100 );
void changeTo1( benchmark::State& state ) { change( state, 1, 1, false ); }
BENCHMARK( changeTo1 );
void threeChangesTo1AndCopies( benchmark::State& state ) { change( state, 1, 3, true ); }
BENCHMARK( threeChangesTo1AndCopies );

std::vector< U8 > wholeStream( Source& source ) {
   std::vector< U8 > bytes;
   Sender sender( source );
   do {
      sender.fill();
      bytes.insert( bytes.end(), sender.pending().begin(), sender.pending().end() );
      sender.sent( sender.pending().size() );
   } while ( !sender.idle() );
   return bytes;
}

// Connections that take one message and then nothing more.
std::vector< std::unique_ptr< Sender > > stalled( Source& source, std::size_t count ) {
   std::vector< std::unique_ptr< Sender > > senders;
   for ( std::size_t i = 0; i < count; ++i ) {
      Sender& sender = *senders.emplace_back( std::make_unique< Sender >( source, 1 ) );
      do {
         sender.fill();
         sender.sent( sender.pending().size() );
      } while ( !sender.idle() );
   }
   return senders;
}

// One change of one rule beside readers that stall, for each of them.
void changeBesideStalled( benchmark::State& state ) {
   const auto count = static_cast< std::size_t >( state.range( 0 ) );
   const auto status = Flowspec::statusFactory( "status" );
   const auto rule = status->vrfRuleStatusIs( 1 )->ruleStatusIs( sixWordRule( 1 ) );
   Source source;
   source.rootIs( *status );
   const auto senders = stalled( source, count );
   U64 packets = 0;
   for ( auto _ : state ) {
      rule->packetCountIs( ++packets );
   }
   perItemCounter( state, count );
}
BENCHMARK( changeBesideStalled )->Arg( 1 )->Arg( 100 )->Arg( 300 )->Arg( 1000 );

// A record that comes and goes, with a reader that stalls or with none.
void comeAndGo( benchmark::State& state ) {
   const std::vector< Record > all = records( 10000 );
   const auto counter = Flowspec::counterFactory( "counter" );
   Source source;
   source.rootIs( *counter );
   const auto senders = stalled( source, static_cast< std::size_t >( state.range( 0 ) ) );
   perItem( state, all, [&]( const Record& record ) {
      counter->snapshotIs( record.key, record.value );
      counter->snapshotDel( record.key );
   } );
}
BENCHMARK( comeAndGo )->Arg( 0 )->Arg( 1 );

// The beginning of a transaction on a collection of some size, at its receiver.
void beginTransaction( benchmark::State& state ) {
   const std::vector< Record >& all = input( state );
   Directory there;
   auto& counter = static_cast< Counter& >( *there.create( "Flowspec::Counter", "counter" ) );
   for ( const Record& record : all ) {
      counter.snapshotIs( record.key, record.value );
   }
   Directory here;
   Source source;
   source.rootIs( *here.create( "Flowspec::Counter", "counter" ) );
   Receiver receiver( there );
   const std::vector< U8 > whole = wholeStream( source );
   // All but the first transaction's end and what follows it.
   const std::size_t messageSize = Vek::log::Header::size + 1;
   const std::size_t tail = messageSize + Vek::log::Header::size + 8 + Vek::log::Header::size;
   receiver.receive( std::span( whole ).first( whole.size() - tail ) );
   const auto begin = std::span( whole ).subspan( whole.size() - tail - messageSize, messageSize );
   for ( auto _ : state ) {
      receiver.receive( begin );
   }
   require( counter.snapshot().size() == all.size(), "the members" );
   perItemCounter( state, 1 );
}
BENCHMARK( beginTransaction )->Arg( 10 )->Arg( 100000 );

// A tree of rule statuses.
Vek::Ptr< Vek::NamedEntity > ruleStatuses( Directory& directory, std::size_t count ) {
   const auto root = directory.create( "Flowspec::Status", "status" );
   const auto vrf = static_cast< Status& >( *root ).vrfRuleStatusIs( 1 );
   for ( U32 number = 0; number < count; ++number ) {
      const auto rule = vrf->ruleStatusIs( sixWordRule( number ) );
      rule->statusCodeIs( Flowspec::HwRuleProgrammingStatus::programmed );
      rule->coloredCountersIs( countersOf( number ) );
   }
   return root;
}

// The initial synchronisation of as many rule statuses as are wanted, at its sender.
void synchroniseSending( benchmark::State& state ) {
   Directory here;
   const auto count = static_cast< std::size_t >( state.range( 0 ) );
   const auto root = ruleStatuses( here, count );
   Source source;
   source.rootIs( *root );
   for ( auto _ : state ) {
      Sender sender( source );
      do {
         sender.fill();
         benchmark::DoNotOptimize( sender.pending().data() );
         sender.sent( sender.pending().size() );
      } while ( !sender.idle() );
   }
   perItemCounter( state, count );
}
BENCHMARK( synchroniseSending )->Arg( 10000 )->Arg( 1000000 );

// At its receiver.
void synchroniseReceiving( benchmark::State& state ) {
   Directory here;
   const auto count = static_cast< std::size_t >( state.range( 0 ) );
   Source source;
   source.rootIs( *ruleStatuses( here, count ) );
   const std::vector< U8 > bytes = wholeStream( source );
   for ( auto _ : state ) {
      Directory there;
      Receiver receiver( there );
      for ( std::size_t at = 0; at < bytes.size(); at += 1U << 16 ) {
         receiver.receive( std::span( bytes ).subspan(
            at, std::min< std::size_t >( 1U << 16, bytes.size() - at ) ) );
      }
      state.PauseTiming();
      require( receiver.synchronised(), "synchronisation" );
      there.erase( "status" );
      state.ResumeTiming();
   }
   perItemCounter( state, count );
}
BENCHMARK( synchroniseReceiving )->Arg( 10000 )->Arg( 1000000 );

// As many bytes as the synchronisation has, as counter records: how many records that are.
std::size_t recordsForTheSameBytes( std::size_t count ) {
   Directory here;
   Source source;
   source.rootIs( *ruleStatuses( here, 1000 ) );
   const std::size_t bytes = wholeStream( source ).size() / 1000;
   return count * bytes / ( 16 + sizeOf( records( 1 ).front() ) );
}

void encodeTheSameBytes( benchmark::State& state ) {
   const auto count = static_cast< std::size_t >( state.range( 0 ) );
   const std::vector< Record > all = records( recordsForTheSameBytes( count ) );
   std::vector< U8 > bytes( 1U << 18 );
   for ( auto _ : state ) {
      U8* at = bytes.data();
      for ( const Record& record : all ) {
         if ( at > bytes.data() + bytes.size() - 1000 ) {
            at = bytes.data();
         }
         Vek::LogWriter out( at );
         Vek::log::writeHeader( out, { .length = static_cast< U32 >( sizeOf( record ) ),
                                       .kind = Vek::log::MessageKind::member,
                                       .entity = 1,
                                       .fieldId = 258 } );
         at = write( out.at(), record );
      }
      benchmark::ClobberMemory();
   }
   perItemCounter( state, count );
}
BENCHMARK( encodeTheSameBytes )->Arg( 10000 )->Arg( 1000000 );

void decodeAndInsertTheSameBytes( benchmark::State& state ) {
   const auto count = static_cast< std::size_t >( state.range( 0 ) );
   const std::vector< Record > all = records( recordsForTheSameBytes( count ) );
   std::vector< U8 > bytes( all.size() * 1000 );
   U8* end = bytes.data();
   for ( const Record& record : all ) {
      end = write( end, record );
   }
   for ( auto _ : state ) {
      const auto counter = Flowspec::counterFactory( "counter" );
      Vek::LogReader in( { bytes.data(), end }, Vek::LogReader::Trust::checked );
      Record record;
      while ( in.left() > 0 ) {
         read( in, record );
         counter->snapshotIs( record.key, record.value );
      }
      state.PauseTiming();
      require( counter->snapshot().size() == all.size(), "the collection" );
      counter->snapshotDelAll();
      state.ResumeTiming();
   }
   perItemCounter( state, count );
}
BENCHMARK( decodeAndInsertTheSameBytes )->Arg( 10000 )->Arg( 1000000 );

void dump( benchmark::State& state ) {
   Directory here;
   const auto count = static_cast< std::size_t >( state.range( 0 ) );
   const auto root = ruleStatuses( here, count );
   std::string text;
   for ( auto _ : state ) {
      text.clear();
      Osk::DumpContext context( text );
      static_cast< const Status& >( *root ).dumpState( context, 0 );
      benchmark::DoNotOptimize( text.data() );
   }
   perItemCounter( state, count );
}
BENCHMARK( dump )->Arg( 10000 )->Arg( 100000 );

// The same lines through `std::snprintf` and a string stream.
void dumpPlain( benchmark::State& state ) {
   Directory here;
   const auto count = static_cast< std::size_t >( state.range( 0 ) );
   const auto root = ruleStatuses( here, count );
   const auto& status = static_cast< const Status& >( *root );
   std::string expected;
   Osk::DumpContext context( expected );
   status.dumpState( context, 0 );
   std::string text;
   for ( auto _ : state ) {
      std::ostringstream out;
      const auto line = [&]( U32 indent, const char* format, auto... arguments ) {
         const int size = std::snprintf( nullptr, 0, format, arguments... );
         std::string formatted( static_cast< std::size_t >( size ) + 1, '\0' );
         std::snprintf( formatted.data(), formatted.size(), format, arguments... );
         formatted.pop_back();
         out << std::string( indent, ' ' ) << formatted;
      };
      line( 0, "FlowspecStatus: vrfRuleStatuses #%u\n", status.vrfRuleStatus().size() );
      for ( const auto& [vrfId, vrf] : status.vrfRuleStatus() ) {
         line( 2, "vrfId is %u, ruleStatuses #%u\n", vrfId, vrf->ruleStatus().size() );
         for ( const auto& rule : vrf->ruleStatus() ) {
            line( 4, "key: %s\n", rule->key().toStrepCli( false ).c_str() );
            line( 4, "statusCode %d, errorReason %s, version %s\n",
                  static_cast< int >( rule->statusCode() ), rule->errorReason().c_str(),
                  rule->version().stringValue().c_str() );
            line( 4, "resolvedNexthopInfo nexthopSet: %s\n",
                  rule->resolvedNexthopInfo().nexthopSetStrep().c_str() );
            line( 4, "resolvedNexthopInfo viasActive #%zu\n",
                  rule->resolvedNexthopInfo().viasActive().size() );
         }
      }
      line( 0, "Unsupported AF quals: #%u\n", status.unsupportedQual().size() );
      text = out.str();
      benchmark::DoNotOptimize( text.data() );
   }
   require( text == expected, "dumps" );
   perItemCounter( state, count );
}
BENCHMARK( dumpPlain )->Arg( 10000 )->Arg( 100000 );

} // namespace
