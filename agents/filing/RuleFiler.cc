#include "agents/filing/RuleFiler.h"

#include "Flowspec/config/MatchSetBuilder.h"

#include <algorithm>

namespace Agents {

using namespace Flowspec;

namespace {

U32 removeRule( VrfRuleConfig& vrf, const FlowspecKey& key ) {
   const U32 before = vrf.rule().size();
   vrf.ruleDel( key );
   return before - vrf.rule().size();
}

U32 removeInfeasible( VrfRuleConfig& vrf, const FlowspecKey& key ) {
   const U32 before = vrf.infeasibleRule().size();
   vrf.infeasibleRuleDel( key );
   return before - vrf.infeasibleRule().size();
}

} // namespace

RuleFiler::Filed RuleFiler::file( const FlowspecKey& key, const RuleAction& action, U64 ruleId ) {
   if ( auto error = matchSetFromKey( key, components_ ) ) {
      return { .outcome = Outcome::refused,
               .removed = remove( key ),
               .reason = std::move( error->message ) };
   }
   const MatchCompType component = sanitize( key.addressFamily() );
   return component == invalid ? fileFeasible( key, action, ruleId )
                               : fileInfeasible( key, component, ruleId );
}

U32 RuleFiler::remove( const FlowspecKey& key ) {
   const auto vrf = config_->vrfRuleConfig( key.vrfId() );
   return vrf ? removeRule( *vrf, key ) + removeInfeasible( *vrf, key ) : 0;
}

void RuleFiler::dropEmptyVrf( Vrf::VrfIdMap::VrfId vrfId ) {
   if ( const auto vrf = config_->vrfRuleConfig( vrfId );
        vrf && vrf->rule().empty() && vrf->infeasibleRule().empty() ) {
      config_->vrfRuleConfigDel( vrfId );
   }
}

// Makes the protocol that the components imply one of them, or gives the component that cannot be.
MatchCompType RuleFiler::sanitize( Zorv::AddressFamily family ) {
   const auto nothing = std::ranges::find_if( components_, matchesNothing );
   return nothing != components_.end() ? nothing->compType()
                                       : sanitizeMatchSet( family, components_ );
}

// What a key is follows from the key alone, so what is removed here and below was filed by others.
RuleFiler::Filed RuleFiler::fileFeasible( const FlowspecKey& key, const RuleAction& action,
                                          U64 ruleId ) {
   const Vek::Ptr< VrfRuleConfig > vrf = config_->vrfRuleConfigIs( key.vrfId() );
   Filed filed{ .outcome = Outcome::feasible, .removed = removeInfeasible( *vrf, key ) };
   const U32 before = vrf->rule().size();
   const Vek::Ptr< RuleConfig > rule = vrf->ruleIs( key );
   filed.added = vrf->rule().size() != before;
   matchSetReplace( *rule, components_ );
   rule->ruleIdIs( ruleId );
   actionIs( *rule, action );
   return filed;
}

RuleFiler::Filed RuleFiler::fileInfeasible( const FlowspecKey& key, MatchCompType component,
                                            U64 ruleId ) {
   const Vek::Ptr< VrfRuleConfig > vrf = config_->vrfRuleConfigIs( key.vrfId() );
   Filed filed{ .outcome = Outcome::infeasible, .removed = removeRule( *vrf, key ) };
   const U32 before = vrf->infeasibleRule().size();
   const Vek::Ptr< InfeasibleRule > rule = vrf->infeasibleRuleIs( key );
   filed.added = vrf->infeasibleRule().size() != before;
   rule->ruleIdIs( ruleId );
   rule->matchCompTypeIs( component );
   return filed;
}

} // namespace Agents
