#pragma once

#include "forms/RuleFile.h"
#include "tools/flowspecctl/system/SystemOptions.h"

namespace Tools {

/// A rule among others.
struct ConfiguredRule {
   Flowspec::FlowspecKey key;
   Flowspec::RuleAction action;
   Vek::String place; ///< "FILE:LINE", or the root that holds it; printable
};

/// The rules that others are compared with, and what they must leave alone.
struct ConfiguredRules {
   std::vector< ConfiguredRule > rules{};  ///< in the order in which routers try them
   std::vector< Zorv::IpGenAddr > peers{}; ///< of the BGP sessions of the running system
};

/// Where the rules are.
struct RuleSource {
   std::vector< Vek::String > files; ///< none to read the running system
   bool alone = false;               ///< there are no rules
   SystemOptions system;
   std::vector< Vek::String > roots{ "flowspec/config", "flowspec/bgp" };
};

/// Gives a key without an address family that of its prefixes; false when it has none either.
bool settleFamily( Flowspec::FlowspecKey& key );
/// What is then said.
inline constexpr const char* noFamily = "the rule does not tell its address family: give --family";

/// Adds `--rules` and the options of the running system.
void addRuleSource( CLI::App& command, RuleSource& source );

/// Reads the rules; those that no packet matches may be missing. What is wrong with files is
/// reported on standard error, and `good` is then false. `std::runtime_error` when the system has
/// none of the roots.
ConfiguredRules configuredRules( const RuleSource& source, const Forms::RuleDefaults& defaults,
                                 bool& good );

} // namespace Tools
