#include "Vek/log/Connection.h"
#include "Vek/mount/FdTransport.h"
#include "tests/support/Dump.h"
#include "tests/support/LogStream.h"
#include "tests/support/RandomTree.h"

#include <algorithm>

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

using TestSupport::encoded;
using Vek::Directory;
using Vek::log::Connection;
using Vek::log::FdTransport;

constexpr int rounds = 100;
constexpr int changesARound = 1000;

// What two processes compare at a quiet point: the dumps, and all of the state as it is encoded.
std::string picture( const Directory& directory ) {
   std::string text;
   if ( const auto config = directory.entity( "config" ) ) {
      text += TestSupport::dump( static_cast< const Config& >( *config ), 0 );
   }
   if ( const auto status = directory.entity( "status" ) ) {
      text += TestSupport::dump( static_cast< const Status& >( *status ), 0 );
   }
   return text + TestSupport::hexOf( encoded( directory ) );
}

void writeAll( int fd, std::string_view bytes ) {
   while ( !bytes.empty() ) {
      const ssize_t count = ::write( fd, bytes.data(), bytes.size() );
      if ( count <= 0 ) {
         ::_exit( 2 );
      }
      bytes.remove_prefix( static_cast< std::size_t >( count ) );
   }
}

// Changes a tree at random and streams it to `log`; tells its picture, after its length, to
// `pictures` after each round, and goes on when it is answered.
[[noreturn]] void runWriter( int log, int pictures ) {
   Directory here;
   TestSupport::RandomTree tree( here, 11 );
   Vek::log::Source source;
   for ( const auto& root : tree.roots() ) {
      source.rootIs( *root );
   }
   Connection connection( std::make_unique< FdTransport >( log ), { .source = &source } );
   for ( int round = 0; round < rounds; ++round ) {
      for ( int i = 0; i < changesARound; ++i ) {
         tree.change();
         connection.process();
      }
      while ( !connection.allSent() ) {
         pollfd ready{ log, POLLOUT, 0 };
         ::poll( &ready, 1, 1000 );
         if ( !connection.process() ) {
            ::_exit( 3 );
         }
      }
      const std::string text = picture( here );
      const U64 size = text.size();
      writeAll( pictures, { reinterpret_cast< const char* >( &size ), sizeof size } );
      writeAll( pictures, text );
      char answer;
      if ( ::read( pictures, &answer, 1 ) != 1 ) {
         ::_exit( 4 );
      }
   }
   ::_exit( 0 );
}

class TwoProcesses : public testing::Test {
protected:
   // Reads `size` bytes of the other process's picture, receiving the stream meanwhile.
   std::string read( std::size_t size, Connection& connection, int log ) {
      std::string text;
      while ( text.size() < size ) {
         pollfd ready[] = { { log, POLLIN, 0 }, { pictures, POLLIN, 0 } };
         ::poll( ready, 2, 10000 );
         connection.process();
         if ( ready[1].revents ) {
            char room[65536];
            const ssize_t count =
               ::read( pictures, room, std::min( sizeof room, size - text.size() ) );
            if ( count <= 0 ) {
               ADD_FAILURE() << "the writer is gone";
               return text;
            }
            text.append( room, static_cast< std::size_t >( count ) );
         }
      }
      return text;
   }

   int pictures = -1;
};

TEST_F( TwoProcesses, HoldTheSameAtEveryQuietPoint ) {
   int log[2];
   int told[2];
   ASSERT_EQ( ::socketpair( AF_UNIX, SOCK_STREAM, 0, log ), 0 );
   ASSERT_EQ( ::socketpair( AF_UNIX, SOCK_STREAM, 0, told ), 0 );
   const pid_t writer = ::fork();
   if ( writer == 0 ) {
      ::close( log[0] );
      ::close( told[0] );
      runWriter( log[1], told[1] );
   }
   ::close( log[1] );
   ::close( told[1] );
   pictures = told[0];
   Directory there;
   Connection connection( std::make_unique< FdTransport >( log[0] ), { .directory = &there } );
   for ( int round = 0; round < rounds; ++round ) {
      U64 size = 0;
      const std::string length = read( sizeof size, connection, log[0] );
      ASSERT_EQ( length.size(), sizeof size );
      std::memcpy( &size, length.data(), sizeof size );
      const std::string theirs = read( size, connection, log[0] );
      // All that the writer sent is in the socket now.
      for ( int i = 0; i < 20; ++i ) {
         ASSERT_TRUE( connection.process() ) << connection.error();
      }
      ASSERT_TRUE( theirs == picture( there ) ) << "in round " << round;
      ASSERT_EQ( ::write( pictures, "", 1 ), 1 );
   }
   ::close( pictures );
   int status = 0;
   ::waitpid( writer, &status, 0 );
   EXPECT_EQ( status, 0 );
}

} // namespace
} // namespace Flowspec
