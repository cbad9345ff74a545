#include "Vek/mount/Mount.h"

#include "Flowspec/FlowspecDalb.h"
#include "Vek/text/Text.h"
#include "tests/support/Folder.h"
#include "tests/support/Hex.h"
#include "tests/support/LogStream.h"

#include <algorithm>

#include <gmock/gmock.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Flowspec {
namespace {

using std::chrono::milliseconds;
using testing::ElementsAre;
using TestSupport::encoded;
using Vek::Directory;
using Vek::log::Endpoint;
using Vek::log::Mount;

const Vek::String root = "flowspec/config";
constexpr const char* closed = "the state database closed the connection";
constexpr const char* foreign = "invalid reply: this is not a state database";

// The other end of a mount's connection, as a test wants it.
class Peer {
public:
   explicit Peer( int fd ) : fd_( fd ) {}
   Peer( const Peer& ) = delete;
   Peer& operator=( const Peer& ) = delete;
   ~Peer() { ::close( fd_ ); }

   void send( std::string_view bytes ) const {
      EXPECT_EQ( ::send( fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL ),
                 static_cast< ssize_t >( bytes.size() ) );
   }
   void send( const std::vector< U8 >& bytes ) const {
      send( { reinterpret_cast< const char* >( bytes.data() ), bytes.size() } );
   }

   // What has come.
   Vek::String received() const {
      Vek::String text( 1U << 20, '\0' );
      const ssize_t count = ::recv( fd_, text.data(), text.size(), MSG_DONTWAIT );
      text.resize( static_cast< std::size_t >( std::max( count, ssize_t{ 0 } ) ) );
      return text;
   }

   bool isClosed() const {
      char byte = 0;
      return ::recv( fd_, &byte, 1, MSG_DONTWAIT | MSG_PEEK ) == 0;
   }

private:
   const int fd_;
};

// Listens where a mount connects to.
class Mounts : public testing::Test {
protected:
   Mounts() : listener( endpoint.listen() ) {}
   ~Mounts() override { ::close( listener ); }

   // The next connection; it is there, as a mount has begun it.
   std::unique_ptr< Peer > accepted() const {
      const int fd = ::accept( listener, nullptr, nullptr );
      EXPECT_GE( fd, 0 );
      return std::make_unique< Peer >( fd );
   }

   // Lets a mount connect, and takes the greeting.
   std::unique_ptr< Peer > greeted( Mount& mount, std::string_view greeting ) const {
      mount.process();
      auto peer = accepted();
      EXPECT_EQ( peer->received(), greeting );
      return peer;
   }

   // The error of a reader that is told something by a server that closes then.
   Vek::String errorOf( std::string_view reply ) const {
      Directory there;
      Mount mount( endpoint, "show", root, there );
      mount.process();
      accepted()->send( reply );
      mount.process();
      EXPECT_LT( mount.fd(), 0 );
      EXPECT_FALSE( mount.stands() );
      EXPECT_FALSE( mount.refused() );
      return mount.error();
   }

