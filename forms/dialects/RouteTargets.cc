#include "forms/dialects/RouteTargets.h"

#include "Vek/text/Text.h"
#include "Zorv/IpGenAddr.h"
#include "Zorv/RouteDistinguisher.h"

#include <algorithm>
#include <limits>

namespace Forms {

using Wire::RouteTarget;

std::optional< RouteTarget > routeTargetOf( std::string_view text ) {
   RouteTarget target;
   // The values are laid out as those of distinguishers, and the kinds numbered as their types.
   if ( const auto rd = Zorv::RouteDistinguisher::fromText( text ); rd && rd->type() <= 2 ) {
      target.kind = static_cast< RouteTarget::Kind >( rd->type() );
      U8 octets[8];
      Osk::storeBig64( octets, rd->value() );
      std::copy_n( octets + 2, 6, target.value.begin() );
      return target;
   }
   const std::size_t colon = text.rfind( ':' );
   if ( colon == std::string_view::npos ) {
      return std::nullopt;
   }
   const auto address = Zorv::IpGenAddr::fromText( text.substr( 0, colon ) );
   const auto number = Vek::decimal( text.substr( colon + 1 ), std::numeric_limits< U16 >::max() );
   if ( !address || address->family() != Zorv::AddressFamily::ipv6 || !number ) {
      return std::nullopt;
   }
   target.kind = RouteTarget::Kind::ipv6;
   std::ranges::copy( address->bytes(), target.value.begin() );
   Osk::storeBig16( target.value.data() + 16, static_cast< U16 >( *number ) );
   return target;
}

bool addRouteTarget( std::string_view text, Wire::RouteTargetTable& table ) {
   const std::size_t equals = text.rfind( '=' );
   const auto target = routeTargetOf( text.substr( 0, equals ) );
   const auto vrf =
      equals == std::string_view::npos
         ? std::nullopt
         : Vek::decimal( text.substr( equals + 1 ), std::numeric_limits< U32 >::max() );
   if ( !target || !vrf || *vrf == Vrf::VrfIdMap::invalid() ) {
      return false;
   }
   table.add( *target, static_cast< U32 >( *vrf ) );
   return true;
}

} // namespace Forms
