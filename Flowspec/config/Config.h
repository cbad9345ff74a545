#pragma once

#include "Flowspec/config/VrfRuleConfig.h"
#include "Vek/collections/HashMap.h"
#include "Zorv/IntfId.h"

namespace Flowspec {

/// The global rule configuration: a root entity, created by its name.
class OSK_EXPORT Config : public Vek::EntityOf< Config, Vek::NamedEntity > {
public:
   using Intfs = Vek::HashSet< Zorv::IntfId >;
   using VrfRuleConfigs = Vek::HashMap< Vrf::VrfIdMap::VrfId, Vek::Ptr< VrfRuleConfig > >;

   static constexpr std::string_view typeName = "Flowspec::Config";
   static constexpr std::size_t rowCount = 6;
   static const Vek::TypeInfo& type();

   /// The range of interface-set identifiers.
   static constexpr U16 minInterfaceSetId() { return Flowspec::minInterfaceSetId; }
   static constexpr U16 maxInterfaceSetId() { return Flowspec::maxInterfaceSetId; }

   Config( ByCreate by, const Vek::String& name ) : EntityOf( by, name ) {}

   /// The interfaces on which flow-specification filtering is enabled.
   const Intfs& enabledIntf() const { return enabledIntf_; }
   void enabledIntfIs( Zorv::IntfId intf );
   void enabledIntfDel( Zorv::IntfId intf );
   /// Removes the member at `at` and returns the place where to go on.
   Intfs::const_iterator enabledIntfDel( Intfs::const_iterator at );
   void enabledIntfDelAll();

   const VrfRuleConfigs& vrfRuleConfig() const { return vrfRuleConfig_; }
   /// The rules of a VRF, or null.
   Vek::Ptr< VrfRuleConfig > vrfRuleConfig( Vrf::VrfIdMap::VrfId vrfId ) const;
   /// The rules of a VRF; created, empty, when there are none.
   Vek::Ptr< VrfRuleConfig > vrfRuleConfigIs( Vrf::VrfIdMap::VrfId vrfId );
   void vrfRuleConfigDel( Vrf::VrfIdMap::VrfId vrfId );
   /// Removes the member at `at` and returns the place where to go on.
   VrfRuleConfigs::const_iterator vrfRuleConfigDel( VrfRuleConfigs::const_iterator at );
   void vrfRuleConfigDelAll();

   bool twoColorCounterEnabled() const { return twoColorCounterEnabled_; }
   void twoColorCounterEnabledIs( bool twoColorCounterEnabled );

   /// Writes the rules of all VRFs, indented by `indent` columns.
   void dumpState( Osk::DumpContext& context, U32 indent ) const;

   struct OSK_HIDDEN Table;

protected:
   ~Config() override = default;

private:
   Intfs enabledIntf_;
   VrfRuleConfigs vrfRuleConfig_;
   bool twoColorCounterEnabled_ = false;
};

/// A new root that no directory holds.
OSK_EXPORT Vek::Ptr< Config > configFactory( const Vek::String& name );
/// The same by its constructor form.
inline Vek::Ptr< Config > ConfigIs( const Vek::String& name ) { return configFactory( name ); }

} // namespace Flowspec
