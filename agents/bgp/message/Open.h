#pragma once

#include "agents/bgp/message/Capabilities.h"

namespace Bgp {

/// The AS number sent for one above 65535 where there are two octets (RFC 6793).
inline constexpr U32 asTrans = 23456;

/// An OPEN message.
struct Open {
   /// Of the capability for four octets when there is one, else of the message.
   U32 as = 0;
   U16 holdTime = 0;   ///< in seconds: 0, or 3 and more
   U32 identifier = 0; ///< never 0 (RFC 6286)
   Capabilities capabilities;

   bool operator==( const Open& ) const = default;
};

/// Reads an OPEN's octets after the header, which `readHeader` made sure are 10 or more. Optional
/// parameters are read in the form of RFC 9072 too.
[[nodiscard]] std::optional< Fault > readOpen( std::span< const U8 > body, Open& open );

/// Appends the message, with all capabilities in one optional parameter, in the form of RFC 9072
/// where one octet cannot tell its length. They fit when each family is there once.
void writeOpen( const Open& open, std::vector< U8 >& out );

/// What two OPENs amount to.
struct Agreed {
   U32 localAs = 0;
   U32 peerAs = 0;
   U32 peerIdentifier = 0;
   U16 holdTime = 0;               ///< the shorter one; 0: neither KEEPALIVE nor hold timer
   std::vector< Family > families; ///< that both have, in our order
   bool fourOctetAs = false;       ///< AS numbers of both in updates have four octets
   bool routeRefresh = false;      ///< the peer takes ROUTE-REFRESH of ours
   bool enhancedRefresh = false;   ///< both tell where a refresh begins and ends
   std::size_t maxSend = 4096;     ///< how long messages of ours may be, but OPEN and KEEPALIVE
   std::size_t maxReceive = 4096;  ///< how long the peer's may be
   /// What the peer said about restarts when both can, with the families that both have.
   std::optional< GracefulRestart > gracefulRestart;
   /// Both keep routes also when the session ends with a NOTIFICATION (RFC 8538).
   bool gracefulNotifications = false;

   bool internal() const { return localAs == peerAs; }
   bool has( Family family ) const;

   bool operator==( const Agreed& ) const = default;
};

/// Why we do not want a session with the sender of `theirs`, who is to have the AS `peerAs`:
/// another AS, our identifier inside our AS, or no family in common.
[[nodiscard]] std::optional< Fault > checkOpen( const Open& ours, const Open& theirs, U32 peerAs );

Agreed negotiate( const Open& ours, const Open& theirs );

} // namespace Bgp
