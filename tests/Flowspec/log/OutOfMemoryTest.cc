#include "Flowspec/FlowspecDalb.h"
#include "Vek/log/Connection.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/LogStream.h"

#include <gtest/gtest.h>

/// Memory that runs out for one connection, at each allocation in turn.
namespace Flowspec {
namespace {

using TestSupport::AllocationLimit;
using TestSupport::difference;
using TestSupport::take;
using Vek::Directory;
using Vek::log::Connection;
using Vek::log::Receiver;
using Vek::log::Sender;
using Vek::log::Source;

class OutOfMemory : public testing::Test {
protected:
   OutOfMemory() {
      config = Vek::Ptr< Config >(
         static_cast< Config* >( here.create( "Flowspec::Config", "config" ).get() ) );
      for ( U32 i = 0; i < 40; ++i ) {
         config->enabledIntfIs( Zorv::IntfId( i ) );
         config->vrfRuleConfigIs( i );
      }
      source.rootIs( *config );
   }

   Directory here;
   Vek::Ptr< Config > config;
   Source source;
};

TEST_F( OutOfMemory, OfASenderFailsIt ) {
   for ( U64 count = 0;; ++count ) {
      Directory there;
      Sender sender( source, 700 );
      Receiver receiver( there );
      std::vector< U8 > bytes;
      bytes.reserve( 1U << 20 );
      bool reached = false;
      {
         const AllocationLimit limit( count );
         while ( sender.error().empty() && !sender.idle() ) {
            sender.fill();
            const auto pending = sender.pending();
            bytes.insert( bytes.end(), pending.begin(), pending.end() );
            sender.sent( pending.size() );
         }
         reached = limit.wasReached();
      }
      EXPECT_EQ( sender.error(), reached ? "out of memory" : "" );
      receiver.receive( bytes ); // what was sent are whole messages
      if ( !reached ) {
         EXPECT_EQ( difference( there, here ), "" );
         EXPECT_GT( count, 4U );
         return;
      }
   }
}

TEST_F( OutOfMemory, ARootIsStreamedWholeOrNotAtAll ) {
   Source other;
   for ( U64 count = 0;; ++count ) {
      try {
         const AllocationLimit limit( count );
         other.rootIs( *config );
      } catch ( const std::bad_alloc& ) {
         ASSERT_EQ( Vek::log::EntityStreamAdapter::of( *config, other ), nullptr );
         config->vrfRuleConfigIs( 1 )->ruleIs( FlowspecKey() )->ruleIdIs( count );
         continue;
      }
      Directory there;
      Receiver receiver( there );
      Sender sender( other );
      receiver.receive( take( sender ) );
      EXPECT_EQ( difference( there, here ), "" );
      EXPECT_GT( count, 1U );
      return;
   }
}

TEST_F( OutOfMemory, ForAMarkFailsTheOneThatLags ) {
   for ( U64 count = 0;; ++count ) {
      Directory there;
      Sender good( source );
      Receiver receiver( there );
      receiver.receive( take( good ) );
      Sender lagging( source, 1 );
      take( lagging );
      config->twoColorCounterEnabledIs( !config->twoColorCounterEnabled() ); // fills its buffer
      const Zorv::IntfId intf( 1000 + count );
      config->enabledIntfIs( intf );
      take( lagging );
      config->twoColorCounterEnabledIs( !config->twoColorCounterEnabled() );
      bool reached = false;
      {
         const AllocationLimit limit( count );
         config->enabledIntfDel( intf );
         reached = limit.wasReached();
      }
      EXPECT_EQ( lagging.error(), reached ? "out of memory" : "" );
      EXPECT_EQ( good.error(), "" );
      receiver.receive( take( good ) );
      EXPECT_EQ( difference( there, here ), "" );
      if ( !reached ) {
         EXPECT_GT( count, 1U );
         return;
      }
   }
}

TEST_F( OutOfMemory, OfAReceiverEndsItsConnection ) {
   const std::vector< U8 > bytes = TestSupport::encoded( here );
   for ( U64 count = 0;; ++count ) {
      Directory there;
      auto [near, far] = Vek::log::memoryTransports( 1U << 20 );
      Connection reader( std::move( far ), { .directory = &there } );
      near->send( bytes );
      bool reached = false;
      bool open = false;
      {
         const AllocationLimit limit( count );
         open = reader.process();
         reached = limit.wasReached();
      }
      // A reason that there is no memory for is not told.
      EXPECT_EQ( open, !reached );
      if ( reached ) {
         EXPECT_EQ( reader.error(), "out of memory" ) << count;
      } else {
         EXPECT_EQ( difference( there, here ), "" );
         return;
      }
      TestSupport::encoded( there ); // a valid state
   }
}

} // namespace
} // namespace Flowspec
