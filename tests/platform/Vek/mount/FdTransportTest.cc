#include "Vek/mount/FdTransport.h"

#include "Vek/text/Exceptions.h"

#include <fcntl.h>
#include <numeric>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace Vek::log {
namespace {

using Pair = std::pair< std::unique_ptr< Transport >, std::unique_ptr< Transport > >;

Pair socketPair() {
   int fds[2];
   EXPECT_EQ( ::socketpair( AF_UNIX, SOCK_STREAM, 0, fds ), 0 );
   return { std::make_unique< FdTransport >( fds[0] ), std::make_unique< FdTransport >( fds[1] ) };
}

Pair memoryPair() { return memoryTransports( 7 ); }

class AnyTransport : public testing::TestWithParam< Pair ( * )() > {
protected:
   Pair ends = GetParam()();
};

TEST_P( AnyTransport, CarriesBytesInOrderBothWays ) {
   std::vector< U8 > bytes( 1000 );
   std::iota( bytes.begin(), bytes.end(), U8{ 0 } );
   for ( int way = 0; way < 2; ++way ) {
      std::vector< U8 > received;
      std::size_t sent = 0;
      while ( received.size() < bytes.size() ) {
         sent += ends.first->send( std::span( bytes ).subspan( sent ) );
         U8 room[5];
         const auto count = ends.second->receive( room );
         ASSERT_TRUE( count );
         received.insert( received.end(), room, room + *count );
      }
      EXPECT_EQ( received, bytes );
      std::swap( ends.first, ends.second );
   }
}

TEST_P( AnyTransport, NeverWaits ) {
   U8 room[100] = {};
   EXPECT_EQ( ends.first->receive( room ), std::optional< std::size_t >( 0 ) );
   std::size_t sent = 0;
   while ( const std::size_t count = ends.first->send( room ) ) {
      sent += count;
   }
   EXPECT_GT( sent, 0U );
}

TEST_P( AnyTransport, WhatWasSentIsReceivedAfterTheOtherEndClosed ) {
   const U8 bytes[] = { 1, 2, 3 };
   EXPECT_EQ( ends.first->send( bytes ), 3U );
   ends.first.reset();
   U8 room[10];
   EXPECT_EQ( ends.second->receive( room ), std::optional< std::size_t >( 3 ) );
   EXPECT_EQ( ends.second->receive( room ), std::nullopt );
   EXPECT_THROW( ends.second->send( bytes ), StreamException );
}

INSTANTIATE_TEST_SUITE_P( Memory, AnyTransport, testing::Values( memoryPair ) );
INSTANTIATE_TEST_SUITE_P( Socket, AnyTransport, testing::Values( socketPair ) );

// What is said when something fails.
template < typename Do >
String failure( Do action ) {
   try {
      action();
      return {};
   } catch ( const StreamException& exception ) {
      return exception.what();
   }
}

TEST( FdTransport, ADescriptorThatIsOfNoUseIsReported ) {
   EXPECT_EQ( failure( [] { FdTransport transport( 1000000 ); } ),
              "cannot make a connection non-blocking: Bad file descriptor" );
   // One that has no flags to be set.
   const int path = ::open( "/", O_PATH );
   EXPECT_EQ( failure( [&] { FdTransport transport( path ); } ),
              "cannot make a connection non-blocking: Bad file descriptor" );
   ::close( path );
}

TEST( FdTransport, IsClosedWithTheObject ) {
   int fds[2];
   ASSERT_EQ( ::socketpair( AF_UNIX, SOCK_STREAM, 0, fds ), 0 );
   const FdTransport other( fds[0] );
   {
      const FdTransport transport( fds[1] );
      EXPECT_EQ( transport.fd(), fds[1] );
   }
   EXPECT_EQ( ::fcntl( fds[1], F_GETFD ), -1 );
}

TEST( FdTransport, CarriesBytesOverWhatIsNotASocket ) {
   int fds[2];
   ASSERT_EQ( ::pipe( fds ), 0 );
   FdTransport in( fds[0] );
   FdTransport out( fds[1] );
   const U8 bytes[] = { 1, 2, 3 };
   EXPECT_EQ( out.send( bytes ), 3U );
   U8 room[10];
   EXPECT_EQ( in.receive( room ), std::optional< std::size_t >( 3 ) );
   EXPECT_EQ( in.receive( room ), std::optional< std::size_t >( 0 ) );
   FdTransport full( ::open( "/dev/full", O_RDWR ) );
   EXPECT_EQ( failure( [&] { full.send( bytes ); } ), "cannot send: No space left on device" );
   FdTransport folder( ::open( "/", O_RDONLY ) );
   EXPECT_EQ( failure( [&] { folder.receive( room ); } ), "cannot receive: Is a directory" );
}

TEST( FdTransport, OneThatWasClosedWithBytesUnreadHasEnded ) {
   Pair ends = socketPair();
   const U8 bytes[] = { 1, 2, 3 };
   EXPECT_EQ( ends.first->send( bytes ), 3U );
   ends.second.reset();
   U8 room[10];
   EXPECT_EQ( ends.first->receive( room ), std::nullopt );
   EXPECT_EQ( failure( [&] { ends.first->send( bytes ); } ), "cannot send: Broken pipe" );
}

} // namespace
} // namespace Vek::log
