#include "Flowspec/Modules.h"
#include "Flowspec/types/Types.h"

namespace Flowspec {

namespace {

constexpr const Vek::TypeInfo* types[] = {
   &configInfo,
   &cliConfigInfo,
   &statusInfo,
   &counterInfo,
   &vrfRuleConfigInfo,
   &ruleConfigInfo,
   &infeasibleRuleInfo,
   &vrfRuleStatusInfo,
   &ruleStatusInfo,
   &afIntfCollInfo,
   &interfaceSetInfo,
   &flowspecKeyInfo,
   &matchOpValTypeInfo,
   &matchOpValIndexInfo,
   &matchOpValResultInfo,
   &matchComponentInfo,
   &numericalRangeInfo,
   &ipBitMaskInfo,
   &tcpBitMaskInfo,
   &trafficActionInfo,
   &trafficRedirectInfo,
   &actionFieldSetInfo,
   &intfSetIdInfo,
   &intfInterfaceSetConfigInfo,
   &interfaceEnableConfigInfo,
   &intfErrorKeyInfo,
   &unsupportedQualInfo,
   &counterVersionInfo,
   &matchCompTypeTypeInfo,
   &hwRuleProgrammingStatusTypeInfo,
   &ipVersionTypeInfo,
   &trafficRedirectTypeTypeInfo,
   &ipBitTypeInfo,
   &tcpBitTypeInfo,
   &flowspecUtilInfo,
};

constexpr std::string_view needs[] = {
   "Osk::DumpContext",
   "Osk::UniqueId",
   "Zorv::AddressFamily",
   "Zorv::IntfId",
   "Zorv::IpGenAddr",
   "Zorv::IpGenPrefix",
   "Zorv::RouteDistinguisher",
   "Classification::StructuredFilter",
   "QosLib::ColoredCounters",
   "SrTePolicy::PolicyKey",
   "Vrf::VrfIdMap::VrfId",
   "Vek::String",
   "L3::ResolvedNexthopInfo",
   "PolicyMap",
   "L3",
   "Zorv",
};

constinit Vek::Module module( "FlowspecDalb", types, needs );

const LibraryLoader loader( module );

} // namespace

} // namespace Flowspec
