#include "tests/agents/peerd/RunningPeerd.h"

namespace {

using namespace TestSupport;

/// A peer that keeps its forwarding state when it restarts, with a rule of either family.
class SessionLossTest : public testing::Test {
protected:
   static Bgp::Open open( bool notifications, bool forwarding ) {
      Bgp::Open open = RawPeer::open();
      Bgp::GracefulRestart& restart = open.capabilities.gracefulRestart.emplace();
      restart.notifications = notifications;
      restart.seconds = 120;
      restart.families = { { Bgp::ipv4Flow, forwarding } };
      return open;
   }

   std::unique_ptr< RawPeer > session( bool notifications, bool forwarding = true ) {
      auto raw = std::make_unique< RawPeer >( peerd.listens );
      raw->send( RawPeer::octets( open( notifications, forwarding ) ) );
      raw->send( RawPeer::keepalive() );
      EXPECT_TRUE( peerd.until( [&] { return peerd.isEstablished(); } ) )
         << peerd.process->errors();
      return raw;
   }
   /// A session with a rule that is filed.
   std::unique_ptr< RawPeer > telling( bool notifications ) {
      EXPECT_TRUE( peerd.until( [&] { return peerd.state() != nullptr; } ) );
      auto raw = session( notifications );
      raw->send( announcement( rule ) );
      EXPECT_TRUE( isFiled( 1 ) );
      return raw;
   }
   bool isFiled( std::size_t count ) {
      return peerd.until( [&] { return peerd.rules() == count; } );
   }
   bool isLost() {
      return peerd.until( [&] { return !peerd.isEstablished(); } );
   }
   void says( const RawPeer& peer, const Bgp::Notification& notification ) const {
      peer.send( RawPeer::octets( notification ) );
   }

   const Flowspec::FlowspecKey rule = keyOf( "0;ipv4;10.0.1.0/24;*;IP:=0L6;" );
   const Bgp::Notification reset{ Bgp::ErrorCode::cease, Bgp::Cease::administrativeReset, {} };
   RunningPeerd peerd;
};

TEST_F( SessionLossTest, KeepsRulesUntilThePeerHasToldAll ) {
   auto peer = telling( false );
   peer.reset();
   ASSERT_TRUE( isLost() );
   EXPECT_EQ( peerd.rules(), 1U );
   peer = session( false );
   EXPECT_EQ( peerd.rules(), 1U );
   peer->send( endOfRib() );
   EXPECT_TRUE( isFiled( 0 ) );
}

TEST_F( SessionLossTest, DropsRulesThatThePeerNoLongerForwards ) {
   auto peer = telling( false );
   peer.reset();
   ASSERT_TRUE( isLost() );
   EXPECT_EQ( peerd.rules(), 1U );
   peer = session( false, false );
   EXPECT_TRUE( isFiled( 0 ) );
}

TEST_F( SessionLossTest, DropsRulesWithANotification ) {
   const auto peer = telling( false );
   says( *peer, reset );
   EXPECT_TRUE( isFiled( 0 ) );
}

TEST_F( SessionLossTest, KeepsRulesOverANotificationWhenBothWantIt ) {
   auto peer = telling( true );
   says( *peer, reset );
   ASSERT_TRUE( isLost() );
   EXPECT_EQ( peerd.rules(), 1U );
   peer = session( true );
   EXPECT_EQ( peerd.rules(), 1U );
   says( *peer, Bgp::hardReset( reset ) );
   EXPECT_TRUE( isFiled( 0 ) );
}

} // namespace
