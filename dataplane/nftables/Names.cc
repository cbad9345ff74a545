#include "dataplane/nftables/Names.h"

#include "Vek/text/Text.h"

#include <algorithm>

namespace Dataplane::Nftables {

using VrfId = Vrf::VrfIdMap::VrfId;

Vek::String vrfChain( VrfId vrf ) { return Vek::concat( "vrf", vrf ); }
Vek::String anyChain( VrfId vrf ) { return Vek::concat( "vrf", vrf, "-any" ); }
Vek::String destinationMap( VrfId vrf ) { return Vek::concat( "vrf", vrf, "-destinations" ); }

// An IPv6 address has colons, which a word may not have.
Vek::String prefixChain( VrfId vrf, const Zorv::IpGenPrefix& prefix ) {
   Vek::String address = prefix.address().stringValue();
   std::ranges::replace( address, ':', '_' );
   return Vek::concat( "vrf", vrf, "-", address, "/", prefix.length() );
}

Vek::String actionChain( const Rule& rule ) { return "do-" + rule.name; }
Vek::String alternativesChain( const Rule& rule ) { return "any-" + rule.name; }

Vek::String setName( const std::vector< U16 >& sets ) {
   Vek::String name = "sets";
   for ( const U16 set : sets ) {
      name += Vek::concat( '-', set );
   }
   return name;
}

} // namespace Dataplane::Nftables
