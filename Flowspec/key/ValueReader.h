#pragma once

#include "Flowspec/key/FlowspecKey.h"
#include "Flowspec/key/ReadFailure.h"

namespace Flowspec {

// Readers of the machine-made forms of a rule key. Each returns false, with the reason in
// `failure`, when it stopped.

/// Reads what precedes the command-line form in the value form: VRF, family and interface sets.
/// `rest` is the command-line form after them.
bool readValueHead( std::string_view text, FlowspecKey& key, std::string_view& rest,
                    ReadFailure& failure );

/// Appends the numbers after the first 7 characters of `text` (`interfaceSetAnchor`), at most
/// `max` each, to the key, up to a ";", whose position is `end`.
bool readInterfaceSetList( std::string_view text, U32 max, FlowspecKey& key, std::size_t& end,
                           ReadFailure& failure );

/// Reads the diagnostic form, without "@".
bool readDiagnostic( std::string_view text, FlowspecKey& key, ReadFailure& failure );

} // namespace Flowspec
