#include "Flowspec/status/InterfaceMembers.h"

#include "Vek/entity/EntityInfo.h"

namespace Flowspec {

struct InterfaceSet::Table {
   using T = InterfaceSet;
   static constexpr Vek::Rows rows{
      Vek::key< &T::interfaceSetId_ >( 258, "interfaceSetId" ),
      Vek::coll< &T::intf_, &T::intfIs, Vek::byKey( &T::intfDel ) >( 259, "intf" ),
   };
   static constexpr Vek::TypeInfo info = Vek::entityInfo< T, rows, U16 >( Vek::TypeKind::child );
};

struct AfIntfColl::Table {
   using T = AfIntfColl;
   static constexpr Vek::Rows rows{
      Vek::key< &T::addressFamily_ >( 258, "addressFamily" ),
      Vek::coll< &T::intf_, &T::intfIs, Vek::byKey( &T::intfDel ) >( 259, "intf" ),
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, Zorv::AddressFamily >( Vek::TypeKind::child );
};

const Vek::TypeInfo& InterfaceSet::type() { return Table::info; }

void InterfaceSet::intfIs( Zorv::IntfId intf ) { elementIs< Table, &InterfaceSet::intf_ >( intf ); }

void InterfaceSet::intfDel( Zorv::IntfId intf ) {
   memberDel< Table, &InterfaceSet::intf_ >( intf );
}

InterfaceSet::Intfs::const_iterator InterfaceSet::intfDel( Intfs::const_iterator at ) {
   return memberDelAt< Table, &InterfaceSet::intf_ >( at );
}

void InterfaceSet::intfDelAll() { memberDelAll< Table, &InterfaceSet::intf_ >(); }

const Vek::TypeInfo& AfIntfColl::type() { return Table::info; }

void AfIntfColl::intfIs( Zorv::IntfId intf ) { elementIs< Table, &AfIntfColl::intf_ >( intf ); }

void AfIntfColl::intfDel( Zorv::IntfId intf ) { memberDel< Table, &AfIntfColl::intf_ >( intf ); }

AfIntfColl::Intfs::const_iterator AfIntfColl::intfDel( Intfs::const_iterator at ) {
   return memberDelAt< Table, &AfIntfColl::intf_ >( at );
}

void AfIntfColl::intfDelAll() { memberDelAll< Table, &AfIntfColl::intf_ >(); }

Vek::Ptr< InterfaceSet > interfaceSetFactory( U16 interfaceSetId ) {
   return Vek::create< InterfaceSet >( interfaceSetId );
}

Vek::Ptr< AfIntfColl > afIntfCollFactory( Zorv::AddressFamily addressFamily ) {
   return Vek::create< AfIntfColl >( addressFamily );
}

} // namespace Flowspec
