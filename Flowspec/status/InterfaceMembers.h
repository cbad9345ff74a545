#pragma once

#include "Vek/Entity.h"
#include "Vek/HashSet.h"
#include "Zorv/AddressFamily.h"
#include "Zorv/IntfId.h"

namespace Flowspec {

/// An interface set in use, with its member interfaces. Made by `Status::interfaceSetIs` or
/// `interfaceSetFactory`.
class OSK_EXPORT InterfaceSet : public Vek::EntityOf< InterfaceSet > {
public:
   static const Vek::TypeInfo& type();

   explicit InterfaceSet( U16 interfaceSetId ) : interfaceSetId_( interfaceSetId ) {}

   U16 interfaceSetId() const { return interfaceSetId_; }

   const Vek::HashSet< Zorv::IntfId >& intf() const { return intf_; }
   void intfIs( Zorv::IntfId intf );
   void intfDel( Zorv::IntfId intf );
   void intfDelAll();

   struct OSK_HIDDEN Table;

protected:
   ~InterfaceSet() override = default;

private:
   U16 interfaceSetId_;
   Vek::HashSet< Zorv::IntfId > intf_;
};

/// The interfaces on which flow specification is active for one address family. Made by
/// `VrfRuleStatus::activeIntfPerAfIs` or `afIntfCollFactory`.
class OSK_EXPORT AfIntfColl : public Vek::EntityOf< AfIntfColl > {
public:
   static const Vek::TypeInfo& type();

   explicit AfIntfColl( Zorv::AddressFamily addressFamily ) : addressFamily_( addressFamily ) {}

   Zorv::AddressFamily addressFamily() const { return addressFamily_; }

   const Vek::HashSet< Zorv::IntfId >& intf() const { return intf_; }
   void intfIs( Zorv::IntfId intf );
   void intfDel( Zorv::IntfId intf );
   void intfDelAll();

   struct OSK_HIDDEN Table;

protected:
   ~AfIntfColl() override = default;

private:
   Zorv::AddressFamily addressFamily_;
   Vek::HashSet< Zorv::IntfId > intf_;
};

/// New entities that no collection holds.
OSK_EXPORT Vek::Ptr< InterfaceSet > interfaceSetFactory( U16 interfaceSetId );
/// The same by its constructor form.
inline Vek::Ptr< InterfaceSet > InterfaceSetIs( U16 interfaceSetId ) {
   return interfaceSetFactory( interfaceSetId );
}
OSK_EXPORT Vek::Ptr< AfIntfColl > afIntfCollFactory( Zorv::AddressFamily addressFamily );
/// The same by its constructor form.
inline Vek::Ptr< AfIntfColl > AfIntfCollIs( Zorv::AddressFamily addressFamily ) {
   return afIntfCollFactory( addressFamily );
}

} // namespace Flowspec
