#pragma once

#include "Osk/Types.h"
#include "Vek/text/String.h"

/// The types of a process as they are told to its peers, so that two processes with different ones
/// do not misread each other.
namespace Vek::log {

/// What decides the encoding of every registered entity and value type: a line for the type and one
/// for each streamed row, the types ascending by name. The text stays as it is until this thread
/// asks again after a module was loaded or unloaded.
OSK_EXPORT const String& typesText();

/// The part of it that tells of one type and of all that it is made of.
OSK_EXPORT String typesTextOf( std::string_view type );

/// A digest of such a text (64-bit FNV-1a).
OSK_EXPORT U64 typesDigest( std::string_view text );

/// Compares the types of a peer with those of this process: why it cannot be understood, naming the
/// first difference, or "" when it can. Either may have types that the other has not: roots of
/// those cannot be received, and no others are made of them. A peer that tells a type tells those
/// that it is made of, too.
OSK_EXPORT String typesDifference( std::string_view theirs );

/// Whether such a text tells of the type with a name.
OSK_EXPORT bool typesTell( std::string_view text, std::string_view name );

} // namespace Vek::log
