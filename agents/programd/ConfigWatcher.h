#pragma once

#include "Flowspec/config/CliConfig.h"
#include "agents/filing/RuleWatcher.h"

#include <memory>
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
   using RuleKeys = RuleWatcher::RuleKeys;

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
   bool changed() const;

   /// The rules that came, changed or went since the last call.
   RuleKeys takeRules();
   /// Whether VRFs came or went since the last call.
   bool takeVrfs() { return std::exchange( vrfsChanged_, false ); }
   /// Whether anything about interfaces changed since the last call.
   bool takeInterfaces() { return std::exchange( interfacesChanged_, false ); }
   /// Whether counters were asked for since the last call; not at the beginning.
   bool takeCounterRequest() { return std::exchange( countersRequested_, false ); }

   void onChange( const Vek::Change& change ) override;

private:
   const Configs configs_;
   const Vek::Ptr< Flowspec::CliConfig > cliConfig_;
   std::vector< std::unique_ptr< RuleWatcher > > rules_; ///< of each configuration
   std::vector< Vek::Observation > observations_;        ///< for all else
   bool vrfsChanged_ = true;
   bool interfacesChanged_ = true;
   bool countersRequested_ = false;
};

} // namespace Agents
