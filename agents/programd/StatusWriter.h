#pragma once

#include "Flowspec/status/Counter.h"
#include "Flowspec/status/Status.h"
#include "agents/programd/Backend.h"

#include <map>
#include <set>

/// What the status shows, written so that what is there already is not published again, and what
/// is no longer so is removed.
namespace Agents {

/// The interfaces of each interface set.
using InterfaceSetMembers = std::map< U16, std::set< Zorv::IntfId > >;

/// What the hardware cannot do.
void writeProfile( Flowspec::Status& status, const Dataplane::Profile& profile );

/// A status for each of `vrfs` and of the VRFs of `interfaces`, and for no other; in each the
/// interfaces with rules in force, and those with errors.
void writeVrfs( Flowspec::Status& status, std::set< Vrf::VrfIdMap::VrfId > vrfs,
                const std::vector< InterfaceResult >& interfaces );

/// The interface sets in use with their members.
void writeInterfaceSets( Flowspec::Status& status, const std::vector< U16 >& inUse,
                         const InterfaceSetMembers& members );

/// What became of a rule whose VRF has a status, under a version that is drawn for it.
void writeRule( Flowspec::Status& status, const RuleChange& change );

/// The counters of all programmed rules, as they are at the time `now`: in their status and as
/// snapshots. Other snapshots are removed.
void writeCounters( Flowspec::Status& status, Flowspec::Counter& counter, const Backend& backend,
                    double now );

} // namespace Agents
