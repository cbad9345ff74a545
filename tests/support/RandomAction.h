#pragma once

#include "Flowspec/config/RuleAction.h"
#include "tests/support/KeyGenerator.h"

#include <cmath>

namespace TestSupport {

inline Flowspec::TrafficRedirect randomRedirect( KeyGenerator& random ) {
   using namespace Flowspec;
   const auto family = random.oneIn( 2 ) ? Zorv::AddressFamily::ipv4 : Zorv::AddressFamily::ipv6;
   const Zorv::IpGenAddr address = random.prefix( family ).address();
   TrafficRedirect redirect;
   redirect.typeIs( static_cast< TrafficRedirectType >( random.below( 3 ) ) );
   redirect.copyIs( random.oneIn( 2 ) );
   switch ( redirect.type() ) {
   case TrafficRedirectType::vrf:
      redirect.vrfIdIs( random.number( 20 ) );
      break;
   case TrafficRedirectType::addr:
      redirect.addrIs( address );
      break;
   case TrafficRedirectType::srTePolicy:
      redirect.srTePolicyKeyIs( { 1 + random.number( 30 ), address } );
      break;
   }
   return redirect;
}

/// Any action that an object can ask for.
inline Flowspec::RuleAction randomAction( KeyGenerator& random ) {
   Flowspec::RuleAction action;
   action.trafficAction.sampleAndLogIs( random.oneIn( 3 ) );
   action.trafficAction.continueMatchIs( random.oneIn( 3 ) );
   action.fields.trafficActionIs( static_cast< bool >( action.trafficAction ) );
   if ( random.oneIn( 4 ) ) {
      action.fields.trafficDropIs( true );
      return action;
   }
   if ( random.oneIn( 2 ) ) {
      const bool bytes = random.oneIn( 2 );
      action.fields.trafficRateIs( bytes );
      action.fields.trafficRatePktIs( !bytes );
      const int exponent = static_cast< int >( random.below( 120 ) ) - 20;
      action.rateLimit = std::ldexp( static_cast< float >( random.number( 24 ) ), exponent );
   }
   if ( random.oneIn( 2 ) ) {
      action.fields.trafficMarkingIs( true );
      action.markDscp = Zorv::IpTos( static_cast< U8 >( random.below( 64 ) ) );
   }
   if ( random.oneIn( 2 ) ) {
      action.fields.trafficRedirectIs( true );
      action.redirect = randomRedirect( random );
   }
   return action;
}

} // namespace TestSupport
