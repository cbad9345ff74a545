#include "agents/programd/ConfigWatcher.h"

#include <algorithm>

namespace Agents {

using namespace Flowspec;

ConfigWatcher::ConfigWatcher( Configs configs, Vek::Ptr< CliConfig > cliConfig )
   : configs_( std::move( configs ) ), cliConfig_( std::move( cliConfig ) ) {
   observations_.push_back( cliConfig_->observe( *this ) );
   for ( const Vek::Ptr< Config >& config : configs_ ) {
      observations_.push_back( config->observe( *this ) );
      rules_.push_back( std::make_unique< RuleWatcher >( config ) );
   }
}

Vek::Ptr< RuleConfig > ConfigWatcher::rule( const FlowspecKey& key ) const {
   for ( const auto& watcher : rules_ ) {
      if ( auto rule = watcher->rule( key ) ) {
         return rule;
      }
   }
   return nullptr;
}

bool ConfigWatcher::changed() const {
   return vrfsChanged_ || interfacesChanged_ || countersRequested_ ||
          std::ranges::any_of( rules_, []( const auto& watcher ) { return watcher->changed(); } );
}

ConfigWatcher::RuleKeys ConfigWatcher::takeRules() {
   RuleKeys rules;
   for ( const auto& watcher : rules_ ) {
      rules.merge( watcher->take() );
   }
   return rules;
}

void ConfigWatcher::onChange( const Vek::Change& change ) {
   const std::string_view field = change.field.name;
   if ( field == "vrfRuleConfig" ) {
      vrfsChanged_ = true;
   } else if ( field == "counterUpdateRequestTime" ) {
      countersRequested_ = true;
   } else {
      interfacesChanged_ = true;
   }
}

} // namespace Agents
