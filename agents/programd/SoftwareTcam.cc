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
   if ( !added ) {
      if ( rule.demand == demand ) {
         return;
      }
      takeBack( *at );
   }
   rule.demand = std::move( demand );
   rule.isNew = true;
   touched_.insert( at->first );
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
   tables_.erase( key.vrfId() );
   touched_.erase( at->first );
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
   if ( !setsFit( key ) ) {
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
      for ( const U16 set : setsOf( key ) ) {
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
      for ( const U16 set : setsOf( key ) ) {
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
         touched_.insert( rule.first );
      }
   }
   stale_ = false;
}

std::vector< RuleChange > SoftwareTcam::apply() {
   if ( stale_ ) {
      giveAll();
   }
   std::vector< RuleChange > changes;
   for ( const FlowspecKey& key : touched_ ) {
      Rule& rule = rules_.find( key )->second;
      if ( rule.isNew || rule.result != rule.inForce ) {
         rule.isNew = false;
         rule.inForce = rule.result;
         rule.continues = rule.demand.actions[numberOf( Action::continueMatch )];
         rule.counters = {};
         tables_.erase( key.vrfId() );
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

SoftwareTcam::Table& SoftwareTcam::tableOf( Vrf::VrfIdMap::VrfId vrf ) {
   std::unique_ptr< Table >& table = tables_[vrf];
   if ( !table ) {
      std::vector< Rules::value_type* > inForce;
      std::vector< Match::Candidate > ordered;
      FlowspecKey first; // without a family, before the rules of any
      first.vrfIdIs( vrf );
      for ( auto at = rules_.lower_bound( first ); at != rules_.end() && at->first.vrfId() == vrf;
            ++at ) {
         if ( at->second.inForce.isProgrammed() ) {
            const U32 number = static_cast< U32 >( inForce.size() );
            ordered.push_back( { &at->first, number, number } );
            inForce.push_back( &*at );
         }
      }
      table = std::make_unique< Table >( Table{ std::move( inForce ), Match::Matcher( ordered ) } );
   }
   return *table;
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
   for ( U32 next = 0;; ++counted ) {
      const auto winner = table.matcher.match( packet, [&]( U32 number ) {
         return number >= next && appliesTo( table.rules[number]->first, interface.setup.sets );
      } );
      if ( !winner ) {
         return counted;
      }
      Rule& rule = table.rules[*winner]->second;
      rule.counters.packetHitsIs( rule.counters.packetHits() + 1 );
      rule.counters.byteHitsIs( rule.counters.byteHits() + length );
      next = rule.continues ? *winner + 1 : static_cast< U32 >( table.rules.size() );
   }
}

U32 SoftwareTcam::process( Zorv::IntfId intf, std::span< const U8 > frame, U32 length ) {
   const auto packet = Match::parsePacket( Match::ipPacketOf( frame, Match::LinkType::ethernet ) );
   return packet ? process( intf, *packet, length ) : 0;
}

} // namespace Agents
