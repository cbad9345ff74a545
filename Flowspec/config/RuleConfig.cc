#include "Flowspec/config/RuleConfig.h"

#include "Osk/Assert.h"
#include "Vek/entity/EntityInfo.h"

namespace Flowspec {

struct RuleConfig::Table {
   using T = RuleConfig;
   static constexpr Vek::Rows rows{
      Vek::key< &T::ruleKey_ >( 258, "ruleKey" ),
      Vek::attr< &T::ruleId_, &T::ruleIdIs >( 259, "ruleId" ),
      Vek::coll< &T::matchSet_, &T::matchSetIs, Vek::byKey( &T::matchSetDel ),
                 &MatchComponent::compType >( 260, "matchSet" ),
      Vek::attr< &T::actionFieldSet_, &T::actionFieldSetIs >( 261, "actionFieldSet" ),
      Vek::attr< &T::trafficAction_, &T::trafficActionIs >( 262, "trafficAction" ),
      Vek::attr< &T::trafficRedirect_, &T::trafficRedirectIs >( 263, "trafficRedirect" ),
      Vek::attr< &T::trafficMarkingDscp_, &T::trafficMarkingDscpIs >( 264, "trafficMarkingDscp" ),
      Vek::attr< &T::trafficRateLimit_, &T::trafficRateLimitIs >( 265, "trafficRateLimit" ),
      Vek::operation< &T::infeasibleMatchInMatchSet >( 266, "infeasibleMatchInMatchSet" ),
      Vek::operation< &T::sanitizeMatchSet >( 267, "sanitizeMatchSet" ),
      Vek::operation< &T::dumpState >( 268, "dumpState", "context", "indent" ),
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, FlowspecKey >( Vek::TypeKind::child );
};

const Vek::TypeInfo& RuleConfig::type() { return Table::info; }

void RuleConfig::ruleIdIs( U64 ruleId ) { put< Table, &RuleConfig::ruleId_ >( ruleId ); }

void RuleConfig::actionFieldSetIs( ActionFieldSet actionFieldSet ) {
   put< Table, &RuleConfig::actionFieldSet_ >( actionFieldSet );
}

void RuleConfig::trafficActionIs( TrafficAction trafficAction ) {
   put< Table, &RuleConfig::trafficAction_ >( trafficAction );
}

void RuleConfig::trafficRedirectIs( const TrafficRedirect& trafficRedirect ) {
   put< Table, &RuleConfig::trafficRedirect_ >( trafficRedirect );
}

void RuleConfig::trafficMarkingDscpIs( Zorv::IpTos trafficMarkingDscp ) {
   put< Table, &RuleConfig::trafficMarkingDscp_ >( trafficMarkingDscp );
}

void RuleConfig::trafficRateLimitIs( float trafficRateLimit ) {
   put< Table, &RuleConfig::trafficRateLimit_ >( trafficRateLimit );
}

const MatchComponent& RuleConfig::matchSet( MatchCompType compType ) const {
   static const MatchComponent empty;
   const auto at = matchSet_.find( compType );
   return at == matchSet_.end() ? empty : at->second;
}

void RuleConfig::matchSetIs( const MatchComponent& component ) {
   memberIs< Table, &RuleConfig::matchSet_ >( component.compType(), component );
}

void RuleConfig::matchSetDel( MatchCompType compType ) {
   memberDel< Table, &RuleConfig::matchSet_ >( compType );
}

RuleConfig::MatchSet::const_iterator RuleConfig::matchSetDel( MatchSet::const_iterator at ) {
   return memberDelAt< Table, &RuleConfig::matchSet_ >( at );
}

void RuleConfig::matchSetDelAll() { memberDelAll< Table, &RuleConfig::matchSet_ >(); }

Vek::Ptr< RuleConfig > ruleConfigFactory( const FlowspecKey& ruleKey ) {
   return Vek::create< RuleConfig >( ruleKey );
}

std::ostream& operator<<( std::ostream& out, const RuleConfig* rule ) {
   OSK_ASSERT( rule, "rule != nullptr" );
   return Vek::writeText(
      out, Vek::concat( "<matchSets=", rule->matchSet().size(),
                        ";actionFieldSet=", rule->actionFieldSet().stringValue(), '>' ) );
}

} // namespace Flowspec
