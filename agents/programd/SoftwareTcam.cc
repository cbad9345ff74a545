#include "agents/programd/SoftwareTcam.h"

#include "match/LinkLayer.h"

#include <algorithm>

namespace Agents {

namespace {

using namespace Dataplane;
using Flowspec::FlowspecKey;
using Zorv::AddressFamily;

// The interface sets of a key, each once.
std::vector< U16 > setsOf( const FlowspecKey& key ) {
   std::vector< U16 > sets( key.interfaceSet().begin(), key.interfaceSet().end() );
   std::ranges::sort( sets );
   sets.erase( std::unique( sets.begin(), sets.end() ), sets.end() );
   return sets;
}

bool isExhausted( const ProgrammingResult& result ) {
   return result.code == Flowspec::resourceExhausted ||
          result.code == Flowspec::intfSetResourceExhausted;
}

bool appliesTo( const FlowspecKey& key, const std::vector< U16 >& sets ) {
   return key.interfaceSets() == 0 ||
          std::any_of( key.interfaceSet().begin(), key.interfaceSet().end(),
                       [&]( U16 set ) { return std::ranges::binary_search( sets, set ); } );
}

} // namespace

SoftwareTcam::SoftwareTcam( Profile profile ) : profile_( std::move( profile ) ) {}

void SoftwareTcam::ruleIs( const Flowspec::RuleConfig& config ) {
   RuleDemand demand = demandOf( config, profile_ );
   const auto [at, added] = rules_.try_emplace( config.ruleKey() );
   Rule& rule = at->second;
   if ( added ) {
      givePriority( at );
   } else {
      if ( rule.demand == demand ) {
         return;
      }
      takeBack( *at );
   }
   rule.demand = std::move( demand );
   rule.isNew = true;
   touched_.insert( &*at );
   rule.result = resultOf( *at );
   if ( exhausted_ == 0 && !isExhausted( rule.result ) ) {
      give( *at );
   } else {
      // What it takes may be what others have, and what it had may be what others want.
      rule.result = {};
      stale_ = true;
   }
}

void SoftwareTcam::ruleDel( const FlowspecKey& key ) {
   const auto at = rules_.find( key );
   if ( at == rules_.end() ) {
      return;
   }
   takeBack( *at );
   if ( const auto table = tables_.find( key.vrfId() ); table != tables_.end() ) {
      table->second.erase( *at );
   }
   touched_.erase( &*at );
   rules_.erase( at );
}

U32 SoftwareTcam::interfaceSetRoom() const {
   return interfaceSetLimit_ == 0 ? profile_.interfaceSets()
                                  : std::min( profile_.interfaceSets(), interfaceSetLimit_ );
}

bool SoftwareTcam::setsFit( const FlowspecKey& key ) const {
   std::size_t used = setUsers_.size();
   for ( const U16 set : setsOf( key ) ) {
      used += !setUsers_.contains( set );
   }
   // Rules without interface sets fit, however low the limit has become.
   return key.interfaceSets() == 0 || used <= interfaceSetRoom();
}

// What becomes of a rule beside those that have been given room.
ProgrammingResult SoftwareTcam::resultOf( const Rules::value_type& rule ) const {
   const auto& [key, state] = rule;
   if ( !state.demand.result.isProgrammed() ) {
      return state.demand.result;
   }
   if ( !setsFit( key.key() ) ) {
      return { Flowspec::intfSetResourceExhausted,
               Vek::concat( "there is room for ", interfaceSetRoom(), " interface sets" ) };
   }
   if ( state.demand.entries > profile_.capacity() - entries_ ) {
      return {
         Flowspec::resourceExhausted,
         Vek::concat( state.demand.entries, " of ", profile_.capacity(), " entries are needed" ) };
   }
   return state.demand.result;
}

void SoftwareTcam::give( Rules::value_type& rule ) {
   const auto& [key, state] = rule;
   if ( isExhausted( state.result ) ) {
      ++exhausted_;
   } else if ( state.result.isProgrammed() ) {
      entries_ += state.demand.entries;
      for ( const U16 set : setsOf( key.key() ) ) {
         ++setUsers_[set];
      }
   }
}

void SoftwareTcam::takeBack( Rules::value_type& rule ) {
   const auto& [key, state] = rule;
   if ( isExhausted( state.result ) ) {
      --exhausted_;
   } else if ( state.result.isProgrammed() ) {
      entries_ -= state.demand.entries;
      for ( const U16 set : setsOf( key.key() ) ) {
         if ( --setUsers_[set] == 0 ) {
            setUsers_.erase( set );
         }
      }
      stale_ = stale_ || exhausted_ > 0;
   }
}

void SoftwareTcam::giveAll() {
   entries_ = 0;
   setUsers_.clear();
   exhausted_ = 0;
   for ( Rules::value_type& rule : rules_ ) {
      rule.second.result = resultOf( rule );
      give( rule );
      if ( rule.second.result != rule.second.inForce ) {
         touched_.insert( &rule );
      }
   }
   stale_ = false;
}

std::vector< RuleChange > SoftwareTcam::apply() {
   if ( stale_ ) {
      giveAll();
   }
   std::vector< RuleChange > changes;
   for ( Rules::value_type* const one : touched_ ) {
      const FlowspecKey& key = one->first.key();
      Rule& rule = one->second;
      if ( rule.isNew || rule.result != rule.inForce ) {
         rule.isNew = false;
         rule.inForce = rule.result;
         rule.continues = rule.demand.actions[numberOf( Action::continueMatch )];
         rule.counters = {};
         if ( const auto table = tables_.find( key.vrfId() ); table != tables_.end() ) {
            rule.inForce.isProgrammed() ? table->second.insert( *one )
                                        : table->second.erase( *one );
         }
         changes.push_back( { key, rule.result } );
      }
   }
   touched_.clear();
   return changes;
}

void SoftwareTcam::interfaceIs( Zorv::IntfId intf, const InterfaceSetup& setup ) {
   if ( setup == InterfaceSetup() ) {
      interfaces_.erase( intf );
      return;
   }
   Interface& interface = interfaces_[intf];
   interface = { setup, {} };
   if ( setup.enabled.ipv4() ) {
      interface.results.push_back( interfaceResult( intf, AddressFamily::ipv4, setup.sourceVrf ) );
   }
   if ( setup.enabled.ipv6() ) {
      interface.results.push_back( interfaceResult( intf, AddressFamily::ipv6, setup.sourceVrf ) );
   }
}

InterfaceResult SoftwareTcam::interfaceResult( Zorv::IntfId intf, AddressFamily family,
                                               const Vek::String& sourceVrf ) const {
   const auto own = profile_.vrfOf( intf );
   InterfaceResult result{ intf, family, own.value_or( 0 ), "" };
   if ( !own ) {
      result.error = "the profile has no such interface";
   } else if ( !profile_.family( family ) ) {
      result.error = Vek::concat( "the profile has nothing for ", Zorv::stringValue( family ) );
   } else if ( !sourceVrf.empty() ) {
      const auto named = profile_.vrfNamed( sourceVrf );
      result.vrf = named.value_or( *own );
      result.error = named ? "" : Vek::concat( "the profile has no VRF '", sourceVrf, "'" );
   }
   return result;
}

void SoftwareTcam::interfaceSetLimitIs( U32 limit ) {
   interfaceSetLimit_ = limit;
   stale_ = stale_ || exhausted_ > 0 || setUsers_.size() > interfaceSetRoom();
}

QosLib::ColoredCounters SoftwareTcam::counters( const FlowspecKey& key ) const {
   const auto at = rules_.find( key );
   return at == rules_.end() ? QosLib::ColoredCounters() : at->second.counters;
}

std::vector< U16 > SoftwareTcam::interfaceSetsInUse() const {
   std::vector< U16 > sets;
   for ( const auto& [set, users] : setUsers_ ) {
      sets.push_back( set );
   }
   return sets;
}

std::vector< InterfaceResult > SoftwareTcam::interfaces() const {
   std::vector< InterfaceResult > results;
   for ( const auto& [intf, interface] : interfaces_ ) {
      results.insert( results.end(), interface.results.begin(), interface.results.end() );
   }
   return results;
}

void SoftwareTcam::Table::insert( Rules::value_type& rule ) {
   std::optional< U32 >& number = rule.second.number;
   if ( number ) {
      return;
   }
   if ( unused.empty() ) {
      number = static_cast< U32 >( rules.size() );
      rules.push_back( &rule );
   } else {
      number = unused.back();
      unused.pop_back();
      rules[*number] = &rule;
   }
   matcher.insert( { &rule.first.key(), rule.second.priority, *number } );
}

void SoftwareTcam::Table::erase( Rules::value_type& rule ) {
   if ( const auto number = std::exchange( rule.second.number, std::nullopt ) ) {
      matcher.erase( *number );
      unused.push_back( *number );
   }
}

SoftwareTcam::Table& SoftwareTcam::tableOf( Vrf::VrfIdMap::VrfId vrf ) {
   const auto [at, added] = tables_.try_emplace( vrf );
   Table& table = at->second;
   if ( added ) {
      const auto begin = rules_.lower_bound( OrderedKey::beginOf( vrf ) );
      const auto end = std::find_if(
         begin, rules_.end(), [&]( const auto& rule ) { return rule.first.key().vrfId() != vrf; } );
      const U64 gap = ~U64{ 0 } / ( static_cast< U64 >( std::distance( begin, end ) ) + 1 );
      U64 priority = 0;
      for ( auto rule = begin; rule != end; ++rule ) {
         rule->second.priority = priority += gap;
         rule->second.number.reset();
         if ( rule->second.inForce.isProgrammed() ) {
            table.insert( *rule );
         }
      }
   }
   return table;
}

// Puts a new rule between its neighbours. Rules often come in ascending or descending order: what
// comes next to the one before it leaves most of the gap.
void SoftwareTcam::givePriority( Rules::iterator at ) {
   constexpr U64 step = U64{ 1 } << 20;
   const auto vrf = at->first.key().vrfId();
   if ( !tables_.contains( vrf ) ) {
      return;
   }
   const auto isThere = [&]( Rules::iterator rule ) { return rule->first.key().vrfId() == vrf; };
   const auto next = std::next( at );
   const U64 low =
      at != rules_.begin() && isThere( std::prev( at ) ) ? std::prev( at )->second.priority : 0;
   const U64 high = next != rules_.end() && isThere( next ) ? next->second.priority : ~U64{ 0 };
   const U64 distance = std::min( ( high - low ) / 2, step );
   const bool descending = next != rules_.end() && &*next == lastPlaced_;
   at->second.priority = descending ? high - distance : low + distance;
   lastPlaced_ = &*at;
   if ( distance == 0 ) {
      tables_.erase( vrf ); // to be made anew, with room
   }
}

U32 SoftwareTcam::process( Zorv::IntfId intf, const Match::Packet& packet, U32 length ) {
   const auto at = interfaces_.find( intf );
   if ( at == interfaces_.end() ) {
      return 0;
   }
   const Interface& interface = at->second;
   const auto result =
      std::ranges::find( interface.results, packet.family, &InterfaceResult::family );
   if ( result == interface.results.end() || !result->error.empty() ) {
      return 0;
   }
   const Table& table = tableOf( result->vrf );
   U32 counted = 0;
   for ( U64 next = 0;; ) {
      const auto winner = table.matcher.match( packet, [&]( U32 number ) {
         const auto& [key, rule] = *table.rules[number];
         return rule.priority >= next && appliesTo( key.key(), interface.setup.sets );
      } );
      if ( !winner ) {
         return counted;
      }
      Rule& rule = table.rules[*winner]->second;
      rule.counters.packetHitsIs( rule.counters.packetHits() + 1 );
      rule.counters.byteHitsIs( rule.counters.byteHits() + length );
      ++counted;
      if ( !rule.continues ) {
         return counted;
      }
      next = rule.priority + 1;
   }
}

U32 SoftwareTcam::process( Zorv::IntfId intf, std::span< const U8 > frame, U32 length ) {
   const auto packet = Match::parsePacket( Match::ipPacketOf( frame, Match::LinkType::ethernet ) );
   return packet ? process( intf, *packet, length ) : 0;
}

} // namespace Agents
