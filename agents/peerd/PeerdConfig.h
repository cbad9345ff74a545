#pragma once

#include "agents/bgp/session/SessionConfig.h"
#include "agents/peerd/policy/ExportPolicy.h"
#include "agents/peerd/policy/PeerImport.h"
#include "agents/peerd/policy/VrfTable.h"
#include "forms/ConfigJson.h"

namespace Peerd {

/// What is configured of one peer.
struct PeerConfig {
   Bgp::SessionConfig session;
   PeerImport import;
   std::optional< ExportPolicy > exported; ///< without one nothing is announced

   bool operator==( const PeerConfig& ) const = default;
};

/// What `peerd` is configured with: a JSON object, described by docs/peerd.schema.json.
struct PeerdConfig {
   U32 localAs = 0;
   U32 routerId = 0;  ///< the BGP identifier
   U32 clusterId = 0; ///< of the cluster whose routes we reflect; the router id if it is not said
   std::vector< Bgp::SocketAddress > listen;
   VrfTable vrfs;
   std::vector< PeerConfig > peers; ///< in the order of the file

   bool operator==( const PeerdConfig& ) const = default;
};

/// Reads all of `json` into `config`, which was made for it. All that is wrong, in the order of the
/// lines; `config` is not to be used then. Names of files in it are relative to `folder`.
[[nodiscard]] std::vector< Forms::ConfigFault >
readPeerdConfig( std::string_view json, const Vek::String& folder, PeerdConfig& config );

/// The most faults of a file that are told; the others are counted.
inline constexpr std::size_t maxFaults = 10;

/// Reads a file and tells what is wrong with it on standard error: `FILE:LINE: error: REASON` for
/// the first `maxFaults` faults, and then how many more there are. Nothing when anything is wrong.
std::optional< PeerdConfig > readPeerdFile( const Vek::String& file );

} // namespace Peerd
