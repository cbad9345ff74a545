#pragma once

#include "agents/filing/RuleFiler.h"
#include "agents/peerd/rib/RuleSink.h"

#include <functional>
#include <set>

namespace Peerd {

/// The root that holds the rules of peers.
///
/// What was in it when it was taken over, from a former run, stays in force until `dropOthers`; a
/// rule that is filed again meanwhile is as good as new.
class RuleRoot final : public RuleSink {
public:
   explicit RuleRoot( Vek::Ptr< Flowspec::Config > config )
      : config_( config ), filer_( std::move( config ) ) {}

   void begin() override {}
   void withdraw( const Flowspec::FlowspecKey& key ) override;
   void file( const Flowspec::FlowspecKey& key, const Flowspec::RuleAction& action,
              PeerId from ) override;
   /// VRFs that have become empty go.
   void commit() override;

   /// All rules that `isFiled` does not know are to go, a part with each `work`.
   void dropOthers( const std::function< bool( const Flowspec::FlowspecKey& ) >& isFiled );
   /// Drops at most `limit` of them, but for those that were filed meanwhile; whether there are
   /// more.
   bool work( std::size_t limit );

   bool empty() const { return config_->vrfRuleConfig().empty(); }

private:
   const Vek::Ptr< Flowspec::Config > config_;
   Agents::RuleFiler filer_;
   std::set< Vrf::VrfIdMap::VrfId > changedVrfs_;
   std::set< Flowspec::FlowspecKey, Flowspec::FlowspecKeyOrder > others_; ///< that are to go
};

} // namespace Peerd
