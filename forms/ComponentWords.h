#pragma once

#include "Flowspec/config/MatchComponent.h"

namespace Forms {

/// What a component of a rule's match set asks of packets, as people say it: "destination port 80,
/// or 8080 to 8089", "TCP flags: SYN set and ACK clear, or RST set".
Vek::String componentWords( const Flowspec::MatchComponent& component );

} // namespace Forms
