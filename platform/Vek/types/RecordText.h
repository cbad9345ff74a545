#pragma once

#include "Vek/types/TypeInfo.h"

namespace Vek {

/// The text of a value of any registered value type, the same as of the template in ValueType.h.
///
/// A type that is built from its attributes has the text of these in declared order, each followed
/// by ";", as in "80;443;" for a range. In an attribute's text a "\" comes before each ";"
/// and
/// "\". Attributes that are such values themselves follow one another without a ";" of their own.
/// Any other type has a text of its own. `RangeException` for what has none: dump contexts, filters
/// and entities.
OSK_EXPORT String valueText( const TypeInfo& type, const void* value );

/// Builds a value of a registered type from that text; a single attribute may come without its ";".
/// Invariants hold, and fail, as in its constructor. `RangeException` when the text is none, and
/// then `value` is unchanged; a type that holds a collection fails an assertion of its library.
OSK_EXPORT void textToValue( const TypeInfo& type, std::string_view text, void* value );

} // namespace Vek
