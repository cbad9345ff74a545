#include "Zorv/ZorvModule.h"

#include "Vek/types/ValueInfo.h"
#include "Zorv/IntfId.h"
#include "Zorv/IpGenPrefix.h"
#include "Zorv/IpTos.h"
#include "Zorv/RouteDistinguisher.h"

namespace Zorv {

using Vek::Plain;

constinit Vek::Module
   zorvModule( "Zorv",
               Vek::types< Plain< AddressFamily >, Plain< IntfId >, Plain< IpGenAddr >,
                           Plain< IpGenPrefix >, Plain< IpTos >, Plain< RouteDistinguisher > >,
               {} );

} // namespace Zorv