   const TestSupport::Folder folder;
   const Endpoint endpoint{ folder.path() + "/statedb.sock" };
   const int listener;
   Directory directory;
};

const Vek::String readGreeting = "mount/1 read show flowspec/config\n";
const Vek::String writeGreeting = "mount/1 write configd flowspec/config\n";

TEST_F( Mounts, AReaderStandsWhenItHasAll ) {
   const auto config = configFactory( root );
   config->vrfRuleConfigIs( 5 );
   const std::vector< U8 > log = encoded( { config } );
   Mount mount( endpoint, "show", root, directory );
   EXPECT_EQ( mount.error(), "not connected yet" );
   EXPECT_LT( mount.fd(), 0 );
   const auto peer = greeted( mount, readGreeting );
   EXPECT_GE( mount.fd(), 0 );
   EXPECT_FALSE( mount.wantsToSend() );
   EXPECT_GT( mount.nextTry(), Mount::Clock::now() + std::chrono::seconds( 9 ) );
   peer->send( "ok\n" );
   peer->send( std::vector< U8 >( log.begin(), log.end() - 1 ) );
   mount.process();
   EXPECT_FALSE( mount.stands() );
   EXPECT_EQ( mount.nextTry(), Mount::Clock::time_point::max() );
   peer->send( std::vector< U8 >( log.end() - 1, log.end() ) );
   mount.process();
   EXPECT_TRUE( mount.stands() );
   EXPECT_EQ( mount.error(), "" );
   EXPECT_EQ( encoded( directory ), log );
}

TEST_F( Mounts, TheReplyMayComeInPieces ) {
   Mount mount( endpoint, "show", root, directory );
   const auto peer = greeted( mount, readGreeting );
   const std::vector< U8 > log = encoded( { configFactory( root ) } );
   for ( const char* const piece : { "o", "k", "\n" } ) {
      mount.process();
      peer->send( piece );
   }
   for ( const U8 byte : log ) {
      EXPECT_FALSE( mount.stands() );
      peer->send( std::vector< U8 >{ byte } );
      mount.process();
   }
   EXPECT_TRUE( mount.stands() );
}

TEST_F( Mounts, WhatIsNotAReplyIsSaid ) {
   for ( const Vek::String& reply :
         { Vek::String( "\n" ), Vek::String( "OK\n" ), Vek::String( "ok \n" ),
           Vek::String( "refused\n" ), Vek::String( "HTTP/1.1 400 Bad Request\r\n" ),
           Vek::String( "\0\xFF\n", 3 ), Vek::String( 1025, 'x' ), Vek::String( 1024, 'x' ) + '\n',
           Vek::String( 1U << 16, 'x' ) } ) {
      EXPECT_EQ( errorOf( reply ), foreign ) << reply.size();
   }
   // A line that is just short enough, and not ended.
   EXPECT_EQ( errorOf( Vek::String( 1024, 'x' ) ), closed );
}

TEST_F( Mounts, AnEndAtAnyPointIsSaid ) {
   const std::vector< U8 > log = encoded( { configFactory( root ) } );
   const Vek::String reply = "ok\n" + Vek::String( log.begin(), log.end() );
   for ( std::size_t size = 0; size < reply.size(); ++size ) {
      ASSERT_EQ( errorOf( reply.substr( 0, size ) ), closed ) << size;
   }
}

TEST_F( Mounts, AnEndBeforeTheGreetingWasReadIsSaid ) {
   Mount mount( endpoint, "show", root, directory );
   mount.process();
   accepted().reset();
   mount.process();
   EXPECT_EQ( mount.error(), closed );
}

TEST_F( Mounts, ARefusalIsEscapedAndCut ) {
   const auto refusal = [&]( const Vek::String& line ) {
      Mount mount( endpoint, "show", root, directory );
      const auto peer = greeted( mount, readGreeting );
      peer->send( line );
      mount.process();
      EXPECT_TRUE( mount.refused() );
      EXPECT_LT( mount.fd(), 0 );
      return mount.error();
   };
   EXPECT_EQ( refusal( "refused flowspec/config is written by configd\n" ),
              "flowspec/config is written by configd" );
   EXPECT_EQ( refusal( "refused \n" ), "the state database refuses without a reason" );
   EXPECT_EQ( refusal( "refused a\rstatedbd: \x1B[2J\n" ), "a\\x0Dstatedbd: \\x1B[2J" );
   EXPECT_EQ( refusal( "refused " + Vek::String( 1015, '\x1B' ) + "\n" ).size(), 599U );
}

TEST_F( Mounts, AGarbledLogIsSaid ) {
   const auto error = errorOf( "ok\n" + Vek::String( 100, 'x' ) );
   EXPECT_EQ( error, "the peer does not speak the attribute log" );
   // Another root than the one that was asked for.
   const std::vector< U8 > log = encoded( { configFactory( "other" ) } );
   EXPECT_EQ( errorOf( "ok\n" + Vek::String( log.begin(), log.end() ) ),
              "message 2 (root): only the root that was asked for is read" );
   // One of another type than what is there.
   Directory there;
   there.create( "Flowspec::Status", root );
   Mount mount( endpoint, "show", root, there );
   const auto peer = greeted( mount, readGreeting );
   peer->send( "ok\n" );
   peer->send( encoded( { configFactory( root ) } ) );
   mount.process();
   EXPECT_EQ( mount.error(), "message 2 (root): Vek::Directory: 'flowspec/config' is a "
                             "Flowspec::Status" );
}

TEST_F( Mounts, OneThatSaysNothingIsGivenUpInTime ) {
   Mount mount( endpoint, "show", root, directory );
   const auto peer = greeted( mount, readGreeting );
   const auto begin = Mount::Clock::now();
   EXPECT_LE( mount.nextTry(), begin + std::chrono::seconds( 10 ) );
   Mount* const mounts[] = { &mount };
   while ( mount.fd() >= 0 && Mount::Clock::now() < begin + std::chrono::seconds( 20 ) ) {
      Mount::wait( mounts, std::chrono::hours( 2000 ) );
      mount.process();
   }
   EXPECT_EQ( mount.error(), "the state database does not answer" );
   EXPECT_TRUE( peer->isClosed() );
   EXPECT_GE( Mount::Clock::now() - begin, std::chrono::seconds( 9 ) );
}

TEST_F( Mounts, AReaderKeepsItsCopyAndTriesAgain ) {
   Mount mount( endpoint, "show", root, directory );
   auto peer = greeted( mount, readGreeting );
   peer->send( "ok\n" );
   const auto config = configFactory( root );
   config->vrfRuleConfigIs( 5 );
   peer->send( encoded( { config } ) );
   mount.process();
   // In good order, though inside of a message.
   peer->send( "x" );
   peer.reset();
   mount.process();
   EXPECT_EQ( mount.error(), closed );
   EXPECT_TRUE( mount.stands() );
   EXPECT_FALSE( mount.allSent() );
   EXPECT_EQ( encoded( directory ), encoded( { config } ) );
   Mount* const mounts[] = { &mount };
   Mount::wait( mounts, std::chrono::seconds( 5 ) );
   peer = greeted( mount, readGreeting );
   EXPECT_EQ( mount.error(), closed ) << "until it works again";
   config->vrfRuleConfigDel( 5 );
   peer->send( "ok\n" );
   peer->send( encoded( { config } ) );
   mount.process();
   EXPECT_EQ( mount.error(), "" );
   EXPECT_EQ( encoded( directory ), encoded( { config } ) );
}

TEST_F( Mounts, GoOnWithoutWaitingWhileThereIsMoreToDo ) {
   // What takes many turns: to drop all that the database does not have.
   auto& mine = static_cast< Config& >( *directory.create( "Flowspec::Config", root ) );
   for ( U64 intf = 1; intf <= 100'000; ++intf ) {
      mine.enabledIntfIs( Zorv::IntfId( intf ) );
   }
   Mount mount( endpoint, "show", root, directory );
   const auto peer = greeted( mount, readGreeting );
   peer->send( "ok\n" );
   peer->send( encoded( { configFactory( root ) } ) );
   mount.process();
   EXPECT_FALSE( mount.stands() );
   Mount* const mounts[] = { &mount };
   int turns = 0;
   for ( ; !mount.stands() && turns < 1000; ++turns ) {
      ASSERT_EQ( mount.nextTry(), Mount::Clock::time_point() );
      const auto begin = Mount::Clock::now();
      Mount::wait( mounts, std::chrono::seconds( 10 ) );
      ASSERT_LT( Mount::Clock::now() - begin, std::chrono::seconds( 5 ) );
      mount.process();
   }
   EXPECT_GT( turns, 1 );
   EXPECT_TRUE( mount.stands() );
   EXPECT_EQ( mount.nextTry(), Mount::Clock::time_point::max() );
   EXPECT_TRUE( mine.enabledIntf().empty() );
}

class Writers : public Mounts {
protected:
   // The bytes of a writer's log, as a line of the database tells them.
   static Vek::String has( std::size_t bytes ) { return Vek::concat( "has ", bytes, '\n' ); }

