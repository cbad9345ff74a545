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

// By this name a linker finds what is in this file, though nothing calls it.
extern "C" const char flowspecPolicyModule;
const char flowspecPolicyModule = 0;
