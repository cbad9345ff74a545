#include "Loading/SiblingModules.h"

#include "Classification/StructuredFilter.h"
#include "L3/ResolvedNexthopInfo.h"
#include "PolicyMap/PolicyMapModule.h"
#include "QosLib/ColoredCounters.h"
#include "SrTePolicy/PolicyKey.h"
#include "Vek/types/ValueInfo.h"
#include "Vrf/VrfIdMap.h"

namespace {

using Vek::Plain;
using Vek::types;

// A number by itself, shown under a name.
struct VrfId {
   static const Vek::TypeInfo& typeInfo() {
      static constexpr Vek::TypeInfo info =
         Vek::plainInfo< Vrf::VrfIdMap::VrfId >( "Vrf::VrfIdMap::VrfId" );
      return info;
   }
};

constexpr std::string_view srTeNeeds[] = { "Zorv::IpGenAddr" };
constexpr std::string_view l3Needs[] = { "Zorv::IpGenAddr", "Zorv::IntfId" };
constexpr std::string_view classificationNeeds[] = { "Zorv::IpGenPrefix", "Osk::UniqueId" };

constinit Vek::Module vrf( "Vrf", types< VrfId >, {} );
constinit Vek::Module qosLib( "QosLib", types< Plain< QosLib::ColoredCounters > >, {} );
constinit Vek::Module srTePolicy( "SrTePolicy", types< Plain< SrTePolicy::PolicyKey > >,
                                  srTeNeeds );
constinit Vek::Module l3( "L3", types< Plain< L3::ResolvedNexthopInfo > >, l3Needs );
constinit Vek::Module classification( "Classification",
                                      types< Plain< Classification::StructuredFilter > >,
                                      classificationNeeds );

constexpr Vek::Module* modules[] = { &vrf, &qosLib,         &srTePolicy,
                                     &l3,  &classification, &PolicyMap::module };

} // namespace

std::span< Vek::Module* const > siblingModules() { return modules; }
