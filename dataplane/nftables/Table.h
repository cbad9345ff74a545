#pragma once

#include "dataplane/nftables/RuleChains.h"

namespace Dataplane::Nftables {

/// The rule set of one table, rule by rule: what a change costs does not grow with the rules beside
/// it, but with those whose destinations are inside that of the changed one.
class Table {
public:
   explicit Table( Zorv::AddressFamily family );

   /// Adds a rule that is not there. Of equal precedence the one that was added first is tried
   /// first.
   void add( const RulePtr& rule );
   /// Removes a rule that is there.
   void remove( const RulePtr& rule );
   void interfacesAre( const InterfaceUses& interfaces );

   const Ruleset& ruleset();

   /// What is other than at the last `changesAreDone`, or at the beginning: as it was, and as it
   /// is. What is the same is in neither, apart from maps that have other members.
   struct Changes {
      Ruleset before;
      Ruleset after;
      bool none() const { return before == after; }
   };
   const Changes& changes();
   void changesAreDone();

private:
   using VrfId = Vrf::VrfIdMap::VrfId;
   /// By address, then length: what covers a prefix is before it. Of length 0 for the rules
   /// without destination.
   using Key = std::pair< Zorv::IpGenAddr, unsigned >;

   /// A rule with its lines in the chain of its destination.
   struct Placed {
      RulePtr rule;
      Lines lines;
   };
   using Rules = std::vector< Placed >; // in their order

   /// A prefix that rules have as their destination.
   struct Node {
      Zorv::IpGenPrefix prefix;
      Rules rules;
      const Node* cover = nullptr; // the next shorter one
      unsigned depth = 1;          // how many chains follow each other to that of the others
   };
   using Nodes = std::map< Key, Node >;

   struct VrfRules {
      bool used = false; // has chains
      bool deep = false; // has chains with copies of rules
      Nodes nodes;       // their covers and depths hold while it is used
      Rules others;
   };

   /// The interfaces of a set that rules name.
   struct SetUse {
      std::vector< U16 > sets;
      U64 rules = 0;
   };

   /// Names in one part of the rule set that may be, or mean, something else than before.
   using Names = std::set< Vek::String >;

   static void insert( Rules& rules, Placed placed );
   void use( VrfId vrf );
   void leave( VrfId vrf );
   void addOwnChains( const RuleChains& chains );
   void delOwnChains( const Rule& rule );
   void nodeChanged( VrfId vrf, const Zorv::IpGenPrefix& prefix, const Node* cover );
   void walk( VrfId vrf, const Key& first, const Zorv::IpGenAddr& last, const Node* cover,
              const Zorv::IpGenAddr& begin, const Zorv::IpGenAddr& end );
   void copiesChanged( VrfId vrf, const Zorv::IpGenPrefix& prefix );
   Chain chainOf( VrfId vrf, const Node& node ) const;
   void renewChains();
   void chainIs( const Vek::String& name, Chain chain );
   void chainDel( const Vek::String& name );
   void membersAre( const Vek::String& set, const std::vector< U16 >& sets );
   void intervalIs( const Vek::String& map, const Interval& interval );

   Ruleset current_;
   Changes changes_; // but for the members of maps `after` is made when it is asked for
   Names counters_;
   Names limits_;
   Names chains_;
   Names interfaceSets_;
   Names interfaceNames_;
   std::map< VrfId, VrfRules > vrfs_;
   std::set< std::pair< VrfId, Key > > dirty_; // chains that may be other ones now
   std::map< Vek::String, SetUse > sets_;
   InterfaceUses interfaces_;
};

} // namespace Dataplane::Nftables
