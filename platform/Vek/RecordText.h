#pragma once

#include "Vek/TypeInfo.h"

namespace Vek {

/// The text of a value of any registered value type: for one that is built from its attributes
/// these in declared order, each followed by ";", as in "80;443;" for a range; else the type's own.
OSK_EXPORT String valueText( const TypeInfo& type, const void* value );

/// Builds a value of a registered type from that text. Invariants hold as in its constructor.
/// `RangeException` when the text is none, and then `value` is unchanged; a type that holds a
/// collection fails an assertion of its library. Texts of attributes cannot hold ";".
OSK_EXPORT void textToValue( const TypeInfo& type, std::string_view text, void* value );

} // namespace Vek
