#include "dataplane/nftables/Ruleset.h"

#include "Vek/text/Text.h"
#include "wire/AddressBits.h"

#include <algorithm>

namespace Dataplane::Nftables {

namespace {

using Zorv::AddressFamily;
using Zorv::IpGenAddr;
using Zorv::IpGenPrefix;
using VrfId = Vrf::VrfIdMap::VrfId;

// The kernel follows no more than 16 chains into each other. The others are the base chain, that of
// the VRF, that of the rules without destination and two of a rule.
constexpr unsigned maxNesting = 10;

Lines lines( Line line ) {
   return std::make_shared< const std::vector< Line > >( std::vector< Line >{ std::move( line ) } );
}

Vek::String vrfChain( VrfId vrf ) { return Vek::concat( "vrf", vrf ); }
Vek::String anyChain( VrfId vrf ) { return Vek::concat( "vrf", vrf, "-any" ); }
Vek::String destinationMap( VrfId vrf ) { return Vek::concat( "vrf", vrf, "-destinations" ); }

// A word of nft's language, in which an address of IPv6 is none.
Vek::String prefixChain( VrfId vrf, const IpGenPrefix& prefix ) {
   Vek::String address = prefix.address().stringValue();
   std::ranges::replace( address, ':', '_' );
   return Vek::concat( "vrf", vrf, "-", address, "/", prefix.length() );
}

Vek::String setName( const std::vector< U16 >& sets ) {
   Vek::String name = "sets";
   for ( const U16 set : sets ) {
      name += Vek::concat( '-', set );
   }
   return name;
}

IpGenAddr lastOf( const IpGenPrefix& prefix ) {
   IpGenAddr::Bytes bytes = prefix.address().bytes();
   const std::size_t bits = prefix.family() == AddressFamily::ipv4 ? 32 : 128;
   for ( std::size_t bit = prefix.length(); bit < bits; ++bit ) {
      bytes[bit / 8] |= static_cast< U8 >( 0x80U >> bit % 8 );
   }
   return prefix.family() == AddressFamily::ipv4 ? IpGenAddr::ipv4( Osk::loadBig32( bytes.data() ) )
                                                 : IpGenAddr::ipv6( bytes );
}

// The address beside another one, which is not at the end in this direction.
IpGenAddr beside( const IpGenAddr& address, int step, AddressFamily family ) {
   if ( family == AddressFamily::ipv4 ) {
      return IpGenAddr::ipv4( address.ipv4Value() + static_cast< U32 >( step ) );
   }
   IpGenAddr::Bytes bytes = address.bytes();
   const U8 full = step > 0 ? 0xFF : 0;
   std::size_t at = bytes.size() - 1;
   while ( bytes[at] == full ) {
      bytes[at--] = static_cast< U8 >( ~full );
   }
   bytes[at] = static_cast< U8 >( bytes[at] + step );
   return IpGenAddr::ipv6( bytes );
}

/// A prefix that rules have as their destination.
struct Node {
   IpGenPrefix prefix;
   std::vector< Lines > rules;
   const Node* cover = nullptr; // the next shorter one
   unsigned nesting = 1;        // how many chains follow each other to that of the other rules
};

class Builder {
public:
   Builder( AddressFamily family, const InterfaceUses& interfaces ) {
      result_.family = family;
      Line dispatch{ Dispatch{ Dispatch::By::interface, Vek::String( interfaceMap ) } };
      result_.chains[Vek::String( baseChain )].parts.push_back( lines( std::move( dispatch ) ) );
      for ( const auto& [name, use] : interfaces ) {
         result_.interfaces[name] = vrfChain( use.vrf );
         addVrf( use.vrf );
      }
      interfaces_ = &interfaces;
   }

   void add( const RulePtr& rule ) {
      const auto vrf = vrfs_.find( rule->vrf );
      result_.counters.insert( rule->name );
      if ( rule->action.limit ) {
         result_.limits.emplace( rule->name, *rule->action.limit );
      }
      if ( vrf == vrfs_.end() ) {
         return;
      }
      const Lines own = linesOf( *rule );
      if ( rule->destination.length() == 0 ) {
         result_.chains[anyChain( rule->vrf )].parts.push_back( own );
      } else {
         vrf->second[{ rule->destination.address(), rule->destination.length() }].rules.push_back(
            own );
      }
   }

   Ruleset finish() {
      for ( auto& [vrf, nodes] : vrfs_ ) {
         finishVrf( vrf, nodes );
      }
      return std::move( result_ );
   }

private:
   // By address, then length: what covers a prefix is before it.
   using Nodes = std::map< std::pair< IpGenAddr, unsigned >, Node >;

   void addVrf( VrfId vrf ) {
      if ( vrfs_.try_emplace( vrf ).second ) {
         Line dispatch{ Dispatch{ Dispatch::By::destination, destinationMap( vrf ) } };
         Line others{ Verdict{ Verdict::Kind::jumpTo, anyChain( vrf ) } };
         result_.chains[vrfChain( vrf )].parts = { lines( std::move( dispatch ) ),
                                                   lines( std::move( others ) ) };
         result_.chains[anyChain( vrf )];
         result_.destinations[destinationMap( vrf )];
      }
   }

