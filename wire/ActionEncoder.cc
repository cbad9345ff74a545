#include "wire/ActionEncoder.h"

#include "Flowspec/vocab/InterfaceSetId.h"
#include "Osk/Endian.h"
#include "Vek/types/TypeInfo.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace Wire {

namespace {

using namespace Flowspec;
using Result = std::optional< ActionRefusal >;

struct Words {
   std::string_view name;
   std::string_view message;
};
constexpr Words words[] = {
   { "invalid-action", "the action contradicts itself or asks for what no community says" },
   { "bad-rate", "the rate is below 0 or not finite" },
   { "bad-dscp", "the DSCP is above 63" },
   { "unknown-vrf", "the VRF of the redirect has no route target" },
   { "no-address", "the redirect has no address" },
   { "no-color", "the SR policy has color 0 or no endpoint" },
   { "bad-interface-set", "an interface set is above 16383" },
};
static_assert( std::size( words ) ==
               static_cast< std::size_t >( ActionRefusal::badInterfaceSet ) + 1 );

class Encoder {
public:
   Encoder( U32 localAs, const RouteTargetTable& vrfs ) : localAs_( localAs ), vrfs_( vrfs ) {}

   Result encode( const RuleAction& action );
   Result encodeInterfaceSet( U16 id );
   void appendTo( EncodedAction& encoded ) const {
      encoded.extended.insert( encoded.extended.end(), extended_.begin(), extended_.end() );
      encoded.ipv6.insert( encoded.ipv6.end(), ipv6_.begin(), ipv6_.end() );
   }

private:
   // A community of a type, the rest of which is 0.
   U8* add( U16 type ) {
      ExtendedCommunity& community = extended_.emplace_back();
      Osk::storeBig16( community.data(), type );
      return community.data() + 2;
   }
   U8* addIpv6( U16 type ) {
      Ipv6Community& community = ipv6_.emplace_back();
      Osk::storeBig16( community.data(), type );
      return community.data() + 2;
   }

   Result addRate( U16 type, float rate );
   Result addRedirect( const TrafficRedirect& redirect );
   void addRouteTarget( const RouteTarget& target );
   void addAddress( const Zorv::IpGenAddr& address, bool copy );

