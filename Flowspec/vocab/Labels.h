#pragma once

#include "Flowspec/vocab/MatchCompType.h"

namespace Flowspec {

/// The two labels of a component type.
struct Labels {
   std::string_view brief; ///< short forms; empty for prefixes, which print by position
   std::string_view detail;
};

/// The labels of each component type, by its number.
inline constexpr Labels labels[numComponentTypes] = {
   { "INVALID", "INVALID" },
   { "", "Destination Prefix" },
   { "", "Source Prefix" },
   { "IP", "IP Protocol" },
   { "P", "Port" },
   { "DP", "Destination Port" },
   { "SP", "Source Port" },
   { "IT", "ICMP Type" },
   { "IC", "ICMP Code" },
   { "TCP", "TCP Flags" },
   { "LEN", "Packet Length" },
   { "DSCP", "DSCP" },
   { "FRAG", "Fragment Flags" },
   { "FL", "Flow Label" },
};

/// What `isBitfieldType` says, without its trace record.
constexpr bool isBitmask( MatchCompType type ) {
   return type == tcpFlags || type == fragment || type > flowLabel;
}

} // namespace Flowspec
