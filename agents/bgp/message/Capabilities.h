#pragma once

#include "agents/bgp/message/Family.h"
#include "agents/bgp/message/Notification.h"

namespace Bgp {

/// A family whose routes are kept while a speaker restarts.
struct GracefulFamily {
   Family family;
   bool forwarding = false; ///< the F bit: forwarding state was kept over the last restart

   bool operator==( const GracefulFamily& ) const = default;
};

/// RFC 4724 and RFC 8538.
struct GracefulRestart {
   bool restarting = false;    ///< the R bit: this session comes after a restart
   bool notifications = false; ///< the N bit: also when the session ends with a NOTIFICATION
   U16 seconds = 0;            ///< until the session is there again, at most 4095
   std::vector< GracefulFamily > families;

   /// The member of `families`, or null.
   const GracefulFamily* find( Family family ) const;

   bool operator==( const GracefulRestart& ) const = default;
};

/// What a speaker says that it can do (RFC 5492). Others than these are passed over.
struct Capabilities {
   std::vector< Family > families;   ///< RFC 4760; without one of them, IPv4 unicast
   bool routeRefresh = false;        ///< RFC 2918
   bool enhancedRefresh = false;     ///< RFC 7313
   bool extendedMessages = false;    ///< RFC 8654
   std::optional< U32 > fourOctetAs; ///< RFC 6793: the AS number
   std::optional< GracefulRestart > gracefulRestart;

   bool operator==( const Capabilities& ) const = default;
};

/// Adds to `capabilities` what one optional parameter of type 2 holds. Families stay in the order
/// received; of any other capability that occurs again the last one holds.
[[nodiscard]] std::optional< Fault > readCapabilities( std::span< const U8 > parameter,
                                                       Capabilities& capabilities );

/// Appends each capability: code, length, value.
void writeCapabilities( const Capabilities& capabilities, std::vector< U8 >& out );

} // namespace Bgp
