#pragma once

#include "agents/programd/ConfigWatcher.h"
#include "agents/programd/StatusWriter.h"

namespace Agents {

/// Programs what is configured into hardware, and keeps the status of it. Used on one thread.
///
/// - A rule is programmed from the VRF that its key names; one filed elsewhere is passed over.
/// - Of the rules with one key in several roots that of the first root is programmed. When it goes
///   the next one takes its place at once; if that asks for the same, counters go on.
/// - Rules apply to packets of the families that `CliConfig` enables on an interface, and of all
///   that the profile has on an interface that a `Config` enables. A VRF in `sourceVrfOverride` of
///   `CliConfig` goes before one in `enabledIntf`.
/// - `interfaceSetCountLimit` limits interface sets further, unless it is 0.
/// - A rule's status has a new version, and counters of 0, whenever the rule is programmed anew:
///   because it changed, or what became of it.
/// - Counters are read when `counterUpdateRequestTime` changes, and at the beginning when it is
///   later than the last answer, and by `readCounters`. Between that, snapshots stay as they are.
///
/// The status and the counters may hold what an earlier process wrote: what is still true is not
/// published again, what is not is removed. Versions are new, as the counters begin again.
class Programmer {
public:
   /// The configuration is to be complete, `configs` in the order of preference. Writes what the
   /// hardware cannot do; the rest is done by `process`.
   Programmer( const Programmer& ) = delete;
   Programmer& operator=( const Programmer& ) = delete;
   ~Programmer();
   Programmer( ConfigWatcher::Configs configs, Vek::Ptr< Flowspec::CliConfig > cliConfig,
               Backend& backend, Vek::Ptr< Flowspec::Status > status,
               Vek::Ptr< Flowspec::Counter > counter );

   /// Whether `process` has something to do.
   bool changed() const { return !leftOver_.empty() || watcher_.changed(); }

   /// Whether there are rules, and an interface that rules are to be applied on.
   bool configured() const;

   /// Brings hardware and status up to date. `now` answers a request for counters; seconds since
   /// the Unix epoch. Whether rules, VRFs or interfaces had changed, not just a request come.
   bool process( double now );

   /// Reads counters without a request, at the time `now`.
   void readCounters( double now );

private:
   void giveInterfaces();
   void tellInterfaces();
   void apply();
   InterfaceSetup setupOf( Zorv::IntfId intf ) const;
   bool giveRules();

   ConfigWatcher watcher_;
   Backend& backend_;
   const Vek::Ptr< Flowspec::Status > status_;
   const Vek::Ptr< Flowspec::Counter > counter_;
   ConfigWatcher::RuleKeys leftOver_; // rules with a status that an earlier process wrote
   std::set< Zorv::IntfId > given_;   // interfaces that the hardware knows of
   InterfaceSetMembers members_;
   bool countersWanted_;
};

} // namespace Agents
