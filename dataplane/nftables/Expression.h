#pragma once

#include "Vek/text/String.h"
#include "Zorv/IpGenPrefix.h"
#include "wire/Canonical.h"

#include <memory>
#include <optional>
#include <variant>
#include <vector>

/// Rule sets of nftables as data: what a rule becomes, before it is text or messages to the kernel.
namespace Dataplane::Nftables {

using Range = Wire::ValueRange;

/// A number that is read from a packet, of one, two or three bytes in network order.
struct Field {
   enum class Source : U8 {
      l4proto,       ///< the protocol, `meta l4proto`; 51 when IPv6 has an authentication header
      network,       ///< bytes of the IP header
      transport,     ///< bytes of what `l4proto` names; anything in later fragments
      fragmentHeader ///< bytes of IPv6's fragment header
   };
   Source source;
   U8 offset; ///< in bytes from the beginning of the header
   U8 size;   ///< in bytes
   U32 mask;  ///< the bits that count; all others are taken for 0

   U32 allBits() const { return ( U32{ 1 } << 8 * size ) - 1; }
   bool operator==( const Field& ) const = default;
};

/// Holds when the field can be read and its masked value is in one of the ranges, or with `negated`
/// in none. The ranges are ascending and apart.
struct Test {
   Field field;
   std::vector< Range > ranges;
   bool negated = false;
   bool operator==( const Test& ) const = default;
};

/// Holds when the source address is inside the prefix, which is longer than 0.
struct SourceTest {
   Zorv::IpGenPrefix prefix;
   bool operator==( const SourceTest& ) const = default;
};

/// Holds for an IPv6 packet in which no fragment header is found.
struct NoFragmentHeader {
   bool operator==( const NoFragmentHeader& ) const = default;
};

/// Holds when the input interface is in a named set.
struct InterfaceTest {
   Vek::String set;
   bool operator==( const InterfaceTest& ) const = default;
};

/// Counts into a named counter.
struct Count {
   Vek::String counter;
   bool operator==( const Count& ) const = default;
};

/// Holds when a packet is over a named limit.
struct OverLimit {
   Vek::String limit;
   bool operator==( const OverLimit& ) const = default;
};

/// Gives a copy of the packet's beginning to the group's listeners.
struct Log {
   U16 group;
   Vek::String prefix; ///< without quotes and backslashes, 127 bytes at the most
   bool operator==( const Log& ) const = default;
};

/// The bits of packets' marks that are ours.
inline constexpr U32 markMask = 0xFFFF0000;

struct SetDscp {
   U8 dscp; ///< 6 bits
   bool operator==( const SetDscp& ) const = default;
};

/// Sets the bits of the packet's mark that `markMask` has.
struct SetMark {
   U32 mark;
   bool operator==( const SetMark& ) const = default;
};

/// Sends a copy of the packet to a next hop, of the packet's family.
struct Duplicate {
   Zorv::IpGenAddr nextHop;
   bool operator==( const Duplicate& ) const = default;
};

/// Goes to the chain that a named map has for the input interface or the destination; on when it
/// has none.
struct Dispatch {
   enum class By : U8 { interface, destination };
   By by;
   Vek::String map;
   bool operator==( const Dispatch& ) const = default;
};

struct Verdict {
   enum class Kind : U8 {
      accept,
      drop,
      jump,   ///< comes back after the chain
      jumpTo, ///< `goto`: does not come back to this chain
   };
   Kind kind;
   Vek::String chain{}; ///< of the last two
   bool operator==( const Verdict& ) const = default;
};

using Expression = std::variant< Test, SourceTest, NoFragmentHeader, InterfaceTest, Count,
                                 OverLimit, Log, SetDscp, SetMark, Duplicate, Dispatch, Verdict >;

/// One line of a chain: from left to right, until one does not hold.
using Line = std::vector< Expression >;
/// Lines that are shared by versions of a rule set, so that they are compared fast; never null.
using Lines = std::shared_ptr< const std::vector< Line > >;

/// A token bucket. It has `perUnit` packets or bytes for each `unit` seconds.
struct Limit {
   U64 perUnit;
   U64 unit;  ///< a second, minute, hour, day or week
   U32 burst; ///< packets that it holds; bytes that it holds beside those of one unit
   bool bytes;
   bool operator==( const Limit& ) const = default;
};

} // namespace Dataplane::Nftables
