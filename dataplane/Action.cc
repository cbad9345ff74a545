#include "dataplane/Action.h"

namespace Dataplane {

namespace {

using enum Action;
using Flowspec::ActionFieldSet;

constexpr std::string_view actionNames[] = {
   "trafficPermit",  "trafficDrop", "trafficRate",  "trafficRatePkt",
   "trafficMarking", "redirectVrf", "redirectAddr", "redirectSrTePolicy",
   "sample",         "continue",    "invalid",
};

constexpr unsigned long bit( Action action ) { return 1UL << numberOf( action ); }

// What the fields of a rule's action stand for, without a look at their values.
using Field = ActionFieldSet::Field;
struct FieldActions {
   Field field;
   Actions actions;
};
constexpr FieldActions fieldActions[] = {
   { Field::invalid, bit( Action::invalid ) },
   { Field::trafficPermit, bit( trafficPermit ) },
   { Field::trafficDrop, bit( trafficDrop ) },
   { Field::trafficRate, bit( trafficRate ) },
   { Field::trafficAction, bit( sample ) | bit( continueMatch ) },
   { Field::trafficRedirect, bit( redirectVrf ) | bit( redirectAddr ) | bit( redirectSrTePolicy ) },
   { Field::trafficMarking, bit( trafficMarking ) },
   { Field::trafficRatePkt, bit( trafficRatePkt ) },
};
static_assert( std::size( fieldActions ) == std::size( ActionFieldSet::flagNames ) );

std::string_view nameOf( Field field ) {
   return ActionFieldSet::flagNames[static_cast< U8 >( field )];
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
   for ( const auto& [field, actions] : fieldActions ) {
      if ( field != Field::invalid && nameOf( field ) == name ) {
         return actions;
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

Actions actionsOf( const Flowspec::RuleAction& action ) {
   Actions set;
   for ( const auto& [field, actions] : fieldActions ) {
      if ( action.fields.has( field ) ) {
         set |= actions;
      }
   }
   if ( action.fields.trafficAction() ) {
      set.set( numberOf( sample ), action.trafficAction.sampleAndLog() );
      set.set( numberOf( continueMatch ), action.trafficAction.continueMatch() );
   }
   if ( action.fields.trafficRedirect() ) {
      set &= ~fieldActions[static_cast< U8 >( Field::trafficRedirect )].actions;
      set.set( numberOf( redirectOf( action.redirect.type() ) ) );
   }
   return set;
}

ActionFieldSet unsupportedFlags( Actions supported ) {
   ActionFieldSet unsupported;
   for ( const auto& [field, actions] : fieldActions ) {
      unsupported.set( field, field != Field::invalid && ( actions & supported ).none() );
   }
   return unsupported;
}

} // namespace Dataplane
