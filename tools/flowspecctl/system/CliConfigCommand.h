#pragma once

#include "tools/flowspecctl/system/SystemOptions.h"
#include "tools/lib/Output.h"
#include "tools/lib/StateRoots.h"

#include <functional>

namespace Flowspec::Tools {

/// What operators change: one of the commands that write `CliConfig`.
enum class CliChange : U8 { enable, disable, interfaceSet, vrfOverride };

struct CliChangeOptions {
   SystemOptions system;
   std::vector< Zorv::IntfId > intfs;
   std::optional< Zorv::AddressFamily > family; ///< both when there is none
   std::optional< Vek::String > vrf;            ///< a VRF's name
   std::vector< U16 > interfaceSets;
};

/// - `enable`: enables the family on the interfaces, beside what is enabled, and names the VRF when
///   there is one.
/// - `disable`: the opposite; an interface without families has no entry.
/// - `interfaceSet`: the interfaces are in these sets only.
/// - `vrfOverride`: the interfaces' traffic is matched in the VRF; in their own without one.
///
/// Returns when the state database was told. `std::runtime_error` when it was not.
void changeCliConfig( CliChange change, const CliChangeOptions& options );

/// Asks for counters, and waits until `counter`, which `roots` reads, has them.
/// `std::runtime_error` when nobody answers for ten seconds.
void refreshCounters( const SystemOptions& system, StateRoots& roots, const Counter& counter );

/// The same for a command that does nothing else; tells when counters were read.
void runRefresh( const SystemOptions& system, Output& output );

} // namespace Flowspec::Tools
