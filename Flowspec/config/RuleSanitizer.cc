#include "Flowspec/config/RuleConfig.h"

#include <algorithm>
#include <array>

namespace Flowspec {

namespace {

constexpr U32 protocolIcmp = 1;
constexpr U32 protocolTcp = 6;
constexpr U32 protocolUdp = 17;
constexpr U32 protocolIcmpV6 = 58;

// The first of `types` that the match set has, or `invalid`.
MatchCompType firstPresent( const RuleConfig& rule, std::initializer_list< MatchCompType > types ) {
   const auto& matchSet = rule.matchSet();
   const auto at = std::ranges::find_if(
      types, [&]( MatchCompType type ) { return matchSet.find( type ) != matchSet.end(); } );
   return at == types.end() ? invalid : *at;
}

bool has( const RuleConfig& rule, MatchCompType type ) {
   return firstPresent( rule, { type } ) != invalid;
}

MatchCompType firstPort( const RuleConfig& rule ) {
   return firstPresent( rule, { port, destPort, srcPort } );
}

MatchCompType firstIcmp( const RuleConfig& rule ) {
   return firstPresent( rule, { icmpType, icmpCode } );
}

U32 icmpProtocol( const RuleConfig& rule ) {
   return rule.ruleKey().addressFamily() == Zorv::AddressFamily::ipv6 ? protocolIcmpV6
                                                                      : protocolIcmp;
}

} // namespace

bool ruleConfigIpProtoContains( const RuleConfig& rule, std::span< const U32 > protocols ) {
   const auto at = rule.matchSet().find( ipProto );
   if ( at == rule.matchSet().end() ) {
      return true;
   }
   const auto& ranges = at->second.numericalRange();
   return std::any_of( ranges.begin(), ranges.end(), [&]( const NumericalRange& range ) {
      return std::ranges::any_of( protocols, [&]( U32 p ) { return range.contains( p ); } );
   } );
}

MatchCompType RuleConfig::infeasibleMatchInMatchSet() const {
   const MatchCompType icmp = firstIcmp( *this );
   const MatchCompType ports = firstPort( *this );
   if ( has( *this, tcpFlags ) &&
        ( icmp != invalid || !ruleConfigIpProtoContains( *this, { protocolTcp } ) ) ) {
      return tcpFlags;
   }
   if ( icmp != invalid &&
        ( ports != invalid || !ruleConfigIpProtoContains( *this, { icmpProtocol( *this ) } ) ) ) {
      return icmp;
   }
   if ( ports != invalid && !ruleConfigIpProtoContains( *this, { protocolTcp, protocolUdp } ) ) {
      return ports;
   }
   return invalid;
}

void RuleConfig::ipProtoIs( std::span< const U32 > protocols ) {
   const auto isExactly = [&]( const MatchComponent& component ) {
      return component.prefix().empty() && component.ipBitMask().empty() &&
             component.tcpBitMask().empty() &&
             component.numericalRange().size() == protocols.size() &&
             std::ranges::all_of( protocols, [&]( U32 p ) {
                return component.numericalRange().contains( NumericalRange( p, p ) );
             } );
   };
   // Asked before the component is built: most rules are sanitised already.
   const auto at = matchSet_.find( ipProto );
   if ( at != matchSet_.end() && isExactly( at->second ) ) {
      return;
   }
   MatchComponent component( ipProto );
   for ( const U32 protocol : protocols ) {
      component.numericalRangeIs( NumericalRange( protocol, protocol ) );
   }
   matchSetIs( component );
}

MatchCompType RuleConfig::sanitizeMatchSet() {
   if ( const MatchCompType infeasible = infeasibleMatchInMatchSet(); infeasible != invalid ) {
      return infeasible;
   }
   const Vek::Ptr< RuleConfig > hold( this );
   if ( has( *this, tcpFlags ) ) {
      ipProtoIs( std::array{ protocolTcp } );
   }
   if ( firstIcmp( *this ) != invalid ) {
      ipProtoIs( std::array{ icmpProtocol( *this ) } );
   }
   if ( firstPort( *this ) != invalid ) {
      const bool tcp = ruleConfigIpProtoContains( *this, { protocolTcp } );
      const bool udp = ruleConfigIpProtoContains( *this, { protocolUdp } );
      static constexpr U32 both[] = { protocolTcp, protocolUdp };
      ipProtoIs( std::span( both ).subspan( !tcp, std::size_t{ tcp } + udp ) );
   }
   return invalid;
}

} // namespace Flowspec
