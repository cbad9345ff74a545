#pragma once

#include "Flowspec/key/FlowspecKey.h"

#include <string>
#include <vector>

/// The rules that all benchmarks work on.
namespace Bench {

/// `count` rules from a fixed seed, the same in every program. Of each hundred, about 60 have a
/// destination, a protocol and one to three ports, 20 have ranges of ports or lengths, 10 have TCP
/// flags or a fragment test, and 10 are IPv6.
std::vector< Flowspec::FlowspecKey > rules( U32 count );

/// Distinct rules against what hits one address, ordered by precedence: each has a protocol and
/// ranges of destination and source ports.
std::vector< Flowspec::FlowspecKey > victimRules( U32 count );

/// The same with destinations of 8 to 32 bits that contain the address; one to three ports, or
/// the ranges.
std::vector< Flowspec::FlowspecKey > nestedRules( U32 count );

/// How many rules the micro-benchmarks go through.
inline constexpr U32 ruleCount = 100'000;

/// A rule of six words: protocol, three destination ports and a range of source ports.
Flowspec::FlowspecKey sixWordRule( U32 seed );

} // namespace Bench
