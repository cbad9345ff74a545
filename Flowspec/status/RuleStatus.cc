#include "Flowspec/status/RuleStatus.h"

#include "Vek/entity/EntityInfo.h"

namespace Flowspec {

struct RuleStatus::Table {
   using T = RuleStatus;
   static constexpr Vek::Rows rows{
      Vek::key< &T::key_ >( 258, "key" ),
      Vek::key< &T::key_ >( 259, "ruleKey" ),
      Vek::attr< &T::statusCode_, &T::statusCodeIs >( 260, "statusCode" ),
      Vek::attr< &T::errorReason_, &T::errorReasonIs >( 261, "errorReason" ),
      Vek::attr< &T::coloredCounters_, &T::coloredCountersIs >( 262, "coloredCounters" ),
      Vek::view< &T::packetCount, &T::packetCountIs >( 263, "packetCount" ),
      Vek::view< &T::byteCount, &T::byteCountIs >( 264, "byteCount" ),
      Vek::attr< &T::version_, &T::versionIs >( 265, "version" ),
      Vek::attr< &T::resolvedNexthopInfo_, &T::resolvedNexthopInfoIs >( 266,
                                                                        "resolvedNexthopInfo" ),
      Vek::derived< &T::isProgrammed >( 267, "isProgrammed" ),
      Vek::operation< &T::dumpState >( 268, "dumpState", "context", "indent" ),
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, FlowspecKey >( Vek::TypeKind::child, Vek::trackedHeap< T > );
};

const Vek::TypeInfo& RuleStatus::type() { return Table::info; }

void RuleStatus::statusCodeIs( HwRuleProgrammingStatus statusCode ) {
   put< Table, &RuleStatus::statusCode_ >( statusCode );
}

void RuleStatus::errorReasonIs( const Vek::String& errorReason ) {
   put< Table, &RuleStatus::errorReason_ >( errorReason );
}

void RuleStatus::coloredCountersIs( const QosLib::ColoredCounters& coloredCounters ) {
   put< Table, &RuleStatus::coloredCounters_ >( coloredCounters );
}

void RuleStatus::packetCountIs( U64 packetCount ) {
   QosLib::ColoredCounters counters = coloredCounters_;
   counters.packetHitsIs( packetCount );
   coloredCountersIs( counters );
}

void RuleStatus::byteCountIs( U64 byteCount ) {
   QosLib::ColoredCounters counters = coloredCounters_;
   counters.byteHitsIs( byteCount );
   coloredCountersIs( counters );
}

void RuleStatus::versionIs( Osk::UniqueId version ) {
   put< Table, &RuleStatus::version_ >( version );
}

void RuleStatus::resolvedNexthopInfoIs( const L3::ResolvedNexthopInfo& resolvedNexthopInfo ) {
   put< Table, &RuleStatus::resolvedNexthopInfo_ >( resolvedNexthopInfo );
}

Vek::Ptr< RuleStatus > ruleStatusFactory( const FlowspecKey& key ) {
   return Vek::create< RuleStatus >( key );
}

} // namespace Flowspec
