#include "Flowspec/FlowspecDalb.h"
#include "Vek/log/Connection.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/LogStream.h"
#include "tests/support/PeerStream.h"
#include "tests/support/Sanitized.h"

#include <malloc.h>

#include <gtest/gtest.h>

/// How much work a message, a turn of a connection or a change takes, counted.
namespace Flowspec {
namespace {

using TestSupport::AllocationCounter;
using TestSupport::difference;
using TestSupport::PeerStream;
using TestSupport::sanitized;
using TestSupport::take;
using Vek::Directory;
using Vek::log::Connection;
using Vek::log::memoryTransports;
using Vek::log::Receiver;
using Vek::log::Sender;
using Vek::log::Source;

constexpr U32 many = sanitized ? 20'000 : 100'000;

FlowspecKey ruleKey( U32 number ) {
   FlowspecKey key;
   key.destPrefixIs( Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv4( number ), 32 ) );
   return key;
}

Counter& counterIn( Directory& directory, U32 members ) {
   auto& counter = static_cast< Counter& >( *directory.create( "Flowspec::Counter", "counter" ) );
   for ( U32 i = 0; i < members; ++i ) {
      counter.snapshotIs( ruleKey( i ), CounterVersion() );
   }
   return counter;
}

VrfRuleStatus& rulesIn( Directory& directory, U32 members ) {
   const auto vrf = static_cast< Status& >( *directory.create( "Flowspec::Status", "status" ) )
                       .vrfRuleStatusIs( 1 );
   for ( U32 i = 0; i < members; ++i ) {
      vrf->ruleStatusIs( ruleKey( i ) );
   }
   return *vrf;
}

// A connection that receives what a test says.
class Reading : public testing::Test {
protected:
   Reading() {
      auto [near, far] = memoryTransports( 1U << 20 );
      peer = std::move( near );
      connection = std::make_unique< Connection >( std::move( far ),
                                                   Connection::Options{ .directory = &there } );
   }

   void send() {
      const std::vector< U8 > bytes = stream.take();
      ASSERT_EQ( peer->send( bytes ), bytes.size() );
   }

