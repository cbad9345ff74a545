#pragma once

#include "Osk/Types.h"

#include <malloc.h>

namespace Bench {

/// Bytes that the process has taken from the C library's heap, with what that adds to each block.
inline U64 heapBytes() {
   const struct mallinfo2 info = mallinfo2();
   return info.uordblks + info.hblkhd;
}

} // namespace Bench
