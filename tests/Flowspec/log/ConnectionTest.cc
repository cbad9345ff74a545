#include "Vek/log/Connection.h"

#include "Flowspec/FlowspecDalb.h"
#include "tests/support/EntangledKeys.h"
#include "tests/support/LogStream.h"

#include <gmock/gmock.h>

namespace Flowspec {
namespace {

using TestSupport::difference;
using Vek::Directory;
using Vek::log::Connection;
using Vek::log::memoryTransports;
using Vek::log::Source;
using Vek::log::Transport;

class Connections : public testing::Test {
protected:
   Connections() {
      status = Vek::Ptr< Status >(
         static_cast< Status* >( here.create( "Flowspec::Status", "status" ).get() ) );
      counter = Vek::Ptr< Counter >(
         static_cast< Counter* >( here.create( "Flowspec::Counter", "counter" ).get() ) );
      source.rootIs( *status );
      source.rootIs( *counter );
   }

   // Opens a connection whose buffers hold `size` bytes each.
   void open( std::size_t size = 4096 ) {
      auto [near, far] = memoryTransports( size );
      sending = std::make_unique< Connection >(
         std::move( near ), Connection::Options{ .source = &source, .bufferSize = size } );
      receiving = std::make_unique< Connection >(
         std::move( far ),
         Connection::Options{ .directory = &there, .policy = { .budget = budget } } );
   }

   void settle() {
      for ( int i = 0; i < 100000 && sending->process() && receiving->process(); ++i ) {
         if ( sending->allSent() && receiving->process() ) {
            return;
         }
      }
   }

