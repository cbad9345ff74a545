#include "Vek/types/RuntimeModule.h"

#include "Osk/DumpContext.h"
#include "Osk/UniqueId.h"
#include "Vek/types/ValueInfo.h"

namespace Vek {

namespace {

constinit const TypeInfo infos[] = {
   plainInfo< bool >(),
   plainInfo< char >(),
   plainInfo< U8 >(),
   plainInfo< U16 >(),
   plainInfo< U32 >(),
   plainInfo< U64 >(),
   plainInfo< float >(),
   plainInfo< double >(),
   plainInfo< String >(),
   plainInfo< Osk::UniqueId >(),
   plainInfo< Osk::DumpContext >(),
};
constexpr const TypeInfo* types[] = { &infos[0], &infos[1], &infos[2], &infos[3],
                                      &infos[4], &infos[5], &infos[6], &infos[7],
                                      &infos[8], &infos[9], &infos[10] };
static_assert( std::size( infos ) == std::size( types ) );

} // namespace

constinit Module runtimeModule( "Vek", types, {} );

} // namespace Vek
