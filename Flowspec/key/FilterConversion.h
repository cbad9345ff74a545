#pragma once

#include "Classification/NumericalRange.h"
#include "Flowspec/key/FlowspecKey.h"

namespace Flowspec {

/// Writes one range of a packet filter to `key`, from `index` on, as the terms of a numeric
/// component, and returns the next free index: "equal" for a single value, "greater or equal" and
/// "less or equal" for more. Bounds are cut to their low 16 bits.
///
/// The length codes are those of an operator byte, 0 for one byte and 1 for two; their lower four
/// bits are placed as they stand, so codes above 3 reach into other bits. `isLast` sets the
/// end-of-list bit on the last term. Fails as `FlowspecKey::setOpVal` does.
OSK_EXPORT MatchOpValIndex addNumericRange( FlowspecKey& key, MatchOpValIndex index,
                                            MatchCompType type, U8 firstLen, U8 secondLen,
                                            bool isLast,
                                            const Classification::NumericalRange& range );

} // namespace Flowspec
