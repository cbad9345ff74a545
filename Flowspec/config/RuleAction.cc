#include "Flowspec/config/RuleAction.h"

namespace Flowspec {

static_assert( Vek::listsRows< RuleConfig, 11 > );

namespace {

bool limits( ActionFieldSet fields ) { return fields.trafficRate() || fields.trafficRatePkt(); }

} // namespace

RuleAction actionOf( const RuleConfig& rule ) {
   RuleAction action;
   action.fields = rule.actionFieldSet();
   if ( action.fields.trafficAction() ) {
      action.trafficAction = rule.trafficAction();
   }
   if ( action.fields.trafficRedirect() ) {
      action.redirect = rule.trafficRedirect();
   }
   if ( action.fields.trafficMarking() ) {
      action.markDscp = rule.trafficMarkingDscp();
   }
   if ( limits( action.fields ) ) {
      action.rateLimit = rule.trafficRateLimit();
   }
   return action;
}

void actionIs( RuleConfig& rule, const RuleAction& action ) {
   const Vek::Ptr< RuleConfig > hold( &rule );
   const ActionFieldSet fields = action.fields;
   const auto setValues = [&]( bool inForce ) {
      if ( limits( fields ) == inForce ) {
         rule.trafficRateLimitIs( action.rateLimit );
      }
      if ( fields.trafficMarking() == inForce ) {
         rule.trafficMarkingDscpIs( action.markDscp );
      }
      if ( fields.trafficRedirect() == inForce ) {
         rule.trafficRedirectIs( action.redirect );
      }
      if ( fields.trafficAction() == inForce ) {
         rule.trafficActionIs( action.trafficAction );
      }
   };
   setValues( true );
   rule.actionFieldSetIs( fields );
   setValues( false );
}

} // namespace Flowspec