   Vek::Ptr< Config > config = configFactory( root );
   Mount mount{ endpoint, "configd", *config };
};

TEST_F( Writers, WorkWhenTheDatabaseHasAllThatThereWas ) {
   const auto peer = greeted( mount, writeGreeting );
   EXPECT_FALSE( mount.allSent() );
   peer->send( "ok\n" );
   mount.process();
   const Vek::String log = peer->received();
   EXPECT_EQ( log, Vek::String( reinterpret_cast< const char* >( encoded( { config } ).data() ),
                                encoded( { config } ).size() ) );
   EXPECT_TRUE( mount.stands() );
   EXPECT_TRUE( mount.allSent() );
   EXPECT_FALSE( mount.acknowledged() );
   EXPECT_EQ( mount.error(), "not connected yet" );
   peer->send( has( log.size() - 1 ) );
   mount.process();
   EXPECT_FALSE( mount.acknowledged() );
   EXPECT_EQ( mount.error(), "not connected yet" );
   peer->send( has( log.size() ) );
   mount.process();
   EXPECT_TRUE( mount.acknowledged() );
   EXPECT_EQ( mount.error(), "" );
   config->vrfRuleConfigIs( 1 );
   EXPECT_FALSE( mount.allSent() );
   EXPECT_FALSE( mount.acknowledged() );
   mount.process();
   EXPECT_TRUE( mount.allSent() );
   EXPECT_FALSE( mount.acknowledged() );
   const std::size_t more = peer->received().size();
   const Vek::String words = has( log.size() + more );
   peer->send( words.substr( 0, 5 ) );
   mount.process();
   EXPECT_FALSE( mount.acknowledged() );
   peer->send( words.substr( 5 ) );
   mount.process();
   EXPECT_TRUE( mount.acknowledged() );
}

TEST_F( Writers, AreToldWhatIsNoWord ) {
   for ( const Vek::String& words :
         { Vek::String( "hello\n" ), Vek::String( "\n" ), Vek::String( "has\n" ),
           Vek::String( "has \n" ), Vek::String( "has -1\n" ), Vek::String( "has 1 \n" ),
           Vek::String( "has 18446744073709551616\n" ), Vek::String( 1024, 'x' ),
           "refused " + Vek::String( 1016, 'x' ) + '\n' } ) {
      Mount writer( endpoint, "configd", *config );
      const auto peer = greeted( writer, writeGreeting );
      peer->send( "ok\n" );
      peer->send( words );
      writer.process();
      EXPECT_EQ( writer.error(), foreign ) << words;
      EXPECT_FALSE( writer.refused() );
   }
}

TEST_F( Writers, AreToldWhyTheyAreCutOff ) {
   const auto peer = greeted( mount, writeGreeting );
   peer->send( "ok\nrefused message 2 (root): \x1B[2J\n" );
   mount.process();
   EXPECT_EQ( mount.error(), "message 2 (root): \\x1B[2J" );
   EXPECT_TRUE( mount.refused() );
   EXPECT_LT( mount.fd(), 0 );
}

TEST_F( Writers, HearAReasonOfAFullLine ) {
   const auto peer = greeted( mount, writeGreeting );
   peer->send( "ok\nrefused " + Vek::String( 1015, 'x' ) + '\n' );
   mount.process();
   EXPECT_EQ( mount.error(), Vek::String( 597, 'x' ) + "..." );
}

TEST_F( Writers, HearTheReasonThoughTheDatabaseHasClosed ) {
   auto peer = greeted( mount, writeGreeting );
   peer->send( "ok\n" );
   mount.process();
   peer->send( "refused the disk is full\n" );
   peer.reset();
   config->vrfRuleConfigIs( 1 );
   mount.process();
   EXPECT_EQ( mount.error(), "the disk is full" );
   EXPECT_TRUE( mount.refused() );
}

TEST_F( Writers, OfMuchWaitForTheDatabaseToRead ) {
   for ( U64 intf = 1; intf <= 100000; ++intf ) {
      config->enabledIntfIs( Zorv::IntfId( intf ) );
   }
   const auto peer = greeted( mount, writeGreeting );
   peer->send( "ok\n" );
   Mount* const mounts[] = { &mount };
   std::size_t size = 0;
   for ( int turn = 0; turn < 10000 && !mount.allSent(); ++turn ) {
      mount.process();
      if ( mount.wantsToSend() ) {
         EXPECT_GE( mount.fd(), 0 );
         EXPECT_FALSE( mount.stands() );
         size += peer->received().size();
      }
      Mount::wait( mounts, milliseconds( 10 ) );
   }
   EXPECT_TRUE( mount.stands() );
   EXPECT_FALSE( mount.wantsToSend() );
   size += peer->received().size();
   EXPECT_EQ( size, encoded( { config } ).size() );
   EXPECT_EQ( mount.error(), "not connected yet" );
   peer->send( has( size ) );
   mount.process();
   EXPECT_EQ( mount.error(), "" );
}

class TakingOver : public Mounts {
protected:
   Mount mount{ endpoint, "configd", "Flowspec::Config", root, directory };
   const Vek::String itsReadGreeting = "mount/1 read configd flowspec/config\n";

