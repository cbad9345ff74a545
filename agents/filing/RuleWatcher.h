#pragma once

#include "Flowspec/config/Config.h"

#include <set>
#include <unordered_map>
#include <utility>

namespace Agents {

/// Notes which feasible rules of a `Config` come, change and go until it is asked: a rule that
/// changes often is work for once. Begins with all that are there.
class RuleWatcher final : public Vek::Observer {
public:
   using RuleKeys = std::set< Flowspec::FlowspecKey, Flowspec::FlowspecKeyOrder >;

   explicit RuleWatcher( Vek::Ptr< Flowspec::Config > config );
   RuleWatcher( const RuleWatcher& ) = delete;
   RuleWatcher& operator=( const RuleWatcher& ) = delete;
   ~RuleWatcher() = default;

   /// Whether there is something to take.
   bool changed() const { return !rules_.empty(); }
   /// The rules that came, changed or went since the last call.
   RuleKeys take() { return std::exchange( rules_, {} ); }
   /// The rule of a key; null when it is gone.
   Vek::Ptr< Flowspec::RuleConfig > rule( const Flowspec::FlowspecKey& key ) const;

   void onChange( const Vek::Change& change ) override;

private:
   void onVrf( const Vek::Change& change );
   void onRule( const Vek::Change& change );
   void watch( Vek::Entity& entity );
   void watchRules( Flowspec::VrfRuleConfig& vrf );

   const Vek::Ptr< Flowspec::Config > config_;
   std::unordered_map< const Vek::Entity*, Vek::Observation > observations_;
   RuleKeys rules_;
};

} // namespace Agents
