#pragma once

#include "Osk/Types.h"

namespace Mell {

namespace detail {
extern OSK_EXPORT bool threadSafe;
}

/// Whether several threads may create, count and drop objects of the runtime; off at first, when
/// one thread at a time does.
inline bool threadSafeMode() { return detail::threadSafe; }

/// Turns the thread-safe mode on or off. To be called while one thread alone uses such objects.
inline void threadSafeModeIs( bool on ) { detail::threadSafe = on; }

} // namespace Mell
