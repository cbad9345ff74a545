#pragma once

#include "Flowspec/key/FlowspecKey.h"

namespace Match {

/// Whether rule `a` is to be tried before rule `b`: the order of RFC 8955 section 5.1, for IPv6 as
/// RFC 8956 section 5 has it for prefixes without an offset.
///
/// Components are compared in the order of their types. A rule that has the component with the
/// lower type goes first, whatever the order of the key's words. Of two prefixes the one inside the
/// other goes first, else the lower address. Other components are compared as the bytes that they
/// have in the NLRI, operators and values as they stand in the key; when one begins with all of the
/// other, the longer goes first.
///
/// The RFC orders the rules of one VRF and family. To be a strict order of any keys, prefixes of
/// IPv4 go before those of IPv6, keys whose terms cannot be walked (`Flowspec::unprintableTerm`) go
/// last, and those that are equal so far are ordered as `FlowspecKeyOrder` does.
bool precedes( const Flowspec::FlowspecKey& a, const Flowspec::FlowspecKey& b );

} // namespace Match
