#pragma once

#include "Vek/mount/Endpoint.h"

#include <vector>

namespace Tools {

/// What a state database tells of a root; "-" where there is nothing to tell.
struct RootInfo {
   Vek::String name;
   Vek::String type;
   Vek::String readers;
   Vek::String agent;  ///< the name of the agent that writes it now
   Vek::String writer; ///< user and process of that
};

/// The roots of the state database, ascending by name. `std::runtime_error` when it cannot be
/// reached or does not answer within ten seconds.
std::vector< RootInfo > listRoots( const Vek::log::Endpoint& endpoint );

} // namespace Tools
