#include "Osk/Assert.h"

#include <cstdio>
#include <cstdlib>

namespace Osk {

void assertionFailed( const char* module, const char* text, const char* function ) {
   std::fprintf( stderr, "%s: assertion \"%s\" failed in %s\n", module, text, function );
   std::abort();
}

} // namespace Osk
