#include "agents/peerd/Speaker.h"

#include "tests/agents/peerd/RunningPeerd.h"

// The speaker in this process, whose turns can be counted.

namespace {

using namespace TestSupport;
using Peerd::PeerdConfig;
using Peerd::Speaker;
using testing::HasSubstr;

constexpr std::string_view here = "127.0.0.22";

class SpeakerTest : public testing::Test {
protected:
   static Vek::String peer( std::string_view name, std::string_view address,
                            std::string_view more = "" ) {
      return Vek::concat( R"({"name":")", name, R"(","address":")", address,
                          R"(","as":64500,"passive":true,"idleHoldTime":0,)",
                          R"("families":["ipv4-flow"])", more, "}" );
   }

   PeerdConfig configOf( const Vek::String& peers ) const {
      PeerdConfig config;
      const auto faults = readPeerdConfig(
         Vek::concat( R"({"localAs":64500,"routerId":")", here, R"(","listen":[{"address":")", here,
                      R"(","port":)", port_, R"(}],"peers":[)", peers, "]}" ),
         "", config );
      EXPECT_TRUE( faults.empty() ) << faults.at( 0 ).reason;
      return config;
   }
   void start( const Vek::String& peers ) {
      speaker_.emplace( daemon_, Speaker::Roots{ rules_, table_ }, configOf( peers ) );
   }

   bool until( const std::function< bool() >& holds, Duration pause = Duration( 1000 ) ) {
      return turnUntil( daemon_.loop(), holds, pause );
   }

   std::unique_ptr< RawPeer > session( const Vek::String& name, std::string_view address,
                                       bool refresh = false ) {
      auto raw = std::make_unique< RawPeer >(
         Bgp::SocketAddress{ TestSupport::address( here ), port_ }, address );
      Bgp::Open open = RawPeer::open();
      open.identifier = TestSupport::address( address ).ipv4Value();
      open.capabilities.routeRefresh = refresh;
      raw->send( RawPeer::octets( open ) );
      raw->send( RawPeer::keepalive() );
      EXPECT_TRUE( until(
         [&] { return table_->peer( name )->state() == Peers::SessionState::established; } ) );
      return raw;
   }

   static Flowspec::FlowspecKey rule( U32 number ) {
      Flowspec::FlowspecKey key;
      key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
      key.vrfIdIs( 0 );
      key.destPrefixIs( { Zorv::IpGenAddr::ipv4( 0x0A000000 + number ), 32 } );
      return key;
   }

   std::size_t filed() const {
      const auto vrf = rules_->vrfRuleConfig( 0 );
      return vrf ? vrf->rule().size() : 0;
   }
   bool isFiled( U32 number ) const {
      const auto vrf = rules_->vrfRuleConfig( 0 );
      return vrf && vrf->rule( rule( number ) );
   }

   const U16 port_ = freePort( Vek::String( here ).c_str() );
   Agents::Daemon daemon_{ "speaker" };
   const Vek::Ptr< Flowspec::Config > rules_ = Flowspec::configFactory( "rules" );
   const Vek::Ptr< Peers::PeerTable > table_ = Peers::peerTableFactory( "peers" );
   std::optional< Speaker > speaker_;
};

// A hundred thousand would do as these do: what counts is that a turn has a bounded part of them.
TEST_F( SpeakerTest, LossOfASessionLeavesOthersTheirTurns ) {
   constexpr U32 count = 5000;
   start( peer( "one", "127.0.0.12" ) + "," + peer( "two", "127.0.0.13" ) );
   auto one = session( "one", "127.0.0.12" );
   const auto two = session( "two", "127.0.0.13" );
   std::size_t left = 0;
   for ( U32 i = 0; i < count; ++i ) {
      const std::vector< U8 > message = announcement( rule( i ) );
      for ( std::span< const U8 > rest = message; !rest.empty(); ) {
         const std::size_t sent = one->send( rest );
         rest = rest.subspan( sent );
         if ( sent == 0 ) {
            until( [] { return true; } );
         }
      }
   }
   ASSERT_TRUE( until( [&] { return filed() == count; } ) );
   one.reset();
   two->send( announcement( rule( count ) ) );
   std::size_t last = filed();
   std::size_t most = 0;
   std::size_t others = 0; // that are still there when the second peer's rule comes
   ASSERT_TRUE( until(
      [&] {
         left = filed();
         most = std::max( most, last - std::min( left, last ) );
         last = left;
         if ( others == 0 && isFiled( count ) ) {
            others = left - 1;
         }
         return left == 1;
      },
      Duration( 0 ) ) );
   EXPECT_LE( most, Speaker::perTurn );
   EXPECT_GT( others, count / 2 ) << "the second peer waited";
   EXPECT_TRUE( isFiled( count ) );
}

