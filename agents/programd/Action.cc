#include "agents/programd/Action.h"

namespace Agents {

namespace {

using enum Action;
using Flowspec::ActionFieldSet;

constexpr std::string_view actionNames[] = {
   "trafficPermit",  "trafficDrop", "trafficRate",  "trafficRatePkt",
   "trafficMarking", "redirectVrf", "redirectAddr", "redirectSrTePolicy",
   "sample",         "continue",    "invalid",
};

Actions setOf( std::initializer_list< Action > actions ) {
   Actions set;
   for ( const Action action : actions ) {
      set.set( numberOf( action ) );
   }
   return set;
}

// The actions that the flags stand for, without a look at what goes with a flag.
Actions actionsOfFlag( unsigned bit ) {
   switch ( bit ) {
   case 1:
      return setOf( { trafficPermit } );
   case 2:
      return setOf( { trafficDrop } );
   case 3:
      return setOf( { trafficRate } );
   case 4:
      return setOf( { sample, continueMatch } );
   case 5:
      return setOf( { redirectVrf, redirectAddr, redirectSrTePolicy } );
   case 6:
      return setOf( { trafficMarking } );
   case 7:
      return setOf( { trafficRatePkt } );
   default:
      return setOf( { Action::invalid } );
   }
}

Action redirectOf( Flowspec::TrafficRedirectType type ) {
   switch ( type ) {
   case Flowspec::TrafficRedirectType::vrf:
      return redirectVrf;
   case Flowspec::TrafficRedirectType::addr:
      return redirectAddr;
   case Flowspec::TrafficRedirectType::srTePolicy:
      return redirectSrTePolicy;
   }
   return Action::invalid; // of a later version
}

} // namespace

Actions actionsNamed( std::string_view name ) {
   for ( std::size_t bit = 1; bit < std::size( ActionFieldSet::flagNames ); ++bit ) {
      if ( ActionFieldSet::flagNames[bit] == name ) {
         return actionsOfFlag( static_cast< unsigned >( bit ) );
      }
   }
   Actions set;
   for ( std::size_t number = 0; number < numberOf( Action::invalid ); ++number ) {
      set.set( number, actionNames[number] == name );
   }
   return set;
}

Vek::String namesOf( Actions actions ) {
   Vek::String text;
   for ( std::size_t number = 0; number < actions.size(); ++number ) {
      if ( actions[number] ) {
         text.append( text.empty() ? "" : ", " ).append( actionNames[number] );
      }
   }
   return text;
}

Actions actionsOf( const Flowspec::RuleConfig& rule ) {
   const ActionFieldSet flags = rule.actionFieldSet();
   Actions set;
   for ( unsigned bit = 0; bit < std::size( ActionFieldSet::flagNames ); ++bit ) {
      if ( flags.value() >> bit & 1 ) {
         set |= actionsOfFlag( bit );
      }
   }
   if ( flags.trafficAction() ) {
      set.set( numberOf( sample ), rule.trafficAction().sampleAndLog() );
      set.set( numberOf( continueMatch ), rule.trafficAction().continueMatch() );
   }
   if ( flags.trafficRedirect() ) {
      set &= ~actionsOfFlag( 5 );
      set.set( numberOf( redirectOf( rule.trafficRedirect().type() ) ) );
   }
   return set;
}

ActionFieldSet unsupportedFlags( Actions supported ) {
   unsigned flags = 0;
   for ( unsigned bit = 1; bit < std::size( ActionFieldSet::flagNames ); ++bit ) {
      if ( ( actionsOfFlag( bit ) & supported ).none() ) {
         flags |= 1U << bit;
      }
   }
   return ActionFieldSet( flags );
}

} // namespace Agents
