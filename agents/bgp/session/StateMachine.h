#pragma once

#include "agents/bgp/message/Notification.h"
#include "agents/bgp/session/State.h"
#include "agents/bgp/session/Timer.h"

namespace Bgp {

/// What a state machine wants to be done, in this order.
enum class Do : U8 {
   sendNotification,
   drop,    ///< close the connection, or end the attempt to connect
   connect, ///< begin to connect
   sendOpen,
   sendKeepalive,
   establish, ///< the session is up
   leave,     ///< the session that was up is over
};

struct Action {
   Do what;
   Notification notification{}; ///< of `sendNotification`

   bool operator==( const Action& ) const = default;
};

/// The finite state machine of one TCP connection with a peer (RFC 4271 section 8). Events and the
/// time go in, actions come out; it has neither sockets nor a clock.
///
/// A session has two of them: one connects, the other waits for the peer to connect, so in Connect
/// no connection of the peer arrives, and of the one that waits Active is the state of rest,
/// without a ConnectRetryTimer. What pairs them and decides how long to wait is `Peering`; its
/// count of failures replaces the ConnectRetryCounter.
class StateMachine {
public:
   /// What OpenSent waits for an OPEN (RFC 4271 section 8.2.2: "a large value").
   static constexpr std::chrono::minutes openHoldTime{ 4 };
   /// What an attempt to connect may take at least: pauses between them are shorter at first.
   static constexpr Duration connectTime = std::chrono::seconds( 20 );
   /// The least time without anything sent after which a connection ends (RFC 9687).
   static constexpr std::chrono::minutes leastSendHoldTime{ 8 };

   explicit StateMachine( Jitter& jitter ) : jitter_( jitter ) {}

   State state() const { return state_; }

   /// What the ConnectRetryTimer is started with from now on; never, when it is 0.
   void connectRetryTimeIs( Duration time ) { connectRetryTime_ = time; }
   /// What both sides agreed on, in seconds, to be told before `bgpOpen`.
   void holdTimeIs( U16 seconds ) { holdTime_ = std::chrono::seconds( seconds ); }

   /// Takes an event and appends what is to be done about it. `notification` is what to send, of an
   /// event that does so: a stop, an error in a message, a collision.
   void on( Event event, Time now, std::vector< Action >& out,
            const Notification& notification = {} );

   /// Octets were sent, so the peer still reads.
   void sent( Time now );

   /// When a timer expires next; `Timer::never` when none runs.
   Time due() const;
   /// An event of a timer that has expired; the caller passes it to `on`, and asks again.
   std::optional< Event > takeExpiry( Time now );

private:
   void startHold( Time now );
   void startKeepalive( Time now );
   void stopTimers();

   Jitter& jitter_;
   State state_ = State::idle;
   Duration connectRetryTime_{ 0 };
   std::chrono::seconds holdTime_{ 0 };
   Timer connectRetry_;
   Timer hold_;
   Timer keepalive_;
   Timer sendHold_;
};

} // namespace Bgp
