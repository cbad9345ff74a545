#pragma once

#include "Flowspec/FlowspecDalb.h"
#include "tools/lib/KeyForms.h"
#include "tools/lib/StateRoots.h"

#include <vector>

/// The commands that work on a running system.
namespace Flowspec::Tools {

/// Where the state database listens, and the names of the roots.
struct SystemOptions {
   Vek::String endpoint = defaultEndpoint;
   Vek::String config = "flowspec/config";
   Vek::String cliConfig = "flowspec/cliconfig";
   Vek::String status = "flowspec/status";
   Vek::String counter = "flowspec/counter";
};

/// Which rules are shown.
struct RuleFilter {
   std::optional< Vrf::VrfIdMap::VrfId > vrfId;
   std::optional< Zorv::AddressFamily > family;
   std::vector< HwRuleProgrammingStatus > status; ///< any when there is none

   /// By VRF and family.
   bool admits( const FlowspecKey& key ) const {
      return ( !vrfId || *vrfId == key.vrfId() ) && ( !family || *family == key.addressFamily() );
   }
   /// By all; `rule` is null for a rule without a status.
   bool admits( const FlowspecKey& key, const RuleStatus* rule ) const;
};

struct ShowOptions {
   SystemOptions system;
   RuleFilter filter;
   bool json = false;
   double interval = 0; ///< seconds between two readings of counters, for rates; 0 for none
   Form from = Form::cli;
   Vek::String key; ///< of the one rule that is shown
};

} // namespace Flowspec::Tools
