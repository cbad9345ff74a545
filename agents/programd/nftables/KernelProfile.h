#pragma once

#include "agents/programd/nftables/Kernel.h"
#include "dataplane/Profile.h"

namespace Agents::Nftables {

/// What the kernel can do, found out by a transaction of which nothing is done: a rule for each
/// component and action of both families. It has no interfaces and no VRFs.
/// `std::system_error` when the kernel cannot do the least that rules take.
Dataplane::Profile kernelProfile( Kernel& kernel );

/// Whether it can copy packets of a family to a next hop, tried in the same way.
bool canCopy( Kernel& kernel, Zorv::AddressFamily family );

} // namespace Agents::Nftables
