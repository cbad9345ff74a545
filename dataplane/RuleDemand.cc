#include "dataplane/RuleDemand.h"

#include "match/RuleMatch.h"

#include <algorithm>
#include <bit>

namespace Dataplane {

namespace {

using namespace Flowspec;

U64 entriesOf( const BitMask& mask ) {
   return mask.matchAll() ? 1 : static_cast< U64 >( std::popcount( mask.mask() ) );
}

// The types of the components that the profile does not have, joined by ", ".
Vek::String missingQualifiers( const RuleConfig& rule, const Profile::Qualifiers& qualifiers ) {
   Vek::String text;
   for ( const auto& [type, component] : rule.matchSet() ) {
      const auto number = static_cast< std::size_t >( type );
      if ( number >= qualifiers.size() || !qualifiers[number] ) {
         text.append( text.empty() ? "" : ", " ).append( stringValue( type ) );
      }
   }
   return text;
}

ProgrammingResult resultOf( const RuleConfig& rule, Actions actions, const Profile& profile ) {
   const Zorv::AddressFamily family = rule.ruleKey().addressFamily();
   const Profile::Family* const supported = profile.family( family );
   if ( !supported ) {
      return { unsupportedTcamProfile,
               Vek::concat( "the profile has nothing for ", Zorv::stringValue( family ) ) };
   }
   if ( const Vek::String missing = missingQualifiers( rule, supported->qualifiers );
        !missing.empty() ) {
      return { unsupportedMatch, Vek::concat( "the profile cannot match on ", missing ) };
   }
   if ( !Match::RuleMatch( rule.ruleKey() ).valid() ) {
      return { unsupportedMatch, "the rule's key is malformed" };
   }
   const Actions missing = actions & ~supported->actions;
   if ( missing.none() ) {
      return { programmed, "" };
   }
   return { missing == actions ? unsupportedAction : programmedWithFailures,
            Vek::concat( "the profile cannot do ", namesOf( missing ) ) };
}

} // namespace

U32 prefixCount( U32 first, U32 last ) {
   U32 count = 0;
   for ( U64 at = first; at <= last; ++count ) {
      // The largest block that begins here and does not go beyond the end.
      const U64 aligned = at == 0 ? U64{ 1 } << 32 : at & ~( at - 1 );
      at += std::min( aligned, std::bit_floor( last - at + 1 ) );
   }
   return count;
}

U64 entriesOf( const MatchComponent& component ) {
   U64 entries = 0;
   for ( const NumericalRange& range : component.numericalRange() ) {
      entries += prefixCount( range.rangeMin(), range.rangeMax() );
   }
   for ( const IpBitMask& mask : component.ipBitMask() ) {
      entries += entriesOf( mask );
   }
   for ( const TcpBitMask& mask : component.tcpBitMask() ) {
      entries += entriesOf( mask );
   }
   return std::max( entries, U64{ 1 } );
}

U64 entriesOf( const RuleConfig& rule ) {
   U64 product = 1;
   for ( const auto& [type, component] : rule.matchSet() ) {
      if ( __builtin_mul_overflow( product, entriesOf( component ), &product ) ) {
         return ~U64{ 0 };
      }
   }
   return product;
}

RuleDemand demandOf( const RuleConfig& rule, const Profile& profile ) {
   const RuleAction asked = actionOf( rule );
   const Actions actions = actionsOf( asked );
   RuleDemand demand{ resultOf( rule, actions, profile ), entriesOf( rule ), asked, {} };
   if ( demand.result.isProgrammed() ) {
      demand.actions = actions & profile.family( rule.ruleKey().addressFamily() )->actions;
   }
   return demand;
}

} // namespace Dataplane
