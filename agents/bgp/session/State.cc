#include "agents/bgp/session/State.h"

namespace Bgp {

std::string_view text( State state ) {
   static constexpr std::string_view names[states] = { "Idle",     "Connect",     "Active",
                                                       "OpenSent", "OpenConfirm", "Established" };
   return names[static_cast< int >( state )];
}

} // namespace Bgp
