#include "agents/filing/RuleWatcher.h"

namespace Agents {

using namespace Flowspec;

RuleWatcher::RuleWatcher( Vek::Ptr< Config > config ) : config_( std::move( config ) ) {
   watch( *config_ );
   for ( const auto& [vrfId, vrf] : config_->vrfRuleConfig() ) {
      watchRules( *vrf );
   }
}

Vek::Ptr< RuleConfig > RuleWatcher::rule( const FlowspecKey& key ) const {
   const auto vrf = config_->vrfRuleConfig( key.vrfId() );
   return vrf ? vrf->rule( key ) : nullptr;
}

void RuleWatcher::watch( Vek::Entity& entity ) {
   observations_.insert_or_assign( &entity, entity.observe( *this ) );
}

void RuleWatcher::watchRules( VrfRuleConfig& vrf ) {
   watch( vrf );
   for ( const Vek::Ptr< RuleConfig >& rule : vrf.rule() ) {
      watch( *rule );
      rules_.insert( rule->ruleKey() );
   }
}

void RuleWatcher::onChange( const Vek::Change& change ) {
   const Vek::TypeInfo* const type = &change.entity.typeInfo();
   if ( type == &RuleConfig::type() ) {
      rules_.insert( static_cast< const RuleConfig& >( change.entity ).ruleKey() );
   } else if ( type == &VrfRuleConfig::type() && change.field.name == "rule" ) {
      onRule( change );
   } else if ( type == &Config::type() && change.field.name == "vrfRuleConfig" ) {
      onVrf( change );
   }
}

void RuleWatcher::onVrf( const Vek::Change& change ) {
   if ( !change.removed ) {
      // Another observer may have removed it meanwhile.
      if ( const auto vrf = config_->vrfRuleConfig( change.keyAs< Vrf::VrfIdMap::VrfId >() ) ) {
         watchRules( *vrf );
      }
      return;
   }
   observations_.erase( change.removed );
   for ( const auto& rule : static_cast< const VrfRuleConfig* >( change.removed )->rule() ) {
      observations_.erase( rule.get() );
      rules_.insert( rule->ruleKey() );
   }
}

void RuleWatcher::onRule( const Vek::Change& change ) {
   const FlowspecKey& key = change.keyAs< FlowspecKey >();
   rules_.insert( key );
   if ( change.removed ) {
      observations_.erase( change.removed );
   } else if ( const auto rule =
                  static_cast< const VrfRuleConfig& >( change.entity ).rule( key ) ) {
      watch( *rule );
   }
}

} // namespace Agents
