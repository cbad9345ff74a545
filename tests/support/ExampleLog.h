#pragma once

#include "Osk/Types.h"

#include <vector>

namespace TestSupport {

/// A captured stream that holds a root of every type of `Flowspec`, every streamed row of them and
/// every kind of message: what a peer is told first, and changes after it. It is
/// examples/log/roots.vekl.
std::vector< U8 > exampleLog();

} // namespace TestSupport