   const U32 localAs_;
   const RouteTargetTable& vrfs_;
   std::vector< ExtendedCommunity > extended_;
   std::vector< Ipv6Community > ipv6_;
};

Result Encoder::addRate( U16 type, float rate ) {
   if ( !( rate >= 0 ) || std::isinf( rate ) ) {
      return ActionRefusal::badRate;
   }
   U8* const value = add( type );
   Osk::storeBig16( value, localAs_ <= 0xFFFF ? static_cast< U16 >( localAs_ ) : U16{ 0 } );
   Osk::storeBig32( value + 2, std::bit_cast< U32 >( rate ) );
   return std::nullopt;
}

void Encoder::addRouteTarget( const RouteTarget& target ) {
   if ( target.kind == RouteTarget::Kind::ipv6 ) {
      std::ranges::copy( target.value, addIpv6( Ipv6CommunityType::redirect ) );
      return;
   }
   const U16 type = target.kind == RouteTarget::Kind::as2    ? CommunityType::redirectAs2
                    : target.kind == RouteTarget::Kind::ipv4 ? CommunityType::redirectIpv4
                                                             : CommunityType::redirectAs4;
   std::copy_n( target.value.begin(), 6, add( type ) );
}

void Encoder::addAddress( const Zorv::IpGenAddr& address, bool copy ) {
   if ( address.family() == Zorv::AddressFamily::ipv4 ) {
      U8* const value = add( CommunityType::redirectIp );
      Osk::storeBig32( value, address.ipv4Value() );
      value[5] = copy;
      return;
   }
   U8* const value = addIpv6( Ipv6CommunityType::redirectIp );
   std::ranges::copy( address.bytes(), value );
   value[17] = copy;
}

Result Encoder::addRedirect( const TrafficRedirect& redirect ) {
   switch ( redirect.type() ) {
   case TrafficRedirectType::vrf: {
      if ( redirect.copy() ) {
         return ActionRefusal::invalidAction;
      }
      const auto target = vrfs_.targetOf( redirect.vrfId() );
      if ( !target ) {
         return ActionRefusal::unknownVrf;
      }
      addRouteTarget( *target );
      return std::nullopt;
   }
   case TrafficRedirectType::addr:
      if ( redirect.addr().empty() ) {
         return ActionRefusal::noAddress;
      }
      addAddress( redirect.addr(), redirect.copy() );
      return std::nullopt;
   case TrafficRedirectType::srTePolicy: {
      const SrTePolicy::PolicyKey& policy = redirect.srTePolicyKey();
      if ( policy.color() == 0 || policy.endpoint().empty() ) {
         return ActionRefusal::noColor;
      }
      addAddress( policy.endpoint(), redirect.copy() );
      Osk::storeBig32( add( CommunityType::color ) + 2, policy.color() );
      return std::nullopt;
   }
   }
   return ActionRefusal::invalidAction; // a type of a later version
}

static_assert( Vek::listsRows< ActionFieldSet, 8 > );
static_assert( Vek::listsRows< TrafficAction, 2 > );
static_assert( Vek::listsRows< TrafficRedirect, 5 > );

Result Encoder::encode( const RuleAction& action ) {
   const ActionFieldSet fields = action.fields;
   const bool limits = fields.trafficRate() || fields.trafficRatePkt();
   if ( fields.invalid() || ( fields.trafficRate() && fields.trafficRatePkt() ) ||
        ( fields.trafficDrop() &&
          ( limits || fields.trafficMarking() || fields.trafficRedirect() ) ) ) {
      return ActionRefusal::invalidAction;
   }
   if ( limits || fields.trafficDrop() ) {
      const U16 type =
         fields.trafficRatePkt() ? CommunityType::ratePackets : CommunityType::rateBytes;
      if ( const Result result = addRate( type, limits ? action.rateLimit : 0 ) ) {
         return result;
      }
   }
   if ( fields.trafficAction() && action.trafficAction ) {
      add( CommunityType::trafficAction )[5] =
         static_cast< U8 >( action.trafficAction.sampleAndLog() << 1 |
                            static_cast< int >( action.trafficAction.continueMatch() ) );
   }
   if ( fields.trafficMarking() ) {
      if ( action.markDscp.value() > 63 ) {
         return ActionRefusal::badDscp;
      }
      add( CommunityType::marking )[5] = action.markDscp.value();
   }
   return fields.trafficRedirect() ? addRedirect( action.redirect ) : std::nullopt;
}

Result Encoder::encodeInterfaceSet( U16 id ) {
   constexpr U16 input = 0x4000;
   if ( id > maxInterfaceSetId ) {
      return ActionRefusal::badInterfaceSet;
   }
   U8* const value = add( CommunityType::interfaceSet );
   Osk::storeBig32( value, localAs_ );
   Osk::storeBig16( value + 4, static_cast< U16 >( input | id ) );
   return std::nullopt;
}

} // namespace

std::string_view name( ActionRefusal refusal ) {
   return words[static_cast< std::size_t >( refusal )].name;
}

std::string_view message( ActionRefusal refusal ) {
   return words[static_cast< std::size_t >( refusal )].message;
}

Result encodeAction( const RuleAction& action, std::span< const U16 > interfaceSets, U32 localAs,
                     const RouteTargetTable& vrfs, EncodedAction& encoded ) {
   Encoder encoder( localAs, vrfs );
   Result result = encoder.encode( action );
   for ( std::size_t i = 0; i < interfaceSets.size() && !result; ++i ) {
      result = encoder.encodeInterfaceSet( interfaceSets[i] );
   }
   if ( !result ) {
      encoder.appendTo( encoded );
   }
   return result;
}

} // namespace Wire
