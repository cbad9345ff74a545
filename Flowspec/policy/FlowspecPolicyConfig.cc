#include "Flowspec/policy/FlowspecPolicyConfig.h"

#include "Vek/entity/EntityInfo.h"

namespace Flowspec {

struct FlowspecRedirectVrfRtAction::Table {
   using T = FlowspecRedirectVrfRtAction;
   static constexpr Vek::Rows rows{ Vek::key< &T::vrfRt_ >( 260, "vrfRt" ) };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, Vek::String, Osk::UniqueId, U64 >( Vek::TypeKind::child );
};

struct FlowspecPolicyActionContainer::Table {
   using T = FlowspecPolicyActionContainer;
   // Reflection creates no members: an action wants constructor arguments beyond its key.
   static constexpr Vek::Rows rows{
      Vek::children< &T::dropAction_, nullptr, Vek::byKey( &T::dropActionDel ) >( 258,
                                                                                  "dropAction" ),
      Vek::children< &T::policeAction_, nullptr, Vek::byKey( &T::policeActionDel ) >(
         259, "policeAction" ),
      Vek::children< &T::setDscpAction_, nullptr, Vek::byKey( &T::setDscpActionDel ) >(
         260, "setDscpAction" ),
      Vek::children< &T::setNexthopAction_, nullptr, Vek::byKey( &T::setNexthopActionDel ) >(
         261, "setNexthopAction" ),
      Vek::children< &T::redirectVrfRtAction_, nullptr, Vek::byKey( &T::redirectVrfRtActionDel ) >(
         262, "redirectVrfRtAction" ),
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, Vek::String >( Vek::TypeKind::child );
};

struct FlowspecPolicyConfig::Table {
   using T = FlowspecPolicyConfig;
   static constexpr Vek::Rows rows{
      Vek::child< &T::actions_ >( 261, "actions" ),
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, Vek::String >( Vek::TypeKind::root );
};

const Vek::TypeInfo& FlowspecRedirectVrfRtAction::type() { return Table::info; }
const Vek::TypeInfo& FlowspecPolicyActionContainer::type() { return Table::info; }
const Vek::TypeInfo& FlowspecPolicyConfig::type() { return Table::info; }

bool FlowspecRedirectVrfRtAction::equalTo( const PolicyMap::Action& other ) const {
   const auto* const redirect = dynamic_cast< const FlowspecRedirectVrfRtAction* >( &other );
   return redirect && redirect->vrfRt_ == vrfRt_;
}

template < auto Member, typename Action, typename... Arguments >
Vek::Ptr< Action > FlowspecPolicyActionContainer::actionIs( const Vek::String& name,
                                                            Osk::UniqueId id,
                                                            Arguments... arguments ) {
   const auto made = [&]( Osk::UniqueId key ) {
      return Vek::create< Action >( name, key, arguments... );
   };
   Vek::Ptr< Action > action = childAt( this->*Member, id );
   if ( !action ) {
      return childIs< Table, Member >( id, made );
   }
   if ( action->name() != name || !action->equalTo( *made( id ) ) ) {
      throw Vek::ReinstantiationException( Action::type().name );
   }
   return action;
}

using PolicyMap::DropAction;
using PolicyMap::NexthopAction;
using PolicyMap::PoliceAction;
using PolicyMap::SetDscpAction;
using Container = FlowspecPolicyActionContainer;

Vek::Ptr< DropAction > Container::dropAction( Osk::UniqueId id ) const {
   return childAt( dropAction_, id );
}

Vek::Ptr< DropAction > Container::dropActionIs( const Vek::String& name, Osk::UniqueId id ) {
   return actionIs< &Container::dropAction_, DropAction >( name, id );
}

void Container::dropActionDel( Osk::UniqueId id ) {
   childDel< Table, &Container::dropAction_ >( id );
}

Container::Actions< PolicyMap::DropAction >::const_iterator
Container::dropActionDel( Actions< PolicyMap::DropAction >::const_iterator at ) {
   return childDelAt< Table, &Container::dropAction_ >( at );
}

void Container::dropActionDelAll() { childDelAll< Table, &Container::dropAction_ >(); }

Vek::Ptr< PoliceAction > Container::policeAction( Osk::UniqueId id ) const {
   return childAt( policeAction_, id );
}

Vek::Ptr< PoliceAction > Container::policeActionIs( const Vek::String& name, Osk::UniqueId id,
                                                    PolicyMap::PoliceRate rate,
                                                    PolicyMap::PoliceBurstSize burstSize ) {
   return actionIs< &Container::policeAction_, PoliceAction >( name, id, rate, burstSize );
}

void Container::policeActionDel( Osk::UniqueId id ) {
   childDel< Table, &Container::policeAction_ >( id );
}

Container::Actions< PolicyMap::PoliceAction >::const_iterator
Container::policeActionDel( Actions< PolicyMap::PoliceAction >::const_iterator at ) {
   return childDelAt< Table, &Container::policeAction_ >( at );
}

void Container::policeActionDelAll() { childDelAll< Table, &Container::policeAction_ >(); }

Vek::Ptr< SetDscpAction > Container::setDscpAction( Osk::UniqueId id ) const {
   return childAt( setDscpAction_, id );
}

Vek::Ptr< SetDscpAction > Container::setDscpActionIs( const Vek::String& name, Osk::UniqueId id,
                                                      PolicyMap::Dscp dscp ) {
   return actionIs< &Container::setDscpAction_, SetDscpAction >( name, id, dscp );
}

void Container::setDscpActionDel( Osk::UniqueId id ) {
   childDel< Table, &Container::setDscpAction_ >( id );
}

Container::Actions< PolicyMap::SetDscpAction >::const_iterator
Container::setDscpActionDel( Actions< PolicyMap::SetDscpAction >::const_iterator at ) {
   return childDelAt< Table, &Container::setDscpAction_ >( at );
}

void Container::setDscpActionDelAll() { childDelAll< Table, &Container::setDscpAction_ >(); }

Vek::Ptr< NexthopAction > Container::setNexthopAction( Osk::UniqueId id ) const {
   return childAt( setNexthopAction_, id );
}

Vek::Ptr< NexthopAction > Container::setNexthopActionIs( const Vek::String& name,
                                                         Osk::UniqueId id ) {
   return actionIs< &Container::setNexthopAction_, NexthopAction >( name, id );
}

void Container::setNexthopActionDel( Osk::UniqueId id ) {
   childDel< Table, &Container::setNexthopAction_ >( id );
}

Container::Actions< PolicyMap::NexthopAction >::const_iterator
Container::setNexthopActionDel( Actions< PolicyMap::NexthopAction >::const_iterator at ) {
   return childDelAt< Table, &Container::setNexthopAction_ >( at );
}

void Container::setNexthopActionDelAll() { childDelAll< Table, &Container::setNexthopAction_ >(); }

Vek::Ptr< FlowspecRedirectVrfRtAction > Container::redirectVrfRtAction( Osk::UniqueId id ) const {
   return childAt( redirectVrfRtAction_, id );
}

Vek::Ptr< FlowspecRedirectVrfRtAction >
Container::redirectVrfRtActionIs( const Vek::String& name, Osk::UniqueId id, U64 vrfRt ) {
   return actionIs< &Container::redirectVrfRtAction_, FlowspecRedirectVrfRtAction >( name, id,
                                                                                     vrfRt );
}

void Container::redirectVrfRtActionDel( Osk::UniqueId id ) {
   childDel< Table, &Container::redirectVrfRtAction_ >( id );
}

Container::Actions< FlowspecRedirectVrfRtAction >::const_iterator
Container::redirectVrfRtActionDel( Actions< FlowspecRedirectVrfRtAction >::const_iterator at ) {
   return childDelAt< Table, &Container::redirectVrfRtAction_ >( at );
}

void Container::redirectVrfRtActionDelAll() {
   childDelAll< Table, &Container::redirectVrfRtAction_ >();
}

FlowspecPolicyConfig::FlowspecPolicyConfig( ByCreate by, const Vek::String& name )
   : EntityOf( by, name ) {
   cmapTypeIs( "FlowspecPolicy" );
   pmapTypeIs( "FlowspecPolicy", mapTypeNumber );
   actionsIs( "FlowspecPolicy" );
}

Vek::Ptr< FlowspecPolicyActionContainer >
FlowspecPolicyConfig::actionsIs( const Vek::String& name ) {
   if ( actions_ ) {
      return actions_;
   }
   // An observer may drop the container again, and this entity with it.
   auto made = flowspecPolicyActionContainerFactory( name );
   onlyChildIs< Table, &FlowspecPolicyConfig::actions_ >( made );
   return made;
}

void FlowspecPolicyConfig::actionsDel() {
   if ( actions_ ) {
      onlyChildIs< Table, &FlowspecPolicyConfig::actions_ >(
         Vek::Ptr< FlowspecPolicyActionContainer >() );
   }
}

Vek::Ptr< FlowspecPolicyConfig > flowspecPolicyConfigFactory( const Vek::String& name ) {
   return Vek::create< FlowspecPolicyConfig >( name );
}

Vek::Ptr< FlowspecPolicyActionContainer >
flowspecPolicyActionContainerFactory( const Vek::String& name ) {
   return Vek::create< FlowspecPolicyActionContainer >( name );
}

Vek::Ptr< FlowspecRedirectVrfRtAction >
flowspecRedirectVrfRtActionFactory( const Vek::String& name, Osk::UniqueId id, U64 vrfRt ) {
   return Vek::create< FlowspecRedirectVrfRtAction >( name, id, vrfRt );
}

} // namespace Flowspec
