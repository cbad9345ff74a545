#pragma once

#include "Osk/Types.h"

#include <string_view>

namespace Flowspec {

/// The range of interface-set identifiers as configuration uses them.
inline constexpr U16 minInterfaceSetId = 0;
inline constexpr U16 maxInterfaceSetId = 16383;

/// What begins an interface-set list in text; "," separates the identifiers and ";" ends the list.
inline constexpr std::string_view interfaceSetAnchor = "IFSET:=";
inline constexpr char interfaceSetListDelim = ',';

} // namespace Flowspec
