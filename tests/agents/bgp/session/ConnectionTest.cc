#include "agents/bgp/session/Connection.h"

#include "tests/agents/bgp/session/Sides.h"

#include <sys/socket.h>
#include <unistd.h>

namespace {

using namespace Bgp;
using namespace TestSupport;

struct ConnectionTest : testing::Test, Connection::Owner {
   ConnectionTest() {
      EXPECT_EQ( ::socketpair( AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends ), 0 );
      connection.emplace( world.loop, *this, Slot::incoming, Socket( ends[1] ) );
   }
   ~ConnectionTest() override { close(); }

   void ready( Slot ) override {}
   void close() {
      if ( ends[0] >= 0 ) {
         ::close( std::exchange( ends[0], -1 ) );
      }
   }
   void say( const std::vector< U8 >& octets ) const {
      EXPECT_EQ( ::send( ends[0], octets.data(), octets.size(), 0 ),
                 static_cast< ssize_t >( octets.size() ) );
   }
   static std::vector< U8 > keepalive() {
      std::vector< U8 > octets;
      writeKeepalive( octets );
      return octets;
   }

   World world;
   int ends[2];
   std::optional< Connection > connection;
};

TEST_F( ConnectionTest, SendsAsTheSocketTakesIt ) {
   EXPECT_FALSE( connection->flush() ) << "there is nothing";
   const std::vector< U8 > many( std::size_t{ 1 } << 20 );
   connection->queue( many );
   EXPECT_TRUE( connection->wantsToSend() );
   EXPECT_TRUE( connection->flush() );
   while ( connection->flush() ) {
   }
   ASSERT_FALSE( connection->pending().empty() );
   std::size_t heard = 0;
   std::vector< U8 > room( 65536 );
   while ( heard < many.size() ) {
      const ssize_t count = ::recv( ends[0], room.data(), room.size(), 0 );
      if ( count > 0 ) {
         heard += static_cast< std::size_t >( count );
      } else {
         ASSERT_TRUE( connection->flush() );
      }
   }
   EXPECT_EQ( heard, many.size() );
   EXPECT_FALSE( connection->wantsToSend() );
}

// What the peer said last tells more than that it is gone.
TEST_F( ConnectionTest, ReadsWhatCameBeforeSendingFails ) {
   std::vector< U8 > words;
   writeNotification( { ErrorCode::cease, Cease::administrativeReset, {} }, words );
   say( words );
   close();
   connection->queue( keepalive() );
   EXPECT_FALSE( connection->flush() );
   EXPECT_TRUE( connection->pending().empty() );
   ASSERT_EQ( connection->next(), Connection::Input::message );
   EXPECT_EQ( connection->header().type, MessageType::notification );
   EXPECT_EQ( connection->next(), Connection::Input::closed );
   EXPECT_EQ( connection->closeReason(), "Broken pipe" );
}

TEST_F( ConnectionTest, DropsAMessageThatIsNotWholeWithTheConnection ) {
   std::vector< U8 > words = keepalive();
   words.insert( words.end(), words.begin(), words.end() - 1 );
   say( words );
   connection->receive();
   EXPECT_EQ( connection->next(), Connection::Input::message );
   EXPECT_EQ( connection->next(), Connection::Input::nothing );
   close();
   connection->receive();
   EXPECT_EQ( connection->next(), Connection::Input::closed );
   EXPECT_EQ( connection->closeReason(), "the peer closed the connection" );
}

TEST_F( ConnectionTest, ReadsNoMoreWhileAMessageWaits ) {
   say( keepalive() );
   connection->receive();
   EXPECT_EQ( connection->due(), Time() );
   close();
   connection->receive();
   EXPECT_EQ( connection->next(), Connection::Input::message );
   EXPECT_EQ( connection->next(), Connection::Input::nothing ) << "the end was not read yet";
   EXPECT_EQ( connection->due(), Timer::never );
   connection->receive();
   EXPECT_EQ( connection->next(), Connection::Input::closed );
}

} // namespace
