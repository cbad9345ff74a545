#pragma once

#include "Vrf/VrfIdMap.h"
#include "dataplane/nftables/RuleLines.h"

#include <map>
#include <set>
#include <tuple>

namespace Dataplane::Nftables {

/// The name of both tables, one of the family `ip` and one of `ip6`.
inline constexpr std::string_view tableName = "flowspec";
/// The chain that packets come in by, and the map from their interface to the chain of a VRF.
inline constexpr std::string_view baseChain = "prerouting";
inline constexpr std::string_view interfaceMap = "interfaces";
/// Before the kernel puts fragments together.
inline constexpr int hookPriority = -450;

/// A rule that is to be in force.
struct Rule {
   Flowspec::FlowspecKey key;        ///< tells its VRF and its place in the order
   Zorv::IpGenPrefix destination;    ///< the empty one, or one longer than 0
   std::vector< U16 > interfaceSets; ///< ascending; none for all interfaces
   Vek::String name;                 ///< of its counter, its limit and its own chains; a word
   std::vector< Line > matches;      ///< see `matchLines`
   ActionLines action;

   Vrf::VrfIdMap::VrfId vrf() const { return key.vrfId(); }
};

/// Shared by versions of the rule set.
using RulePtr = std::shared_ptr< const Rule >;

/// The lines of one chain.
struct Chain {
   std::vector< Lines > parts;
   bool operator==( const Chain& other ) const;
};

/// Addresses from `first` to `last` whose packets go to a chain.
struct Interval {
   Zorv::IpGenAddr first;
   Zorv::IpGenAddr last;
   Vek::String chain;
   auto key() const { return std::tie( first, last, chain ); }
   bool operator==( const Interval& other ) const { return key() == other.key(); }
   bool operator<( const Interval& other ) const { return key() < other.key(); }
};

/// All of one table. Two of them tell what is to be changed.
///
/// A rule with a destination is tried before all that have a shorter one or none (RFC 8955 section
/// 5.1), and destinations of which none is inside the other never meet. So each VRF has one look-up
/// of the destination, in a map of intervals that do not overlap; it leads to a chain with the
/// rules of the longest prefix, which ends with a `goto` to that of the next shorter one and at
/// last to the chain of the rules without destination.
struct Ruleset {
   Zorv::AddressFamily family = Zorv::AddressFamily::none;
   std::set< Vek::String > counters;
   std::map< Vek::String, Limit > limits;
   std::map< Vek::String, Chain > chains;                          ///< with the base chain
   std::map< Vek::String, std::set< Interval > > destinations;     ///< by the name of the map
   std::map< Vek::String, std::set< Vek::String > > interfaceSets; ///< names of interfaces
   std::map< Vek::String, Vek::String > interfaces; ///< chains by names of interfaces

   bool operator==( const Ruleset& ) const = default;
};

/// The interfaces that rules are applied on, by their names.
struct InterfaceUse {
   Vrf::VrfIdMap::VrfId vrf = 0; ///< the one whose rules apply
   std::vector< U16 > sets;      ///< ascending
   bool operator==( const InterfaceUse& ) const = default;
};
using InterfaceUses = std::map< Vek::String, InterfaceUse >;

/// The table for the rules of one family. VRFs that no interface uses have no chains.
Ruleset rulesetOf( Zorv::AddressFamily family, const std::vector< RulePtr >& rules,
                   const InterfaceUses& interfaces );

/// The whole of a rule set as `nft -f` reads it.
Vek::String text( const Ruleset& ruleset );
/// One line of a chain, as `nft` reads it.
Vek::String text( const Line& line, Zorv::AddressFamily family );

} // namespace Dataplane::Nftables
