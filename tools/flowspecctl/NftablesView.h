#pragma once

#include "dataplane/RuleDemand.h"

#include <CLI/CLI.hpp>

namespace Tools {

/// What the nftables back end makes of rules, as text, without a kernel or root.

/// What is said where no kernel was asked, and where a profile of one was recorded.
inline constexpr const char* noKernelAsked = "no kernel was asked what it can do";
inline constexpr const char* recordedKernel = "by the recorded profile of a kernel";

/// Adds `--backend`, which takes "nftables" alone.
void addBackend( CLI::App& command, bool& nftables );

/// A profile of a kernel that can do all that the back end asks of one.
const Dataplane::Profile& nftablesProfile();

/// Why a value of a rule's action cannot be programmed, else the demand as it is. A demand of a
/// profile of the back end.
Dataplane::ProgrammingResult nftablesResult( const Dataplane::RuleDemand& demand,
                                             Zorv::AddressFamily family );

/// How packets are tested for one component of a rule, as `nft` writes it, alternatives with "or"
/// between them. The destination is looked up in a map with those of all rules.
Vek::String nftablesTests( const Flowspec::FlowspecKey& key, Flowspec::MatchCompType type );

/// The table for the rule alone with what is done of its actions, as `nft` reads it: its packets
/// come in by an interface "eth0" that is in the rule's VRF and interface sets. The rule must match
/// some packet.
Vek::String nftablesTable( const Flowspec::FlowspecKey& key, const Dataplane::RuleDemand& demand );

} // namespace Tools
