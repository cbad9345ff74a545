#include "agents/programd/SoftwareTcam.h"
#include "tests/support/KeyGenerator.h"
#include "tests/support/PacketBytes.h"
#include "tests/support/TestRules.h"

#include <gtest/gtest.h>

namespace Agents {
namespace {

using namespace Flowspec;
using TestSupport::KeyGenerator;
using TestSupport::makeRule;
using TestSupport::ruleKey;

// More than the gaps between priorities take at one place, so that they are given out anew.
constexpr U32 ruleCount = 400;

/// Ascending by precedence: the more specific go first.
FlowspecKey ruleOf( U32 number ) {
   return ruleKey( "10.1.2.3/32;*;DP:>=" + std::to_string( 1000 + number ) + "&<=2000" );
}

Match::Packet packetTo( U16 port ) {
   TestSupport::PacketParts parts;
   parts.payload = TestSupport::portBytes( 1, port );
   return Match::parsePacket( TestSupport::packetBytes( parts ) ).value();
}

/// A TCAM whose table changes rule by rule, beside one that is made for each comparison.
class TcamChange : public testing::Test {
protected:
   explicit TcamChange( U64 capacity = 1'000'000 )
      : profile_( TestSupport::testProfile( capacity ) ), tcam_( profile_ ) {
      enable( tcam_ );
   }

   static void enable( SoftwareTcam& tcam ) {
      IpVersion ipv4;
      ipv4.stringValueIs( "ipv4" );
      tcam.interfaceIs( Zorv::IntfId( 1 ), { ipv4, "", {} } );
   }

   void give( SoftwareTcam& tcam, U32 number ) const {
      const auto rule = makeRule( ruleOf( number ), "trafficAction" );
      TrafficAction bits;
      bits.continueMatchIs( number % 5 == 0 );
      rule->trafficActionIs( bits );
      tcam.ruleIs( *rule );
      static_cast< void >( tcam.apply() );
   }

   void add( U32 number ) {
      give( tcam_, number );
      numbers_.insert( number );
   }
   void remove( U32 number ) {
      tcam_.ruleDel( ruleOf( number ) );
      static_cast< void >( tcam_.apply() );
      numbers_.erase( number );
   }

   void changeAtRandom() {
      KeyGenerator random( 7 );
      for ( U32 change = 0; change < 1500; ++change ) {
         const U32 number = static_cast< U32 >( random.below( ruleCount ) );
         random.oneIn( 3 ) ? remove( number ) : add( number );
         if ( change % 100 == 0 ) {
            compare();
         }
      }
      compare();
   }

   U64 hits( const SoftwareTcam& tcam, U32 number ) const {
      return tcam.counters( ruleOf( number ) ).packetHits();
   }

   void compare() {
      SoftwareTcam fresh( profile_ );
      enable( fresh );
      std::map< U32, U64 > before;
      for ( const U32 number : numbers_ ) {
         give( fresh, number );
         before[number] = hits( tcam_, number );
      }
      for ( U16 port = 900; port <= 2000; port = static_cast< U16 >( port + 37 ) ) {
         const Match::Packet packet = packetTo( port );
         ASSERT_EQ( tcam_.process( Zorv::IntfId( 1 ), packet, 100 ),
                    fresh.process( Zorv::IntfId( 1 ), packet, 100 ) );
      }
      for ( const U32 number : numbers_ ) {
         ASSERT_EQ( hits( tcam_, number ) - before[number], hits( fresh, number ) ) << number;
      }
   }

   const Dataplane::Profile profile_;
   SoftwareTcam tcam_;
   std::set< U32 > numbers_;
};

TEST_F( TcamChange, RulesThatComeAscendingBeforeAnother ) {
   add( ruleCount );
   for ( U32 number = 0; number < ruleCount; ++number ) {
      add( number );
      if ( number % 50 == 0 ) {
         compare();
      }
   }
   compare();
}

TEST_F( TcamChange, RulesThatComeDescendingAfterAnother ) {
   add( 0 );
   for ( U32 number = ruleCount; number > 0; --number ) {
      add( number );
      if ( number % 50 == 0 ) {
         compare();
      }
   }
   compare();
}

// From both ends to the middle: each halves the gap that is left.
TEST_F( TcamChange, RulesThatComeBetweenTheLastTwo ) {
   for ( U32 number = 0; number < ruleCount / 2; ++number ) {
      add( number );
      add( ruleCount - number );
      if ( number % 25 == 0 ) {
         compare();
      }
   }
   compare();
}

TEST_F( TcamChange, RulesThatComeAndGoAtRandom ) { changeAtRandom(); }

class TcamChangeWithLittleRoom : public TcamChange {
protected:
   TcamChangeWithLittleRoom() : TcamChange( 100 ) {}
};

TEST_F( TcamChangeWithLittleRoom, RulesThatComeAndGoAtRandom ) { changeAtRandom(); }

} // namespace
} // namespace Agents
