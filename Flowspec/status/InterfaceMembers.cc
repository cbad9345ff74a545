#include "Flowspec/status/InterfaceMembers.h"

#include "Flowspec/types/Types.h"
#include "Vek/collections/DirtyKeys.h"

namespace Flowspec {

struct InterfaceSet::Table {
   using T = InterfaceSet;
   static constexpr Vek::Field rows[] = {
      Vek::key< &T::interfaceSetId_ >( 258, "interfaceSetId" ),
      Vek::coll< &T::intf_, &T::intfIs, Vek::byKey( &T::intfDel ) >( 259, "intf" ),
   };
   static_assert( Vek::idsAscend( rows ) );
   static inline constinit Mell::Slab slab{ sizeof( T ), alignof( T ) };
};

struct AfIntfColl::Table {
   using T = AfIntfColl;
   static constexpr Vek::Field rows[] = {
      Vek::key< &T::addressFamily_ >( 258, "addressFamily" ),
      Vek::coll< &T::intf_, &T::intfIs, Vek::byKey( &T::intfDel ) >( 259, "intf" ),
   };
   static_assert( Vek::idsAscend( rows ) );
   static inline constinit Mell::Slab slab{ sizeof( T ), alignof( T ) };
};

constinit const Vek::TypeInfo interfaceSetInfo = Vek::entityInfo< InterfaceSet, U16 >(
   "Flowspec::InterfaceSet", Vek::TypeKind::child, InterfaceSet::Table::rows,
   InterfaceSet::Table::slab, &Vek::Entity::baseInfo );

constinit const Vek::TypeInfo afIntfCollInfo = Vek::entityInfo< AfIntfColl, Zorv::AddressFamily >(
   "Flowspec::AfIntfColl", Vek::TypeKind::child, AfIntfColl::Table::rows, AfIntfColl::Table::slab,
   &Vek::Entity::baseInfo );

const Vek::TypeInfo& InterfaceSet::type() { return interfaceSetInfo; }

void InterfaceSet::intfIs( Zorv::IntfId intf ) { elementIs< Table, &InterfaceSet::intf_ >( intf ); }

void InterfaceSet::intfDel( Zorv::IntfId intf ) {
   memberDel< Table, &InterfaceSet::intf_ >( intf );
}

InterfaceSet::Intfs::const_iterator InterfaceSet::intfDel( Intfs::const_iterator at ) {
   return memberDelAt< Table, &InterfaceSet::intf_ >( at );
}

void InterfaceSet::intfDelAll() { memberDelAll< Table, &InterfaceSet::intf_ >(); }

const Vek::TypeInfo& AfIntfColl::type() { return afIntfCollInfo; }

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
