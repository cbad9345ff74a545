#include "Vek/types/Ptr.h"

#include "Osk/Assert.h"

#include <atomic>

namespace Vek {

void detail::pointerIsNull() { OSK_ASSERT( false, "pointer != nullptr" ); }

Counted::~Counted() = default;

void Counted::destroy() const { delete this; }

void Counted::addAtomically() const {
   std::atomic_ref( count_ ).fetch_add( 1, std::memory_order_relaxed );
}

void Counted::dropAtomically() const {
   if ( std::atomic_ref( count_ ).fetch_sub( 1, std::memory_order_acq_rel ) == 1 ) {
      destroy();
   }
}

} // namespace Vek
