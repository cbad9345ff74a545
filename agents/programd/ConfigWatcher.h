#pragma once

#include "Flowspec/config/CliConfig.h"
#include "Flowspec/config/Config.h"

#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Agents {

/// Notes what changes in the configuration until it is asked: a rule that changes often, or comes
/// and goes, is work for once. Begins with all that is there.
///
/// Rules may be configured in several roots, each of which goes before those after it: of the rules
/// with one key that of the first root counts.
class ConfigWatcher final : public Vek::Observer {
public:
   using Configs = std::vector< Vek::Ptr< Flowspec::Config > >;
   using RuleKeys = std::set< Flowspec::FlowspecKey, Flowspec::FlowspecKeyOrder >;

   ConfigWatcher( Configs configs, Vek::Ptr< Flowspec::CliConfig > cliConfig );
   ConfigWatcher( const ConfigWatcher& ) = delete;
   ConfigWatcher& operator=( const ConfigWatcher& ) = delete;
   ~ConfigWatcher() = default;

   /// In the order of preference.
   const Configs& configs() const { return configs_; }
   /// The rule that counts for a key, or null.
   Vek::Ptr< Flowspec::RuleConfig > rule( const Flowspec::FlowspecKey& key ) const;
   const Flowspec::CliConfig& cliConfig() const { return *cliConfig_; }

   /// Whether something changed that was not taken yet.
   bool changed() const {
      return !rules_.empty() || vrfsChanged_ || interfacesChanged_ || countersRequested_;
   }

   /// The rules that came, changed or went since the last call.
   RuleKeys takeRules() { return std::exchange( rules_, {} ); }
   /// Whether VRFs came or went since the last call.
   bool takeVrfs() { return std::exchange( vrfsChanged_, false ); }
   /// Whether anything about interfaces changed since the last call.
   bool takeInterfaces() { return std::exchange( interfacesChanged_, false ); }
   /// Whether counters were asked for since the last call; not at the beginning.
   bool takeCounterRequest() { return std::exchange( countersRequested_, false ); }

   void onChange( const Vek::Change& change ) override;

private:
   void onVrf( const Vek::Change& change );
   void onRule( const Vek::Change& change );
   void watch( Vek::Entity& entity );
   void watchRules( Flowspec::VrfRuleConfig& vrf );

   const Configs configs_;
   const Vek::Ptr< Flowspec::CliConfig > cliConfig_;
   std::unordered_map< const Vek::Entity*, Vek::Observation > observations_;
   RuleKeys rules_;
   bool vrfsChanged_ = true;
   bool interfacesChanged_ = true;
   bool countersRequested_ = false;
};

} // namespace Agents
