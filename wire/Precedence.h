#pragma once

#include "Flowspec/key/FlowspecKey.h"

#include <span>
#include <string>

/// The order in which rules are tried on a packet: that of RFC 8955 section 5.1, and of RFC 8956
/// section 4 for IPv6.
///
/// Components are compared in the order of their types. A rule that has the component with the
/// lower type goes first. Of two prefixes the one with the lower offset goes first, then the one
/// inside the other, else the lower address. Other components are compared as the octets that they
/// have in the NLRI; when one begins with all of the other, the longer goes first.
///
/// The functions that compare are strict weak orders of all that they can be given, and order two
/// keys as they order the octets that the keys are encoded to with lengths as stored.
namespace Wire {

/// Whether rule `a` is to be tried before rule `b`. The order of the keys' words does not matter.
///
/// The RFC orders the rules of one VRF and family. To be a strict total order of any keys, prefixes
/// of IPv4 go before those of IPv6, keys whose terms cannot be walked (`Flowspec::unprintableTerm`)
/// go last, and those that are equal so far are ordered as `FlowspecKeyOrder` does. What is filed
/// is ordered by this one.
OSK_EXPORT bool precedes( const Flowspec::FlowspecKey& a, const Flowspec::FlowspecKey& b );

/// Octets that order keys as `precedes` does, up to keys that `FlowspecKeyOrder` is asked about:
/// those of the key that goes first are less. For who compares a key often.
OSK_EXPORT std::string precedence( const Flowspec::FlowspecKey& key );

/// What `precedes` tells for the components of two NLRI of one family (`Nlri::components`), offsets
/// of prefixes included, which no key can hold. Neither is before the other when they are of equal
/// precedence. Octets that are no rule are taken for components as far as they go.
OSK_EXPORT bool precedes( std::span< const U8 > a, std::span< const U8 > b,
                          Zorv::AddressFamily family );

} // namespace Wire
