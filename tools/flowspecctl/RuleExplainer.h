#pragma once

#include "dataplane/RuleDemand.h"
#include "tools/flowspecctl/ConfiguredRules.h"
#include "tools/flowspecctl/GuardedPackets.h"

namespace Tools {

/// Another rule that matches packets of the explained one, too.
struct Neighbour {
   const ConfiguredRule* rule;
   bool isFirst;         ///< it is tried before
   bool wholly;          ///< the later of the two gets no packet
   Match::Packet packet; ///< that both match
};

/// What is told of a rule.
struct Explanation {
   Flowspec::FlowspecKey key;
   Vek::Ptr< Flowspec::RuleConfig > rule{};
   std::vector< Flowspec::MatchComponent > components{};
   Flowspec::MatchCompType infeasible = Flowspec::invalid; ///< the component at fault
   std::optional< Match::Packet > matched{};               ///< a packet that matches
   bool matchesAll = false;
   Forms::Reason warning{};
   std::optional< Dataplane::RuleDemand > demand{};
   std::vector< Neighbour > before{};
   std::vector< Neighbour > after{};
   U64 moreBefore = 0; ///< beside those of the list
   U64 moreAfter = 0;
   std::vector< std::pair< const GuardedPackets*, Match::Packet > > hits{};
};

/// Explains one rule after the other.
class RuleExplainer {
public:
   /// More neighbours of either kind are counted only.
   static constexpr std::size_t maxNeighbours = 20;

   /// `others` are in the order in which they are tried.
   RuleExplainer( std::optional< Dataplane::Profile > profile, std::vector< ConfiguredRule > others,
                  std::vector< GuardedPackets > guarded );

   /// Why the rule cannot be taken apart; nothing when all that is known of it is in `explanation`,
   /// which must be new and does not outlive the explainer.
   Forms::Reason explain( const Forms::Rule& rule, Explanation& explanation ) const;

   bool hasProfile() const { return profile_.has_value(); }
   /// Whether the profile can match on the component.
   bool canMatchOn( Zorv::AddressFamily family, Flowspec::MatchCompType type ) const;

private:
   void findNeighbours( const Match::PacketSet& packets, bool goesOn, Explanation& found ) const;

   const std::optional< Dataplane::Profile > profile_;
   const std::vector< ConfiguredRule > others_;
   const std::vector< GuardedPackets > guarded_;
   std::vector< Match::PacketSet > packets_; // of the others
};

/// Adds `--profile`, a file as `programd` reads it.
void addProfile( CLI::App& command, Vek::String& file );
/// Reads the profile of a file. Nothing, after a message on standard error, when it is none;
/// `std::runtime_error` when the file cannot be read.
std::optional< Dataplane::Profile > readProfile( const Vek::String& file );

/// Fills the rule's match set; the first component that no packet satisfies, or that cannot hold
/// together with the others; `invalid` when there is none.
Flowspec::MatchCompType
infeasibleComponent( Flowspec::RuleConfig& rule,
                     const std::vector< Flowspec::MatchComponent >& components );

/// What is said of a rule that is not of the family of its prefixes.
inline constexpr const char* mixedFamilies =
   "the rule and its prefixes are not of one address family";

/// Whether the rule matches each packet of its family.
bool matchesEverything( const Flowspec::FlowspecKey& key );

} // namespace Tools
