#include "agents/programd/Programmer.h"

#include <algorithm>

namespace Agents {

using namespace Dataplane;
using namespace Flowspec;
using Zorv::IntfId;

Programmer::Programmer( ConfigWatcher::Configs configs, Vek::Ptr< CliConfig > cliConfig,
                        Backend& backend, Vek::Ptr< Status > status, Vek::Ptr< Counter > counter )
   : watcher_( std::move( configs ), std::move( cliConfig ) ), backend_( backend ),
     status_( std::move( status ) ), counter_( std::move( counter ) ),
     countersWanted_( watcher_.cliConfig().counterUpdateRequestTime() >
                      status_->counterUpdateTime() ) {
   for ( const auto& [vrfId, vrf] : status_->vrfRuleStatus() ) {
      for ( const Vek::Ptr< RuleStatus >& rule : vrf->ruleStatus() ) {
         leftOver_.insert( rule->key() );
      }
   }
   writeProfile( *status_, backend_.profile() );
   backend_.onNews( [this] {
      tellInterfaces();
      apply();
   } );
}

Programmer::~Programmer() { backend_.onNews( {} ); }

bool Programmer::configured() const {
   bool enabled = !watcher_.cliConfig().enabledIntf().empty();
   bool hasRules = false;
   for ( const Vek::Ptr< Config >& config : watcher_.configs() ) {
      enabled = enabled || !config->enabledIntf().empty();
      for ( const auto& [vrfId, vrf] : config->vrfRuleConfig() ) {
         hasRules = hasRules || !vrf->rule().empty() || !vrf->infeasibleRule().empty();
      }
   }
   return enabled && hasRules;
}

bool Programmer::process( double now ) {
   const bool interfaces = watcher_.takeInterfaces();
   if ( interfaces ) {
      giveInterfaces();
   }
   const bool vrfs = watcher_.takeVrfs();
   if ( interfaces || vrfs ) {
      tellInterfaces();
   }
   const bool rules = giveRules();
   if ( rules || interfaces ) {
      apply();
   }
   const bool requested = watcher_.takeCounterRequest();
   if ( requested || std::exchange( countersWanted_, false ) ) {
      readCounters( now );
   }
   return rules || interfaces || vrfs;
}

void Programmer::tellInterfaces() {
   std::set< Vrf::VrfIdMap::VrfId > configured;
   for ( const Vek::Ptr< Config >& config : watcher_.configs() ) {
      for ( const auto& [vrfId, vrf] : config->vrfRuleConfig() ) {
         configured.insert( vrfId );
      }
   }
   writeVrfs( *status_, std::move( configured ), backend_.interfaces() );
}

void Programmer::apply() {
   for ( const RuleChange& change : backend_.apply() ) {
      writeRule( *status_, change );
   }
   writeInterfaceSets( *status_, backend_.interfaceSetsInUse(), members_ );
}

void Programmer::readCounters( double now ) {
   backend_.readCounters();
   writeCounters( *status_, *counter_, backend_, now );
}

// Whether any rule was given or taken away.
bool Programmer::giveRules() {
   ConfigWatcher::RuleKeys keys = watcher_.takeRules();
   keys.merge( leftOver_ );
   leftOver_.clear();
   for ( const FlowspecKey& key : keys ) {
      if ( const auto rule = watcher_.rule( key ) ) {
         backend_.ruleIs( *rule );
      } else {
         backend_.ruleDel( key );
         if ( const auto status = status_->vrfRuleStatus( key.vrfId() ) ) {
            status->ruleStatusDel( key );
         }
      }
   }
   return !keys.empty();
}

void Programmer::giveInterfaces() {
   const CliConfig& cli = watcher_.cliConfig();
   std::set< IntfId > interfaces;
   for ( const auto& [intf, enabled] : cli.enabledIntf() ) {
      interfaces.insert( intf );
   }
   for ( const auto& [intf, name] : cli.sourceVrfOverride() ) {
      interfaces.insert( intf );
   }
   for ( const Vek::Ptr< Config >& config : watcher_.configs() ) {
      for ( const IntfId intf : config->enabledIntf() ) {
         interfaces.insert( intf );
      }
   }
   members_.clear();
   for ( const auto& [intf, config] : cli.intfInterfaceSetConfig() ) {
      interfaces.insert( intf );
      for ( const FlowspecIntfSetId id : config.interfaceSet() ) {
         if ( id.intfSetId() ) {
            members_[*id.intfSetId()].insert( intf );
         }
      }
   }
   for ( const IntfId intf : given_ ) {
      if ( !interfaces.contains( intf ) ) {
         backend_.interfaceIs( intf, {} );
      }
   }
   for ( const IntfId intf : interfaces ) {
      backend_.interfaceIs( intf, setupOf( intf ) );
   }
   given_ = std::move( interfaces );
   backend_.interfaceSetLimitIs( cli.interfaceSetCountLimit() );
}

InterfaceSetup Programmer::setupOf( IntfId intf ) const {
   using Zorv::AddressFamily;
   const CliConfig& cli = watcher_.cliConfig();
   const InterfaceEnableConfig enabled = cli.enabledIntf( intf );
   InterfaceSetup setup{ enabled.ipVersion(), cli.sourceVrfOverride( intf ), {} };
   const auto enables = [intf]( const Vek::Ptr< Config >& config ) {
      return config->enabledIntf().find( intf ) != config->enabledIntf().end();
   };
   if ( std::ranges::any_of( watcher_.configs(), enables ) ) {
      const Profile& profile = backend_.profile();
      setup.enabled.ipv4Is( setup.enabled.ipv4() || profile.family( AddressFamily::ipv4 ) );
      setup.enabled.ipv6Is( setup.enabled.ipv6() || profile.family( AddressFamily::ipv6 ) );
   }
   if ( setup.sourceVrf.empty() ) {
      setup.sourceVrf = enabled.sourceVrfOverride();
   }
   const FlowspecIntfInterfaceSetConfig sets = cli.intfInterfaceSetConfig( intf );
   for ( const FlowspecIntfSetId id : sets.interfaceSet() ) {
      if ( id.intfSetId() ) {
         setup.sets.push_back( *id.intfSetId() );
      }
   }
   return setup;
}

} // namespace Agents
