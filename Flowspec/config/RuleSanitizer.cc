#include "Flowspec/config/MatchSetBuilder.h"

#include <algorithm>
#include <array>

namespace Flowspec {

namespace {

constexpr U32 protocolIcmp = 1;
constexpr U32 protocolTcp = 6;
constexpr U32 protocolUdp = 17;
constexpr U32 protocolIcmpV6 = 58;

// What of a match set hangs together with the protocol.
struct Parts {
   const MatchComponent* protocols; // null for all
   MatchCompType flags;             // here and below `invalid` when there is none
   MatchCompType icmp;
   MatchCompType ports;
   U32 icmpProtocol;

   bool admit( std::span< const U32 > wanted ) const {
      return !protocols ||
             std::ranges::any_of( protocols->numericalRange(), [&]( const auto& range ) {
                return std::ranges::any_of( wanted, [&]( U32 p ) { return range.contains( p ); } );
             } );
   }
   bool admit( std::initializer_list< U32 > wanted ) const {
      return admit( std::span( wanted.begin(), wanted.size() ) );
   }
};

// `find( type )` gives the component of a type, or null.
template < typename Find >
Parts partsOf( Zorv::AddressFamily family, Find find ) {
   const auto first = [&]( std::initializer_list< MatchCompType > types ) {
      const auto at = std::ranges::find_if( types, find );
      return at == types.end() ? invalid : *at;
   };
   const U32 icmp = family == Zorv::AddressFamily::ipv6 ? protocolIcmpV6 : protocolIcmp;
   return { find( ipProto ), first( { tcpFlags } ), first( { icmpType, icmpCode } ),
            first( { port, destPort, srcPort } ), icmp };
}

Parts partsOf( const RuleConfig& rule ) {
   return partsOf( rule.ruleKey().addressFamily(), [&]( MatchCompType type ) {
      const auto at = rule.matchSet().find( type );
      return at == rule.matchSet().end() ? nullptr : &at->second;
   } );
}

MatchCompType infeasibleOf( const Parts& parts ) {
   if ( parts.flags != invalid && ( parts.icmp != invalid || !parts.admit( { protocolTcp } ) ) ) {
      return parts.flags;
   }
   if ( parts.icmp != invalid &&
        ( parts.ports != invalid || !parts.admit( { parts.icmpProtocol } ) ) ) {
      return parts.icmp;
   }
   if ( parts.ports != invalid && !parts.admit( { protocolTcp, protocolUdp } ) ) {
      return parts.ports;
   }
   return invalid;
}

// The component of the protocols that feasible parts imply, unless they imply none or it is there.
std::optional< MatchComponent > impliedBy( const Parts& parts ) {
   std::array< U32, 2 > implied{};
   std::size_t count = 0;
   const auto add = [&]( U32 protocol ) { implied[count++] = protocol; };
   if ( parts.flags != invalid ) {
      add( protocolTcp );
   } else if ( parts.icmp != invalid ) {
      add( parts.icmpProtocol );
   } else if ( parts.ports != invalid ) {
      for ( const U32 protocol : { protocolTcp, protocolUdp } ) {
         if ( parts.admit( { protocol } ) ) {
            add( protocol );
         }
      }
   }
   const std::span< const U32 > all = std::span( implied ).first( count );
   // Asked before the component is built: most rules are sanitised already.
   const auto isThere = [&]( const MatchComponent& component ) {
      return component.prefix().empty() && component.ipBitMask().empty() &&
             component.tcpBitMask().empty() && component.numericalRange().size() == count &&
             std::ranges::all_of( all, [&]( U32 p ) {
                return component.numericalRange().contains( NumericalRange( p, p ) );
             } );
   };
   if ( all.empty() || ( parts.protocols && isThere( *parts.protocols ) ) ) {
      return std::nullopt;
   }
   MatchComponent component( ipProto );
   for ( const U32 protocol : all ) {
      component.numericalRangeIs( NumericalRange( protocol, protocol ) );
   }
   return component;
}

} // namespace

bool ruleConfigIpProtoContains( const RuleConfig& rule, std::span< const U32 > protocols ) {
   return partsOf( rule ).admit( protocols );
}

MatchCompType RuleConfig::infeasibleMatchInMatchSet() const {
   return infeasibleOf( partsOf( *this ) );
}

MatchCompType RuleConfig::sanitizeMatchSet() {
   const Parts parts = partsOf( *this );
   const MatchCompType infeasible = infeasibleOf( parts );
   if ( infeasible == invalid ) {
      if ( const auto component = impliedBy( parts ) ) {
         matchSetIs( *component );
      }
   }
   return infeasible;
}

MatchCompType sanitizeMatchSet( Zorv::AddressFamily family,
                                std::vector< MatchComponent >& components ) {
   const auto find = [&]( MatchCompType type ) -> MatchComponent* {
      const auto at = std::ranges::find( components, type, &MatchComponent::compType );
      return at == components.end() ? nullptr : &*at;
   };
   const Parts parts = partsOf( family, find );
   const MatchCompType infeasible = infeasibleOf( parts );
   if ( infeasible == invalid ) {
      if ( auto component = impliedBy( parts ) ) {
         if ( MatchComponent* const present = find( ipProto ) ) {
            *present = *std::move( component );
         } else {
            components.push_back( *std::move( component ) );
         }
      }
   }
   return infeasible;
}

} // namespace Flowspec
