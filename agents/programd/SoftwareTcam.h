#pragma once

#include "agents/programd/Backend.h"
#include "agents/programd/RuleOrder.h"
#include "match/Matcher.h"

#include <map>
#include <set>

namespace Agents {

/// A TCAM in software: programs rules within the bounds of a profile and applies them to packets.
/// Used on one thread.
///
/// Room is given in the order of precedence: VRFs ascending, IPv4 before IPv6, then as RFC 8955
/// section 5.1 orders rules. A rule is programmed when its entries and interface sets fit beside
/// those of the rules before it. One that does not fit takes nothing, so a smaller one after it
/// may still be programmed. What is programmed depends on the rules alone, not on the order in
/// which they came.
///
/// A rule that finds no room is `intfSetResourceExhausted` when the interface sets in use would be
/// too many, else `resourceExhausted`. While all rules fit, a change costs what it touches; while
/// some do not, `apply` goes over all of them.
class SoftwareTcam final : public Backend {
public:
   explicit SoftwareTcam( Dataplane::Profile profile );

   const Dataplane::Profile& profile() const override { return profile_; }
   void ruleIs( const Flowspec::RuleConfig& rule ) override;
   void ruleDel( const Flowspec::FlowspecKey& key ) override;
   void interfaceIs( Zorv::IntfId intf, const InterfaceSetup& setup ) override;
   void interfaceSetLimitIs( U32 limit ) override;
   [[nodiscard]] std::vector< RuleChange > apply() override;
   QosLib::ColoredCounters counters( const Flowspec::FlowspecKey& key ) const override;
   std::vector< U16 > interfaceSetsInUse() const override;
   std::vector< InterfaceResult > interfaces() const override;

   /// The entries that programmed rules take.
   U64 entriesInUse() const { return entries_; }

   /// Applies the rules that are in force to a packet that came in on an interface, and counts it
   /// with `length` bytes: the first rule that matches and is bound to no interface set or to one
   /// of the interface's, and while these have "continue" in force, those that follow. Returns how
   /// many rules counted it; 0 where rules are not applied.
   U32 process( Zorv::IntfId intf, const Match::Packet& packet, U32 length );

   /// The same for an Ethernet frame, of which the end may be cut off.
   U32 process( Zorv::IntfId intf, std::span< const U8 > frame, U32 length );

private:
   struct Rule {
      Dataplane::RuleDemand demand;
      Dataplane::ProgrammingResult result;  // with the room that there is
      Dataplane::ProgrammingResult inForce; // as `apply` told last
      bool continues = false;               // "continue" is in force
      bool isNew = true;                    // asks for something else than what is in force
      QosLib::ColoredCounters counters;
      // Of a VRF that has a table:
      U64 priority = 0;            // with gaps for those that come between
      std::optional< U32 > number; // in the table, of a rule in force
   };

   using Rules = std::map< OrderedKey, Rule, RuleOrder >;

   struct TouchedOrder {
      bool operator()( const Rules::value_type* a, const Rules::value_type* b ) const {
         return RuleOrder()( a->first, b->first );
      }
   };

   struct Interface {
      InterfaceSetup setup;
      std::vector< InterfaceResult > results; // of each family that is enabled
   };

   // The rules in force of one VRF, for packets.
   struct Table {
      void insert( Rules::value_type& rule );
      void erase( Rules::value_type& rule );

      std::vector< Rules::value_type* > rules; // by their numbers
      std::vector< U32 > unused;               // numbers
      Match::Matcher matcher;
   };
   using Tables = std::map< Vrf::VrfIdMap::VrfId, Table >;

   U32 interfaceSetRoom() const;
   bool setsFit( const Flowspec::FlowspecKey& key ) const;
   Dataplane::ProgrammingResult resultOf( const Rules::value_type& rule ) const;
   void give( Rules::value_type& rule );
   void takeBack( Rules::value_type& rule );
   void giveAll();
   InterfaceResult interfaceResult( Zorv::IntfId intf, Zorv::AddressFamily family,
                                    const Vek::String& sourceVrf ) const;
   Table& tableOf( Vrf::VrfIdMap::VrfId vrf );
   void givePriority( Rules::iterator at );

   const Dataplane::Profile profile_;
   Rules rules_;
   std::set< Rules::value_type*, TouchedOrder > touched_; // may have changed since `apply`
   U64 entries_ = 0;
   std::map< U16, U32 > setUsers_; // how many programmed rules use an interface set
   U64 exhausted_ = 0;             // rules that found no room
   bool stale_ = false;            // room is to be given to all rules anew
   U32 interfaceSetLimit_ = 0;
   std::map< Zorv::IntfId, Interface > interfaces_;
   Tables tables_;                                 // made when asked for
   const Rules::value_type* lastPlaced_ = nullptr; // maybe gone; not looked into
};

} // namespace Agents
