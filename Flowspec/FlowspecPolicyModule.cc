#include "Flowspec/LibraryLoader.h"
#include "Flowspec/policy/FlowspecPolicyConfig.h"
#include "Vek/types/ValueInfo.h"

namespace Flowspec {

namespace {

constexpr std::string_view needs[] = { "Osk::UniqueId", "Vek::String", "PolicyMap" };

constinit Vek::Module module(
   "FlowspecPolicy",
   Vek::types< FlowspecPolicyConfig, FlowspecPolicyActionContainer, FlowspecRedirectVrfRtAction >,
   needs );

const LibraryLoader loader( module );

} // namespace

} // namespace Flowspec
