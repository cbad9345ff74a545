#include "dataplane/Overlaps.h"

#include "match/PacketSet.h"
#include "wire/Precedence.h"

#include <algorithm>
#include <map>
#include <unordered_map>

namespace Dataplane {

namespace {

using namespace Flowspec;
using Match::PacketSet;
using Wire::CanonicalComponent;
using Wire::CanonicalRule;

bool meet( const std::vector< Wire::ValueRange >& a, const std::vector< Wire::ValueRange >& b ) {
   for ( auto at = a.begin(), other = b.begin(); at != a.end() && other != b.end(); ) {
      if ( std::max( at->low, other->low ) <= std::min( at->high, other->high ) ) {
         return true;
      }
      ( at->high < other->high ? at : other )++;
   }
   return false;
}

bool meet( const Zorv::IpGenPrefix& a, const Zorv::IpGenPrefix& b ) {
   return contains( a, b ) || contains( b, a );
}

// Whether the numbers of no component and the sources tell the packets of two rules apart. Ports of
// either side do not.
bool mayMeet( const CanonicalRule& a, const CanonicalRule& b ) {
   return meet( a.srcPrefix(), b.srcPrefix() ) &&
          std::ranges::all_of( a.components(), [&]( const CanonicalComponent& component ) {
             const auto other =
                std::ranges::find( b.components(), component.type, &CanonicalComponent::type );
             return other == b.components().end() || component.type == port ||
                    isBitmask( component.type ) || meet( component.ranges, other->ranges );
          } );
}

// The key of all rules with the same packets and interface sets, but for those that have too many
// ranges to be written so.
FlowspecKey canonicalKey( const FlowspecKey& key ) {
   FlowspecKey canonical = key;
   static_cast< void >( CanonicalRule( key ).toKey( canonical ) );
   return canonical;
}

struct KeyHash {
   std::size_t operator()( const FlowspecKey& key ) const { return key.hash(); }
};

} // namespace

bool continues( const RuleAction& action ) {
   return action.fields.trafficAction() && action.trafficAction.continueMatch();
}

bool coversSets( const FlowspecKey& outer, const FlowspecKey& inner ) {
   const auto& sets = outer.interfaceSet();
   return sets.empty() || ( !inner.interfaceSet().empty() &&
                            std::ranges::all_of( inner.interfaceSet(), [&]( U16 id ) {
                               return std::ranges::find( sets, id ) != sets.end();
                            } ) );
}

bool sharesSets( const FlowspecKey& a, const FlowspecKey& b ) {
   const auto& sets = a.interfaceSet();
   return sets.empty() || b.interfaceSet().empty() ||
          std::ranges::any_of( b.interfaceSet(), [&]( U16 id ) {
             return std::ranges::find( sets, id ) != sets.end();
          } );
}

OverlapFinder::OverlapFinder( std::vector< ComparedRule > rules )
   : rules_( std::move( rules ) ), places_( rules_.size() ) {
   std::map< std::pair< Vrf::VrfIdMap::VrfId, Zorv::AddressFamily >, std::vector< std::size_t > >
      groups;
   for ( std::size_t rule = 0; rule < rules_.size(); ++rule ) {
      const FlowspecKey& key = *rules_[rule].key;
      if ( PacketSet( key ).any() ) {
         groups[{ key.vrfId(), key.addressFamily() }].push_back( rule );
      }
   }
   for ( auto& [instance, members] : groups ) {
      addGroup( std::move( members ) );
   }
}

void OverlapFinder::addGroup( std::vector< std::size_t > rules ) {
   std::ranges::stable_sort(
      rules, []( const FlowspecKey* a, const FlowspecKey* b ) { return Wire::precedes( *a, *b ); },
      [&]( std::size_t rule ) { return rules_[rule].key; } );
   std::vector< CanonicalRule > canonical;
   std::unordered_map< FlowspecKey, std::size_t, KeyHash > known;
   for ( const std::size_t rule : rules ) {
      places_[rule] = { groups_.size(), static_cast< RuleIndex::Position >( canonical.size() ) };
      const FlowspecKey& key = *rules_[rule].key;
      canonical.emplace_back( key );
      const FlowspecKey sameKey = canonicalKey( key );
      if ( const auto at = known.find( sameKey ); at != known.end() ) {
         places_[rule].same = at->second;
      } else if ( !continues( *rules_[rule].action ) ) {
         known.emplace( sameKey, rule );
      }
   }
   groups_.push_back( { std::move( rules ), RuleIndex( std::move( canonical ) ) } );
}

Overlaps OverlapFinder::overlapsOf( std::size_t rule ) const {
   Overlaps found;
   const Place& place = places_[rule];
   if ( place.same != none ) {
      found.same = { place.same, *PacketSet( *rules_[rule].key ).any() };
   } else if ( place.group != none ) {
      compare( rule, groups_[place.group], found );
   }
   return found;
}

void OverlapFinder::compare( std::size_t rule, const Group& group, Overlaps& found ) const {
   const auto& [key, action] = rules_[rule];
   const PacketSet packets( *key );
   const CanonicalRule& canonical = group.index.rule( places_[rule].at );
   const RuleIndex::Candidates candidates = group.index.before( places_[rule].at, maxLookedAt );
   std::size_t compared = 0;
   for ( std::size_t i = 0; i < candidates.positions.size(); ++i ) {
      const RuleIndex::Position at = candidates.positions[i];
      const std::size_t position = group.rules[at];
      // The one that it is the same as takes what it would.
      if ( places_[position].same != none ) {
         continue;
      }
      const ComparedRule& other = rules_[position];
      const CanonicalRule& others = group.index.rule( at );
      const bool mayCover = contains( others.destPrefix(), canonical.destPrefix() ) &&
                            contains( others.srcPrefix(), canonical.srcPrefix() ) &&
                            coversSets( *other.key, *key );
      const bool mayContradict = !found.contradicts && *other.action != *action;
      if ( continues( *other.action ) || !sharesSets( *other.key, *key ) ||
           ( found.partly && !mayCover && !mayContradict ) || !mayMeet( others, canonical ) ) {
         continue;
      }
      if ( compared++ == maxCompared ) {
         found.notCompared = candidates.positions.size() - i;
         break;
      }
      const PacketSet otherPackets( *other.key );
      const auto common = packets.common( otherPackets );
      if ( !common ) {
         continue;
      }
      if ( mayCover && !packets.beyond( otherPackets ) ) {
         found = { .wholly = Overlap{ position, *common } };
         return;
      }
      if ( !found.partly ) {
         found.partly = { position, *common };
      }
      if ( mayContradict && otherPackets.beyond( packets ) ) {
         found.contradicts = { position, *common };
      }
   }
   found.notCompared += candidates.left;
}

} // namespace Dataplane
