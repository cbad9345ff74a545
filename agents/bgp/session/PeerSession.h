#pragma once

#include "agents/bgp/message/Update.h"
#include "agents/bgp/session/Connection.h"
#include "agents/bgp/session/Farewells.h"
#include "agents/bgp/session/SessionSet.h"

namespace Bgp {

/// A session with its sockets: passes what happens to them to a `Peering`, and does what that
/// wants.
class PeerSession final : public Session,
                          public Agents::EventLoop::Handler,
                          public Connection::Owner {
public:
   /// What all sessions have in common; it outlives them.
   struct Common {
      Agents::EventLoop& loop;
      SessionHandler& handler;
      const SessionSet::Options& options;
      Farewells& farewells;
   };

   /// A turn of the loop ends with the message that reaches one of these. An update may be full of
   /// rules that are costly to take apart: its octets, too, bound how long other sessions wait.
   static constexpr int messagesPerTurn = 64;
   static constexpr std::size_t octetsPerTurn = 8192;

   PeerSession( const Common& common, const SessionConfig& config, U64 seed );
   PeerSession( const PeerSession& ) = delete;
   PeerSession& operator=( const PeerSession& ) = delete;
   ~PeerSession();

   /// What it is configured with from the next `start` on; nothing was done yet, or since `stop`.
   void configIs( const SessionConfig& config );
   /// `restarted` is that of a `Peering`.
   void start( bool restarted );
   void stop( const Notification& cease, std::string_view reason );
   void leave();
   /// The peer has connected.
   void accept( Socket socket );

   const SessionConfig& config() const override { return peering_->config(); }
   State state() const override { return shown_; }
   Time since() const override { return since_; }
   const Agreed* agreed() const override;
   U32 peerIdentifier() const override { return agreed() ? agreed()->peerIdentifier : 0; }
   SocketAddress localEnd() const override;
   SocketAddress peerEnd() const override;
   const MessageCounts& received() const override { return received_; }
   const MessageCounts& sent() const override { return sent_; }
   U64 establishments() const override { return establishments_; }
   U64 flaps() const override { return flaps_; }
   const Vek::String& lastError() const override { return peering_->lastError(); }
   Time lastErrorTime() const override { return peering_->lastErrorTime(); }
   bool canSend() const override;
   void send( std::span< const U8 > messages ) override;
   void end( const Notification& notification, const Vek::String& reason ) override;

private:
   int fd() const override { return -1; }
   Agents::EventLoop::Clock::time_point due() const override;
   void ready() override;
   void ready( Slot slot ) override;

   std::unique_ptr< Connection >& at( Slot slot ) {
      return connections_[static_cast< std::size_t >( slot )];
   }
   const Connection* current() const;

   void read( Slot slot );
   void finishConnecting( Slot slot );
   void take( Slot slot, const Connection& connection );
   void takeOpen( Slot slot, const Connection& connection );
   void takeUpdate( Slot slot, const Connection& connection );
   void takeRefresh( Slot slot, const Connection& connection );
   void flush( Slot slot );
   void perform();
   void perform( PeerAction& action );
   void drop( Slot slot, bool withReason );
   void queue( Slot slot, std::span< const U8 > messages );
   void show();
   void log( std::string_view text ) const;
   Time now() const { return common_.options.now(); }

   const Common common_;
   std::unique_ptr< Peering > peering_; ///< with what is configured, since the last start
   U64 seed_;
   std::array< std::unique_ptr< Connection >, slots.size() > connections_;
   Socket arriving_;       ///< a connection of the peer that is being accepted
   bool notified_ = false; ///< the connection that is being ended
   bool busy_ = false;     ///< with messages or actions, so that what is to be done waits
   bool full_ = false;     ///< there was no room to send, and the handler waits for it
   Update update_;
   std::vector< U8 > scratch_;
   State shown_ = State::idle;
   Time since_;
   U64 shownErrors_ = 0;
   Vek::String loggedError_; ///< since it was established last
   MessageCounts received_;
   MessageCounts sent_;
   U64 establishments_ = 0;
   U64 flaps_ = 0;
};

} // namespace Bgp
