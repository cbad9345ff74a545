#pragma once

#include <string>
#include <string_view>

namespace Vek {

/// The runtime's string: owned bytes, any content, no encoding implied.
using String = std::string;

} // namespace Vek
