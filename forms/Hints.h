#pragma once

#include "forms/dialects/Dialect.h"

namespace Forms {

/// What the writer of a command-line text, with or without a distinguisher, may have meant at the
/// place of a fault; empty when nothing is known:
///
/// - "'ef' is 46": names of protocols, ports, ICMP types and codes, TCP flags, fragments and DSCP
/// - "any prefix is '*'", "a host is '192.0.2.1/32'", "the label is 'IP'"
/// - "a component that may have any value is left out", "not equal is '<>'"
/// - "alternatives are joined by '|'", "a range is '>=1024&<=2047'", "a rule has no blanks"
Vek::String hint( std::string_view text, std::size_t offset );

} // namespace Forms
