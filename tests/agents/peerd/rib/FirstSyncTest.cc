#include "agents/peerd/rib/FirstSync.h"

#include <gmock/gmock.h>

namespace Peerd {
namespace {

using namespace std::chrono_literals;

constexpr FirstSync::Time start{};
constexpr FirstSync::Time deadline = start + 120s;
constexpr PeerId peers[] = { 1, 2 };
constexpr Bgp::Family families[] = { Bgp::ipv4Flow, Bgp::ipv6Flow };

TEST( PeerdFirstSync, EachPeerTellsEachFamily ) {
   FirstSync sync( peers, deadline );
   sync.established( 1, families );
   sync.established( 2, std::span( families ).first( 1 ) );
   sync.endOfRib( 1, Bgp::ipv4Flow );
   sync.endOfRib( 1, Bgp::ipv4Flow );
   sync.endOfRib( 2, Bgp::ipv4Flow );
   EXPECT_FALSE( sync.isOver( start ) );
   sync.endOfRib( 1, Bgp::ipv6Flow );
   EXPECT_TRUE( sync.isOver( start ) );
}

TEST( PeerdFirstSync, TimePasses ) {
   FirstSync sync( peers, deadline );
   EXPECT_FALSE( sync.isOver( deadline - 1ns ) );
   EXPECT_TRUE( sync.isOver( deadline ) );
   EXPECT_TRUE( sync.isOver( start ) ) << "and it stays so";
}

TEST( PeerdFirstSync, NoPeersAreWaitedFor ) {
   EXPECT_TRUE( FirstSync( {}, deadline ).isOver( start ) );
}

TEST( PeerdFirstSync, LostSessionTellsAllAgain ) {
   const std::span< const PeerId > one( peers, 1 );
   FirstSync sync( one, deadline );
   sync.established( 1, families );
   sync.endOfRib( 1, Bgp::ipv4Flow );
   sync.down( 1 );
   sync.endOfRib( 1, Bgp::ipv6Flow );
   sync.established( 1, families );
   sync.endOfRib( 1, Bgp::ipv6Flow );
   EXPECT_FALSE( sync.isOver( start ) );
   sync.endOfRib( 1, Bgp::ipv4Flow );
   EXPECT_TRUE( sync.isOver( start ) );
   sync.established( 1, families );
   EXPECT_TRUE( sync.isOver( start ) );
}

TEST( PeerdFirstSync, PeersThatGoAreNotWaitedFor ) {
   FirstSync sync( peers, deadline );
   sync.forget( 1 );
   sync.established( 3, families );
   EXPECT_FALSE( sync.isOver( start ) );
   sync.forget( 2 );
   EXPECT_TRUE( sync.isOver( start ) );
}

} // namespace
} // namespace Peerd
