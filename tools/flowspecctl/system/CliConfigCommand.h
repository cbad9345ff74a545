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
/// Returns when the state database has it, on its disk if it keeps the root. When the database goes
/// and comes again meanwhile, it is done once more. `std::runtime_error` when it could not be done
/// within ten seconds, and at once when there is no database.
void changeCliConfig( CliChange change, const CliChangeOptions& options );

/// Asks for counters, and waits until the root of counters, which `roots` reads, has them; returns
/// it. The configuration, in which the request stands, must be there: it is not created.
/// `std::runtime_error` when it is not, and when nobody answers for ten seconds.
Vek::Ptr< Counter > refreshCounters( const SystemOptions& system, StateRoots& roots );

/// The same for a command that does nothing else; tells when counters were read.
void runRefresh( const SystemOptions& system, Output& output );

} // namespace Flowspec::Tools
