#pragma once

#include "Flowspec/status/UnsupportedQual.h"
#include "Flowspec/status/VrfRuleStatus.h"

namespace Flowspec {

/// What the agent that programs the hardware reports: a root entity, created by its name.
class OSK_EXPORT Status : public Vek::EntityOf< Status, Vek::NamedEntity > {
public:
   using VrfRuleStatuses = Vek::HashMap< Vrf::VrfIdMap::VrfId, Vek::Ptr< VrfRuleStatus > >;
   using UnsupportedQuals = Vek::HashMap< Zorv::AddressFamily, UnsupportedQual >;
   using InterfaceSets = Vek::HashMap< U16, Vek::Ptr< InterfaceSet > >;

   static constexpr std::string_view typeName = "Flowspec::Status";
   static constexpr std::size_t rowCount = 6;
   static const Vek::TypeInfo& type();

   Status( ByCreate by, const Vek::String& name ) : EntityOf( by, name ) {}

   const VrfRuleStatuses& vrfRuleStatus() const { return vrfRuleStatus_; }
   /// The status of a VRF, or null.
   Vek::Ptr< VrfRuleStatus > vrfRuleStatus( Vrf::VrfIdMap::VrfId vrfId ) const;
   /// The status of a VRF; created, empty, when there is none.
   Vek::Ptr< VrfRuleStatus > vrfRuleStatusIs( Vrf::VrfIdMap::VrfId vrfId );
   void vrfRuleStatusDel( Vrf::VrfIdMap::VrfId vrfId );
   /// Removes the member at `at` and returns the place where to go on.
   VrfRuleStatuses::const_iterator vrfRuleStatusDel( VrfRuleStatuses::const_iterator at );
   void vrfRuleStatusDelAll();

   /// When counters were last refreshed; answers the request in `CliConfig`. Seconds since the Unix
   /// epoch.
   double counterUpdateTime() const { return counterUpdateTime_; }
   void counterUpdateTimeIs( double counterUpdateTime );

   /// Whether the platform supports flow specification at all.
   bool flowspecSupported() const { return flowspecSupported_; }
   void flowspecSupportedIs( bool flowspecSupported );

   /// What the platform cannot do, by address family.
   const UnsupportedQuals& unsupportedQual() const { return unsupportedQual_; }
   /// The value of a family; a default one when there is none.
   UnsupportedQual unsupportedQual( Zorv::AddressFamily addressFamily ) const;
   /// Files the value under its own family; publishes nothing when an equal one is there.
   void unsupportedQualIs( const UnsupportedQual& unsupportedQual );
   void unsupportedQualDel( Zorv::AddressFamily addressFamily );
   /// Removes the member at `at` and returns the place where to go on.
   UnsupportedQuals::const_iterator unsupportedQualDel( UnsupportedQuals::const_iterator at );
   void unsupportedQualDelAll();

   /// The interface sets in use, by their identifiers.
   const InterfaceSets& interfaceSet() const { return interfaceSet_; }
   /// The set with an identifier, or null.
   Vek::Ptr< InterfaceSet > interfaceSet( U16 interfaceSetId ) const;
   /// The set with an identifier; created, empty, when there is none.
   Vek::Ptr< InterfaceSet > interfaceSetIs( U16 interfaceSetId );
   void interfaceSetDel( U16 interfaceSetId );
   /// Removes the member at `at` and returns the place where to go on.
   InterfaceSets::const_iterator interfaceSetDel( InterfaceSets::const_iterator at );
   void interfaceSetDelAll();

   /// Writes the status of all VRFs, indented by `indent` columns.
   void dumpState( Osk::DumpContext& context, U32 indent ) const;

   struct OSK_HIDDEN Table;

protected:
   ~Status() override = default;

private:
   VrfRuleStatuses vrfRuleStatus_;
   double counterUpdateTime_ = 0;
   bool flowspecSupported_ = false;
   UnsupportedQuals unsupportedQual_;
   InterfaceSets interfaceSet_;
};

/// A new root that no directory holds.
OSK_EXPORT Vek::Ptr< Status > statusFactory( const Vek::String& name );
/// The same by its constructor form.
inline Vek::Ptr< Status > StatusIs( const Vek::String& name ) { return statusFactory( name ); }

} // namespace Flowspec
