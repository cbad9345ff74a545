#include "Modules/SiblingModules.h"

#include "Classification/StructuredFilter.h"
#include "L3/ResolvedNexthopInfo.h"
#include "PolicyMap/PolicyMapModule.h"
#include "QosLib/ColoredCounters.h"
#include "SrTePolicy/PolicyKey.h"
#include "Vek/types/ValueInfo.h"
#include "Vrf/VrfIdMap.h"

namespace {

constinit const Vek::TypeInfo vrfIdInfo =
   Vek::plainInfo< Vrf::VrfIdMap::VrfId >( "Vrf::VrfIdMap::VrfId" );
constinit const Vek::TypeInfo coloredCountersInfo = Vek::plainInfo< QosLib::ColoredCounters >();
constinit const Vek::TypeInfo policyKeyInfo = Vek::plainInfo< SrTePolicy::PolicyKey >();
constinit const Vek::TypeInfo nexthopInfo = Vek::plainInfo< L3::ResolvedNexthopInfo >();
constinit const Vek::TypeInfo filterInfo = Vek::plainInfo< Classification::StructuredFilter >();

constexpr const Vek::TypeInfo* vrfTypes[] = { &vrfIdInfo };
constexpr const Vek::TypeInfo* qosTypes[] = { &coloredCountersInfo };
constexpr const Vek::TypeInfo* srTeTypes[] = { &policyKeyInfo };
constexpr const Vek::TypeInfo* l3Types[] = { &nexthopInfo };
constexpr const Vek::TypeInfo* classificationTypes[] = { &filterInfo };

constexpr std::string_view srTeNeeds[] = { "Zorv::IpGenAddr" };
constexpr std::string_view l3Needs[] = { "Zorv::IpGenAddr", "Zorv::IntfId" };
constexpr std::string_view classificationNeeds[] = { "Zorv::IpGenPrefix", "Osk::UniqueId" };

constinit Vek::Module vrf( "Vrf", vrfTypes, {} );
constinit Vek::Module qosLib( "QosLib", qosTypes, {} );
constinit Vek::Module srTePolicy( "SrTePolicy", srTeTypes, srTeNeeds );
constinit Vek::Module l3( "L3", l3Types, l3Needs );
constinit Vek::Module classification( "Classification", classificationTypes, classificationNeeds );

constexpr Vek::Module* modules[] = { &vrf, &qosLib,         &srTePolicy,
                                     &l3,  &classification, &PolicyMap::module };

} // namespace

std::span< Vek::Module* const > siblingModules() { return modules; }
