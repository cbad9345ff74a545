#pragma once

#include "agents/programd/Backend.h"
#include "agents/programd/RuleOrder.h"
#include "agents/programd/netlink/Interfaces.h"
#include "agents/programd/netlink/MarkRoutes.h"
#include "agents/programd/nftables/Kernel.h"
#include "agents/programd/nftables/TableWatch.h"
#include "dataplane/nftables/Table.h"

#include <memory>

namespace Agents::Nftables {

/// Programs rules into the kernel's nf_tables: the tables `flowspec` of the families `ip` and
/// `ip6`, and nothing else. Used on one thread, in the network namespace in which it was made.
///
/// - Interfaces are those of the machine, by their numbers. One that is gone and comes again under
///   its name is taken up, whatever its new number.
/// - At the first `apply` the tables are made anew in one transaction. Counters of an earlier
///   process go on where a rule and its action are the same; packets that come between the reading
///   and the transaction are not counted.
/// - After that `apply` sends what changed, and takes time for that alone. When another program
/// changes the tables they are made
///   anew, at most once a second, with the counters that they have or last had.
/// - Redirected packets carry a mark, and routing rules lead them away; these are removed with the
///   last rule that needs them. A rule whose next hop or table the kernel refuses is
///   `unsupportedAction`; it is tried again when counters are read, and routes that are lost, as
///   with an interface that goes down, are made anew then.
/// - What the kernel refuses at `apply` is `resourceExhausted`, and so is no longer in force.
class NftBackend final : public Backend, private EventLoop::Handler {
public:
   using Log = std::function< void( std::string_view ) >;

   /// `wiring` tells the VRFs of interfaces and the names of VRFs; without one all interfaces are
   /// in VRF 0. What else it says does not count. `std::system_error` when the kernel has no
   /// nf_tables.
   NftBackend( EventLoop& loop, std::optional< Dataplane::Profile > wiring, Log log );
   NftBackend( const NftBackend& ) = delete;
   NftBackend& operator=( const NftBackend& ) = delete;
   /// Leaves the rules in force.
   ~NftBackend();

   const Dataplane::Profile& profile() const override { return profile_; }
   void ruleIs( const Flowspec::RuleConfig& rule ) override;
   void ruleDel( const Flowspec::FlowspecKey& key ) override;
   void interfaceIs( Zorv::IntfId intf, const InterfaceSetup& setup ) override;
   void interfaceSetLimitIs( U32 limit ) override;
   [[nodiscard]] std::vector< RuleChange > apply() override;
   void readCounters() override;
   QosLib::ColoredCounters counters( const Flowspec::FlowspecKey& key ) const override;
   std::vector< U16 > interfaceSetsInUse() const override;
   std::vector< InterfaceResult > interfaces() const override;

private:
   struct Programmed {
      Dataplane::RuleDemand demand;
      Dataplane::ProgrammingResult result;                 // with the room that there is
      Dataplane::ProgrammingResult inForce;                // as `apply` told last
      Dataplane::Nftables::RulePtr rule;                   // null when it cannot be programmed
      Dataplane::Nftables::RulePtr placed;                 // the one in its table; null for none
      std::optional< Dataplane::Nftables::Target > target; // that its packets are redirected to
      bool isNew = true;    // asks for something else than what is in force
      bool refused = false; // by the kernel
   };
   using Rules = std::map< OrderedKey, Programmed, RuleOrder >;
   struct Led {
      U32 mark = 0;
      std::set< OrderedKey, RuleOrder > rules;
      Vek::String fault{}; // why packets cannot be led there
   };
   struct Port {
      InterfaceSetup setup;
      Vek::String name; // empty until the machine has had it
   };
   // One table of each family: IPv4, IPv6.
   static constexpr Zorv::AddressFamily families[] = { Zorv::AddressFamily::ipv4,
                                                       Zorv::AddressFamily::ipv6 };

   int fd() const override { return -1; }
   EventLoop::Clock::time_point due() const override { return repairDue_; }
   void ready() override;

   void onInterface( const Interface* now );
   void onForeignChange();
   void buildRule( const Flowspec::FlowspecKey& key, Programmed& programmed );
   U32 markFor( const Dataplane::Nftables::Target& target, const Flowspec::FlowspecKey& key );
   void release( const Flowspec::FlowspecKey& key, Programmed& programmed );
   void leadAway( MarkRoutes::Others others );
   Dataplane::ProgrammingResult resultOf( const Programmed& programmed ) const;
   void giveRoom();
   void readCounts();
   void place( Programmed& programmed );
   void displace( Programmed& programmed );
   Vek::String put();
   Vek::String commit( Batch& batch );
   InterfaceResult interfaceResult( Zorv::IntfId intf, const Port& port,
                                    Zorv::AddressFamily family ) const;
   Dataplane::Nftables::InterfaceUses uses( Zorv::AddressFamily family ) const;

   EventLoop& loop_;
   const std::optional< Dataplane::Profile > wiring_;
   const Log log_;
   Kernel kernel_;
   const Dataplane::Profile profile_;
   const std::array< bool, 2 > canCopy_;
   MarkRoutes routes_{ Dataplane::Nftables::markMask };
   Interfaces machine_;
   TableWatch watch_;
   Rules rules_;
   std::set< OrderedKey, RuleOrder > changed_;  // rules since the last `apply`
   std::set< OrderedKey, RuleOrder > withSets_; // rules that name interface sets
   std::array< Dataplane::Nftables::Table, 2 > tables_{ Dataplane::Nftables::Table( families[0] ),
                                                        Dataplane::Nftables::Table( families[1] ) };
   std::map< Dataplane::Nftables::Target, Led > targets_;
   bool targetsChanged_ = true; // at the beginning there may be routes of an earlier process
   std::map< Zorv::IntfId, Port > ports_;
   U32 interfaceSetLimit_ = 0;
   std::set< U16 > setsInUse_;
   bool inForce_ = false;                 // the kernel has the tables but for their changes
   std::array< CountsByName, 2 > counts_; // as last read
   EventLoop::Clock::time_point repairDue_ = EventLoop::Clock::time_point::max();
   EventLoop::Clock::time_point lastRepair_{};
};

} // namespace Agents::Nftables
