#pragma once

#include "Osk/Types.h"

#include <string_view>

namespace Bgp {

/// A state of a connection (RFC 4271 section 8.2.2), in the order in which a session comes up.
enum class State : U8 { idle, connect, active, openSent, openConfirm, established };

/// "Idle", "Connect", "Active", "OpenSent", "OpenConfirm", "Established".
std::string_view text( State state );

} // namespace Bgp
