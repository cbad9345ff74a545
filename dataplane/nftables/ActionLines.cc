#include "dataplane/nftables/RuleLines.h"

#include "Vek/text/Text.h"

#include <algorithm>
#include <cmath>

namespace Dataplane::Nftables {

using Flowspec::RuleAction;
using Zorv::AddressFamily;

std::optional< Target > targetOf( const RuleAction& action, Actions done, AddressFamily family ) {
   if ( done[numberOf( Action::redirectVrf )] ) {
      const U32 vrf = action.redirect.vrfId();
      return Target{ family, vrf == 0 ? mainTable : vrf };
   }
   if ( done[numberOf( Action::redirectAddr )] && !action.redirect.copy() ) {
      return Target{ family, 0, action.redirect.addr() };
   }
   return std::nullopt;
}

U32 markOf( const Target& target ) {
   U32 hash = 0x811C9DC5 ^ target.table;
   for ( const U8 byte : target.nextHop.bytes() ) {
      hash = ( hash ^ byte ) * 0x01000193;
   }
   hash ^= hash >> 15;
   return markAfter( hash & markMask );
}

U32 markAfter( U32 mark ) {
   constexpr U32 lowest = markMask & ( ~markMask + 1 );
   mark += lowest;
   return mark == 0 ? lowest : mark;
}

namespace {

// Why packets cannot be led away.
Vek::String whyNotRedirected( const RuleAction& action, Actions done, AddressFamily family ) {
   // Of the kernel's own tables, and those of next hops.
   constexpr U32 kernelTables[] = { 253, 254, 255 };
   constexpr U32 nextHopTables[] = { 13'300'000, 13'365'535 };
   if ( done[numberOf( Action::redirectVrf )] ) {
      const U32 vrf = action.redirect.vrfId();
      if ( action.redirect.copy() ) {
         return "a copy can go to a next hop, not to a VRF";
      }
      if ( vrf == Vrf::VrfIdMap::invalid() ) {
         return "the redirect names no VRF";
      }
      if ( std::ranges::count( kernelTables, vrf ) > 0 ||
           ( vrf >= nextHopTables[0] && vrf <= nextHopTables[1] ) ) {
         return Vek::concat( "the routing table ", vrf, " is in use for something else" );
      }
   }
   if ( done[numberOf( Action::redirectAddr )] && action.redirect.addr().family() != family ) {
      return Vek::concat( "the next hop '", action.redirect.addr().stringValue(), "' is not of ",
                          Zorv::stringValue( family ) );
   }
   return "";
}

} // namespace

Vek::String whyNot( const RuleAction& action, Actions done, AddressFamily family ) {
   if ( done[numberOf( Action::trafficRate )] &&
        !( action.rateLimit <= static_cast< float >( maxByteRate ) ) ) {
      return Vek::concat( "the rate is more than ", maxByteRate, " bytes a second" );
   }
   if ( done[numberOf( Action::trafficRatePkt )] &&
        !( action.rateLimit <= static_cast< float >( maxPacketRate ) ) ) {
      return Vek::concat( "the rate is more than ", maxPacketRate, " packets a second" );
   }
   return whyNotRedirected( action, done, family );
}

Limit limitOf( double rate, bool bytes ) {
   constexpr U64 units[] = { 1, 60, 3600, 86400, 604800 };
   double perUnit = 0;
   U64 unit = 0;
   for ( const U64 seconds : units ) {
      unit = seconds;
      perUnit = std::round( rate * static_cast< double >( seconds ) );
      const double exact = rate * static_cast< double >( seconds );
      if ( std::abs( perUnit - exact ) <= exact * 0.001 ) {
         break;
      }
   }
   const U64 number = static_cast< U64 >( std::max( perUnit, 1.0 ) );
   const U64 burst = unit == 1 ? std::max( number / 10, U64{ 5 } ) : U64{ 5 };
   return { number, unit, bytes ? 0 : static_cast< U32 >( burst ), bytes };
}

ActionLines actionLines( const RuleAction& action, Actions done, const Vek::String& name,
                         U32 mark ) {
   const auto does = [&]( Action one ) { return done[numberOf( one )]; };
   ActionLines result;
   result.continues = does( Action::continueMatch );
   Line line{ Count{ name } };
   if ( does( Action::sample ) ) {
      line.push_back( Log{ sampleGroup, "flowspec " + name } );
   }
   if ( does( Action::trafficMarking ) ) {
      line.push_back( SetDscp{ static_cast< U8 >( action.markDscp.value() & 0x3F ) } );
   }
   const bool limits = does( Action::trafficRate ) || does( Action::trafficRatePkt );
   if ( does( Action::trafficDrop ) || ( limits && !( action.rateLimit > 0 ) ) ) {
      line.push_back( Verdict{ Verdict::Kind::drop } );
      result.lines.push_back( std::move( line ) );
      return result;
   }
   if ( limits ) {
      result.limit = limitOf( action.rateLimit, does( Action::trafficRate ) );
      line.push_back( OverLimit{ name } );
      line.push_back( Verdict{ Verdict::Kind::drop } );
      result.lines.push_back( std::move( line ) );
      line = {};
   }
   if ( does( Action::redirectAddr ) && action.redirect.copy() ) {
      line.push_back( Duplicate{ action.redirect.addr() } );
   } else if ( does( Action::redirectAddr ) || does( Action::redirectVrf ) ) {
      line.push_back( SetMark{ mark } );
   }
   if ( !result.continues ) {
      line.push_back( Verdict{ Verdict::Kind::accept } );
   }
   if ( !line.empty() ) {
      result.lines.push_back( std::move( line ) );
   }
   return result;
}

} // namespace Dataplane::Nftables
