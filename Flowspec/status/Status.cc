#include "Flowspec/status/Status.h"

#include "Vek/entity/EntityInfo.h"

namespace Flowspec {

struct Status::Table {
   using T = Status;
   static constexpr Vek::Rows rows{
      Vek::children< &T::vrfRuleStatus_, &T::vrfRuleStatusIs, Vek::byKey( &T::vrfRuleStatusDel ) >(
         258, "vrfRuleStatus" ),
      Vek::attr< &T::counterUpdateTime_, &T::counterUpdateTimeIs >( 259, "counterUpdateTime" ),
      Vek::attr< &T::flowspecSupported_, &T::flowspecSupportedIs >( 260, "flowspecSupported" ),
      Vek::coll< &T::unsupportedQual_, &T::unsupportedQualIs, Vek::byKey( &T::unsupportedQualDel ),
                 &UnsupportedQual::addressFamily >( 261, "unsupportedQual" ),
      Vek::children< &T::interfaceSet_, &T::interfaceSetIs, Vek::byKey( &T::interfaceSetDel ) >(
         262, "interfaceSet" ),
      Vek::operation< &T::dumpState >( 263, "dumpState", "context", "indent" ),
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, Vek::String >( Vek::TypeKind::root );
};

const Vek::TypeInfo& Status::type() { return Table::info; }

Vek::Ptr< VrfRuleStatus > Status::vrfRuleStatus( Vrf::VrfIdMap::VrfId vrfId ) const {
   return childAt( vrfRuleStatus_, vrfId );
}

Vek::Ptr< VrfRuleStatus > Status::vrfRuleStatusIs( Vrf::VrfIdMap::VrfId vrfId ) {
   return childIs< Table, &Status::vrfRuleStatus_ >( vrfId, vrfRuleStatusFactory );
}

void Status::vrfRuleStatusDel( Vrf::VrfIdMap::VrfId vrfId ) {
   childDel< Table, &Status::vrfRuleStatus_ >( vrfId );
}

Status::VrfRuleStatuses::const_iterator
Status::vrfRuleStatusDel( VrfRuleStatuses::const_iterator at ) {
   return childDelAt< Table, &Status::vrfRuleStatus_ >( at );
}

void Status::vrfRuleStatusDelAll() { childDelAll< Table, &Status::vrfRuleStatus_ >(); }

void Status::counterUpdateTimeIs( double counterUpdateTime ) {
   put< Table, &Status::counterUpdateTime_ >( counterUpdateTime );
}

void Status::flowspecSupportedIs( bool flowspecSupported ) {
   put< Table, &Status::flowspecSupported_ >( flowspecSupported );
}

UnsupportedQual Status::unsupportedQual( Zorv::AddressFamily addressFamily ) const {
   return memberAt( unsupportedQual_, addressFamily );
}

void Status::unsupportedQualIs( const UnsupportedQual& unsupportedQual ) {
   memberIs< Table, &Status::unsupportedQual_ >( unsupportedQual.addressFamily(), unsupportedQual );
}

void Status::unsupportedQualDel( Zorv::AddressFamily addressFamily ) {
   memberDel< Table, &Status::unsupportedQual_ >( addressFamily );
}

Status::UnsupportedQuals::const_iterator
Status::unsupportedQualDel( UnsupportedQuals::const_iterator at ) {
   return memberDelAt< Table, &Status::unsupportedQual_ >( at );
}

void Status::unsupportedQualDelAll() { memberDelAll< Table, &Status::unsupportedQual_ >(); }

Vek::Ptr< InterfaceSet > Status::interfaceSet( U16 interfaceSetId ) const {
   return childAt( interfaceSet_, interfaceSetId );
}

Vek::Ptr< InterfaceSet > Status::interfaceSetIs( U16 interfaceSetId ) {
   return childIs< Table, &Status::interfaceSet_ >( interfaceSetId, interfaceSetFactory );
}

void Status::interfaceSetDel( U16 interfaceSetId ) {
   childDel< Table, &Status::interfaceSet_ >( interfaceSetId );
}

Status::InterfaceSets::const_iterator Status::interfaceSetDel( InterfaceSets::const_iterator at ) {
   return childDelAt< Table, &Status::interfaceSet_ >( at );
}

void Status::interfaceSetDelAll() { childDelAll< Table, &Status::interfaceSet_ >(); }

Vek::Ptr< Status > statusFactory( const Vek::String& name ) {
   return Vek::create< Status >( name );
}

} // namespace Flowspec