TEST_F( SpeakerTest, EndsASessionWithTooManyRulesAfterAWarning ) {
   testing::internal::CaptureStderr();
   start( peer( "one", "127.0.0.12", R"(,"guards":{"maxRules":5,"atMaxRules":"cease"})" ) );
   const auto one = session( "one", "127.0.0.12" );
   for ( U32 i = 0; i < 5; ++i ) {
      one->send( announcement( rule( i ) ) );
   }
   ASSERT_TRUE( until( [&] { return filed() == 5; } ) );
   EXPECT_EQ( one->farewell(), std::nullopt );
   one->send( announcement( rule( 5 ) ) );
   ASSERT_TRUE( until( [&] { return one->read(); } ) );
   EXPECT_EQ( one->farewell(),
              ( Bgp::Notification{ Bgp::ErrorCode::cease, Bgp::Cease::maximumPrefixes, {} } ) );
   EXPECT_TRUE( until( [&] { return filed() == 0; } ) );
   EXPECT_TRUE(
      until( [&] { return table_->peer( "one" )->lastError() == "more than 5 rules"; } ) );
   const std::string told = testing::internal::GetCapturedStderr();
   EXPECT_THAT( told, HasSubstr( "peer one: 4 rules of at most 5\n" ) );
   EXPECT_EQ( told.find( "rules of at most" ), told.rfind( "rules of at most" ) ) << "once";
}

TEST_F( SpeakerTest, AsksForWhatItHadNoRoomForWhenThereIs ) {
   start( peer( "one", "127.0.0.12", R"(,"guards":{"maxRules":2})" ) );
   const auto one = session( "one", "127.0.0.12", true );
   for ( U32 i = 0; i < 3; ++i ) {
      one->send( announcement( rule( i ) ) );
   }
   ASSERT_TRUE( until( [&] { return table_->peer( "one" )->refusedRule().size() == 1; } ) );
   EXPECT_EQ( filed(), 2U );
   const auto refreshes = [&] {
      one->read();
      return std::ranges::count( one->types(), 5 );
   };
   // Nothing that matters here is another.
   speaker_->configIs(
      configOf( peer( "one", "127.0.0.12", R"(,"guards":{"maxRules":2},"med":0,"export":[])" ) ) );
   EXPECT_EQ( refreshes(), 0 );
   speaker_->configIs( configOf( peer( "one", "127.0.0.12", R"(,"guards":{"maxRules":3})" ) ) );
   EXPECT_TRUE( until( [&] { return refreshes() == 1; } ) );
   one->send( announcement( rule( 2 ) ) );
   EXPECT_TRUE( until( [&] { return filed() == 3; } ) );
}

TEST_F( SpeakerTest, SaysWhereItCannotListenAndGoesOn ) {
   World world;
   Side other( world );
   ASSERT_TRUE( other.set.listen( { { address( here ), port_ } } ).empty() );
   testing::internal::CaptureStderr();
   start( peer( "one", "127.0.0.12" ) );
   EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      Vek::concat( "speaker: cannot listen on ", here, ":", port_, ": Address already in use\n" ) );
   ASSERT_NE( table_->peer( "one" ), nullptr );
   // With the next configuration it tries again.
   EXPECT_TRUE( other.set.listen( {} ).empty() );
   speaker_->configIs( configOf( peer( "one", "127.0.0.12" ) ) );
   EXPECT_NE( session( "one", "127.0.0.12" ), nullptr );
}

TEST_F( SpeakerTest, AnnouncesWhatIsExported ) {
   start( peer( "one", "127.0.0.12", R"(,"export":[{"announce":true}])" ) );
   const auto one = session( "one", "127.0.0.12" );
   speaker_->exported().put( rule( 1 ), {} );
   const auto updates = [&] {
      one->read();
      return std::ranges::count( one->types(), 2 );
   };
   until( [] { return true; } );
   EXPECT_EQ( updates(), 0 ) << "nobody said that the exported root was read";
   speaker_->exportedChanged();
   EXPECT_TRUE( until( [&] { return updates() == 2; } ) ) << "the rule, and the end";
   speaker_->exported().del( rule( 1 ) );
   speaker_->exportedChanged();
   EXPECT_TRUE( until( [&] { return updates() == 3; } ) );
}

TEST_F( SpeakerTest, StopsWhenItsLastWordsAreRead ) {
   start( peer( "one", "127.0.0.12" ) );
   const auto one = session( "one", "127.0.0.12" );
   one->send( announcement( rule( 1 ) ) );
   ASSERT_TRUE( until( [&] { return filed() == 1; } ) );
   speaker_->stop();
   bool heard = false;
   // The loop ends by itself once the peer has closed.
   const std::function< bool() > close = [&] {
      if ( one->fd() >= 0 && one->read() ) {
         heard = one->farewell().has_value();
         one->close();
      }
      return false;
   };
   class Reader final : public Agents::EventLoop::Handler {
   public:
      explicit Reader( const std::function< bool() >& act ) : act_( act ) {}
      int fd() const override { return -1; }
      Time due() const override { return {}; }
      void ready() override { act_(); }

   private:
      const std::function< bool() >& act_;
   } reader( close );
   daemon_.loop().add( reader );
   daemon_.loop().run();
   daemon_.loop().remove( reader );
   EXPECT_TRUE( heard );
   EXPECT_EQ( filed(), 1U ) << "it may be back at once";
}

} // namespace
