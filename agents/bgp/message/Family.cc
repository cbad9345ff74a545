#include "agents/bgp/message/Family.h"

#include "Vek/text/Text.h"

namespace Bgp {

namespace {

struct Named {
   Family family;
   std::string_view name;
};

constexpr Named names[] = {
   { ipv4Flow, "ipv4-flow" },        { ipv6Flow, "ipv6-flow" },
   { ipv4VpnFlow, "ipv4-vpn-flow" }, { ipv6VpnFlow, "ipv6-vpn-flow" },
   { ipv4Unicast, "ipv4-unicast" },
};

} // namespace

Vek::String name( Family family ) {
   for ( const Named& named : names ) {
      if ( named.family == family ) {
         return Vek::String( named.name );
      }
   }
   return Vek::concat( family.afi, '/', family.safi );
}

std::optional< Family > familyOf( std::string_view name ) {
   for ( const Named& named : names ) {
      if ( named.name == name ) {
         return named.family;
      }
   }
   return std::nullopt;
}

} // namespace Bgp
