#pragma once

#include "wire/NlriDecoder.h"

namespace Wire {

/// Reads an NLRI as senders usually write one, in less time: of SAFI 133, with a length field of
/// one octet, and nothing to remark. All else, and what is wrong, is left to the decoder.
///
/// True when the NLRI that `field` begins with is in `nlri` as the decoder reads it; after false
/// the key is any.
[[nodiscard]] bool readUsualNlri( std::span< const U8 > field, NlriFormat format, Nlri& nlri );

} // namespace Wire
