#include "agents/peerd/RuleRoot.h"

#include "peers/RuleOrigin.h"

namespace Peerd {

using Flowspec::FlowspecKey;

void RuleRoot::withdraw( const FlowspecKey& key ) {
   filer_.remove( key );
   changedVrfs_.insert( key.vrfId() );
}

void RuleRoot::file( const FlowspecKey& key, const Flowspec::RuleAction& action, PeerId from ) {
   others_.erase( key );
   // What cannot be taken apart was refused before.
   filer_.file( key, action, Peers::ruleIdOf( from, key.hash() ) );
   changedVrfs_.insert( key.vrfId() );
}

void RuleRoot::commit() {
   for ( const auto vrfId : changedVrfs_ ) {
      filer_.dropEmptyVrf( vrfId );
   }
   changedVrfs_.clear();
}

void RuleRoot::dropOthers( const std::function< bool( const FlowspecKey& ) >& isFiled ) {
   for ( const auto& [vrfId, vrf] : config_->vrfRuleConfig() ) {
      for ( const auto& rule : vrf->rule() ) {
         if ( !isFiled( rule->ruleKey() ) ) {
            others_.insert( rule->ruleKey() );
         }
      }
      for ( const auto& rule : vrf->infeasibleRule() ) {
         if ( !isFiled( rule->ruleKey() ) ) {
            others_.insert( rule->ruleKey() );
         }
      }
   }
}

bool RuleRoot::work( std::size_t limit ) {
   for ( ; limit > 0 && !others_.empty(); --limit ) {
      const auto key = others_.extract( others_.begin() );
      filer_.remove( key.value() );
      changedVrfs_.insert( key.value().vrfId() );
   }
   commit();
   return !others_.empty();
}

} // namespace Peerd