   Directory here;
   Directory there;
   Vek::Ptr< Status > status;
   Vek::Ptr< Counter > counter;
   Source source;
   std::shared_ptr< Vek::log::Budget > budget;
   std::unique_ptr< Connection > sending;
   std::unique_ptr< Connection > receiving;
};

TEST_F( Connections, DirtyKeysThatAreMutuallyLessAreEachSentOnce ) {
   open( 300 );
   settle();
   const auto vrf = status->vrfRuleStatusIs( 1 );
   const std::vector< FlowspecKey > keys = TestSupport::entangledKeys();
   for ( int round = 0; round < 3; ++round ) {
      for ( const FlowspecKey& key : keys ) {
         counter->snapshotIs( key, CounterVersion() );
         vrf->ruleStatusIs( key )->packetCountIs( counter->snapshot().size() );
      }
      settle();
      ASSERT_EQ( difference( here, there ), "" );
      for ( std::size_t i = 0; i < keys.size(); i += 2 ) {
         counter->snapshotDel( keys[i] );
         vrf->ruleStatusDel( keys[i] );
      }
      settle();
      ASSERT_EQ( difference( here, there ), "" );
   }
}

// Those before and after them in the queue are still sent.
TEST_F( Connections, EntitiesThatGoWhileTheyWaitLeaveTheOthers ) {
   open();
   const auto vrf = status->vrfRuleStatusIs( 1 );
   std::vector< FlowspecKey > keys( 5 );
   U32 vrfId = 0;
   for ( FlowspecKey& key : keys ) {
      key.vrfIdIs( ++vrfId );
      vrf->ruleStatusIs( key );
   }
   settle();
   for ( const FlowspecKey& key : keys ) {
      vrf->ruleStatusIs( key )->packetCountIs( key.vrfId() );
   }
   vrf->ruleStatusDel( keys[2] );
   vrf->ruleStatusDel( keys[3] );
   settle();
   EXPECT_EQ( difference( here, there ), "" );
}

TEST_F( Connections, AMessageMayBeLargerThanTheBuffers ) {
   open( 64 );
   status->vrfRuleStatusIs( 1 )
      ->ruleStatusIs( FlowspecKey() )
      ->errorReasonIs( Vek::String( 100000, 'x' ) );
   settle();
   EXPECT_EQ( difference( here, there ), "" );
}

TEST_F( Connections, ALargeMessageTakesOfTheBudgetUntilItIsWhole ) {
   budget = std::make_shared< Vek::log::Budget >( 1U << 20 );
   open( 1000 );
   settle();
   const auto rule = status->vrfRuleStatusIs( 1 )->ruleStatusIs( FlowspecKey() );
   for ( const char c : { 'x', 'y' } ) {
      rule->errorReasonIs( Vek::String( 1000000, c ) );
      sending->process();
      for ( int i = 0; i < 500; ++i ) {
         receiving->process();
         sending->process();
      }
      EXPECT_LT( budget->left(), ( 1U << 20 ) - 400000 );
      settle();
      EXPECT_EQ( difference( here, there ), "" );
      EXPECT_EQ( budget->left(), 1U << 20 );
   }
   rule->errorReasonIs( Vek::String( 2000000, 'z' ) );
   settle();
   EXPECT_THAT( receiving->error(),
                testing::EndsWith( ": messages that have not come whole take all "
                                   "the memory that is set aside for them" ) );
   EXPECT_EQ( budget->left(), 1U << 20 );
}

TEST_F( Connections, AValueThatHasNoEncodingEndsThemWithItsReason ) {
   open();
   settle();
   UnsupportedQual value( Zorv::AddressFamily::ipv4 );
   value.qualIs( MatchCompType::invalid, "what" );
   status->unsupportedQualIs( value );
   EXPECT_FALSE( sending->process() );
   EXPECT_EQ( sending->error(), "Flowspec::UnsupportedQual qual holds the default key" );
   EXPECT_FALSE( receiving->process() );
   EXPECT_EQ( receiving->error(), "" );
   EXPECT_TRUE( static_cast< Status& >( *there.entity( "status" ) ).unsupportedQual().empty() );
}

TEST_F( Connections, AMessageThatIsTooLongEndsThemWithItsReason ) {
   open();
   settle();
   status->vrfRuleStatusIs( 1 )
      ->ruleStatusIs( FlowspecKey() )
      ->errorReasonIs( Vek::String( 1 << 24, 'x' ) );
   settle();
   EXPECT_EQ( sending->error(), "a payload of 16777220 bytes is longer than 16777216" );
}

TEST_F( Connections, OneThatIsClosedInsideAMessageHasEndedWithoutError ) {
   auto [near, far] = memoryTransports();
   Connection reader( std::move( far ), { .directory = &there } );
   const U8 half[] = { 0x56, 0x45, 0x4B };
   near->send( half );
   EXPECT_TRUE( reader.process() );
   near.reset();
   EXPECT_FALSE( reader.process() );
   EXPECT_EQ( reader.error(), "" );
   EXPECT_FALSE( reader.process() );
}

// A database that ends closes its connections wherever they are in a message.
TEST_F( Connections, WhatCameWholeBeforeTheEndIsApplied ) {
   const std::vector< U8 > whole = TestSupport::encoded( here );
   auto [near, far] = memoryTransports();
   Connection reader( std::move( far ), { .directory = &there } );
   near->send( std::span( whole ).first( whole.size() - 20 ) );
   near.reset();
   EXPECT_FALSE( reader.process() );
   EXPECT_EQ( reader.error(), "" );
   EXPECT_EQ( there.names(), ( std::vector< Vek::String >{ "counter", "status" } ) );
}

// What a peer's last words were is taken although nothing can be sent to it any more.
TEST_F( Connections, OneThatClosesWhileItIsSentToHasEndedWithoutError ) {
   auto [near, far] = memoryTransports( 100 );
   Connection both( std::move( near ), { .source = &source, .directory = &here } );
   EXPECT_TRUE( both.process() );
   EXPECT_TRUE( both.wantsToSend() );
   const U8 half[] = { 0x56, 0x45, 0x4B };
   far->send( half );
   far.reset();
   EXPECT_FALSE( both.process() );
   EXPECT_EQ( both.error(), "" );
}

// A transport that takes nothing and says why.
class Broken final : public Transport {
public:
   explicit Broken( bool closes ) : closes_( closes ) {}

