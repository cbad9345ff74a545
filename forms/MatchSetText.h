#pragma once

#include "Flowspec/config/RuleConfig.h"

#include <nlohmann/json_fwd.hpp>

namespace Forms {

/// What a component of a match set matches, for people: a prefix, or its alternatives with commas
/// between them: ranges as "80,443-500", bit masks by the bits that they test, as in
/// "SYN:1,ACK:0 or RST:1". "nothing" for a component without any.
Vek::String componentText( const Flowspec::MatchComponent& component );

/// A match set as an object with a member for each component: a prefix is a string, ranges are
/// pairs of their bounds, bit masks objects with `value` and `mask`.
nlohmann::ordered_json matchSetJson( const Flowspec::RuleConfig::MatchSet& matchSet );

} // namespace Forms
