#pragma once

#include "Flowspec/FlowspecDalb.h"
#include "Flowspec/FlowspecPolicy.h"
#include "Vek/entity/Directory.h"
#include "tests/support/EntangledKeys.h"
#include "tests/support/KeyGenerator.h"

namespace TestSupport {

/// Root entities of every type in a directory, and random changes of all that they own. Keys and
/// values come from small sets, so that members are found, replaced, removed and made again.
class RandomTree {
public:
   RandomTree( Vek::Directory& directory, U64 seed );

   /// The roots, in the order of their names.
   const std::vector< Vek::Ptr< Vek::NamedEntity > >& roots() const { return roots_; }

   /// Makes one change, which may turn out to change nothing.
   void change();

private:
   using Family = Zorv::AddressFamily;

   void changeConfig();
   void changeRule( Flowspec::RuleConfig& rule );
   void changeCliConfig();
   void changeStatus();
   void changeVrfStatus( Flowspec::VrfRuleStatus& status );
   void changeRuleStatus( Flowspec::RuleStatus& status );
   void changeCounter();
   void changePolicy();

   U64 below( U64 count ) { return random_.below( count ); }
   bool oneIn( U64 count ) { return random_.oneIn( count ); }
   Flowspec::FlowspecKey key() { return keys_[below( keys_.size() )]; }
   Zorv::IntfId intf() { return Zorv::IntfId( below( 6 ) ); }
   Family family() { return oneIn( 2 ) ? Family::ipv4 : Family::ipv6; }
   Vek::String text();
   Osk::UniqueId id() { return Osk::UniqueId( 1 + below( 5 ) ); }
   Zorv::IpGenAddr address();
   QosLib::ColoredCounters counters();
   L3::ResolvedNexthopInfo nexthops();
   Flowspec::MatchComponent component();
   Flowspec::TrafficRedirect redirect();
   Flowspec::UnsupportedQual unsupportedQual();

   KeyGenerator random_;
   std::vector< Flowspec::FlowspecKey > keys_;
   std::vector< Vek::Ptr< Vek::NamedEntity > > roots_;
   Vek::Ptr< Flowspec::Config > config_;
   Vek::Ptr< Flowspec::CliConfig > cliConfig_;
   Vek::Ptr< Flowspec::Status > status_;
   Vek::Ptr< Flowspec::Counter > counter_;
   Vek::Ptr< Flowspec::FlowspecPolicyConfig > policy_;
};

} // namespace TestSupport
