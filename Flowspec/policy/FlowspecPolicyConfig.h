#pragma once

#include "PolicyMap/PolicyMap.h"
#include "Vek/collections/HashMap.h"

namespace Flowspec {

/// Redirection to the VRF with a route target (RFC 8955 section 7.4), as a policy action.
class OSK_EXPORT FlowspecRedirectVrfRtAction
   : public Vek::EntityOf< FlowspecRedirectVrfRtAction, PolicyMap::Action > {
public:
   static constexpr std::string_view typeName = "Flowspec::FlowspecRedirectVrfRtAction";
   static const Vek::TypeInfo& type();
   static constexpr U32 actionTypeNumber = 37;

   FlowspecRedirectVrfRtAction( ByCreate by, const Vek::String& name, Osk::UniqueId id, U64 vrfRt )
      : EntityOf( by, name, id, actionTypeNumber ), vrfRt_( vrfRt ) {}

   /// The route target, as its 8 bytes in network order.
   U64 vrfRt() const { return vrfRt_; }

   /// Whether `other` is a redirect to the same route target.
   bool equalTo( const PolicyMap::Action& other ) const override;

   struct OSK_HIDDEN Table;

protected:
   ~FlowspecRedirectVrfRtAction() override = default;

private:
   U64 vrfRt_;
};

/// The actions of a policy by their identifiers, a collection for each kind. Owns them.
///
/// Each creating operation returns the action that is there under the identifier when name and
/// arguments are the same; with others it raises `Vek::ReinstantiationException` and changes
/// nothing: an action is to be deleted before it is made anew.
class OSK_EXPORT FlowspecPolicyActionContainer
   : public Vek::EntityOf< FlowspecPolicyActionContainer, Vek::NamedEntity > {
public:
   template < typename Action >
   using Actions = Vek::HashMap< Osk::UniqueId, Vek::Ptr< Action > >;

   static constexpr std::string_view typeName = "Flowspec::FlowspecPolicyActionContainer";
   static const Vek::TypeInfo& type();

   FlowspecPolicyActionContainer( ByCreate by, const Vek::String& name ) : EntityOf( by, name ) {}

   const Actions< PolicyMap::DropAction >& dropAction() const { return dropAction_; }
   Vek::Ptr< PolicyMap::DropAction > dropAction( Osk::UniqueId id ) const;
   Vek::Ptr< PolicyMap::DropAction > dropActionIs( const Vek::String& name, Osk::UniqueId id );
   void dropActionDel( Osk::UniqueId id );
   /// Removes the member at `at` and returns the place where to go on.
   Actions< PolicyMap::DropAction >::const_iterator
   dropActionDel( Actions< PolicyMap::DropAction >::const_iterator at );
   void dropActionDelAll();

   const Actions< PolicyMap::PoliceAction >& policeAction() const { return policeAction_; }
   Vek::Ptr< PolicyMap::PoliceAction > policeAction( Osk::UniqueId id ) const;
   Vek::Ptr< PolicyMap::PoliceAction > policeActionIs( const Vek::String& name, Osk::UniqueId id,
                                                       PolicyMap::PoliceRate rate,
                                                       PolicyMap::PoliceBurstSize burstSize );
   void policeActionDel( Osk::UniqueId id );
   /// Removes the member at `at` and returns the place where to go on.
   Actions< PolicyMap::PoliceAction >::const_iterator
   policeActionDel( Actions< PolicyMap::PoliceAction >::const_iterator at );
   void policeActionDelAll();

   const Actions< PolicyMap::SetDscpAction >& setDscpAction() const { return setDscpAction_; }
   Vek::Ptr< PolicyMap::SetDscpAction > setDscpAction( Osk::UniqueId id ) const;
   Vek::Ptr< PolicyMap::SetDscpAction > setDscpActionIs( const Vek::String& name, Osk::UniqueId id,
                                                         PolicyMap::Dscp dscp );
   void setDscpActionDel( Osk::UniqueId id );
   /// Removes the member at `at` and returns the place where to go on.
   Actions< PolicyMap::SetDscpAction >::const_iterator
   setDscpActionDel( Actions< PolicyMap::SetDscpAction >::const_iterator at );
   void setDscpActionDelAll();

   const Actions< PolicyMap::NexthopAction >& setNexthopAction() const { return setNexthopAction_; }
   Vek::Ptr< PolicyMap::NexthopAction > setNexthopAction( Osk::UniqueId id ) const;
   Vek::Ptr< PolicyMap::NexthopAction > setNexthopActionIs( const Vek::String& name,
                                                            Osk::UniqueId id );
   void setNexthopActionDel( Osk::UniqueId id );
   /// Removes the member at `at` and returns the place where to go on.
   Actions< PolicyMap::NexthopAction >::const_iterator
   setNexthopActionDel( Actions< PolicyMap::NexthopAction >::const_iterator at );
   void setNexthopActionDelAll();

   const Actions< FlowspecRedirectVrfRtAction >& redirectVrfRtAction() const {
      return redirectVrfRtAction_;
   }
   Vek::Ptr< FlowspecRedirectVrfRtAction > redirectVrfRtAction( Osk::UniqueId id ) const;
   Vek::Ptr< FlowspecRedirectVrfRtAction > redirectVrfRtActionIs( const Vek::String& name,
                                                                  Osk::UniqueId id, U64 vrfRt );
   void redirectVrfRtActionDel( Osk::UniqueId id );
   /// Removes the member at `at` and returns the place where to go on.
   Actions< FlowspecRedirectVrfRtAction >::const_iterator
   redirectVrfRtActionDel( Actions< FlowspecRedirectVrfRtAction >::const_iterator at );
   void redirectVrfRtActionDelAll();

   struct OSK_HIDDEN Table;

protected:
   ~FlowspecPolicyActionContainer() override = default;

private:
   template < auto Member, typename Action, typename... Arguments >
   Vek::Ptr< Action > actionIs( const Vek::String& name, Osk::UniqueId id, Arguments... arguments );

   Actions< PolicyMap::DropAction > dropAction_;
   Actions< PolicyMap::PoliceAction > policeAction_;
   Actions< PolicyMap::SetDscpAction > setDscpAction_;
   Actions< PolicyMap::NexthopAction > setNexthopAction_;
   Actions< FlowspecRedirectVrfRtAction > redirectVrfRtAction_;
};

/// A policy of the flow-specification kind: a root entity, created by its name. A new one holds an
/// empty action container named "FlowspecPolicy".
class OSK_EXPORT FlowspecPolicyConfig
   : public Vek::EntityOf< FlowspecPolicyConfig, PolicyMap::Config > {
public:
   static constexpr std::string_view typeName = "Flowspec::FlowspecPolicyConfig";
   static const Vek::TypeInfo& type();
   static constexpr U32 mapTypeNumber = 3;

   FlowspecPolicyConfig( ByCreate by, const Vek::String& name );

   /// The container, or null after `actionsDel`.
   const Vek::Ptr< FlowspecPolicyActionContainer >& actions() const { return actions_; }
   /// The container; created with `name` when there is none, whatever the name of one that is.
   Vek::Ptr< FlowspecPolicyActionContainer > actionsIs( const Vek::String& name );
   void actionsDel();

   struct OSK_HIDDEN Table;

protected:
   ~FlowspecPolicyConfig() override = default;

private:
   Vek::Ptr< FlowspecPolicyActionContainer > actions_;
};

/// New entities that nothing holds.
OSK_EXPORT Vek::Ptr< FlowspecPolicyConfig > flowspecPolicyConfigFactory( const Vek::String& name );
OSK_EXPORT Vek::Ptr< FlowspecPolicyActionContainer >
flowspecPolicyActionContainerFactory( const Vek::String& name );
OSK_EXPORT Vek::Ptr< FlowspecRedirectVrfRtAction >
flowspecRedirectVrfRtActionFactory( const Vek::String& name, Osk::UniqueId id, U64 vrfRt );

} // namespace Flowspec
