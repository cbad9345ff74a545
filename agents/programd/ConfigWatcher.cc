#include "agents/programd/ConfigWatcher.h"

namespace Agents {

using namespace Flowspec;

ConfigWatcher::ConfigWatcher( Configs configs, Vek::Ptr< CliConfig > cliConfig )
   : configs_( std::move( configs ) ), cliConfig_( std::move( cliConfig ) ) {
   watch( *cliConfig_ );
   for ( const Vek::Ptr< Config >& config : configs_ ) {
      watch( *config );
      for ( const auto& [vrfId, vrf] : config->vrfRuleConfig() ) {
         watchRules( *vrf );
      }
   }
}

Vek::Ptr< RuleConfig > ConfigWatcher::rule( const FlowspecKey& key ) const {
   for ( const Vek::Ptr< Config >& config : configs_ ) {
      const auto vrf = config->vrfRuleConfig( key.vrfId() );
      if ( auto rule = vrf ? vrf->rule( key ) : nullptr ) {
         return rule;
      }
   }
   return nullptr;
}

void ConfigWatcher::watch( Vek::Entity& entity ) {
   observations_.insert_or_assign( &entity, entity.observe( *this ) );
}

void ConfigWatcher::watchRules( VrfRuleConfig& vrf ) {
   watch( vrf );
   for ( const Vek::Ptr< RuleConfig >& rule : vrf.rule() ) {
      watch( *rule );
      rules_.insert( rule->ruleKey() );
   }
}

void ConfigWatcher::onChange( const Vek::Change& change ) {
   const Vek::TypeInfo* const type = &change.entity.typeInfo();
   const std::string_view field = change.field.name;
   if ( type == &RuleConfig::type() ) {
      rules_.insert( static_cast< const RuleConfig& >( change.entity ).ruleKey() );
   } else if ( type == &VrfRuleConfig::type() ) {
      if ( field == "rule" ) {
         onRule( change );
      }
   } else if ( field == "vrfRuleConfig" ) {
      onVrf( change );
   } else if ( field == "counterUpdateRequestTime" ) {
      countersRequested_ = true;
   } else {
      interfacesChanged_ = true;
   }
}

void ConfigWatcher::onVrf( const Vek::Change& change ) {
   vrfsChanged_ = true;
   if ( !change.removed ) {
      // Another observer may have removed it meanwhile.
      const auto& config = static_cast< const Config& >( change.entity );
      if ( const auto vrf = config.vrfRuleConfig( change.keyAs< Vrf::VrfIdMap::VrfId >() ) ) {
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

void ConfigWatcher::onRule( const Vek::Change& change ) {
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
