#pragma once

#include "Vek/entity/Entity.h"

namespace Tools {

/// Appends a value of any streamed type as text for people, on one line: a string in quotation
/// marks; a record, and what holds collections, by its attributes and members, as in
/// `{compType ipProto, prefix -, numericalRange {{rangeMin 6, rangeMax 6}}}`; any other value as
/// the runtime writes it, or "-" when that is nothing. Control characters and bytes above 126 stand
/// there as `\xNN`.
void appendValue( Vek::String& out, const Vek::ValueType& type, const void* value );

/// The state of a root entity with all that it owns, lines that each end with a newline: what its
/// `dumpState` operation writes, and for a type without one a line for each attribute, member and
/// child (its constructor parameters), with the lines of a child below it.
Vek::String stateText( Vek::Entity& root );

} // namespace Tools