   // The lines in the chain of the destination; chains of the rule's own are added.
   Lines linesOf( const Rule& rule ) {
      const ActionLines& action = rule.action;
      const bool several = rule.matches.size() > 1 && action.continues;
      const bool apart = action.lines.size() > 1 || several;
      if ( apart ) {
         result_.chains["do-" + rule.name].parts = {
            std::make_shared< const std::vector< Line > >( action.lines ) };
      }
      const Line inside =
         apart ? Line{ Verdict{ Verdict::Kind::jumpTo, "do-" + rule.name } } : action.lines.front();
      std::vector< Line > matching;
      for ( const Line& match : rule.matches ) {
         Line line;
         // Where the alternatives have a chain of their own, the interface was looked at before.
         if ( !rule.interfaceSets.empty() && !several ) {
            line.push_back( interfaceTest( rule ) );
         }
         line.insert( line.end(), match.begin(), match.end() );
         line.insert( line.end(), inside.begin(), inside.end() );
         matching.push_back( std::move( line ) );
      }
      if ( !several ) {
         return std::make_shared< const std::vector< Line > >( std::move( matching ) );
      }
      // Only the first alternative that holds is to count, and the next rule to be tried then.
      result_.chains["any-" + rule.name].parts = {
         std::make_shared< const std::vector< Line > >( std::move( matching ) ) };
      Line jump;
      if ( !rule.interfaceSets.empty() ) {
         jump.push_back( interfaceTest( rule ) );
      }
      jump.push_back( Verdict{ Verdict::Kind::jump, "any-" + rule.name } );
      return lines( std::move( jump ) );
   }

   Expression interfaceTest( const Rule& rule ) {
      const Vek::String name = setName( rule.interfaceSets );
      const auto [at, added] = result_.interfaceSets.try_emplace( name );
      if ( added ) {
         for ( const auto& [interface, use] : *interfaces_ ) {
            if ( std::ranges::any_of( use.sets, [&rule]( U16 set ) {
                    return std::ranges::binary_search( rule.interfaceSets, set );
                 } ) ) {
               at->second.insert( interface );
            }
         }
      }
      return InterfaceTest{ name };
   }

   void finishVrf( VrfId vrf, Nodes& nodes ) {
      std::vector< const Node* > open; // each covers the next
      for ( auto& [key, node] : nodes ) {
         node.prefix = { key.first, key.second };
         while ( !open.empty() && lastOf( open.back()->prefix ) < key.first ) {
            addInterval( vrf, *open.back(), lastOf( open.back()->prefix ) );
            open.pop_back();
         }
         if ( open.empty() ) {
            next_ = key.first;
         } else {
            if ( *next_ < key.first ) {
               addInterval( vrf, *open.back(), beside( key.first, -1, result_.family ) );
            }
            node.cover = open.back();
            node.nesting = node.cover->nesting + 1;
         }
         open.push_back( &node );
         addChain( vrf, node );
      }
      for ( ; !open.empty(); open.pop_back() ) {
         addInterval( vrf, *open.back(), lastOf( open.back()->prefix ) );
      }
   }

   // What is left of a prefix up to an address goes to its chain.
   void addInterval( VrfId vrf, const Node& node, const IpGenAddr& last ) {
      if ( next_ && !( last < *next_ ) ) {
         result_.destinations[destinationMap( vrf )].push_back(
            { *next_, last, prefixChain( vrf, node.prefix ) } );
         next_.reset();
         if ( last != lastOf( { last, 0 } ) ) {
            next_ = beside( last, 1, result_.family );
         }
      }
   }

   void addChain( VrfId vrf, Node& node ) {
      std::vector< Lines > parts = node.rules;
      const Node* cover = node.cover;
      if ( node.nesting > maxNesting ) {
         // What is to follow is copied instead; counters and limits count for all copies.
         for ( ; cover; cover = cover->cover ) {
            parts.insert( parts.end(), cover->rules.begin(), cover->rules.end() );
         }
         node.nesting = 1;
      }
      const Vek::String chain = cover ? prefixChain( vrf, cover->prefix ) : anyChain( vrf );
      parts.push_back( lines( { Verdict{ Verdict::Kind::jumpTo, chain } } ) );
      result_.chains[prefixChain( vrf, node.prefix )].parts = std::move( parts );
   }

   Ruleset result_;
   const InterfaceUses* interfaces_;
   std::optional< IpGenAddr > next_; // the first address without an interval; none after the last
   std::map< VrfId, Nodes > vrfs_;
};

} // namespace

bool Chain::operator==( const Chain& other ) const {
   return std::ranges::equal( parts, other.parts,
                              []( const Lines& a, const Lines& b ) { return a == b || *a == *b; } );
}

Ruleset rulesetOf( AddressFamily family, const std::vector< RulePtr >& rules,
                   const InterfaceUses& interfaces ) {
   Builder builder( family, interfaces );
   for ( const RulePtr& rule : rules ) {
      builder.add( rule );
   }
   return builder.finish();
}

} // namespace Dataplane::Nftables
