#pragma once

#include "Osk/Types.h"

namespace Vek::detail {

/// The first of the positions from `first` to before `last` for which `isBefore( position )` does
/// not hold, or `last`; it holds for all positions before that one.
///
/// Public headers search with this: `<algorithm>` alone takes a tenth of their compile time.
template < typename IsBefore >
U32 firstNotBefore( U32 first, U32 last, IsBefore isBefore ) {
   while ( first < last ) {
      const U32 middle = first + ( last - first ) / 2;
      if ( isBefore( middle ) ) {
         first = middle + 1;
      } else {
         last = middle;
      }
   }
   return first;
}

} // namespace Vek::detail
