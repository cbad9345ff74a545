#include "Flowspec/FlowspecDalb.h"
#include "tests/agents/statedbd/Database.h"
#include "tests/support/PeerStream.h"
#include "tests/support/Sanitized.h"

#include <algorithm>
#include <atomic>
#include <thread>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Flowspec {
namespace {

using TestSupport::Database;
using TestSupport::PeerStream;
using TestSupport::sanitized;
using TestSupport::until;
using TestSupport::untilAllStand;
using Vek::log::Mount;

// A client that says what it likes and reads what it likes.
class RawClient {
public:
   RawClient( const Database& database, const Vek::String& greeting )
      : fd_( database.endpoint().connect() ) {
      send( { reinterpret_cast< const U8* >( greeting.data() ), greeting.size() } );
   }
   RawClient( const RawClient& ) = delete;
   RawClient& operator=( const RawClient& ) = delete;
   ~RawClient() { ::close( fd_ ); }

   // Sends all, waiting for room; false when the other end is gone or `stop` is set.
   bool send( std::span< const U8 > bytes, const std::atomic< bool >* stop = nullptr ) const {
      while ( !bytes.empty() && !( stop && *stop ) ) {
         pollfd polled{ .fd = fd_, .events = POLLOUT, .revents = 0 };
         ::poll( &polled, 1, 100 );
         const ssize_t size =
            ::send( fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT );
         if ( size < 0 && errno != EAGAIN ) {
            return false;
         }
         bytes = bytes.subspan( static_cast< std::size_t >( std::max( size, ssize_t{ 0 } ) ) );
      }
      return bytes.empty();
   }

   // The next `size` bytes, or those that come in ten seconds.
   Vek::String receive( std::size_t size ) const {
      Vek::String text;
      pollfd polled{ .fd = fd_, .events = POLLIN, .revents = 0 };
      char byte = 0;
      while ( text.size() < size && ::poll( &polled, 1, 10'000 ) == 1 &&
              ::read( fd_, &byte, 1 ) == 1 ) {
         text += byte;
      }
      return text;
   }

private:
   int fd_;
};

TEST( Load, AReaderThatStallsCostsNothingForWhatComesAndGoes ) {
   Database database;
   const auto config = configFactory( "flowspec/config" );
   Mount writer( database.endpoint(), "writer", *config );
   ASSERT_TRUE( untilAllStand( { &writer } ) );
   const RawClient stalled( database, "mount/1 read stalled flowspec/config\n" );
   EXPECT_EQ( stalled.receive( 3 ), "ok\n" );
   U64 number = 0;
   const auto comeAndGo = [&]( U32 pairs ) {
      for ( U32 i = 0; i < pairs; ++i ) {
         const Zorv::IntfId intf( ++number );
         config->enabledIntfIs( intf );
         config->enabledIntfDel( intf );
         if ( i % 500 == 499 ) {
            ASSERT_TRUE( until( { &writer }, [&] { return writer.acknowledged(); } ) );
         }
      }
   };
   comeAndGo( 20'000 ); // fills the buffers on the way
   const U64 before = database.process().memory();
   comeAndGo( sanitized ? 5'000 : 200'000 );
   if ( !sanitized ) {
      EXPECT_LE( database.process().memory(), before + 1024 );
   }
   Vek::Directory replica;
   Mount reader( database.endpoint(), "reader", "flowspec/config", replica );
   ASSERT_TRUE( untilAllStand( { &reader } ) );
   EXPECT_EQ( static_cast< Config& >( *replica.entity( "flowspec/config" ) ).enabledIntf().size(),
              0U );
}

TEST( Load, AFloodOfTransactionsKeepsNobodyWaiting ) {
   Database database;
   const auto counter = counterFactory( "flood" );
   for ( U32 i = 0; i < ( sanitized ? 10'000 : 100'000 ); ++i ) {
      FlowspecKey key;
      key.destPrefixIs( Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv4( i ), 32 ) );
      counter->snapshotIs( key, CounterVersion() );
   }
   {
      Mount writer( database.endpoint(), "writer", *counter );
      ASSERT_TRUE( until( { &writer }, [&] { return writer.acknowledged(); } ) );
   }
   std::atomic< bool > stop = false;
   std::thread flood( [&] {
      const RawClient hostile( database, "mount/1 write hostile flood\n" );
      EXPECT_EQ( hostile.receive( 3 ), "ok\n" );
      PeerStream stream;
      stream.root( 1, "Flowspec::Counter", "flood" );
      hostile.send( stream.take() );
      for ( int i = 0; i < 10'000; ++i ) {
         stream.transaction( 1, 258, 0 );
      }
      const std::vector< U8 > starts = stream.take();
      while ( hostile.send( starts, &stop ) ) {
      }
   } );
   using Clock = Mount::Clock;
   auto shortest = Clock::duration::max();
   for ( int i = 0; i < 20; ++i ) {
      ::usleep( 20'000 );
      const auto begin = Clock::now();
      const RawClient other( database, "mount/1 read other some/root\n" );
      EXPECT_EQ( other.receive( 3 ), "ok\n" );
      shortest = std::min( shortest, Clock::now() - begin );
   }
   // The machine may have others to serve, too: the shortest of some times is the database's own.
   EXPECT_LT( shortest, std::chrono::milliseconds( 100 ) );
   stop = true;
   flood.join();
}

} // namespace
} // namespace Flowspec
