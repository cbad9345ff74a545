#pragma once

#include "Vek/collections/HashSet.h"
#include "Vek/entity/Entity.h"
#include "Zorv/AddressFamily.h"
#include "Zorv/IntfId.h"

namespace Flowspec {

/// An interface set in use, with its member interfaces. Made by `Status::interfaceSetIs` or
/// `interfaceSetFactory`.
class OSK_EXPORT InterfaceSet : public Vek::EntityOf< InterfaceSet > {
public:
   using Intfs = Vek::HashSet< Zorv::IntfId >;

   static constexpr std::string_view typeName = "Flowspec::InterfaceSet";
   static const Vek::TypeInfo& type();

   InterfaceSet( ByCreate by, U16 interfaceSetId )
      : EntityOf( by ), interfaceSetId_( interfaceSetId ) {}

   U16 interfaceSetId() const { return interfaceSetId_; }

   const Intfs& intf() const { return intf_; }
   void intfIs( Zorv::IntfId intf );
   void intfDel( Zorv::IntfId intf );
   /// Removes the member at `at` and returns the place where to go on.
   Intfs::const_iterator intfDel( Intfs::const_iterator at );
   void intfDelAll();

   struct OSK_HIDDEN Table;

protected:
   ~InterfaceSet() override = default;

private:
   U16 interfaceSetId_;
   Intfs intf_;
};

/// The interfaces on which flow specification is active for one address family. Made by
/// `VrfRuleStatus::activeIntfPerAfIs` or `afIntfCollFactory`.
class OSK_EXPORT AfIntfColl : public Vek::EntityOf< AfIntfColl > {
public:
   using Intfs = Vek::HashSet< Zorv::IntfId >;

   static constexpr std::string_view typeName = "Flowspec::AfIntfColl";
   static const Vek::TypeInfo& type();

   AfIntfColl( ByCreate by, Zorv::AddressFamily addressFamily )
      : EntityOf( by ), addressFamily_( addressFamily ) {}

   Zorv::AddressFamily addressFamily() const { return addressFamily_; }

   const Intfs& intf() const { return intf_; }
   void intfIs( Zorv::IntfId intf );
   void intfDel( Zorv::IntfId intf );
   /// Removes the member at `at` and returns the place where to go on.
   Intfs::const_iterator intfDel( Intfs::const_iterator at );
   void intfDelAll();

   struct OSK_HIDDEN Table;

protected:
   ~AfIntfColl() override = default;

private:
   Zorv::AddressFamily addressFamily_;
   Intfs intf_;
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
