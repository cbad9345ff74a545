#include "Flowspec/status/VrfRuleStatus.h"

#include "Vek/entity/EntityInfo.h"

namespace Flowspec {

struct VrfRuleStatus::Table {
   using T = VrfRuleStatus;
   static constexpr Vek::Rows rows{
      Vek::key< &T::vrfId_ >( 258, "vrfId" ).as( "Vrf::VrfIdMap::VrfId" ),
      Vek::children< &T::activeIntfPerAf_, &T::activeIntfPerAfIs,
                     Vek::byKey( &T::activeIntfPerAfDel ) >( 259, "activeIntfPerAf" ),
      Vek::coll< &T::intfError_, &T::intfErrorIs, Vek::byKey( &T::intfErrorDel ) >( 260,
                                                                                    "intfError" ),
      Vek::children< &T::ruleStatus_, &T::ruleStatusIs, Vek::byKey( &T::ruleStatusDel ) >(
         261, "ruleStatus" ),
      Vek::operation< &T::dumpState >( 262, "dumpState", "context", "indent" ),
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, Vrf::VrfIdMap::VrfId >( Vek::TypeKind::child );
};

const Vek::TypeInfo& VrfRuleStatus::type() { return Table::info; }

Vek::Ptr< AfIntfColl > VrfRuleStatus::activeIntfPerAf( Zorv::AddressFamily addressFamily ) const {
   return childAt( activeIntfPerAf_, addressFamily );
}

Vek::Ptr< AfIntfColl > VrfRuleStatus::activeIntfPerAfIs( Zorv::AddressFamily addressFamily ) {
   return childIs< Table, &VrfRuleStatus::activeIntfPerAf_ >( addressFamily, afIntfCollFactory );
}

void VrfRuleStatus::activeIntfPerAfDel( Zorv::AddressFamily addressFamily ) {
   childDel< Table, &VrfRuleStatus::activeIntfPerAf_ >( addressFamily );
}

VrfRuleStatus::ActiveIntfs::const_iterator
VrfRuleStatus::activeIntfPerAfDel( ActiveIntfs::const_iterator at ) {
   return childDelAt< Table, &VrfRuleStatus::activeIntfPerAf_ >( at );
}

void VrfRuleStatus::activeIntfPerAfDelAll() {
   childDelAll< Table, &VrfRuleStatus::activeIntfPerAf_ >();
}

Vek::String VrfRuleStatus::intfError( const IntfErrorKey& key ) const {
   return memberAt( intfError_, key );
}

void VrfRuleStatus::intfErrorIs( const IntfErrorKey& key, const Vek::String& error ) {
   memberIs< Table, &VrfRuleStatus::intfError_ >( key, error );
}

void VrfRuleStatus::intfErrorDel( const IntfErrorKey& key ) {
   memberDel< Table, &VrfRuleStatus::intfError_ >( key );
}

VrfRuleStatus::IntfErrors::const_iterator
VrfRuleStatus::intfErrorDel( IntfErrors::const_iterator at ) {
   return memberDelAt< Table, &VrfRuleStatus::intfError_ >( at );
}

void VrfRuleStatus::intfErrorDelAll() { memberDelAll< Table, &VrfRuleStatus::intfError_ >(); }

Vek::Ptr< RuleStatus > VrfRuleStatus::ruleStatus( const FlowspecKey& key ) const {
   return childAt( ruleStatus_, key );
}

Vek::Ptr< RuleStatus > VrfRuleStatus::ruleStatusIs( const FlowspecKey& key ) {
   return childIs< Table, &VrfRuleStatus::ruleStatus_ >( key, ruleStatusFactory );
}

void VrfRuleStatus::ruleStatusDel( const FlowspecKey& key ) {
   childDel< Table, &VrfRuleStatus::ruleStatus_ >( key );
}

VrfRuleStatus::RuleStatuses::const_iterator
VrfRuleStatus::ruleStatusDel( RuleStatuses::const_iterator at ) {
   return childDelAt< Table, &VrfRuleStatus::ruleStatus_ >( at );
}

void VrfRuleStatus::ruleStatusDelAll() { childDelAll< Table, &VrfRuleStatus::ruleStatus_ >(); }

Vek::Ptr< VrfRuleStatus > vrfRuleStatusFactory( Vrf::VrfIdMap::VrfId vrfId ) {
   return Vek::create< VrfRuleStatus >( vrfId );
}

} // namespace Flowspec
