#include "Flowspec/Modules.h"
#include "Flowspec/types/PolicyTypes.h"

namespace Flowspec {

namespace {

constexpr const Vek::TypeInfo* types[] = {
   &policyConfigInfo,
   &policyActionContainerInfo,
   &redirectVrfRtActionInfo,
};

constexpr std::string_view needs[] = { "Osk::UniqueId", "Vek::String", "PolicyMap" };

constinit Vek::Module module( "FlowspecPolicy", types, needs );

const LibraryLoader loader( module );

} // namespace

} // namespace Flowspec
