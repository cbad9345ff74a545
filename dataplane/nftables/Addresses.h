#pragma once

#include "Zorv/IpGenPrefix.h"

/// Addresses of one family as numbers.
namespace Dataplane::Nftables {

/// The last address of a prefix.
Zorv::IpGenAddr lastOf( const Zorv::IpGenPrefix& prefix );
/// The address beside another one, which is not at the end in this direction; `step` is 1 or -1.
Zorv::IpGenAddr beside( const Zorv::IpGenAddr& address, int step );
/// Whether it is the last of its family.
bool isLast( const Zorv::IpGenAddr& address );

} // namespace Dataplane::Nftables
