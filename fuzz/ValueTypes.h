#pragma once

#include "Flowspec/FlowspecDalb.h"
#include "Flowspec/FlowspecPolicy.h"

namespace Fuzz {

/// Appended to, never reordered: a corpus selects by position.
inline const Vek::ValueType* const valueTypes[] = {
   &Vek::valueType< bool >,
   &Vek::valueType< U8 >,
   &Vek::valueType< U16 >,
   &Vek::valueType< U32 >,
   &Vek::valueType< U64 >,
   &Vek::valueType< float >,
   &Vek::valueType< double >,
   &Vek::valueType< Vek::String >,
   &Vek::valueType< Osk::UniqueId >,
   &Vek::valueType< Zorv::AddressFamily >,
   &Vek::valueType< Zorv::IntfId >,
   &Vek::valueType< Zorv::IpTos >,
   &Vek::valueType< Zorv::IpGenAddr >,
   &Vek::valueType< Zorv::IpGenPrefix >,
   &Vek::valueType< Zorv::RouteDistinguisher >,
   &Vek::valueType< QosLib::ColoredCounters >,
   &Vek::valueType< SrTePolicy::PolicyKey >,
   &Vek::valueType< L3::ResolvedNexthopInfo >,
   &Vek::valueType< PolicyMap::PoliceRate >,
   &Vek::valueType< PolicyMap::PoliceBurstSize >,
   &Vek::valueType< PolicyMap::Dscp >,
   &Vek::valueType< Flowspec::FlowspecKey >,
   &Vek::valueType< Flowspec::MatchCompType >,
   &Vek::valueType< Flowspec::HwRuleProgrammingStatus >,
   &Vek::valueType< Flowspec::TrafficRedirectType >,
   &Vek::valueType< Flowspec::IpVersion >,
   &Vek::valueType< Flowspec::TrafficAction >,
   &Vek::valueType< Flowspec::ActionFieldSet >,
   &Vek::valueType< Flowspec::MatchOpVal >,
   &Vek::valueType< Flowspec::MatchOpValIndex >,
   &Vek::valueType< Flowspec::MatchOpValResult >,
   &Vek::valueType< Flowspec::NumericalRange >,
   &Vek::valueType< Flowspec::IpBitMask >,
   &Vek::valueType< Flowspec::TcpBitMask >,
   &Vek::valueType< Flowspec::MatchComponent >,
   &Vek::valueType< Flowspec::TrafficRedirect >,
   &Vek::valueType< Flowspec::FlowspecIntfSetId >,
   &Vek::valueType< Flowspec::FlowspecIntfInterfaceSetConfig >,
   &Vek::valueType< Flowspec::InterfaceEnableConfig >,
   &Vek::valueType< Flowspec::IntfErrorKey >,
   &Vek::valueType< Flowspec::CounterVersion >,
   &Vek::valueType< Flowspec::UnsupportedQual >,
};

} // namespace Fuzz
