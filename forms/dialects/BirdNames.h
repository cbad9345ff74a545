#pragma once

#include "Flowspec/vocab/MatchCompType.h"
#include "Flowspec/vocab/MatchOpVal.h"

#include <string_view>

/// The words of BIRD's texts, for its reader and its writer.
namespace Forms::BirdNames {

/// A component with its name, which has one or two words. In IPv4 the protocol is called "proto",
/// in IPv6 "next header"; BIRD reads both in either.
struct ComponentName {
   Flowspec::MatchCompType type;
   std::string_view first;
   std::string_view second;
   U32 max; ///< the largest value that is read
};

inline constexpr ComponentName components[] = {
   { Flowspec::ipProto, "proto", "", 255 },
   { Flowspec::ipProto, "next", "header", 255 },
   { Flowspec::MatchCompType::port, "port", "", 65535 },
   { Flowspec::destPort, "dport", "", 65535 },
   { Flowspec::srcPort, "sport", "", 65535 },
   { Flowspec::icmpType, "icmp", "type", 255 },
   { Flowspec::icmpCode, "icmp", "code", 255 },
   { Flowspec::tcpFlags, "tcp", "flags", 0xFFF },
   { Flowspec::packetLength, "length", "", 65535 },
   { Flowspec::dscp, "dscp", "", 63 },
   { Flowspec::fragment, "fragment", "", 0xFF },
   { Flowspec::flowLabel, "label", "", 0xFFFFF },
};

/// The fragment flags, by their bits.
inline constexpr std::string_view fragments[] = { "dont_fragment", "is_fragment", "first_fragment",
                                                  "last_fragment" };

} // namespace Forms::BirdNames
