#include "Vek/collections/MemberSort.h"

#include <algorithm>

namespace Vek::detail {

void sortMembers( std::span< SortEntry > entries,
                  bool ( *isBefore )( const void* a, const void* b ) ) {
   std::ranges::sort( entries, [&]( const SortEntry& a, const SortEntry& b ) {
      return a.prefix != b.prefix ? a.prefix < b.prefix : isBefore( a.member, b.member );
   } );
}

} // namespace Vek::detail
