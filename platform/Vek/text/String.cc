#include "Vek/text/String.h"

#include <ostream>

namespace Vek {

std::ostream& writeText( std::ostream& out, std::string_view text ) {
   return out.write( text.data(), static_cast< std::streamsize >( text.size() ) );
}

} // namespace Vek
