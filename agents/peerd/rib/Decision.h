#pragma once

#include "agents/peerd/rib/Route.h"

namespace Peerd {

/// The best of routes, at least one, by RFC 4271 section 9.1.2.2: the highest LOCAL_PREF (100 where
/// there is none, as of external peers), the shortest path, the lowest origin, the lowest MED among
/// those of one neighbour AS, external before internal peers, the lowest identifier of the
/// originator or the peer, the shortest cluster list (RFC 4456 section 9), the lowest address;
/// where peer and path are the same, the lowest octets of the NLRI. Does not depend on the order of
/// `routes`, which is changed.
const Route& bestOf( std::vector< const Route* >& routes );

} // namespace Peerd
