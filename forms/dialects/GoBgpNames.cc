#include "forms/dialects/GoBgpNames.h"

#include "Vek/text/Text.h"
#include "forms/dialects/CommunityParts.h"

#include <algorithm>
#include <limits>

namespace Forms::GoBgp {

namespace {

using Wire::RouteTarget;

constexpr U64 max16 = std::numeric_limits< U16 >::max();
constexpr U64 max32 = std::numeric_limits< U32 >::max();

// The octets of a community after its type as those of a route target.
template < typename Community >
RouteTarget targetIn( RouteTarget::Kind kind, const Community& community ) {
   RouteTarget target{ kind, {} };
   std::copy( community.begin() + 2, community.end(), target.value.begin() );
   return target;
}

} // namespace

const FamilyName& familyOf( const Rule& rule ) {
   const auto* const row = std::ranges::find_if( families, [&]( const FamilyName& candidate ) {
      return candidate.family == rule.key.addressFamily() && candidate.vpn == rule.rd.has_value();
   } );
   if ( row == std::end( families ) ) {
      throw Inexpressible{ "the rule is neither of IPv4 nor of IPv6" };
   }
   return *row;
}

std::optional< RouteTarget > routeTargetOf( std::string_view text ) {
   const std::size_t colon = text.rfind( ':' );
   if ( colon == std::string_view::npos ) {
      return std::nullopt;
   }
   const std::string_view administrator = text.substr( 0, colon );
   const std::string_view number = text.substr( colon + 1 );
   if ( const auto as = Vek::decimal( administrator, max16 ) ) {
      const auto four = Vek::decimal( number, max32 );
      return four ? std::optional( targetIn( RouteTarget::Kind::as2,
                                             CommunityParts::as2( 0, static_cast< U16 >( *as ),
                                                                  static_cast< U32 >( *four ) ) ) )
                  : std::nullopt;
   }
   const auto two = Vek::decimal( number, max16 );
   if ( !two ) {
      return std::nullopt;
   }
   const auto low = static_cast< U16 >( *two );
   if ( const auto address = Zorv::IpGenAddr::fromText( administrator ) ) {
      return address->family() == Zorv::AddressFamily::ipv4
                ? targetIn( RouteTarget::Kind::ipv4,
                            CommunityParts::as4( 0, address->ipv4Value(), low ) )
                : targetIn( RouteTarget::Kind::ipv6, CommunityParts::ipv6( 0, *address, low ) );
   }
   const std::size_t dot = std::min( administrator.find( '.' ), administrator.size() );
   const auto high = Vek::decimal( administrator.substr( 0, dot ), max16 );
   const auto rest =
      Vek::decimal( administrator.substr( std::min( dot + 1, administrator.size() ) ), max16 );
   if ( !high || !rest ) {
      return std::nullopt;
   }
   return targetIn( RouteTarget::Kind::as4,
                    CommunityParts::as4( 0, static_cast< U32 >( *high << 16 | *rest ), low ) );
}

Vek::String targetText( RouteTarget::Kind kind, const Wire::ExtendedCommunity& community ) {
   using namespace CommunityParts;
   if ( kind == RouteTarget::Kind::as2 ) {
      return Vek::concat( as2Of( community ), ':', number4Of( community ) );
   }
   if ( kind == RouteTarget::Kind::ipv4 ) {
      return Vek::concat( addressOf( community ), ':', number2Of( community ) );
   }
   return Vek::concat( as4Of( community ) >> 16, '.', as4Of( community ) & max16, ':',
                       number2Of( community ) );
}

Vek::String targetText( const Wire::Ipv6Community& community ) {
   using namespace CommunityParts;
   return Vek::concat( addressOf( community ), ':', number2Of( community ) );
}

void addTarget( const RouteTarget& target, const TargetTypes& types,
                Wire::EncodedAction& communities ) {
   const auto add = [&]( auto& list, U16 type ) {
      auto& community = list.emplace_back();
      Osk::storeBig16( community.data(), type );
      std::copy_n( target.value.begin(), community.size() - 2, community.begin() + 2 );
   };
   switch ( target.kind ) {
   case RouteTarget::Kind::as2:
      add( communities.extended, types.as2 );
      break;
   case RouteTarget::Kind::ipv4:
      add( communities.extended, types.ipv4 );
      break;
   case RouteTarget::Kind::as4:
      add( communities.extended, types.as4 );
      break;
   case RouteTarget::Kind::ipv6:
      add( communities.ipv6, types.ipv6 );
      break;
   }
}

} // namespace Forms::GoBgp
