#pragma once

#include "agents/bgp/message/Notification.h"
#include "agents/bgp/session/MessageCounts.h"
#include "agents/bgp/session/SessionConfig.h"
#include "agents/bgp/session/State.h"
#include "agents/daemon/EventLoop.h"

#include <optional>

namespace Bgp {

struct Agreed;

/// The session with one peer, as its users see it. It is there as long as its name is configured;
/// `SessionSet` makes it.
class Session {
public:
   using Time = Agents::EventLoop::Clock::time_point;

   virtual const SessionConfig& config() const = 0;

   /// Of the connection that has come furthest.
   virtual State state() const = 0;
   /// Since when it has been in this state.
   virtual Time since() const = 0;
   /// What both sides can do; null unless it is established.
   virtual const Agreed* agreed() const = 0;
   /// The peer's BGP identifier; 0 unless it is established.
   virtual U32 peerIdentifier() const = 0;
   /// The ends of the connection; empty unless it is established.
   virtual SocketAddress localEnd() const = 0;
   virtual SocketAddress peerEnd() const = 0;

   virtual const MessageCounts& received() const = 0;
   virtual const MessageCounts& sent() const = 0;
   /// How often it was established, and how often it ended after that.
   virtual U64 establishments() const = 0;
   virtual U64 flaps() const = 0;
   /// What went wrong last, in words, and when; empty when nothing did.
   virtual const Vek::String& lastError() const = 0;
   virtual Time lastErrorTime() const = 0;

   /// Whether it is established and there is room for one more message at least.
   virtual bool canSend() const = 0;
   /// Queues whole messages; dropped when it is not established. May overrun the room, by what is
   /// given here.
   virtual void send( std::span< const U8 > messages ) = 0;

   /// Ends the session with a NOTIFICATION, such as Cease/Maximum Number of Prefixes Reached;
   /// `reason` is for people. It connects again later.
   virtual void end( const Notification& notification, const Vek::String& reason ) = 0;

protected:
   ~Session() = default;
};

} // namespace Bgp
