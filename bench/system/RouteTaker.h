#pragma once

#include "agents/bgp/session/SessionConfig.h"

#include <atomic>

namespace Bench {

/// What `peerd` does before it files anything: takes the routes of these sessions, which peers make
/// to 127.0.0.1 and `port`, decides which are the best, maps them to keys, and tells in `filed` how
/// many rules are to be filed. Until the process is killed.
[[noreturn]] void takeRoutes( const std::vector< Zorv::IpGenAddr >& peers, U16 port,
                              std::atomic< U32 >& filed );

} // namespace Bench
