#include "Vek/types/RuntimeModule.h"

#include "Osk/DumpContext.h"
#include "Osk/UniqueId.h"
#include "Vek/types/ValueInfo.h"

namespace Vek {

namespace {

template < typename... T >
constexpr const auto& plain = types< Plain< T >... >;

} // namespace

constinit Module runtimeModule(
   "Vek",
   plain< bool, char, U8, U16, U32, U64, float, double, String, Osk::UniqueId, Osk::DumpContext >,
   {} );

} // namespace Vek
