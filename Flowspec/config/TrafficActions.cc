#include "Flowspec/config/TrafficActions.h"

#include "Flowspec/vocab/FlagSetLog.h"
#include "Vek/types/ValueInfo.h"

namespace Flowspec {

struct TrafficRedirect::Table {
   using T = TrafficRedirect;
   static constexpr Vek::Rows rows{
      Vek::attr< &T::vrfId_, &T::vrfIdIs >( 2, "vrfId" ).as( "Vrf::VrfIdMap::VrfId" ),
      Vek::attr< &T::type_, &T::typeIs >( 3, "type" ),
      Vek::attr< &T::addr_, &T::addrIs >( 4, "addr" ),
      Vek::attr< &T::srTePolicyKey_, &T::srTePolicyKeyIs >( 5, "srTePolicyKey" ),
      Vek::attr< &T::copy_, &T::copyIs >( 6, "copy" ),
   };
   static constexpr Vek::TypeInfo info = Vek::valueInfo< T, rows >();
};

namespace {

using Vek::property;
using A = ActionFieldSet;

constexpr Vek::Rows actionFieldSetRows{
   property< &A::invalid, &A::invalidIs >( 2, "invalid" ),
   property< &A::trafficPermit, &A::trafficPermitIs >( 3, "trafficPermit" ),
   property< &A::trafficDrop, &A::trafficDropIs >( 4, "trafficDrop" ),
   property< &A::trafficRate, &A::trafficRateIs >( 5, "trafficRate" ),
   property< &A::trafficAction, &A::trafficActionIs >( 6, "trafficAction" ),
   property< &A::trafficRedirect, &A::trafficRedirectIs >( 7, "trafficRedirect" ),
   property< &A::trafficMarking, &A::trafficMarkingIs >( 8, "trafficMarking" ),
   property< &A::trafficRatePkt, &A::trafficRatePktIs >( 9, "trafficRatePkt" ),
};
constexpr Vek::Rows trafficActionRows{
   property< &TrafficAction::sampleAndLog, &TrafficAction::sampleAndLogIs >( 2, "sampleAndLog" ),
   property< &TrafficAction::continueMatch, &TrafficAction::continueMatchIs >( 3, "continueMatch" ),
};

} // namespace

const Vek::TypeInfo& ActionFieldSet::typeInfo() {
   static constexpr Vek::TypeInfo info = Vek::valueInfo< ActionFieldSet, actionFieldSetRows >();
   return info;
}

const Vek::TypeInfo& TrafficAction::typeInfo() {
   static constexpr Vek::TypeInfo info = Vek::valueInfo< TrafficAction, trafficActionRows >();
   return info;
}

const Vek::TypeInfo& TrafficRedirect::typeInfo() { return Table::info; }

void logWrite( Vek::LogWriter& out, const ActionFieldSet& set ) { out.u32( set.value() ); }
void logRead( Vek::LogReader& in, ActionFieldSet& set ) {
   set = readFlagSet< ActionFieldSet >( in );
}
void logWrite( Vek::LogWriter& out, const TrafficAction& set ) { out.u32( set.value() ); }
void logRead( Vek::LogReader& in, TrafficAction& set ) { set = readFlagSet< TrafficAction >( in ); }

} // namespace Flowspec