   struct Peers {
      std::unique_ptr< Peer > writing;
      std::unique_ptr< Peer > reading;
   };
   Peers begun() {
      Peers peers;
      peers.writing = greeted( mount, writeGreeting );
      peers.writing->send( "ok\n" );
      peers.reading = greeted( mount, itsReadGreeting );
      return peers;
   }
   static std::vector< U8 > nothing() { return encoded( Directory() ); }
};

TEST_F( TakingOver, BeginsWithWhatThereIs ) {
   const auto theirs = configFactory( root );
   theirs->vrfRuleConfigIs( 7 );
   const auto peers = begun();
   EXPECT_FALSE( mount.stands() );
   EXPECT_EQ( mount.takeovers(), 0U );
   EXPECT_GE( mount.fd(), 0 );
   EXPECT_FALSE( mount.wantsToSend() );
   EXPECT_GT( mount.nextTry(), Mount::Clock::now() );
   peers.reading->send( "ok\n" );
   peers.reading->send( encoded( { theirs } ) );
   mount.process();
   EXPECT_TRUE( mount.stands() );
   EXPECT_EQ( mount.takeovers(), 1U );
   EXPECT_TRUE( peers.reading->isClosed() );
   EXPECT_EQ( peers.writing->received().size(), encoded( { theirs } ).size() );
   EXPECT_EQ( encoded( directory ), encoded( { theirs } ) );
}

TEST_F( TakingOver, MakesARootWhereThereIsNone ) {
   const auto peers = begun();
   peers.reading->send( "ok\n" );
   peers.reading->send( nothing() );
   mount.process();
   EXPECT_TRUE( mount.stands() );
   EXPECT_NE( directory.entity( root ), nullptr );
}

TEST_F( TakingOver, ARootOfAnotherTypeIsSaid ) {
   Directory there;
   there.create( "Flowspec::Status", root );
   const auto peers = begun();
   peers.reading->send( "ok\n" );
   peers.reading->send( encoded( there ) );
   mount.process();
   EXPECT_FALSE( mount.stands() );
   EXPECT_EQ( mount.error(), "Vek::Directory: 'flowspec/config' is a Flowspec::Status" );
   EXPECT_TRUE( peers.writing->isClosed() );
}

TEST_F( TakingOver, SaysWhyItCannotRead ) {
   const auto peers = begun();
   peers.reading->send( "refused for now\n" );
   mount.process();
   EXPECT_EQ( mount.error(), "for now" );
   EXPECT_TRUE( mount.refused() );
   EXPECT_FALSE( peers.writing->isClosed() ) << "the root stays its own";
   EXPECT_LE( mount.nextTry(), Mount::Clock::now() + milliseconds( 200 ) );
}

TEST_F( TakingOver, BeginsAgainWhenItsConnectionToWriteEnds ) {
   auto peers = begun();
   peers.writing.reset();
   peers.reading->send( "ok\n" );
   peers.reading->send( encoded( { configFactory( root ) } ) );
   mount.process();
   EXPECT_EQ( mount.error(), closed );
   EXPECT_FALSE( mount.stands() );
   EXPECT_EQ( directory.entity( root ), nullptr ) << "another may write it";
}

TEST_F( TakingOver, HearsWhyItMayNotWriteAnyMore ) {
   const auto peers = begun();
   peers.writing->send( "refused " );
   mount.process();
   EXPECT_GE( mount.fd(), 0 );
   peers.writing->send( "too slow\n" );
   mount.process();
   EXPECT_EQ( mount.error(), "too slow" );
   EXPECT_LT( mount.fd(), 0 );
}

TEST_F( TakingOver, ANewConnectionTakesOverAnew ) {
   auto peers = begun();
   peers.reading->send( "ok\n" );
   peers.reading->send( nothing() );
   mount.process();
   ASSERT_TRUE( mount.stands() );
   auto& mine = static_cast< Config& >( *directory.entity( root ) );
   mine.vrfRuleConfigIs( 1 );
   peers.writing.reset();
   mount.process();
   EXPECT_FALSE( mount.stands() );
   // Another writer came first.
   const auto theirs = configFactory( root );
   theirs->vrfRuleConfigIs( 2 );
   Mount* const mounts[] = { &mount };
   Mount::wait( mounts, std::chrono::seconds( 5 ) );
   peers = begun();
   peers.reading->send( "ok\n" );
   peers.reading->send( encoded( { theirs } ) );
   mount.process();
   EXPECT_TRUE( mount.stands() );
   EXPECT_EQ( mount.takeovers(), 2U );
   EXPECT_EQ( encoded( directory ), encoded( { theirs } ) );
}

// The pauses between the tries of some mounts, whose connections a server ends as it likes.
class Pauses : public Mounts {
protected:
   template < typename End >
   std::vector< milliseconds > of( Mount& mount, std::size_t count, End end ) {
      std::vector< milliseconds > pauses;
      while ( pauses.size() < count ) {
         mount.process();
         end( mount );
         mount.process();
         const auto now = Mount::Clock::now();
         EXPECT_LT( mount.fd(), 0 );
         // What has passed of it by now is less than half of the shortest.
         const auto left =
            std::chrono::ceil< milliseconds >( mount.nextTry() - now + milliseconds( 99 ) );
         pauses.push_back( left / 100 * 100 );
         Mount* const mounts[] = { &mount };
         mount.process();
         EXPECT_LT( mount.fd(), 0 ) << "it is too early";
         Mount::wait( mounts, std::chrono::seconds( 10 ) );
      }
      return pauses;
   }
};

TEST_F( Pauses, DoubleUpToFiveSecondsWhereConnectionsAreOfNoUse ) {
   Mount mount( endpoint, "show", root, directory );
   EXPECT_THAT( of( mount, 6, [&]( Mount& ) { accepted()->send( "ok\nnot the attribute log" ); } ),
                ElementsAre( milliseconds( 200 ), milliseconds( 400 ), milliseconds( 800 ),
                             milliseconds( 1600 ), milliseconds( 3200 ), milliseconds( 5000 ) ) );
}

TEST_F( Pauses, DoubleUpToASecondWhileAnotherWrites ) {
   const auto config = configFactory( root );
   Mount mount( endpoint, "configd", *config );
   EXPECT_THAT( of( mount, 5, [&]( Mount& ) { accepted()->send( "refused \n" ); } ),
                ElementsAre( milliseconds( 200 ), milliseconds( 400 ), milliseconds( 800 ),
                             milliseconds( 1000 ), milliseconds( 1000 ) ) );
}

TEST_F( Pauses, AreShortAfterAConnectionThatWasGoodForLong ) {
   Mount mount( endpoint, "show", root, directory );
   const auto nonsenseAfter = [&]( std::chrono::seconds time ) {
      return [this, time]( Mount& reader ) {
         const auto peer = accepted();
         peer->send( "ok\n" );
         peer->send( encoded( Directory() ) );
         reader.process();
         EXPECT_EQ( reader.error(), "" );
         ::sleep( static_cast< unsigned >( time.count() ) );
         peer->send( Vek::String( 16, '\xFF' ) );
      };
   };
   EXPECT_THAT( of( mount, 3, nonsenseAfter( std::chrono::seconds( 0 ) ) ),
                ElementsAre( milliseconds( 200 ), milliseconds( 400 ), milliseconds( 800 ) ) );
   EXPECT_THAT( of( mount, 1, nonsenseAfter( std::chrono::seconds( 6 ) ) ),
                ElementsAre( milliseconds( 200 ) ) );
}

TEST_F( Pauses, AreShortWhereNobodyListensOnAPort ) {
   // A port that was free a moment ago.
   const int probe = ::socket( AF_INET, SOCK_STREAM, 0 );
   sockaddr_in address{};
   address.sin_family = AF_INET;
   address.sin_addr.s_addr = htonl( INADDR_LOOPBACK );
   socklen_t size = sizeof address;
   ASSERT_EQ( ::bind( probe, reinterpret_cast< const sockaddr* >( &address ), size ), 0 );
   ASSERT_EQ( ::getsockname( probe, reinterpret_cast< sockaddr* >( &address ), &size ), 0 );
   ::close( probe );
   Mount mount( Endpoint( Vek::concat( "127.0.0.1:", ntohs( address.sin_port ) ) ), "show", root,
                directory );
   EXPECT_THAT( of( mount, 2, []( Mount& ) {} ),
                ElementsAre( milliseconds( 200 ), milliseconds( 200 ) ) );
   EXPECT_THAT( mount.error(), testing::EndsWith( ": Connection refused" ) );
}

TEST_F( Pauses, AreShortWhereNobodyListensAndAfterAGoodConnection ) {
   Mount mount( endpoint, "show", root, directory );
   const auto garbage = [&]( Mount& ) { accepted()->send( "nonsense\n" ); };
   EXPECT_THAT( of( mount, 2, garbage ), ElementsAre( milliseconds( 200 ), milliseconds( 400 ) ) );
   EXPECT_THAT( of( mount, 2,
                    [&]( Mount& reader ) {
                       const auto peer = accepted();
                       peer->send( "ok\n" );
                       peer->send( encoded( Directory() ) );
                       reader.process();
                       EXPECT_EQ( reader.error(), "" );
                    } ),
                ElementsAre( milliseconds( 200 ), milliseconds( 200 ) ) );
   EXPECT_THAT( of( mount, 2, garbage ), ElementsAre( milliseconds( 200 ), milliseconds( 400 ) ) );
   ::rename( endpoint.text().c_str(), ( endpoint.text() + "-away" ).c_str() );
   EXPECT_THAT( of( mount, 2, []( Mount& ) {} ),
                ElementsAre( milliseconds( 200 ), milliseconds( 200 ) ) );
   EXPECT_EQ( mount.error(),
              "cannot connect to " + endpoint.text() + ": No such file or directory" );
}

} // namespace
} // namespace Flowspec
