#include "dataplane/nftables/Table.h"

#include "dataplane/nftables/Addresses.h"
#include "dataplane/nftables/Names.h"
#include "dataplane/nftables/RuleChains.h"
#include "wire/Precedence.h"

#include <algorithm>

namespace Dataplane::Nftables {

using Zorv::AddressFamily;
using Zorv::IpGenAddr;
using Zorv::IpGenPrefix;

namespace {

// Notes how something is before it is changed for the first time.
template < typename Part >
void touch( const Part& current, Part& before, std::set< Vek::String >& touched,
            const Vek::String& name ) {
   if ( touched.insert( name ).second ) {
      const auto at = current.find( name );
      if ( at != current.end() ) {
         before.insert( *at );
      }
   }
}

// Makes what is now of what was touched, and forgets what is the same again.
template < typename Part >
void settle( const Part& current, Part& before, Part& after, std::set< Vek::String >& touched ) {
   after.clear();
   std::erase_if( touched, [&]( const Vek::String& name ) {
      const auto now = current.find( name );
      const auto was = before.find( name );
      const bool there = now != current.end();
      if ( there != ( was != before.end() ) || ( there && !( *now == *was ) ) ) {
         if ( there ) {
            after.insert( *now );
         }
         return false;
      }
      if ( there ) {
         before.erase( was );
      }
      return true;
   } );
}

} // namespace

Table::Table( AddressFamily family ) {
   current_.family = changes_.before.family = changes_.after.family = family;
   Line dispatch{ Dispatch{ Dispatch::By::interface, Vek::String( interfaceMap ) } };
   chainIs( Vek::String( baseChain ), { { oneLine( std::move( dispatch ) ) } } );
}

void Table::insert( Rules& rules, Placed placed ) {
   const auto at = std::ranges::upper_bound( rules, placed, []( const Placed& a, const Placed& b ) {
      return Wire::precedes( a.rule->key, b.rule->key );
   } );
   rules.insert( at, std::move( placed ) );
}

void Table::add( const RulePtr& rule ) {
   touch( current_.counters, changes_.before.counters, counters_, rule->name );
   current_.counters.insert( rule->name );
   if ( rule->action.limit ) {
      touch( current_.limits, changes_.before.limits, limits_, rule->name );
      current_.limits.insert_or_assign( rule->name, *rule->action.limit );
   }
   if ( !rule->interfaceSets.empty() ) {
      const Vek::String name = setName( rule->interfaceSets );
      SetUse& use = sets_[name];
      use.sets = rule->interfaceSets;
      if ( use.rules++ == 0 ) {
         membersAre( name, use.sets );
      }
   }
   VrfRules& vrf = vrfs_[rule->vrf()];
   RuleChains chains = ruleChains( *rule );
   if ( vrf.used ) {
      addOwnChains( chains );
   }
   Placed placed{ rule, std::move( chains.lines ) };
   if ( rule->destination.length() == 0 ) {
      insert( vrf.others, std::move( placed ) );
      dirty_.insert( { rule->vrf(), Key() } );
      return;
   }
   const Key key{ rule->destination.address(), rule->destination.length() };
   dirty_.insert( { rule->vrf(), key } );
   const auto [at, added] = vrf.nodes.try_emplace( key );
   at->second.prefix = rule->destination;
   insert( at->second.rules, std::move( placed ) );
   if ( !added ) {
      copiesChanged( rule->vrf(), rule->destination );
   } else if ( vrf.used ) {
      // What covers it is the one before it, or covers that.
      const Node* cover = at == vrf.nodes.begin() ? nullptr : &std::prev( at )->second;
      while ( cover && lastOf( cover->prefix ) < key.first ) {
         cover = cover->cover;
      }
      nodeChanged( rule->vrf(), rule->destination, cover );
   }
}

void Table::remove( const RulePtr& rule ) {
   touch( current_.counters, changes_.before.counters, counters_, rule->name );
   current_.counters.erase( rule->name );
   touch( current_.limits, changes_.before.limits, limits_, rule->name );
   current_.limits.erase( rule->name );
   if ( !rule->interfaceSets.empty() ) {
      const auto use = sets_.find( setName( rule->interfaceSets ) );
      if ( --use->second.rules == 0 ) {
         touch( current_.interfaceSets, changes_.before.interfaceSets, interfaceSets_, use->first );
         current_.interfaceSets.erase( use->first );
         sets_.erase( use );
      }
   }
   VrfRules& vrf = vrfs_[rule->vrf()];
   if ( vrf.used ) {
      delOwnChains( *rule );
   }
   const auto isThis = [&]( const Placed& placed ) { return placed.rule == rule; };
   if ( rule->destination.length() == 0 ) {
      std::erase_if( vrf.others, isThis );
      dirty_.insert( { rule->vrf(), Key() } );
      return;
   }
   const Key key{ rule->destination.address(), rule->destination.length() };
   dirty_.insert( { rule->vrf(), key } );
   const auto at = vrf.nodes.find( key );
   std::erase_if( at->second.rules, isThis );
   if ( !at->second.rules.empty() ) {
      copiesChanged( rule->vrf(), rule->destination );
      return;
   }
   const Node* const cover = at->second.cover;
   vrf.nodes.erase( at );
   if ( vrf.used ) {
      chainDel( prefixChain( rule->vrf(), rule->destination ) );
      nodeChanged( rule->vrf(), rule->destination, cover );
   }
}

void Table::addOwnChains( const RuleChains& chains ) {
   for ( const auto& [name, chain] : chains.own ) {
      chainIs( name, chain );
   }
}

void Table::delOwnChains( const Rule& rule ) {
   chainDel( actionChain( rule ) );
   chainDel( alternativesChain( rule ) );
}

void Table::interfacesAre( const InterfaceUses& interfaces ) {
   if ( interfaces == interfaces_ ) {
      return;
   }
   const InterfaceUses before = std::exchange( interfaces_, interfaces );
   for ( const auto& [name, interface] : before ) {
      touch( current_.interfaces, changes_.before.interfaces, interfaceNames_, name );
      current_.interfaces.erase( name );
   }
   std::set< VrfId > used;
   for ( const auto& [name, interface] : interfaces_ ) {
      touch( current_.interfaces, changes_.before.interfaces, interfaceNames_, name );
      current_.interfaces[name] = vrfChain( interface.vrf );
      used.insert( interface.vrf );
      vrfs_[interface.vrf];
   }
   for ( const auto& [name, use] : sets_ ) {
      membersAre( name, use.sets );
   }
   for ( const auto& [vrf, rules] : vrfs_ ) {
      if ( rules.used && !used.contains( vrf ) ) {
         leave( vrf );
      } else if ( !rules.used && used.contains( vrf ) ) {
         use( vrf );
      }
   }
}

void Table::membersAre( const Vek::String& set, const std::vector< U16 >& sets ) {
   touch( current_.interfaceSets, changes_.before.interfaceSets, interfaceSets_, set );
   std::set< Vek::String >& members = current_.interfaceSets[set];
   members.clear();
   for ( const auto& [interface, use] : interfaces_ ) {
      if ( std::ranges::any_of(
              use.sets, [&sets]( U16 one ) { return std::ranges::binary_search( sets, one ); } ) ) {
         members.insert( interface );
      }
   }
}

// Gives a VRF its chains.
void Table::use( VrfId vrf ) {
   VrfRules& rules = vrfs_[vrf];
   rules.used = true;
   Line dispatch{ Dispatch{ Dispatch::By::destination, destinationMap( vrf ) } };
   Line others{ Verdict{ Verdict::Kind::jumpTo, anyChain( vrf ) } };
   chainIs( vrfChain( vrf ),
            { { oneLine( std::move( dispatch ) ), oneLine( std::move( others ) ) } } );
   current_.destinations[destinationMap( vrf )];
   changes_.after.destinations[destinationMap( vrf )];
   for ( const Placed& placed : rules.others ) {
      addOwnChains( ruleChains( *placed.rule ) );
   }
   for ( const auto& [key, node] : rules.nodes ) {
      for ( const Placed& placed : node.rules ) {
         addOwnChains( ruleChains( *placed.rule ) );
      }
   }
   dirty_.insert( { vrf, Key() } );
   if ( !rules.nodes.empty() ) {
      const Key& first = rules.nodes.begin()->first;
      const IpGenAddr last = lastOf( { first.first, 0 } );
      walk( vrf, first, last, nullptr, first.first, last );
   }
}

void Table::leave( VrfId vrf ) {
   VrfRules& rules = vrfs_[vrf];
   rules.used = false;
   chainDel( vrfChain( vrf ) );
   chainDel( anyChain( vrf ) );
   for ( const Placed& placed : rules.others ) {
      delOwnChains( *placed.rule );
   }
   for ( const auto& [key, node] : rules.nodes ) {
      chainDel( prefixChain( vrf, node.prefix ) );
      for ( const Placed& placed : node.rules ) {
         delOwnChains( *placed.rule );
      }
   }
   const Vek::String map = destinationMap( vrf );
   auto& before = changes_.before.destinations;
   auto& after = changes_.after.destinations;
   // One that came and goes again was never there.
   if ( before.contains( map ) || !after.contains( map ) ) {
      for ( const Interval& interval : current_.destinations[map] ) {
         if ( after[map].erase( interval ) == 0 ) {
            before[map].insert( interval );
         }
      }
      before[map];
   }
   after.erase( map );
   current_.destinations.erase( map );
}

void Table::renewChains() {
   for ( const auto& [vrf, key] : dirty_ ) {
      const VrfRules& rules = vrfs_[vrf];
      const auto node = rules.nodes.find( key );
      if ( !rules.used ) {
         continue;
      }
      if ( key.second == 0 ) {
         Chain chain;
         for ( const Placed& placed : rules.others ) {
            chain.parts.push_back( placed.lines );
         }
         chainIs( anyChain( vrf ), std::move( chain ) );
      } else if ( node != rules.nodes.end() ) {
         chainIs( prefixChain( vrf, node->second.prefix ), chainOf( vrf, node->second ) );
      }
   }
   dirty_.clear();
}

void Table::chainIs( const Vek::String& name, Chain chain ) {
   touch( current_.chains, changes_.before.chains, chains_, name );
   current_.chains[name] = std::move( chain );
}

void Table::chainDel( const Vek::String& name ) {
   touch( current_.chains, changes_.before.chains, chains_, name );
   current_.chains.erase( name );
}

const Ruleset& Table::ruleset() {
   renewChains();
   return current_;
}

const Table::Changes& Table::changes() {
   renewChains();
   auto& [before, after] = changes_;
   settle( current_.counters, before.counters, after.counters, counters_ );
   settle( current_.limits, before.limits, after.limits, limits_ );
   settle( current_.chains, before.chains, after.chains, chains_ );
   settle( current_.interfaceSets, before.interfaceSets, after.interfaceSets, interfaceSets_ );
   settle( current_.interfaces, before.interfaces, after.interfaces, interfaceNames_ );
   return changes_;
}

void Table::changesAreDone() {
   for ( Names* const names :
         { &counters_, &limits_, &chains_, &interfaceSets_, &interfaceNames_ } ) {
      names->clear();
   }
   const AddressFamily family = current_.family;
   changes_ = {};
   changes_.before.family = changes_.after.family = family;
}

Ruleset rulesetOf( AddressFamily family, const std::vector< RulePtr >& rules,
                   const InterfaceUses& interfaces ) {
   Table table( family );
   for ( const RulePtr& rule : rules ) {
      table.add( rule );
   }
   table.interfacesAre( interfaces );
   return table.ruleset();
}

} // namespace Dataplane::Nftables
