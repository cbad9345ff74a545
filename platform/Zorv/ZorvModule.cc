#include "Zorv/ZorvModule.h"

#include "Vek/types/ValueInfo.h"
#include "Zorv/IntfId.h"
#include "Zorv/IpGenPrefix.h"
#include "Zorv/IpTos.h"
#include "Zorv/RouteDistinguisher.h"

namespace Zorv {

namespace {

constinit const Vek::TypeInfo addressFamilyInfo = Vek::plainInfo< AddressFamily >();
constinit const Vek::TypeInfo intfIdInfo = Vek::plainInfo< IntfId >();
constinit const Vek::TypeInfo ipGenAddrInfo = Vek::plainInfo< IpGenAddr >();
constinit const Vek::TypeInfo ipGenPrefixInfo = Vek::plainInfo< IpGenPrefix >();
constinit const Vek::TypeInfo ipTosInfo = Vek::plainInfo< IpTos >();
constinit const Vek::TypeInfo routeDistinguisherInfo = Vek::plainInfo< RouteDistinguisher >();

constexpr const Vek::TypeInfo* types[] = { &addressFamilyInfo, &intfIdInfo,
                                           &ipGenAddrInfo,     &ipGenPrefixInfo,
                                           &ipTosInfo,         &routeDistinguisherInfo };

} // namespace

constinit Vek::Module zorvModule( "Zorv", types, {} );

} // namespace Zorv
