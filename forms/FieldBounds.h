#pragma once

#include "Flowspec/key/FlowspecKey.h"
#include "forms/KeyForms.h"

namespace Forms {

/// A warning about the first term whose value says something that no packet's field has; nothing
/// when there is none. Such a rule is matched by its meaning, which may not be what was wanted:
///
/// - "value 300 of ipProto is above 255, the highest that a packet has"
/// - "value 110 of dscp has more than 6 bits: it counts as 46"
/// - "bits 0x1000 of tcpFlags are clear in every packet"
/// - "bits 0x10 of fragment do not count"; in IPv6 neither does 0x1, "don't fragment"
///
/// The key must be one that `matchSetFromKey` takes apart.
Reason beyondField( const Flowspec::FlowspecKey& key );

} // namespace Forms
