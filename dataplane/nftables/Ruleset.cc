#include "dataplane/nftables/Ruleset.h"

#include <algorithm>

namespace Dataplane::Nftables {

bool Chain::operator==( const Chain& other ) const {
   return std::ranges::equal( parts, other.parts,
                              []( const Lines& a, const Lines& b ) { return a == b || *a == *b; } );
}

} // namespace Dataplane::Nftables
