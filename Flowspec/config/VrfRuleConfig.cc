#include "Flowspec/config/VrfRuleConfig.h"

#include "Vek/entity/EntityInfo.h"

namespace Flowspec {

struct VrfRuleConfig::Table {
   using T = VrfRuleConfig;
   static constexpr Vek::Rows rows{
      Vek::key< &T::vrfId_ >( 258, "vrfId" ).as( "Vrf::VrfIdMap::VrfId" ),
      Vek::children< &T::rule_, &T::ruleIs, Vek::byKey( &T::ruleDel ) >( 259, "rule" ),
      Vek::children< &T::infeasibleRule_, &T::infeasibleRuleIs,
                     Vek::byKey( &T::infeasibleRuleDel ) >( 260, "infeasibleRule" ),
      Vek::operation< &T::dumpState >( 261, "dumpState", "context", "indent" ),
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, Vrf::VrfIdMap::VrfId >( Vek::TypeKind::child );
};

const Vek::TypeInfo& VrfRuleConfig::type() { return Table::info; }

Vek::Ptr< RuleConfig > VrfRuleConfig::rule( const FlowspecKey& key ) const {
   return childAt( rule_, key );
}

Vek::Ptr< RuleConfig > VrfRuleConfig::ruleIs( const FlowspecKey& key ) {
   return childIs< Table, &VrfRuleConfig::rule_ >( key, ruleConfigFactory );
}

void VrfRuleConfig::ruleDel( const FlowspecKey& key ) {
   childDel< Table, &VrfRuleConfig::rule_ >( key );
}

VrfRuleConfig::Rules::const_iterator VrfRuleConfig::ruleDel( Rules::const_iterator at ) {
   return childDelAt< Table, &VrfRuleConfig::rule_ >( at );
}

void VrfRuleConfig::ruleDelAll() { childDelAll< Table, &VrfRuleConfig::rule_ >(); }

Vek::Ptr< InfeasibleRule > VrfRuleConfig::infeasibleRule( const FlowspecKey& key ) const {
   return childAt( infeasibleRule_, key );
}

Vek::Ptr< InfeasibleRule > VrfRuleConfig::infeasibleRuleIs( const FlowspecKey& key ) {
   return childIs< Table, &VrfRuleConfig::infeasibleRule_ >( key, infeasibleRuleFactory );
}

void VrfRuleConfig::infeasibleRuleDel( const FlowspecKey& key ) {
   childDel< Table, &VrfRuleConfig::infeasibleRule_ >( key );
}

VrfRuleConfig::InfeasibleRules::const_iterator
VrfRuleConfig::infeasibleRuleDel( InfeasibleRules::const_iterator at ) {
   return childDelAt< Table, &VrfRuleConfig::infeasibleRule_ >( at );
}

void VrfRuleConfig::infeasibleRuleDelAll() {
   childDelAll< Table, &VrfRuleConfig::infeasibleRule_ >();
}

Vek::Ptr< VrfRuleConfig > vrfRuleConfigFactory( Vrf::VrfIdMap::VrfId vrfId ) {
   return Vek::create< VrfRuleConfig >( vrfId );
}

} // namespace Flowspec
