#pragma once

#include "Zorv/IpGenAddr.h"
#include "agents/bgp/message/Family.h"

#include <vector>

namespace Bgp {

/// An address and a TCP port.
struct SocketAddress {
   Zorv::IpGenAddr address;
   U16 port = 179;

   bool operator==( const SocketAddress& ) const = default;
   /// "192.0.2.1:179", "[2001:db8::1]:179".
   Vek::String text() const;
};

/// What is configured of the session with one peer. A session whose configuration changes ends and
/// begins anew.
struct SessionConfig {
   Vek::String name; ///< of the peer; no two sessions have the same
   /// Where the peer listens, and where its connections come from (from any port). No two sessions
   /// have the same address and the same `localAddress`.
   SocketAddress peer;
   /// Where our connections come from, and where the peer's arrive; empty for any of the system's.
   Zorv::IpGenAddr localAddress;
   U32 localAs = 0;
   U32 peerAs = 0;                 ///< the session is internal when it is `localAs`
   U32 routerId = 0;               ///< the BGP identifier, not 0
   std::vector< Family > families; ///< at least one
   bool passive = false;           ///< waits for the peer to connect
   U16 holdTime = 90;              ///< seconds that we propose: 0 (no timers) or at least 3
   /// The longest pause between attempts to connect, in seconds; pauses begin with one second and
   /// double.
   U16 connectRetryTime = 120;
   /// The longest time, in seconds, for which the peer's connections are refused after an error, as
   /// opposed to a lost connection: as long as our own pause, but not longer than this. 0: never.
   U16 idleHoldTime = 60;
   Vek::String password; ///< of TCP MD5 signatures (RFC 2385), at most 80 octets; or none
   /// How far away the peer may be: 1 is on a link of ours. 0 is 1 for an external peer and 255 for
   /// an internal one.
   U8 hops = 0;
   bool ttlSecurity = false;     ///< drop packets that came over more than `hops` hops (RFC 5082)
   bool gracefulRestart = true;  ///< RFC 4724, and RFC 8538 for NOTIFICATION messages
   U16 restartTime = 120;        ///< seconds, at most 4095, that the peer is to keep our rules for
   bool extendedMessages = true; ///< RFC 8654

   bool isInternal() const { return localAs == peerAs; }
   bool operator==( const SessionConfig& ) const = default;
};

/// What is wrong with a configuration by itself, such as "hold time 2 is neither 0 nor at least 3";
/// empty when nothing is.
Vek::String fault( const SessionConfig& config );

} // namespace Bgp
