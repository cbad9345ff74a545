#pragma once

#include "Classification/StructuredFilter.h"
#include "forms/KeyForms.h"

namespace Forms {

/// What a rule key that was made of a filter does not have of it; nothing when the two match the
/// same packets. The first of:
///
/// - "of 2 destPrefix only 9.0.0.0/8 is kept", and the same of srcPrefix
/// - "fragment 'firstFragment' is left out"
/// - "a TCP flag without a mask is left out"
/// - "the criteria of each protocol are asked of all protocols": a key has one list for each kind
/// - "the source ports of each 'ports' are asked with the destination ports of all", as above
/// - "the codes of each ICMP type are asked of all types"
[[nodiscard]] Reason filterLoss( const Classification::StructuredFilter& filter );

} // namespace Forms
