#pragma once

#include "Flowspec/FlowspecDalb.h"
#include "tools/flowspecctl/Commands.h"
#include "tools/state/StateRoots.h"

#include <vector>

/// The commands that work on a running system.
namespace Tools {

/// Where the state database listens, and the names of the roots.
struct SystemOptions {
   Vek::String endpoint = defaultEndpoint;
   Vek::String config = "flowspec/config";
   Vek::String cliConfig = "flowspec/cliconfig";
   Vek::String status = "flowspec/status";
   Vek::String counter = "flowspec/counter";
   Vek::String bgp = "flowspec/bgp";
   Vek::String peers = "flowspec/peers";
   Vek::String peerRequests = "flowspec/peer-requests";
};

/// Which rules are shown.
struct RuleFilter {
   std::optional< Vrf::VrfIdMap::VrfId > vrfId;
   std::optional< Zorv::AddressFamily > family;
   std::vector< Flowspec::HwRuleProgrammingStatus > status; ///< any when there is none

   /// By VRF and family.
   bool admits( const Flowspec::FlowspecKey& key ) const {
      return ( !vrfId || *vrfId == key.vrfId() ) && ( !family || *family == key.addressFamily() );
   }
   /// By all; `rule` is null for a rule without a status.
   bool admits( const Flowspec::FlowspecKey& key, const Flowspec::RuleStatus* rule ) const;
};

/// An option that names a root.
struct Root {
   const char* option;
   const char* help;
   Vek::String SystemOptions::*name;
};
inline constexpr Root configRoot{ "--config-root", "Name of the root that holds the rules",
                                  &SystemOptions::config };
inline constexpr Root cliConfigRoot{ "--cli-config-root",
                                     "Name of the root that holds what operators configure",
                                     &SystemOptions::cliConfig };
inline constexpr Root statusRoot{ "--status-root", "Name of the root that holds the status",
                                  &SystemOptions::status };
inline constexpr Root counterRoot{ "--counter-root", "Name of the root that holds the counters",
                                   &SystemOptions::counter };
inline constexpr Root bgpRoot{ "--bgp-root", "Name of the root that holds the rules of BGP peers",
                               &SystemOptions::bgp };
inline constexpr Root peersRoot{ "--peers-root", "Name of the root that holds the BGP peers",
                                 &SystemOptions::peers };
inline constexpr Root peerRequestsRoot{ "--peer-requests-root",
                                        "Name of the root that holds what peers are asked for",
                                        &SystemOptions::peerRequests };

/// Adds `--socket`, the options of the roots that a command uses, and the footer.
void addSystem( CLI::App& command, SystemOptions& system, std::initializer_list< Root > roots );

/// What the commands ask for that list members of a root, beside options of their own.
struct ListOptions {
   SystemOptions system;
   RuleFilter filter;
   bool json = false;
};

/// Adds `--json`, `--vrf`, `--family` and those of `addSystem`.
void addListing( CLI::App& command, ListOptions& options, std::initializer_list< Root > roots );

} // namespace Tools
