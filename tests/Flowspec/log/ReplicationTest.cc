#include "Vek/log/Connection.h"
#include "tests/support/LogStream.h"
#include "tests/support/RandomTree.h"

#include <gtest/gtest.h>

namespace {

using TestSupport::difference;
using TestSupport::RandomTree;
using TestSupport::take;
using Vek::Directory;
using Vek::log::Connection;
using Vek::log::Receiver;
using Vek::log::Sender;
using Vek::log::Source;

void stream( Source& source, const RandomTree& tree ) {
   for ( const auto& root : tree.roots() ) {
      source.rootIs( *root );
   }
}

// Until neither end has anything left to send.
void settle( Connection& sending, Connection& receiving ) {
   do {
      ASSERT_TRUE( sending.process() ) << sending.error();
      ASSERT_TRUE( receiving.process() ) << receiving.error();
   } while ( !sending.allSent() );
   ASSERT_TRUE( receiving.process() ) << receiving.error();
}

TEST( Replication, KeepsTwoTreesEqualOverManyRandomChanges ) {
   Directory here;
   Directory there;
   RandomTree tree( here, 1 );
   Source source;
   stream( source, tree );
   auto [near, far] = Vek::log::memoryTransports( 4096 );
   Connection sending( std::move( near ), { .source = &source, .bufferSize = 8192 } );
   Connection receiving( std::move( far ), { .directory = &there } );
   for ( int round = 0; round < 1000; ++round ) {
      for ( int i = 0; i < 120; ++i ) {
         tree.change();
      }
      settle( sending, receiving );
      ASSERT_TRUE( receiving.synchronised() );
      ASSERT_EQ( difference( there, here ), "" ) << "in round " << round;
   }
}

TEST( Replication, SendsTheSameToAllSynchronisedConnections ) {
   Directory here;
   RandomTree tree( here, 2 );
   Source source;
   stream( source, tree );
   Sender first( source );
   Sender second( source );
   EXPECT_EQ( take( first ), take( second ) );
   for ( int i = 0; i < 3000; ++i ) {
      tree.change();
      ASSERT_EQ( take( first ), take( second ) );
   }
}

TEST( Replication, TakesUpAnyStateWhereverAConnectionIsCut ) {
   TestSupport::KeyGenerator random( 3 );
   Directory here;
   Directory there;
   RandomTree tree( here, 3 );
   Source source;
   stream( source, tree );
   for ( int round = 0; round < 1500; ++round ) {
      Sender sender( source, 2048 );
      Receiver receiver( there );
      // A connection that takes a random number of bytes at a time, and is then cut.
      for ( U64 pieces = random.below( 40 ); pieces > 0; --pieces ) {
         for ( U64 changes = random.below( 4 ); changes > 0; --changes ) {
            tree.change();
         }
         receiver.receive( take( sender, random.below( random.oneIn( 3 ) ? 5000 : 60 ) ) );
      }
      if ( random.oneIn( 3 ) ) {
         receiver.receive( take( sender ) );
         ASSERT_TRUE( receiver.synchronised() );
         ASSERT_TRUE( receiver.atBoundary() );
         ASSERT_EQ( difference( there, here ), "" ) << "in round " << round;
      }
   }
}

} // namespace
