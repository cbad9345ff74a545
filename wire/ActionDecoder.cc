#include "wire/ActionDecoder.h"

#include "Osk/Endian.h"
#include "Vek/text/Text.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace Wire {

namespace {

using namespace Flowspec;
using Octets = std::span< const U8 >;

constexpr std::string_view faultNames[] = {
   "attribute-length", "ipv6-attribute-length", "rate-not-finite",         "unknown-route-target",
   "no-next-hop",      "interface-set-as",      "interface-set-direction",
};
constexpr std::string_view remarkNames[] = {
   "negative-rate",    "several-rates",           "bytes-and-packets",
   "several-markings", "several-traffic-actions", "several-redirects",
   "several-colors",   "drop-overrides",          "output-ignored",
};
static_assert( std::size( faultNames ) ==
               static_cast< std::size_t >( ActionFault::interfaceSetDirection ) + 1 );
static_assert( std::size( remarkNames ) ==
               static_cast< std::size_t >( ActionRemark::outputIgnored ) + 1 );

// A redirect, the preferred one first.
struct Target {
   enum class Rank : U8 { vrf, address, nextHop };

   Rank rank;
   std::array< U8, 20 > octets{}; // without the type
   TrafficRedirect redirect;

   auto order() const { return std::pair( rank, octets ); }
};

class Decoder {
public:
   Decoder( const ActionContext& context, DecodedAction& decoded )
      : context_( context ), decoded_( decoded ) {}

   using Result = std::optional< ActionRejection >;

   // Takes the community at an offset of its attribute.
   Result take( const ExtendedCommunity& community, std::size_t offset );
   Result take( const Ipv6Community& community, std::size_t offset );
   Result finish();

private:
   void remark( ActionRemark remark ) { remarks_ |= 1U << static_cast< unsigned >( remark ); }

   // Takes `value` for `held` when it is preferred to what is there.
   template < typename T, typename Preferred >
   void choose( std::optional< T >& held, const T& value, ActionRemark contradiction,
                Preferred preferred ) {
      if ( held && !( *held == value ) ) {
         remark( contradiction );
      }
      if ( !held || preferred( value, *held ) ) {
         held = value;
      }
   }

   ActionRejection reject( ActionFault fault ) const { return { fault, ipv6_, offset_ }; }

   Result takeRate( const U8* value, std::optional< float >& held );
   void takeTrafficAction( U8 bits );
   void takeVrf( const RouteTarget& target );
   void takeAddress( const Zorv::IpGenAddr& address, bool copy, Target::Rank rank, Octets octets );
   void takeTarget( const Target& target );
   void takeRouteTarget( const RouteTarget& target );
   Result takeInterfaceSet( const U8* value );
   void setRate( std::optional< float > bytes, std::optional< float > packets );
   void applyColor();

