#include "Vek/log/Connection.h"
#include "tests/support/LogStream.h"
#include "tests/support/RandomTree.h"
#include "tests/support/Sanitized.h"

#include <malloc.h>

#include <gtest/gtest.h>

namespace Flowspec {
namespace {

using TestSupport::difference;
using TestSupport::sanitized;
using Vek::Directory;
using Vek::log::Receiver;
using Vek::log::Sender;
using Vek::log::Source;

std::size_t heapInUse() { return ::mallinfo2().uordblks; }

// Distinct keys, as many as rules are wanted.
FlowspecKey ruleKey( U32 number ) {
   FlowspecKey key;
   key.destPrefixIs( Zorv::IpGenPrefix( Zorv::IpGenAddr::ipv4( number ), 32 ) );
   return key;
}

constexpr U32 rules = 100000;
constexpr U32 rounds = 100;

class StalledReader : public testing::Test {
protected:
   StalledReader() {
      status = Vek::Ptr< Status >(
         static_cast< Status* >( here.create( "Flowspec::Status", "status" ).get() ) );
      counter = Vek::Ptr< Counter >(
         static_cast< Counter* >( here.create( "Flowspec::Counter", "counter" ).get() ) );
      vrf = status->vrfRuleStatusIs( 1 );
      for ( U32 rule = 0; rule < rules; ++rule ) {
         vrf->ruleStatusIs( ruleKey( rule ) );
         counter->snapshotIs( ruleKey( rule ), CounterVersion() );
      }
      source.rootIs( *status );
      source.rootIs( *counter );
   }

   void changeAll( U32 round ) {
      QosLib::ColoredCounters counters;
      counters.packetHitsIs( round );
      const Osk::UniqueId version( round + 1 );
      const Vek::String reason = Vek::concat( "round ", round );
      for ( const auto& rule : vrf->ruleStatus() ) {
         rule->statusCodeIs( static_cast< HwRuleProgrammingStatus >( round % 8 ) );
         rule->errorReasonIs( reason );
         rule->coloredCountersIs( counters );
         rule->versionIs( version );
      }
      for ( U32 rule = 0; rule < rules; ++rule ) {
         counter->snapshotIs( ruleKey( rule ), CounterVersion( counters, version ) );
      }
   }

   Directory here;
   Vek::Ptr< Status > status;
   Vek::Ptr< Counter > counter;
   Vek::Ptr< VrfRuleStatus > vrf;
   Source source;
};

TEST_F( StalledReader, CostsTheWriterMemoryBoundedByTheState ) {
   Directory there;
   Sender sender( source );
   Receiver receiver( there );
   receiver.receive( TestSupport::take( sender ) );
   ASSERT_TRUE( receiver.synchronised() );
   changeAll( 0 );
   sender.fill();
   const std::size_t stalled = heapInUse();
   for ( U32 round = 1; round < rounds; ++round ) {
      changeAll( round );
      sender.fill();
   }
   if ( !sanitized ) {
      EXPECT_LT( heapInUse(), stalled + stalled / 100 );
   }
   receiver.receive( TestSupport::take( sender ) );
   EXPECT_EQ( difference( there, here ), "" );
}

TEST_F( StalledReader, IsSentEachChangeOnce ) {
   Directory there;
   Sender sender( source );
   Receiver receiver( there );
   receiver.receive( TestSupport::take( sender ) );
   const U64 before = receiver.messages();
   // What fits into the buffer is sent at once; of the rest only the last change.
   for ( U32 round = 0; round < 10; ++round ) {
      changeAll( round );
   }
   receiver.receive( TestSupport::take( sender ) );
   const U64 sent = receiver.messages() - before;
   EXPECT_GE( sent, U64{ rules } * 5 );
   EXPECT_LT( sent, U64{ rules } * 5 + 20000 ); // the buffer holds fewer
}

} // namespace
} // namespace Flowspec
