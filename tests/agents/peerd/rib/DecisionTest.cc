#include "agents/peerd/rib/Decision.h"

#include "tests/agents/peerd/rib/Announcement.h"

#include <algorithm>
#include <deque>

#include <gmock/gmock.h>

namespace Peerd {
namespace {

using namespace TestSupport;

constexpr U32 localAs = 64512;

// Routes for one NLRI, that are compared in each order.
class DecisionTest : public testing::Test {
public:
   DecisionTest() {
      static constexpr U8 octets[] = { 1, 24, 192, 0, 2 };
      nlri_ = NlriNode::make( { octets, 5, 0 } );
   }

   // A route of a peer with an identifier and an address of that number.
   void route( U32 number, U32 peerAs, const Announcement& told ) {
      PeerIn& peer = peers_.emplace_back( number );
      peer.import.localAs = localAs;
      peer.import.peerAs = peerAs;
      peer.import.address = Zorv::IpGenAddr::ipv4( number );
      peer.identifier = number;
      Route& made = routes_.emplace_back();
      made.nlri = nlri_.get();
      made.peer = &peer;
      made.attributes = pool_.intern( *AnnouncedUpdate( told ), localAs );
   }
   void external( U32 number, Announcement told ) {
      told.path.insert( told.path.begin(), 64500 );
      route( number, 64500, told );
   }
   void internal( U32 number, const Announcement& told ) { route( number, localAs, told ); }

   // The peer whose route wins, whatever the order.
   U32 best() {
      std::vector< const Route* > order;
      for ( const Route& made : routes_ ) {
         order.push_back( &made );
      }
      std::ranges::sort( order );
      std::optional< U32 > winner;
      do {
         std::vector< const Route* > routes = order;
         const U32 won = bestOf( routes ).peer->id;
         EXPECT_EQ( winner.value_or( won ), won );
         winner = won;
      } while ( std::next_permutation( order.begin(), order.end() ) );
      return *winner;
   }

   AttributePool pool_;
   std::unique_ptr< NlriNode > nlri_;
   std::deque< PeerIn > peers_;
   std::deque< Route > routes_;
};

TEST_F( DecisionTest, HighestLocalPref ) {
   internal( 1, { .path = { 1 }, .localPref = 100 } );
   internal( 2, { .path = { 1, 2, 3 }, .localPref = 101 } );
   external( 3, {} );
   EXPECT_EQ( best(), 2U );
}

TEST_F( DecisionTest, MissingLocalPrefIs100 ) {
   internal( 1, { .path = { 1, 2 }, .localPref = 99 } );
   external( 2, { .path = { 1, 2, 3 } } );
   EXPECT_EQ( best(), 2U );
}

TEST_F( DecisionTest, ShortestPath ) {
   internal( 1, { .path = { 1, 2 } } );
   internal( 2, { .path = { 1 }, .origin = Bgp::Origin::incomplete } );
   EXPECT_EQ( best(), 2U );
}

TEST_F( DecisionTest, LowestOrigin ) {
   external( 1, { .origin = Bgp::Origin::incomplete, .med = 0 } );
   external( 2, { .origin = Bgp::Origin::egp, .med = 7 } );
   EXPECT_EQ( best(), 2U );
}

TEST_F( DecisionTest, LowestMedOfOneNeighbour ) {
   external( 1, { .med = 5 } );
   external( 2, { .med = 4 } );
   EXPECT_EQ( best(), 2U );
}

TEST_F( DecisionTest, MissingMedIsTheLowest ) {
   external( 1, { .med = 1 } );
   external( 2, {} );
   EXPECT_EQ( best(), 2U );
}

TEST_F( DecisionTest, MedOfOtherNeighboursIsNotCompared ) {
   internal( 1, { .path = { 1 }, .med = 5 } );
   internal( 2, { .path = { 2 }, .med = 4 } );
   EXPECT_EQ( best(), 1U );
}

TEST_F( DecisionTest, MedOfPathsFromInsideIsCompared ) {
   internal( 1, { .med = 5 } );
   internal( 2, { .med = 4 } );
   EXPECT_EQ( best(), 2U );
}

// Of the first and the second the first would win, of the second and the third the second, of the
// third and the first the third: only all of them together have a best.
TEST_F( DecisionTest, MedDoesNotDependOnTheOrder ) {
   internal( 1, { .path = { 1 }, .med = 5 } );
   internal( 2, { .path = { 2 }, .med = 0 } );
   internal( 3, { .path = { 1 }, .med = 4 } );
   EXPECT_EQ( best(), 2U );
}

TEST_F( DecisionTest, ExternalBeforeInternal ) {
   internal( 1, { .path = { 64500 } } );
   external( 2, {} );
   EXPECT_EQ( best(), 2U );
}

TEST_F( DecisionTest, LowestIdentifierOfTheOriginator ) {
   internal( 2, { .path = { 1 } } );
   internal( 9, { .path = { 1 }, .originatorId = 1, .clusters = { 1, 2 } } );
   EXPECT_EQ( best(), 9U );
}

TEST_F( DecisionTest, ShortestClusterList ) {
   internal( 1, { .path = { 1 }, .originatorId = 5, .clusters = { 1, 2 } } );
   internal( 2, { .path = { 1 }, .originatorId = 5, .clusters = { 3 } } );
   EXPECT_EQ( best(), 2U );
}

TEST_F( DecisionTest, LowestAddress ) {
   external( 1, {} );
   external( 2, {} );
   external( 3, {} );
   for ( PeerIn& peer : peers_ ) {
      peer.identifier = 7;
   }
   EXPECT_EQ( best(), 1U );
}

TEST_F( DecisionTest, LowestOctetsOfOnePeer ) {
   internal( 1, {} );
   internal( 2, {} );
   static constexpr U8 lower[] = { 1, 24, 192, 0, 1 };
   const auto other = NlriNode::make( { lower, 5, 0 } );
   routes_[0].peer = &peers_[1];
   routes_[1].nlri = other.get();
   std::vector< const Route* > routes{ &routes_[0], &routes_[1] };
   EXPECT_EQ( &bestOf( routes ), &routes_[1] );
}

} // namespace
} // namespace Peerd
