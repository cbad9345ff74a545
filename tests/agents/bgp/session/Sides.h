#pragma once

#include "Vek/text/Text.h"
#include "agents/bgp/message/RouteRefresh.h"
#include "agents/bgp/message/Update.h"
#include "agents/bgp/session/SessionSet.h"
#include "agents/bgp/session/Timer.h"

#include <gmock/gmock.h>

#include <deque>

namespace TestSupport {

using Bgp::Duration;
using Bgp::Time;

/// Turns a loop until something is so, and looks after each turn and pause. False when it does not
/// come about in a minute.
inline bool turnUntil( Agents::EventLoop& loop, const std::function< bool() >& holds,
                       Duration pause = std::chrono::milliseconds( 1 ) ) {
   struct Over {};
   class Pulse final : public Agents::EventLoop::Handler {
   public:
      Pulse( const std::function< bool() >& condition, Duration time )
         : holds_( condition ), pause_( time ) {}

      int fd() const override { return -1; }
      Time due() const override { return next_; }
      void ready() override {
         const Time now = Bgp::Clock::now();
         next_ = now + pause_;
         if ( holds_() || now >= end_ ) {
            throw Over();
         }
      }

   private:
      const std::function< bool() >& holds_;
      const Duration pause_;
      Time next_{};
      const Time end_ = Bgp::Clock::now() + std::chrono::minutes( 1 );
   };

   Pulse pulse( holds, pause );
   loop.add( pulse );
   bool over = false;
   while ( !over ) {
      try {
         loop.run();
      } catch ( const Over& ) {
         over = true;
      }
   }
   loop.remove( pulse );
   return holds();
}

/// An event loop, and a clock that can be put forward.
class World {
public:
   Time now() const { return Bgp::Clock::now() + ahead_; }
   void advance( Duration time ) { ahead_ += time; }

   bool until( const std::function< bool() >& holds,
               Duration pause = std::chrono::milliseconds( 1 ) ) {
      return turnUntil( loop, holds, pause );
   }

   /// Lets whatever is under way come to rest: some hundred turns of the loop.
   void settle() {
      int turns = 0;
      until( [&turns] { return ++turns > 500; }, Duration( 0 ) );
   }

   Agents::EventLoop loop;

private:
   Duration ahead_{ 0 };
};

/// A speaker: a set of sessions, and what it heard of them.
class Side final : public Bgp::SessionHandler {
public:
   explicit Side( World& world, bool restarted = false )
      : set( world.loop, *this,
             { .log = [this]( std::string_view line ) { log.emplace_back( line ); },
               .restarted = restarted,
               .seed = 7,
               .now = [&world] { return world.now(); } } ) {}

   void established( Bgp::Session& session, const Bgp::Agreed& agreed ) override {
      EXPECT_EQ( session.state(), Bgp::State::established );
      EXPECT_EQ( *session.agreed(), agreed );
      ++up;
      heard.push_back( Vek::concat( "up ", session.config().name ) );
   }
   void update( Bgp::Session& session, const Bgp::Update& update ) override {
      ++updates;
      octets += update.reach ? update.reach->nlri.size() : 0;
      if ( onUpdate ) {
         onUpdate( session );
      }
   }
   void endOfRib( Bgp::Session&, Bgp::Family family ) override {
      heard.push_back( Vek::concat( "end of ", name( family ) ) );
   }
   void routeRefresh( Bgp::Session&, Bgp::Family family, U8 subtype ) override {
      heard.push_back( Vek::concat( "refresh ", name( family ), ' ', subtype ) );
   }
   void down( Bgp::Session& session, const Bgp::Down& down ) override {
      EXPECT_NE( session.state(), Bgp::State::established );
      EXPECT_FALSE( session.canSend() );
      --up;
      lastDown = down;
      heard.push_back( Vek::concat( "down ", session.config().name, ": ", down.reason ) );
   }
   void writable( Bgp::Session& session ) override {
      EXPECT_TRUE( session.canSend() );
      ++writables;
   }
   void changed( Bgp::Session& ) override { ++changes; }

   Bgp::Session& session() const { return *set.sessions().at( 0 ); }

   int up = 0; ///< sessions
   U64 updates = 0;
   U64 octets = 0;
   int writables = 0;
   int changes = 0;
   Bgp::Down lastDown;
   std::vector< Vek::String > heard;
   std::vector< Vek::String > log;
   std::function< void( Bgp::Session& ) > onUpdate;
   Bgp::SessionSet set;
};

inline Zorv::IpGenAddr address( std::string_view text ) {
   return *Zorv::IpGenAddr::fromText( text );
}

/// A session of `local` with `peer`, whose port is told when it is known.
inline Bgp::SessionConfig config( std::string_view name, std::string_view local,
                                  std::string_view peer, U16 port = 1 ) {
   Bgp::SessionConfig config;
   config.name = name;
   config.peer = { address( peer ), port };
   config.localAddress = address( local );
   config.localAs = config.peerAs = 64500;
   config.routerId = config.localAddress.ipv4Value();
   config.families = { Bgp::ipv4Flow, Bgp::ipv6Flow };
   return config;
}

/// Two speakers, `a` on 127.0.0.11 and `b` on 127.0.0.12.
class Pair {
public:
   Pair() {
      EXPECT_THAT( a.set.listen( { { address( "127.0.0.11" ), 0 } } ), testing::IsEmpty() );
      EXPECT_THAT( b.set.listen( { { address( "127.0.0.12" ), 0 } } ), testing::IsEmpty() );
      toB = config( "b", "127.0.0.11", "127.0.0.12", b.set.listening().at( 0 ).port );
      toA = config( "a", "127.0.0.12", "127.0.0.11", a.set.listening().at( 0 ).port );
      toA.passive = true;
   }

   void apply() {
      b.set.apply( { toA } );
      a.set.apply( { toB } );
   }
   bool areUp() {
      return world.until( [this] { return a.up == 1 && b.up == 1; } );
   }
   bool areDown() {
      return world.until( [this] { return a.up == 0 && b.up == 0; } );
   }

   World world;
   Side a{ world };
   Side b{ world };
   Bgp::SessionConfig toB;
   Bgp::SessionConfig toA;
};

} // namespace TestSupport
