#include "Flowspec/LibraryLoader.h"
#include "Flowspec/config/CliConfig.h"
#include "Flowspec/config/Config.h"
#include "Flowspec/status/Counter.h"
#include "Flowspec/status/Status.h"
#include "Flowspec/vocab/FlowspecUtil.h"
#include "Vek/types/ValueInfo.h"

namespace Flowspec {

namespace {

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

constinit Vek::Module module(
   "FlowspecDalb",
   Vek::types< Config, CliConfig, Status, Counter, VrfRuleConfig, RuleConfig, InfeasibleRule,
               VrfRuleStatus, RuleStatus, AfIntfColl, InterfaceSet, FlowspecKey, MatchOpVal,
               MatchOpValIndex, MatchOpValResult, MatchComponent, NumericalRange, IpBitMask,
               TcpBitMask, TrafficAction, TrafficRedirect, ActionFieldSet, FlowspecIntfSetId,
               FlowspecIntfInterfaceSetConfig, InterfaceEnableConfig, IntfErrorKey, UnsupportedQual,
               CounterVersion, MatchCompType, HwRuleProgrammingStatus, IpVersion,
               TrafficRedirectType, IpBitMask::IpBit, TcpBitMask::TcpBit, FlowspecUtil >,
   needs );

const LibraryLoader loader( module );

} // namespace

} // namespace Flowspec

// By this name a linker finds what is in this file, though nothing calls it.
extern "C" const char flowspecDalbModule;
const char flowspecDalbModule = 0;
