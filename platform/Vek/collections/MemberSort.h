#pragma once

#include "Vek/collections/KeyPrefix.h"

#include <span>

namespace Vek::detail {

/// A member of a collection that is to be put in order, and the prefix of its key.
struct SortEntry {
   KeyPrefix prefix;
   const void* member;
};

/// Sorts by the prefixes, which are at hand, and only where two are equal by `isBefore`, which
/// reads the keys.
OSK_EXPORT void sortMembers( std::span< SortEntry > entries,
                             bool ( *isBefore )( const void* a, const void* b ) );

} // namespace Vek::detail