   const ActionContext& context_;
   DecodedAction& decoded_;
   std::optional< float > bytes_;
   std::optional< float > packets_;
   std::optional< U8 > marking_;
   std::optional< U8 > trafficAction_;
   std::optional< Target > redirect_;
   Result unresolved_; // a redirect to a VRF that is not known
   std::optional< U32 > color_;
   U32 remarks_ = 0;
   bool ipv6_ = false; // of the community at hand
   U16 offset_ = 0;
};

RouteTarget routeTarget( RouteTarget::Kind kind, Octets value ) {
   RouteTarget target{ kind, {} };
   std::ranges::copy( value, target.value.begin() );
   return target;
}

RouteTarget::Kind kindOf( U16 type ) {
   switch ( type ) {
   case CommunityType::redirectIpv4:
   case CommunityType::routeTargetIpv4:
      return RouteTarget::Kind::ipv4;
   case CommunityType::redirectAs4:
   case CommunityType::routeTargetAs4:
      return RouteTarget::Kind::as4;
   default:
      return RouteTarget::Kind::as2;
   }
}

Zorv::IpGenAddr ipv6Address( const U8* bytes ) {
   return Zorv::IpGenAddr::ofFamily( Zorv::AddressFamily::ipv6, bytes, 128 );
}

Decoder::Result Decoder::takeRate( const U8* value, std::optional< float >& held ) {
   // Two octets of AS number, for information.
   float rate = std::bit_cast< float >( Osk::loadBig32( value + 2 ) );
   if ( std::isnan( rate ) || ( std::isinf( rate ) && rate > 0 ) ) {
      return reject( ActionFault::rateNotFinite );
   }
   if ( rate < 0 ) {
      remark( ActionRemark::negativeRate );
      rate = 0;
   }
   choose( held, rate, ActionRemark::severalRates, std::less<>() );
   return std::nullopt;
}

void Decoder::takeTrafficAction( U8 bits ) {
   bits &= 0x03;
   if ( trafficAction_ && *trafficAction_ != bits ) {
      remark( ActionRemark::severalTrafficActions );
   }
   trafficAction_ = static_cast< U8 >( trafficAction_.value_or( 0 ) | bits );
}

void Decoder::takeTarget( const Target& target ) {
   if ( redirect_ && redirect_->redirect != target.redirect ) {
      remark( ActionRemark::severalRedirects );
   }
   if ( !redirect_ || target.order() < redirect_->order() ) {
      redirect_ = target;
   }
}

void Decoder::takeVrf( const RouteTarget& routeTarget ) {
   const auto vrf = context_.vrfs.vrfOf( routeTarget );
   if ( !vrf ) {
      unresolved_ = unresolved_.value_or( reject( ActionFault::unknownRouteTarget ) );
      return;
   }
   Target target{ Target::Rank::vrf, {}, {} };
   target.octets[0] = static_cast< U8 >( routeTarget.kind );
   std::ranges::copy( routeTarget.value, target.octets.begin() + 1 );
   target.redirect.typeIs( TrafficRedirectType::vrf );
   target.redirect.vrfIdIs( *vrf );
   takeTarget( target );
}

void Decoder::takeAddress( const Zorv::IpGenAddr& address, bool copy, Target::Rank rank,
                           Octets octets ) {
   Target target{ rank, {}, {} };
   std::ranges::copy( octets, target.octets.begin() );
   target.redirect.typeIs( TrafficRedirectType::addr );
   target.redirect.addrIs( address );
   target.redirect.copyIs( copy );
   takeTarget( target );
}

void Decoder::takeRouteTarget( const RouteTarget& target ) {
   context_.vrfs.forEachVrfOf(
      target, [this]( Vrf::VrfIdMap::VrfId vrf ) { decoded_.importVrfs.push_back( vrf ); } );
}

Decoder::Result Decoder::takeInterfaceSet( const U8* value ) {
   constexpr U16 output = 0x8000;
   constexpr U16 input = 0x4000;
   if ( Osk::loadBig32( value ) != context_.localAs ) {
      return reject( ActionFault::interfaceSetAs );
   }
   const U16 word = Osk::loadBig16( value + 4 );
   if ( !( word & input ) ) {
      return reject( ActionFault::interfaceSetDirection );
   }
   if ( word & output ) {
      remark( ActionRemark::outputIgnored );
   }
   decoded_.interfaceSets.push_back( word & 0x3FFF );
   return std::nullopt;
}

Decoder::Result Decoder::take( const ExtendedCommunity& community, std::size_t offset ) {
   ipv6_ = false;
   offset_ = static_cast< U16 >( offset );
   const U16 type = Osk::loadBig16( community.data() );
   const Octets value = Octets( community ).subspan( 2 );
   const bool copy = value[5] & 1;
   switch ( type ) {
   case CommunityType::rateBytes:
      return takeRate( value.data(), bytes_ );
   case CommunityType::ratePackets:
      return takeRate( value.data(), packets_ );
   case CommunityType::trafficAction:
      takeTrafficAction( value[5] );
      break;
   case CommunityType::marking:
      choose( marking_, static_cast< U8 >( value[5] & 0x3F ), ActionRemark::severalMarkings,
              std::less<>() );
      break;
   case CommunityType::redirectAs2:
   case CommunityType::redirectIpv4:
   case CommunityType::redirectAs4:
      takeVrf( routeTarget( kindOf( type ), value ) );
      break;
   case CommunityType::redirectIp:
      takeAddress( Zorv::IpGenAddr::ipv4( Osk::loadBig32( value.data() ) ), copy,
                   Target::Rank::address, value );
      break;
   case CommunityType::redirectNextHop:
      if ( context_.nextHop.empty() ) {
         return reject( ActionFault::noNextHop );
      }
      takeAddress( context_.nextHop, copy, Target::Rank::nextHop, value );
      break;
   case CommunityType::interfaceSet:
   case CommunityType::interfaceSetLocal:
      return takeInterfaceSet( value.data() );
   case CommunityType::color:
      choose( color_, Osk::loadBig32( &value[2] ), ActionRemark::severalColors, std::greater<>() );
      decoded_.kept.push_back( community );
      break;
   case CommunityType::routeTargetAs2:
   case CommunityType::routeTargetIpv4:
   case CommunityType::routeTargetAs4:
      takeRouteTarget( routeTarget( kindOf( type ), value ) );
      decoded_.kept.push_back( community );
      break;
   default:
      decoded_.kept.push_back( community );
   }
   return std::nullopt;
}

Decoder::Result Decoder::take( const Ipv6Community& community, std::size_t offset ) {
   ipv6_ = true;
   offset_ = static_cast< U16 >( offset );
   const Octets value = Octets( community ).subspan( 2 );
   switch ( Osk::loadBig16( community.data() ) ) {
   case Ipv6CommunityType::redirect:
      takeVrf( routeTarget( RouteTarget::Kind::ipv6, value ) );
      break;
   case Ipv6CommunityType::redirectIp:
      takeAddress( ipv6Address( value.data() ), value[17] & 1, Target::Rank::address, value );
      break;
   case Ipv6CommunityType::routeTarget:
      takeRouteTarget( routeTarget( RouteTarget::Kind::ipv6, value ) );
      decoded_.keptIpv6.push_back( community );
      break;
   default:
      decoded_.keptIpv6.push_back( community );
   }
   return std::nullopt;
}

void Decoder::setRate( std::optional< float > bytes, std::optional< float > packets ) {
   RuleAction& action = decoded_.action;
   if ( bytes && packets ) {
      remark( ActionRemark::bytesAndPackets );
   }
   if ( bytes == 0.0F || packets == 0.0F ) {
      action.fields.trafficDropIs( true );
   } else if ( bytes ) {
      action.fields.trafficRateIs( true );
      action.rateLimit = *bytes;
   } else if ( packets ) {
      action.fields.trafficRatePktIs( true );
      action.rateLimit = *packets;
   }
}

// Color 0 is none (RFC 9256 section 2.1).
void Decoder::applyColor() {
   TrafficRedirect& redirect = decoded_.action.redirect;
   if ( color_.value_or( 0 ) == 0 || redirect.type() != TrafficRedirectType::addr ) {
      return;
   }
   redirect.typeIs( TrafficRedirectType::srTePolicy );
   redirect.srTePolicyKeyIs( { *color_, redirect.addr() } );
   redirect.addrIs( {} );
   std::erase_if( decoded_.kept, []( const ExtendedCommunity& community ) {
      return Osk::loadBig16( community.data() ) == CommunityType::color;
   } );
}

template < typename T >
void sortOnce( std::vector< T >& values ) {
   std::ranges::sort( values );
   values.erase( std::unique( values.begin(), values.end() ), values.end() );
}

Decoder::Result Decoder::finish() {
   RuleAction& action = decoded_.action;
   setRate( bytes_, packets_ );
   if ( unresolved_ && redirect_ ) {
      remark( ActionRemark::severalRedirects );
   } else if ( unresolved_ && !action.fields.trafficDrop() ) {
      return unresolved_;
   }
   if ( trafficAction_.value_or( 0 ) != 0 ) {
      action.trafficAction.sampleAndLogIs( *trafficAction_ & 0x02 );
      action.trafficAction.continueMatchIs( *trafficAction_ & 0x01 );
      action.fields.trafficActionIs( true );
   }
   if ( action.fields.trafficDrop() ) {
      if ( marking_ || redirect_ || unresolved_ ) {
         remark( ActionRemark::dropOverrides );
      }
   } else {
      if ( marking_ ) {
         action.fields.trafficMarkingIs( true );
         action.markDscp = Zorv::IpTos( *marking_ );
      }
      if ( redirect_ ) {
         action.fields.trafficRedirectIs( true );
         action.redirect = redirect_->redirect;
         applyColor();
      }
   }
   sortOnce( decoded_.interfaceSets );
   sortOnce( decoded_.importVrfs );
   for ( std::size_t i = 0; i < std::size( remarkNames ); ++i ) {
      if ( remarks_ >> i & 1 ) {
         decoded_.remarks.push_back( static_cast< ActionRemark >( i ) );
      }
   }
   return std::nullopt;
}

// Feeds each community of an attribute to the decoder.
template < typename Community >
std::optional< ActionRejection > takeAll( std::optional< Octets > attribute, Decoder& decoder ) {
   constexpr std::size_t size = std::tuple_size_v< Community >;
   constexpr bool ipv6 = size == std::tuple_size_v< Ipv6Community >;
   if ( !attribute ) {
      return std::nullopt;
   }
   if ( attribute->empty() || attribute->size() % size != 0 ) {
      return ActionRejection{
         ipv6 ? ActionFault::ipv6AttributeLength : ActionFault::attributeLength, ipv6, 0 };
   }
   for ( std::size_t at = 0; at < attribute->size(); at += size ) {
      Community community;
      std::memcpy( community.data(), attribute->data() + at, size );
      if ( const auto rejection = decoder.take( community, at ) ) {
         return rejection;
      }
   }
   return std::nullopt;
}

} // namespace

