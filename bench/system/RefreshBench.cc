#include "Vek/mount/Mount.h"
#include "bench/log/Records.h"
#include "bench/system/Child.h"

#include <algorithm>
#include <cstdio>
#include <span>

#include <hiredis/hiredis.h>
#include <unistd.h>

/// Counter snapshots that all change, from one process through the state database to a reader in
/// another, beside the same records through Redis.

namespace {

using namespace Bench;
using Vek::log::Endpoint;
using Vek::log::Mount;

constexpr int rounds = 5;
constexpr std::size_t burst = 1000; // changes of the writer between two turns of its mount
constexpr const char* root = "flowspec/counter";

// A pipe through which a reader says that it has all.
struct Signal {
   Signal() {
      if ( ::pipe( ends ) != 0 ) {
         fail( "cannot make a pipe" );
      }
   }
   void give() const {
      if ( ::write( ends[1], "x", 1 ) != 1 ) {
         std::_Exit( 1 );
      }
   }
   void take() const {
      char byte;
      if ( ::read( ends[0], &byte, 1 ) != 1 ) {
         fail( "the other process is gone" );
      }
   }
   int ends[2];
};

void turn( Mount& mount ) {
   Mount* const one[] = { &mount };
   Mount::wait( one, std::chrono::milliseconds( 100 ) );
   mount.process();
}

// The counters of a record in a round: none is as it was.
QosLib::ColoredCounters countersIn( int round, std::size_t record ) {
   return countersOf( record + 1000 * static_cast< std::size_t >( round ) );
}

// Says of each round when all of it is there.
void readSnapshots( const Endpoint& endpoint, std::size_t count, const Signal& done ) {
   Vek::Directory directory;
   Mount mount( endpoint, "reader", root, directory );
   for ( int round = 0; round <= rounds; ++round ) {
      for ( ;; ) {
         turn( mount );
         const auto entity = directory.entity( root );
         const auto* const counter = static_cast< const Flowspec::Counter* >( entity.get() );
         if ( counter && counter->timestamp() == round + 1 &&
              counter->snapshot().size() == count ) {
            break;
         }
      }
      done.give();
   }
}

double throughDatabase( const Vek::String& build, const std::vector< Record >& records ) {
   const Folder folder;
   const Child database( { build + "/agents/statedbd", "--socket", folder.file( "socket" ) } );
   const Endpoint endpoint( folder.file( "socket" ) );
   const Signal done;
   const Child reader( [&] { readSnapshots( endpoint, records.size(), done ); } );
   const auto counter = Flowspec::counterFactory( root );
   Mount mount( endpoint, "writer", *counter );
   const auto writeRound = [&]( int round ) {
      for ( std::size_t i = 0; i < records.size(); ++i ) {
         counter->snapshotIs( records[i].key,
                              { countersIn( round, i ), records[i].value.version() } );
         if ( i % burst == 0 ) {
            mount.process();
         }
      }
      counter->timestampIs( round + 1 );
      do {
         turn( mount );
      } while ( !mount.allSent() );
      done.take();
   };
   writeRound( 0 );
   std::vector< double > seconds;
   for ( int round = 1; round <= rounds; ++round ) {
      seconds.push_back( secondsOf( [&] { writeRound( round ); } ) );
   }
   return median( seconds );
}

// A connection to a Redis server, once that listens.
redisContext* connected( const Vek::String& socket ) {
   for ( int i = 0; i < 1000; ++i ) {
      redisContext* const context = redisConnectUnix( socket.c_str() );
      if ( context && !context->err ) {
         return context;
      }
      redisFree( context );
      ::usleep( 10'000 );
   }
   fail( "redis-server does not listen" );
}

void take( redisContext* redis, std::size_t elements ) {
   void* reply = nullptr;
   if ( redisGetReply( redis, &reply ) != REDIS_OK || !reply ) {
      fail( "redis-server does not answer" );
   }
   if ( elements > 0 && static_cast< redisReply* >( reply )->elements != elements ) {
      fail( "redis-server has not all records" );
   }
   freeReplyObject( reply );
}

struct RedisSeconds {
   double written; // until the server has all
   double read;    // until a reader has them, too
};

RedisSeconds throughRedis( const std::vector< Record >& records ) {
   const Folder folder;
   const Vek::String socket = folder.file( "socket" );
   const Child server( { "redis-server", "--port", "0", "--unixsocket", socket, "--save", "",
                         "--appendonly", "no" } );
   const Signal begin;
   const Signal done;
   const Child reader( [&] {
      redisContext* const redis = connected( socket );
      for ( ;; ) {
         begin.take();
         redisAppendCommand( redis, "HGETALL counters" );
         take( redis, records.size() * 2 );
         done.give();
      }
   } );
   redisContext* const redis = connected( socket );
   constexpr std::size_t pipelined = 1000;
   std::vector< U8 > key( 1000 );
   std::vector< U8 > value( 1000 );
   const auto writeRound = [&]( int round ) {
      for ( std::size_t i = 0; i < records.size(); ++i ) {
         Vek::LogWriter keyOut( key.data() );
         Vek::valueType< Flowspec::FlowspecKey >.logWrite( keyOut, &records[i].key );
         const Flowspec::CounterVersion snapshot( countersIn( round, i ),
                                                  records[i].value.version() );
         Vek::LogWriter valueOut( value.data() );
         Vek::valueType< Flowspec::CounterVersion >.logWrite( valueOut, &snapshot );
         const char* arguments[] = { "HSET", "counters",
                                     reinterpret_cast< const char* >( key.data() ),
                                     reinterpret_cast< const char* >( value.data() ) };
         const std::size_t sizes[] = { 4, 8, static_cast< std::size_t >( keyOut.at() - key.data() ),
                                       static_cast< std::size_t >( valueOut.at() - value.data() ) };
         redisAppendCommandArgv( redis, 4, arguments, sizes );
         if ( ( i + 1 ) % pipelined == 0 || i + 1 == records.size() ) {
            for ( std::size_t replies = i % pipelined + 1; replies > 0; --replies ) {
               take( redis, 0 );
            }
         }
      }
   };
   const auto readRound = [&] {
      begin.give();
      done.take();
   };
   writeRound( 0 );
   readRound();
   std::vector< double > written;
   std::vector< double > read;
   for ( int round = 1; round <= rounds; ++round ) {
      written.push_back( secondsOf( [&] { writeRound( round ); } ) );
      read.push_back( written.back() + secondsOf( readRound ) );
   }
   return { median( written ), median( read ) };
}

} // namespace

int main( int argc, char** argv ) {
   if ( argc < 2 || argc > 3 ) {
      fail( "usage: RefreshBench BUILD [RECORDS]" );
   }
   const std::size_t count = argc > 2 ? std::strtoul( argv[2], nullptr, 10 ) : 1'000'000;
   std::vector< Record > all = records( count );
   // The order in which an agent goes over its rules.
   std::ranges::sort( all, Flowspec::FlowspecKeyOrder(), &Record::key );
   const double ours = throughDatabase( argv[1], all );
   const RedisSeconds redis = throughRedis( all );
   std::printf( "%zu counter snapshots, every one changed, medians of %d\n\n", count, rounds );
   std::printf( "| way | time | a snapshot | factor | wanted |\n|---|---|---|---|---|\n" );
   const auto row = [&]( const char* way, double seconds, double factor, const char* wanted ) {
      std::printf( "| %s | %.2f s | %.2f us | %.2f | %s |\n", way, seconds,
                   seconds * 1e6 / static_cast< double >( count ), factor, wanted );
   };
   row( "state database, until a reader has them", ours, 1, "" );
   row( "Redis, HSET, until the server has them", redis.written, redis.written / ours, "" );
   row( "Redis, HSET and HGETALL, until a reader has them", redis.read, redis.read / ours, "5" );
   return argc > 2 || redis.read / ours >= 5 ? 0 : 1;
}
