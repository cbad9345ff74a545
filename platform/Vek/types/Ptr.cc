#include "Vek/types/Ptr.h"

#include "Osk/Assert.h"

namespace Vek {

void detail::pointerIsNull() { OSK_ASSERT( false, "pointer != nullptr" ); }

Counted::~Counted() = default;

void Counted::destroy() const { delete this; }

void Counted::addAtomically() const { count_.add( 1 ); }

void Counted::dropAtomically() const {
   if ( count_.subtract( 1 ) == 1 ) {
      destroy();
   }
}

} // namespace Vek
