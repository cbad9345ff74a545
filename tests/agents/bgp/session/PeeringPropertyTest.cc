#include "tests/agents/bgp/session/PeeringModel.h"

#include <gtest/gtest.h>

#include <random>

namespace {

using namespace TestSupport;

TEST( PeeringPropertyTest, DoesWhatMayFollow ) {
   int sessions = 0;
   for ( unsigned seed = 1; seed <= 2000; ++seed ) {
      std::mt19937 random( seed );
      PeeringModel model( [&random]( unsigned below ) { return random() % below; },
                          [seed]( bool holds, const char* what ) {
                             ASSERT_TRUE( holds ) << what << ", seed " << seed;
                          } );
      for ( int i = 0; i < 200; ++i ) {
         model.step();
         ASSERT_FALSE( HasFatalFailure() );
      }
      sessions += model.sessions();
      model.recover();
      ASSERT_FALSE( HasFatalFailure() );
   }
   EXPECT_GT( sessions, 2000 ) << "the walk comes to sessions often enough";
}

} // namespace