   Directory there;
   std::unique_ptr< Vek::log::Transport > peer;
   std::unique_ptr< Connection > connection;
   PeerStream stream;
};

TEST_F( Reading, TheBeginningOfATransactionCostsTheSameForEverySize ) {
   Counter& counter = counterIn( there, many );
   Receiver receiver( there );
   stream.root( 1, "Flowspec::Counter", "counter" );
   stream.transaction( 1, 258, 0 );
   receiver.receive( stream.take() );
   for ( int i = 0; i < 300; ++i ) {
      stream.transaction( 1, 258, 0 );
   }
   const std::vector< U8 > bytes = stream.take();
   receiver.steps() = 300;
   const AllocationCounter allocations;
   EXPECT_EQ( receiver.receive( bytes ), bytes.size() );
   EXPECT_EQ( receiver.steps(), 0U );
   EXPECT_LE( allocations.count(), 900U );
   EXPECT_EQ( counter.snapshot().size(), many );
}

TEST_F( Reading, TheEndOfATransactionIsDividedAmongTurns ) {
   Counter& counter = counterIn( there, many );
   stream.root( 1, "Flowspec::Counter", "counter" );
   stream.transaction( 1, 258, 0 );
   stream.transaction( 1, 258, 2 );
   stream.attribute( 1, 259, "3FF0000000000000" );
   const std::vector< U8 > bytes = stream.take();
   const std::size_t total = bytes.size();
   const std::size_t behindTheEnd = 16 + 8;
   ASSERT_EQ( peer->send( bytes ), total );
   U32 turns = 0;
   for ( U32 left = many; left > 0; ) {
      ASSERT_TRUE( connection->process() ) << connection->error();
      ++turns;
      ASSERT_LT( turns, 1000U );
      const U32 now = counter.snapshot().size();
      EXPECT_LE( left - now, 8192U );
      left = now;
      if ( left > 0 ) {
         EXPECT_TRUE( connection->wantsTurn() );
         EXPECT_EQ( connection->applied(), total - behindTheEnd - 17 );
         EXPECT_EQ( counter.timestamp(), 0.0 );
      }
   }
   EXPECT_GE( turns, many / 8192 );
   while ( connection->wantsTurn() ) {
      ASSERT_TRUE( connection->process() );
   }
   EXPECT_EQ( connection->applied(), total );
   EXPECT_EQ( counter.timestamp(), 1.0 );
   EXPECT_TRUE( connection->process() );
   EXPECT_FALSE( connection->wantsTurn() );
}

TEST_F( Reading, EndsOfEmptyCollectionsAreCheapAgain ) {
   counterIn( there, many );
   Receiver receiver( there );
   stream.root( 1, "Flowspec::Counter", "counter" );
   stream.transaction( 1, 258, 0 );
   stream.transaction( 1, 258, 2 );
   receiver.receive( stream.take() );
   for ( int i = 0; i < 300; ++i ) {
      stream.transaction( 1, 258, 0 );
      stream.transaction( 1, 258, 2 );
   }
   const std::vector< U8 > bytes = stream.take();
   receiver.steps() = 600;
   EXPECT_EQ( receiver.receive( bytes ), bytes.size() );
   EXPECT_FALSE( receiver.isBusy() );
}

TEST_F( Reading, AFloodOfShortMessagesIsDividedAmongTurns ) {
   counterIn( there, 10 );
   stream.root( 1, "Flowspec::Counter", "counter" );
   send();
   for ( int i = 0; i < 50'000; ++i ) {
      stream.transaction( 1, 258, 0 );
   }
   send();
   ASSERT_TRUE( connection->process() );
   EXPECT_TRUE( connection->wantsTurn() );
   U32 turns = 1;
   for ( U64 before = 0; connection->wantsTurn(); ++turns ) {
      EXPECT_LE( connection->applied() - before, 8192U * 17 + 20'000 );
      before = connection->applied();
      ASSERT_TRUE( connection->process() );
   }
   EXPECT_GE( turns, 50'000U / 8192 );
}

TEST_F( Reading, WhatAPeerSaidBeforeItClosedIsAppliedInManyTurns ) {
   Counter& counter = counterIn( there, many );
   stream.root( 1, "Flowspec::Counter", "counter" );
   stream.transaction( 1, 258, 0 );
   stream.transaction( 1, 258, 2 );
   send();
   peer.reset();
   while ( connection->process() ) {
      EXPECT_TRUE( connection->wantsTurn() );
   }
   EXPECT_EQ( connection->error(), "" );
   EXPECT_FALSE( connection->wantsTurn() );
   EXPECT_EQ( counter.snapshot().size(), 0U );
}

// The first copy of a large root: what one turn takes, and what it holds while nobody reads.
class FirstCopy : public testing::TestWithParam< bool > {
protected:
   FirstCopy() {
      GetParam() ? void( counterIn( here, many ) ) : void( rulesIn( here, many ) );
      for ( const Vek::String& name : here.names() ) {
         source.rootIs( *here.entity( name ) );
      }
   }

   Directory here;
   Source source;
};

TEST_P( FirstCopy, IsDividedAmongTurns ) {
   Directory there;
   Sender sender( source );
   Receiver receiver( there );
   U32 turns = 0;
   for ( ; !receiver.synchronised(); ++turns ) {
      ASSERT_LT( turns, 2000U );
      sender.steps() = 8192;
      do {
         sender.fill();
         ASSERT_EQ( sender.error(), "" );
         receiver.receive( sender.pending() );
         sender.sent( sender.pending().size() );
      } while ( !sender.idle() && sender.steps() > 0 );
   }
   EXPECT_GE( turns, many / 8192 );
   EXPECT_EQ( difference( there, here ), "" );
}

TEST_P( FirstCopy, OfOneThatDoesNotReadHoldsAPartOfIt ) {
   if ( sanitized ) {
      GTEST_SKIP();
   }
   const std::size_t before = ::mallinfo2().uordblks;
   Sender sender( source );
   for ( int turn = 0; turn < 100; ++turn ) {
      sender.steps() = 8192;
      sender.fill();
   }
   EXPECT_FALSE( sender.idle() );
   // A copy of the keys would take 14 MB.
   EXPECT_LT( ::mallinfo2().uordblks, before + ( 5U << 20 ) );
}

TEST_P( FirstCopy, BeginsWithoutWork ) {
   const AllocationCounter allocations;
   Sender sender( source );
   EXPECT_LE( allocations.count(), 3U );
   sender.steps() = 100;
   sender.fill();
   EXPECT_EQ( sender.steps(), 0U );
   EXPECT_LE( allocations.count(), 500U );
}

INSTANTIATE_TEST_SUITE_P(, FirstCopy, testing::Bool(),
                         []( const auto& tested ) { return tested.param ? "counters" : "rules"; } );

// While a first copy goes on, what it has come to and what it has not are changed in every way.
TEST( FirstCopies, TakeUpChangesWhereverTheyAre ) {
   std::mt19937 engine( 3 );
   const auto below = [&]( U32 count ) { return static_cast< U32 >( engine() % count ); };
   for ( int round = 0; round < ( sanitized ? 20 : 200 ); ++round ) {
      Directory here;
      Directory there;
      Source source;
      Vek::Ptr< Status > status[2];
      const char* const names[] = { "a", "b" };
      for ( int i = 0; i < 2; ++i ) {
         status[i] = Vek::Ptr< Status >(
            static_cast< Status* >( here.create( "Flowspec::Status", names[i] ).get() ) );
      }
      const auto change = [&] {
         Status& root = *status[below( 2 )];
         const U32 vrfId = below( 4 );
         switch ( below( 12 ) ) {
         case 0:
            return root.vrfRuleStatusDel( vrfId );
         case 1:
            return root.interfaceSetIs( static_cast< U16 >( vrfId ) )
               ->intfIs( Zorv::IntfId( below( 9 ) ) );
         case 2:
            return root.interfaceSetDel( static_cast< U16 >( vrfId ) );
         case 3:
            if ( below( 10 ) == 0 ) {
               const U32 which = below( 2 );
               source.rootDel( *status[which] );
               below( 2 ) ? source.rootIs( *status[which] ) : void();
            }
            return;
         case 4:
            source.rootIs( root );
            return;
         case 5:
            return root.vrfRuleStatusIs( vrfId )->intfErrorIs(
               IntfErrorKey( Zorv::IntfId( below( 30 ) ), Zorv::AddressFamily::ipv4 ), "x" );
         case 6:
            return root.vrfRuleStatusIs( vrfId )->intfErrorDel(
               IntfErrorKey( Zorv::IntfId( below( 30 ) ), Zorv::AddressFamily::ipv4 ) );
         case 7:
            return root.vrfRuleStatusIs( vrfId )->ruleStatusDel( ruleKey( below( 400 ) ) );
         default:
            return root.vrfRuleStatusIs( vrfId )
               ->ruleStatusIs( ruleKey( below( 400 ) ) )
               ->packetCountIs( below( 3 ) );
         }
      };
      for ( int i = 0; i < 2000; ++i ) {
         change();
      }
      Sender sender( source, 1 + below( 3000 ) );
      Receiver receiver( there );
      for ( U32 turns = 0; turns < 4000 && !sender.idle(); ++turns ) {
         sender.steps() = below( 60 );
         sender.fill();
         ASSERT_EQ( sender.error(), "" );
         if ( below( 3 ) ) {
            const auto pending = sender.pending();
            receiver.receive( pending );
            sender.sent( pending.size() );
         }
         for ( U32 changes = below( 5 ); changes > 0; --changes ) {
            change();
         }
      }
      sender.steps() = ~U64{ 0 };
      receiver.receive( take( sender ) );
      ASSERT_TRUE( receiver.synchronised() );
      for ( int i = 0; i < 2; ++i ) {
         Vek::log::EntityStreamAdapter::of( *status[i], source ) ? void() : here.erase( names[i] );
      }
      ASSERT_EQ( difference( there, here ), "" ) << "in round " << round;
   }
}

TEST( StalledReaders, AreEachTouchedOnceForAChange ) {
   Directory here;
   VrfRuleStatus& vrf = rulesIn( here, 2 );
   const auto rule = vrf.ruleStatusIs( ruleKey( 0 ) );
   Source source;
   source.rootIs( *here.entity( "status" ) );
   std::vector< std::unique_ptr< Sender > > senders;
   for ( int i = 0; i < 300; ++i ) {
      senders.push_back( std::make_unique< Sender >( source, 1 ) );
      take( *senders.back() );
   }
   rule->packetCountIs( 1 );
   rule->packetCountIs( 2 );
   // All have their marks: more changes allocate nothing.
   const AllocationCounter allocations;
   rule->packetCountIs( 3 );
   rule->versionIs( Osk::UniqueId( 4 ) );
   EXPECT_EQ( allocations.count(), 0U );
   const auto last = TestSupport::messages( take( *senders.front() ) );
   for ( std::size_t i = 1; i < senders.size(); ++i ) {
      EXPECT_EQ( TestSupport::messages( take( *senders[i] ) ), last );
   }
}

} // namespace
} // namespace Flowspec
