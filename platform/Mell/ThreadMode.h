#pragma once

#include "Osk/Types.h"

#include <atomic>

namespace Mell {

namespace detail {
extern OSK_EXPORT std::atomic< bool > threadSafe;
}

/// Whether several threads may create, count and drop objects of the runtime; off at first, when
/// one thread at a time does.
inline bool threadSafeMode() { return detail::threadSafe.load( std::memory_order_relaxed ); }

/// Turns the thread-safe mode on or off. To be called while one thread alone uses such objects.
inline void threadSafeModeIs( bool on ) {
   detail::threadSafe.store( on, std::memory_order_relaxed );
}

} // namespace Mell
