#pragma once

#include "agents/bgp/message/Open.h"
#include "agents/bgp/session/Down.h"
#include "agents/bgp/session/SessionConfig.h"
#include "agents/bgp/session/StateMachine.h"

#include <array>

namespace Bgp {

/// The two connections that there may be with a peer, by who began them.
enum class Slot : U8 { outgoing, incoming };

inline constexpr std::array slots{ Slot::outgoing, Slot::incoming };

/// What is to be done with one of the connections.
struct PeerAction {
   Slot slot;
   Do what;
   Notification notification{}; ///< of `Do::sendNotification`
   Down down{};                 ///< of `Do::leave`

   bool operator==( const PeerAction& ) const = default;
};

/// The session with a peer without its sockets and clock: the state machines of the connection that
/// we make and of the one that the peer makes, which of them stays when both come about (RFC 4271
/// section 6.8, RFC 6286), how long to wait after a failure, and what of the peer's rules stays
/// when the session ends (RFC 4724, RFC 8538).
///
/// Pauses before we connect again begin with a second and double up to `connectRetryTime`; they
/// begin anew after a session that lasted for `stableTime`. After an error, as opposed to a
/// connection that was lost or closed, both connections are in Idle for the pause, so that the
/// peer's are refused too: this is the DampPeerOscillations of RFC 4271.
class Peering {
public:
   static constexpr std::chrono::seconds stableTime{ 60 };
   /// For how long a session takes another connection of its peer for one that was begun at the
   /// same time, and not for a peer that was started again (RFC 4724 section 4.2).
   static constexpr std::chrono::seconds collisionTime{ 5 };

   /// Of two peerings with the same `seed` the timers are the same.
   Peering( SessionConfig config, U64 seed );
   Peering( const Peering& ) = delete;
   Peering& operator=( const Peering& ) = delete;

   const SessionConfig& config() const { return config_; }

   /// Begins; nothing was done before that, or since the last `stop`. `restarted`: this process was
   /// just started again, and announces soon what it announced before.
   void start( Time now, bool restarted = false );
   /// Ends both connections, with `cease` where an OPEN was sent, until `start`.
   void stop( const Notification& cease, std::string_view reason, Time now );
   /// The same without a word, as if the connections were lost.
   void leave( Time now );

   /// The peer has connected. True when its connection is taken, and an OPEN is among the actions
   /// then; otherwise it is to be closed, and `refusal` has the reason.
   [[nodiscard]] bool accept( Time now );
   Notification refusal() const;

   /// Something happened to a connection. `notification` is what arrived, or is to be sent by an
   /// event that does so; `reason` says it in words, where they say more than the notification.
   void on( Slot slot, Event event, Time now, const Notification& notification = {},
            std::string_view reason = {} );
   /// An OPEN arrived.
   void open( Slot slot, const Open& theirs, Time now );
   /// Octets of a connection were sent.
   void sent( Slot slot, Time now ) { at( slot ).machine.sent( now ); }

   /// When to call `tick`.
   Time due() const;
   /// Lets timers expire.
   void tick( Time now );

   /// What is to be done, in this order; nothing of it is told again.
   std::vector< PeerAction > takeActions();

   State state( Slot slot ) const { return at( slot ).machine.state(); }
   /// The state of the connection that has come furthest.
   State state() const;
   /// Our OPEN for a connection; of one that is to send it, or has sent it.
   const Open& ours( Slot slot ) const { return at( slot ).ours; }
   /// Of a connection in OpenConfirm or Established, and afterwards until the next.
   const Agreed& agreed( Slot slot ) const { return at( slot ).agreed; }
   /// The connection of the session that is up.
   std::optional< Slot > established() const { return established_; }

   /// What went wrong last, in words; empty when nothing did.
   const Vek::String& lastError() const { return lastError_; }
   Time lastErrorTime() const { return lastErrorTime_; }
   /// How often something did.
   U64 errors() const { return errors_; }

private:
   /// A connection, if there is one.
   struct Link {
      explicit Link( Jitter& jitter ) : machine( jitter ) {}

      StateMachine machine;
      Open ours{};
      Agreed agreed{};
   };

   Link& at( Slot slot ) { return slot == Slot::outgoing ? outgoing_ : incoming_; }
   const Link& at( Slot slot ) const { return slot == Slot::outgoing ? outgoing_ : incoming_; }

   void step( Slot slot, Event event, Time now, const Notification& notification = {},
              std::string_view reason = {} );
   void settle( Time now );
   void fail( Slot slot, State before, Event event, const Notification& told,
              std::string_view words, Time now );
   Open makeOpen( Time now ) const;
   Duration pause() const;

   const SessionConfig config_;
   Jitter jitter_;
   Link outgoing_;
   Link incoming_;
   std::vector< Action > steps_; ///< of one machine, for one event
   std::vector< PeerAction > actions_;
   bool started_ = false;
   Event start_ = Event::manualStart; ///< how the next connection of ours begins
   unsigned failures_ = 0;            ///< since the last session that was stable
   Timer idleHold_;
   std::optional< Slot > established_;
   Time establishedTime_{};
   bool hadSession_ = false;
   bool restarted_ = false;
   Time restartEnd_{}; ///< until when the peer is told that we were started again
   Vek::String lastError_;
   Time lastErrorTime_{};
   U64 errors_ = 0;
};

} // namespace Bgp