std::string_view name( ActionFault fault ) {
   return faultNames[static_cast< std::size_t >( fault )];
}

std::string_view name( ActionRemark remark ) {
   return remarkNames[static_cast< std::size_t >( remark )];
}

Vek::String ActionRejection::message() const {
   const auto ofCommunity = [this]( std::string_view what ) {
      return Vek::concat( std::string_view( ipv6 ? "the IPv6 extended community at octet "
                                                 : "the extended community at octet " ),
                          offset, ": ", what );
   };
   switch ( fault ) {
   case ActionFault::attributeLength:
      return "the extended communities do not have 8 octets each";
   case ActionFault::ipv6AttributeLength:
      return "the IPv6 extended communities do not have 20 octets each";
   case ActionFault::rateNotFinite:
      return ofCommunity( "its rate is not finite" );
   case ActionFault::unknownRouteTarget:
      return ofCommunity( "no VRF imports the route target that it redirects to" );
   case ActionFault::noNextHop:
      return ofCommunity( "it redirects to the next hop, and there is none" );
   case ActionFault::interfaceSetAs:
      return ofCommunity( "its interface set is of another AS" );
   case ActionFault::interfaceSetDirection:
      return ofCommunity( "its interface set is not for input" );
   }
   return {};
}

std::optional< ActionRejection > decodeAction( const Communities& communities,
                                               const ActionContext& context,
                                               DecodedAction& decoded ) {
   decoded = {};
   Decoder decoder( context, decoded );
   auto rejection = takeAll< ExtendedCommunity >( communities.extended, decoder );
   if ( !rejection ) {
      rejection = takeAll< Ipv6Community >( communities.ipv6, decoder );
   }
   if ( !rejection ) {
      rejection = decoder.finish();
   }
   if ( rejection ) {
      decoded = {};
      decoded.action.fields.invalidIs( true );
   }
   return rejection;
}

} // namespace Wire
