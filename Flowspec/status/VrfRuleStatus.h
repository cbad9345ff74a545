#pragma once

#include "Flowspec/status/InterfaceMembers.h"
#include "Flowspec/status/IntfErrorKey.h"
#include "Flowspec/status/RuleStatus.h"
#include "Vek/collections/HashMap.h"
#include "Vek/collections/OrderedMap.h"

namespace Flowspec {

/// What became of the rules of one VRF. Made by `Status::vrfRuleStatusIs` or
/// `vrfRuleStatusFactory`. Owns its children; a reader's reference keeps a removed one alive.
class OSK_EXPORT VrfRuleStatus : public Vek::EntityOf< VrfRuleStatus > {
public:
   struct KeyOf {
      const FlowspecKey& operator()( const Vek::Ptr< RuleStatus >& status ) const {
         return status->key();
      }
   };
   using ActiveIntfs = Vek::HashMap< Zorv::AddressFamily, Vek::Ptr< AfIntfColl > >;
   using IntfErrors = Vek::HashMap< IntfErrorKey, Vek::String >;
   /// Ascending by `FlowspecKeyOrder` of the rule keys.
   using RuleStatuses = Vek::OrderedMap< Vek::Ptr< RuleStatus >, KeyOf, FlowspecKeyOrder >;

   static constexpr std::string_view typeName = "Flowspec::VrfRuleStatus";
   static constexpr std::size_t rowCount = 5;
   static const Vek::TypeInfo& type();

   VrfRuleStatus( ByCreate by, Vrf::VrfIdMap::VrfId vrfId ) : EntityOf( by ), vrfId_( vrfId ) {}

   Vrf::VrfIdMap::VrfId vrfId() const { return vrfId_; }

   /// The interfaces on which flow specification is active, by address family.
   const ActiveIntfs& activeIntfPerAf() const { return activeIntfPerAf_; }
   /// Those of one family, or null.
   Vek::Ptr< AfIntfColl > activeIntfPerAf( Zorv::AddressFamily addressFamily ) const;
   /// Those of one family; created, empty, when there are none.
   Vek::Ptr< AfIntfColl > activeIntfPerAfIs( Zorv::AddressFamily addressFamily );
   void activeIntfPerAfDel( Zorv::AddressFamily addressFamily );
   /// Removes the member at `at` and returns the place where to go on.
   ActiveIntfs::const_iterator activeIntfPerAfDel( ActiveIntfs::const_iterator at );
   void activeIntfPerAfDelAll();

   /// Errors of interfaces, in words of the agent that programs.
   const IntfErrors& intfError() const { return intfError_; }
   /// The error under a key, or "".
   Vek::String intfError( const IntfErrorKey& key ) const;
   /// Inserts or replaces; publishes nothing when the same text is there.
   void intfErrorIs( const IntfErrorKey& key, const Vek::String& error );
   void intfErrorDel( const IntfErrorKey& key );
   /// Removes the member at `at` and returns the place where to go on.
   IntfErrors::const_iterator intfErrorDel( IntfErrors::const_iterator at );
   void intfErrorDelAll();

   const RuleStatuses& ruleStatus() const { return ruleStatus_; }
   /// The status of a rule, or null.
   Vek::Ptr< RuleStatus > ruleStatus( const FlowspecKey& key ) const;
   /// The status of a rule; created, `unprocessed`, when there is none.
   Vek::Ptr< RuleStatus > ruleStatusIs( const FlowspecKey& key );
   void ruleStatusDel( const FlowspecKey& key );
   /// Removes the status at `at` and returns the one after it: `at = vrf->ruleStatusDel( at )`.
   RuleStatuses::const_iterator ruleStatusDel( RuleStatuses::const_iterator at );
   void ruleStatusDelAll();

   /// Writes the VRF and the status of its rules, indented by `indent` columns.
   void dumpState( Osk::DumpContext& context, U32 indent ) const;

   struct OSK_HIDDEN Table;

protected:
   ~VrfRuleStatus() override = default;

private:
   Vrf::VrfIdMap::VrfId vrfId_;
   ActiveIntfs activeIntfPerAf_;
   IntfErrors intfError_;
   RuleStatuses ruleStatus_;
};

/// A new entity that no collection holds.
OSK_EXPORT Vek::Ptr< VrfRuleStatus > vrfRuleStatusFactory( Vrf::VrfIdMap::VrfId vrfId );
/// The same by its constructor form.
inline Vek::Ptr< VrfRuleStatus > VrfRuleStatusIs( Vrf::VrfIdMap::VrfId vrfId ) {
   return vrfRuleStatusFactory( vrfId );
}

} // namespace Flowspec
