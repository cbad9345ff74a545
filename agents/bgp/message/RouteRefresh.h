#pragma once

#include "agents/bgp/message/Family.h"
#include "agents/bgp/message/Notification.h"

namespace Bgp {

/// A ROUTE-REFRESH message (RFC 2918, RFC 7313).
struct RouteRefresh {
   static constexpr U8 request = 0;
   static constexpr U8 begin = 1; ///< of what was asked for
   static constexpr U8 end = 2;

   Family family;
   U8 subtype = request; ///< a message with an unknown one is ignored

   bool operator==( const RouteRefresh& ) const = default;
};

/// Reads a ROUTE-REFRESH's octets after the header, which `readHeader` made sure are 4 or more.
[[nodiscard]] std::optional< Fault > readRouteRefresh( std::span< const U8 > body,
                                                       RouteRefresh& refresh );

void writeRouteRefresh( const RouteRefresh& refresh, std::vector< U8 >& out );

} // namespace Bgp
