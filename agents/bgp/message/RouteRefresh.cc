#include "agents/bgp/message/RouteRefresh.h"

#include "Osk/Endian.h"
#include "Vek/text/Text.h"
#include "agents/bgp/message/Header.h"

namespace Bgp {

std::optional< Fault > readRouteRefresh( std::span< const U8 > body, RouteRefresh& refresh ) {
   refresh = { { Osk::loadBig16( body.data() ), body[3] }, body[2] };
   // Filters (RFC 5291) come after a request only when that was agreed on, which is never.
   if ( refresh.subtype <= RouteRefresh::end && body.size() != 4 ) {
      Fault fault{ { ErrorCode::routeRefresh, RouteRefreshError::badLength, {} },
                   Vek::concat( "the length of a ROUTE-REFRESH message is ",
                                headerSize + body.size(), ", it must be 23" ) };
      std::vector< U8 >& message = fault.notification.data;
      const std::size_t start = beginMessage( MessageType::routeRefresh, message );
      message.insert( message.end(), body.begin(), body.end() );
      endMessage( start, message );
      return fault;
   }
   return std::nullopt;
}

void writeRouteRefresh( const RouteRefresh& refresh, std::vector< U8 >& out ) {
   const std::size_t start = beginMessage( MessageType::routeRefresh, out );
   append16( out, refresh.family.afi );
   out.push_back( refresh.subtype );
   out.push_back( refresh.family.safi );
   endMessage( start, out );
}

} // namespace Bgp