   std::size_t send( std::span< const U8 > ) override { throw Vek::StreamException( "broken" ); }
   std::optional< std::size_t > receive( std::span< U8 > ) override {
      // Closed when the connection asks for the second time.
      return closes_ && asked_++ == 1 ? std::nullopt : std::optional< std::size_t >( 0 );
   }

private:
   const bool closes_;
   int asked_ = 0;
};

TEST_F( Connections, OneThatCannotSendAndIsNotClosedSaysWhy ) {
   Connection writer( std::make_unique< Broken >( false ), { .source = &source } );
   EXPECT_FALSE( writer.process() );
   EXPECT_EQ( writer.error(), "broken" );
   Connection other( std::make_unique< Broken >( true ), { .source = &source } );
   EXPECT_FALSE( other.process() );
   EXPECT_EQ( other.error(), "" );
}

// Takes nothing, and has more to be received than is applied in one turn.
class OneWay final : public Transport {
public:
   explicit OneWay( std::vector< U8 > bytes ) : bytes_( std::move( bytes ) ) {}

   std::size_t send( std::span< const U8 > ) override {
      throw Vek::StreamException( "the other end is gone" );
   }
   std::optional< std::size_t > receive( std::span< U8 > room ) override {
      const std::size_t count = std::min( room.size(), bytes_.size() - taken_ );
      std::copy_n( bytes_.begin() + static_cast< std::ptrdiff_t >( taken_ ), count, room.begin() );
      taken_ += count;
      return count;
   }

private:
   const std::vector< U8 > bytes_;
   std::size_t taken_ = 0;
};

TEST_F( Connections, WhatCameBeforeOneCannotSendIsAppliedInManyTurns ) {
   for ( U32 vrf = 0; vrf < 20000; ++vrf ) {
      status->vrfRuleStatusIs( vrf );
   }
   Directory mine;
   Source other;
   const auto config = mine.create( "Flowspec::Config", "config" );
   other.rootIs( *config );
   Connection connection( std::make_unique< OneWay >( TestSupport::encoded( here ) ),
                          { .source = &other, .directory = &there } );
   int turns = 0;
   while ( connection.process() ) {
      ASSERT_LT( ++turns, 10000 );
   }
   EXPECT_GT( turns, 1 );
   EXPECT_EQ( connection.error(), "the other end is gone" );
   EXPECT_EQ( difference( here, there ), "" );
}

TEST( ConnectionWithoutPurpose, SaysThatItDoesNothing ) {
   auto [near, far] = memoryTransports();
   Connection idle( std::move( near ), {} );
   Connection other( std::move( far ), {} );
   EXPECT_TRUE( idle.process() );
   EXPECT_FALSE( idle.wantsTurn() );
   EXPECT_FALSE( idle.wantsToSend() );
   EXPECT_FALSE( idle.allSent() );
   EXPECT_FALSE( idle.synchronised() );
   EXPECT_EQ( idle.applied(), 0U );
   EXPECT_EQ( idle.sent(), 0U );
   EXPECT_EQ( other.applied(), 0U );
}

TEST_F( Connections, OneThatCannotGoOnWantsATurnToEnd ) {
   open();
   settle();
   EXPECT_FALSE( sending->wantsTurn() );
   source.fail( "a reason" );
   EXPECT_TRUE( sending->wantsTurn() );
   EXPECT_FALSE( sending->process() );
   EXPECT_EQ( sending->error(), "a reason" );
   EXPECT_FALSE( sending->wantsTurn() );
   EXPECT_FALSE( sending->wantsToSend() );
}

TEST_F( Connections, OneWithoutMemoryEndsAndNoOther ) {
   auto [near, far] = memoryTransports();
   Connection writer( std::move( near ), { .source = &source } );
   Vek::log::Receiver::Policy policy;
   policy.sees = []( const auto&... ) { throw std::bad_alloc(); };
   Connection reader( std::move( far ), { .directory = &there, .policy = policy } );
   EXPECT_TRUE( writer.process() );
   EXPECT_FALSE( reader.process() );
   EXPECT_EQ( reader.error(), "out of memory" );
}

TEST_F( Connections, WhatIsNotTheAttributeLogIsRefused ) {
   auto [near, far] = memoryTransports();
   Connection reader( std::move( far ), { .directory = &there } );
   const Vek::String text = "GET / HTTP/1.1\r\n\r\n";
   near->send( { reinterpret_cast< const U8* >( text.data() ), text.size() } );
   EXPECT_FALSE( reader.process() );
   EXPECT_EQ( reader.error(), "the peer does not speak the attribute log" );
   EXPECT_FALSE( reader.isOpen() );
}

TEST_F( Connections, OneThatOnlySendsTakesNothing ) {
   auto [near, far] = memoryTransports();
   Connection writer( std::move( far ), { .source = &source } );
   const U8 byte[] = { 1 };
   near->send( byte );
   EXPECT_FALSE( writer.process() );
   EXPECT_EQ( writer.error(), "nothing is received on this connection" );
}

TEST_F( Connections, BothWaysAtOnce ) {
   Source back;
   Directory theirs;
   const auto config = theirs.create( "Flowspec::Config", "config" );
   back.rootIs( *config );
   auto [near, far] = memoryTransports( 100 );
   Connection one( std::move( near ), { .source = &source, .directory = &here } );
   Connection other( std::move( far ), { .source = &back, .directory = &theirs } );
   for ( int i = 0; i < 2000; ++i ) {
      ASSERT_TRUE( one.process() ) << one.error();
      ASSERT_TRUE( other.process() ) << other.error();
   }
   EXPECT_TRUE( one.synchronised() && other.synchronised() );
   EXPECT_FALSE( one.wantsToSend() || other.wantsToSend() );
   EXPECT_EQ( difference( here, theirs ), "" );
}

TEST_F( Connections, RootsThatComeAndGo ) {
   open();
   settle();
   const auto config = here.create( "Flowspec::Config", "config" );
   source.rootIs( *config );
   source.rootIs( *config );
   settle();
   EXPECT_EQ( difference( here, there ), "" );
   source.rootDel( *counter );
   here.erase( "counter" );
   source.rootDel( *counter );
   settle();
   EXPECT_EQ( there.names(), ( std::vector< Vek::String >{ "config", "status" } ) );
   EXPECT_EQ( difference( here, there ), "" );
}

TEST_F( Connections, ARootMayBeRefused ) {
   auto [near, far] = memoryTransports();
   Connection writer( std::move( near ), { .source = &source } );
   Vek::log::Receiver::Policy policy;
   policy.refusesRoot = []( std::string_view type, std::string_view name ) {
      return Vek::concat( type, ' ', name, " has a writer already" );
   };
   Connection reader( std::move( far ), { .directory = &there, .policy = policy } );
   writer.process();
   EXPECT_FALSE( reader.process() );
   EXPECT_EQ( reader.error(), "message 2 (root): Flowspec::Status status has a writer already" );
   EXPECT_TRUE( there.names().empty() );
}

TEST_F( Connections, ARootOfAnotherTypeIsNotReplaced ) {
   there.create( "Flowspec::Config", "status" );
   open();
   settle();
   EXPECT_FALSE( receiving->isOpen() );
   EXPECT_NE( receiving->error(), "" );
   EXPECT_EQ( there.entity( "status" )->typeInfo().name, "Flowspec::Config" );
}

} // namespace
} // namespace Flowspec
