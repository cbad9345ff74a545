#pragma once

#include "Flowspec/config/InterfaceConfig.h"
#include "Flowspec/config/RuleConfig.h"
#include "QosLib/ColoredCounters.h"
#include "dataplane/RuleDemand.h"

#include <functional>

namespace Agents {

/// A rule that was programmed anew, or whose result changed; its counters begin at 0.
struct RuleChange {
   Flowspec::FlowspecKey key;
   Dataplane::ProgrammingResult result;
};

/// One interface as it is configured.
struct InterfaceSetup {
   Flowspec::IpVersion enabled; ///< the families whose packets rules are applied to
   Vek::String sourceVrf;       ///< the name of the VRF whose rules apply; "" for its own VRF
   std::vector< U16 > sets;     ///< the interface sets that it is in, ascending

   bool operator==( const InterfaceSetup& ) const = default;
};

/// What became of one family that is enabled on an interface.
struct InterfaceResult {
   Zorv::IntfId intf;
   Zorv::AddressFamily family;
   /// The VRF whose rules apply. With an error: the interface's own, or 0 when that is not known.
   Vrf::VrfIdMap::VrfId vrf;
   Vek::String error; ///< why rules are not applied; "" when they are

   bool operator==( const InterfaceResult& ) const = default;
};

/// The hardware that rules are programmed into. Rules and interfaces go in one by one; `apply` puts
/// into force what changed. A rule's VRF is that of its key.
class Backend {
public:
   Backend() = default;
   Backend( const Backend& ) = delete;
   Backend& operator=( const Backend& ) = delete;
   virtual ~Backend() = default;

   /// What the hardware can do.
   virtual const Dataplane::Profile& profile() const = 0;

   /// Adds a rule or replaces the one with its key. Nothing happens when it asks for the same.
   virtual void ruleIs( const Flowspec::RuleConfig& rule ) = 0;
   virtual void ruleDel( const Flowspec::FlowspecKey& key ) = 0;

   /// Configures an interface; a default setup removes it.
   virtual void interfaceIs( Zorv::IntfId intf, const InterfaceSetup& setup ) = 0;
   /// Limits the interface sets below what the hardware can; 0 for no further limit.
   virtual void interfaceSetLimitIs( U32 limit ) = 0;

   /// Puts the changes of rules into force: the rules whose programming is another one than at the
   /// last call, each once, without those that are gone.
   [[nodiscard]] virtual std::vector< RuleChange > apply() = 0;

   /// Has `news` called when `apply` or `interfaces` have something to tell that nothing here was
   /// called for, such as an interface that came.
   void onNews( std::function< void() > news ) { news_ = std::move( news ); }

   /// Reads the counters of all rules, for `counters`.
   virtual void readCounters() {}
   /// What a rule has counted since it was programmed; zeros for one that is not.
   virtual QosLib::ColoredCounters counters( const Flowspec::FlowspecKey& key ) const = 0;
   /// The interface sets that programmed rules use, ascending.
   virtual std::vector< U16 > interfaceSetsInUse() const = 0;
   /// All families that are enabled on interfaces, ascending by interface and family.
   virtual std::vector< InterfaceResult > interfaces() const = 0;

protected:
   void tellNews() const {
      if ( news_ ) {
         news_();
      }
   }

private:
   std::function< void() > news_;
};

} // namespace Agents
