#pragma once

#include "Flowspec/FlowspecDalb.h"
#include "Flowspec/FlowspecPolicy.h"
#include "Vek/entity/Directory.h"
#include "peers/PeerRequests.h"
#include "peers/PeerTable.h"
#include "tests/support/RandomValues.h"

namespace TestSupport {

/// Root entities of every type in a directory, and random changes of all that they own. Keys and
/// values come from small sets, so that members are found, replaced, removed and made again.
class RandomTree : private RandomValues {
public:
   RandomTree( Vek::Directory& directory, U64 seed );

   /// The roots, in the order of their names.
   const std::vector< Vek::Ptr< Vek::NamedEntity > >& roots() const { return roots_; }

   /// Makes one change, which may turn out to change nothing.
   void change();

private:
   void changeConfig();
   void changeRule( Flowspec::RuleConfig& rule );
   void changeCliConfig();
   void changeStatus();
   void changeVrfStatus( Flowspec::VrfRuleStatus& status );
   void changeRuleStatus( Flowspec::RuleStatus& status );
   void changeCounter();
   void changePolicy();
   void changePeers();
   void changePeer( Peers::Peer& peer );
   void changeRequests();

   std::vector< Vek::Ptr< Vek::NamedEntity > > roots_;
   Vek::Ptr< Flowspec::Config > config_;
   Vek::Ptr< Flowspec::CliConfig > cliConfig_;
   Vek::Ptr< Flowspec::Status > status_;
   Vek::Ptr< Flowspec::Counter > counter_;
   Vek::Ptr< Flowspec::FlowspecPolicyConfig > policy_;
   Vek::Ptr< Peers::PeerTable > peers_;
   Vek::Ptr< Peers::PeerRequests > requests_;
};

} // namespace TestSupport
