#pragma once

#include "wire/Community.h"

#include <string_view>

namespace Forms {

/// The route target of a text: "65000:100", "192.0.2.1:100", "70000:100", "100L:1" with an AS
/// number of four octets below 65536, or "2001:db8::1:100". Nothing when it is none.
std::optional< Wire::RouteTarget > routeTargetOf( std::string_view text );

/// Adds what "TARGET=VRF" says, the VRF being a number. False when the text does not say that.
[[nodiscard]] bool addRouteTarget( std::string_view text, Wire::RouteTargetTable& table );

} // namespace Forms
