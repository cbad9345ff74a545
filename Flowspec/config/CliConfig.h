#pragma once

#include "Flowspec/config/InterfaceConfig.h"
#include "Vek/collections/HashMap.h"
#include "Vek/entity/Entity.h"

namespace Flowspec {

/// What an operator configures on interfaces, and a few global settings: a root entity, created by
/// its name.
class OSK_EXPORT CliConfig : public Vek::EntityOf< CliConfig, Vek::NamedEntity > {
public:
   template < typename Value >
   using ByIntf = Vek::HashMap< Zorv::IntfId, Value >;

   static constexpr std::string_view typeName = "Flowspec::CliConfig";
   static constexpr std::size_t rowCount = 6;
   static const Vek::TypeInfo& type();

   CliConfig( ByCreate by, const Vek::String& name ) : EntityOf( by, name ) {}

   /// The interfaces on which flow specification is enabled, with their families.
   const ByIntf< InterfaceEnableConfig >& enabledIntf() const { return enabledIntf_; }
   /// The enablement of an interface; one without an interface when there is none.
   InterfaceEnableConfig enabledIntf( Zorv::IntfId intf ) const;
   /// Files the value under its own interface. Here and below: publishes nothing when an equal
   /// value is there.
   void enabledIntfIs( const InterfaceEnableConfig& config );
   void enabledIntfDel( Zorv::IntfId intf );
   /// Removes the member at `at` and returns the place where to go on.
   ByIntf< InterfaceEnableConfig >::const_iterator
   enabledIntfDel( ByIntf< InterfaceEnableConfig >::const_iterator at );
   void enabledIntfDelAll();

   /// When counters were last asked for; answered in the status. Seconds since the Unix epoch.
   double counterUpdateRequestTime() const { return counterUpdateRequestTime_; }
   void counterUpdateRequestTimeIs( double counterUpdateRequestTime );

   /// The interface sets of each interface.
   const ByIntf< FlowspecIntfInterfaceSetConfig >& intfInterfaceSetConfig() const {
      return intfInterfaceSetConfig_;
   }
   FlowspecIntfInterfaceSetConfig intfInterfaceSetConfig( Zorv::IntfId intf ) const;
   void intfInterfaceSetConfigIs( const FlowspecIntfInterfaceSetConfig& config );
   void intfInterfaceSetConfigDel( Zorv::IntfId intf );
   /// Removes the member at `at` and returns the place where to go on.
   ByIntf< FlowspecIntfInterfaceSetConfig >::const_iterator
   intfInterfaceSetConfigDel( ByIntf< FlowspecIntfInterfaceSetConfig >::const_iterator at );
   void intfInterfaceSetConfigDelAll();

   /// The name of the VRF in which an interface's traffic is matched.
   const ByIntf< Vek::String >& sourceVrfOverride() const { return sourceVrfOverride_; }
   Vek::String sourceVrfOverride( Zorv::IntfId intf ) const;
   void sourceVrfOverrideIs( Zorv::IntfId intf, const Vek::String& name );
   void sourceVrfOverrideDel( Zorv::IntfId intf );
   /// Removes the member at `at` and returns the place where to go on.
   ByIntf< Vek::String >::const_iterator
   sourceVrfOverrideDel( ByIntf< Vek::String >::const_iterator at );
   void sourceVrfOverrideDelAll();

   /// Limit on interface sets; consumers decide what 0 means.
   U32 interfaceSetCountLimit() const { return interfaceSetCountLimit_; }
   void interfaceSetCountLimitIs( U32 interfaceSetCountLimit );

   /// Consumers decide its meaning.
   bool isConfigDriven() const { return isConfigDriven_; }
   void isConfigDrivenIs( bool isConfigDriven );

   struct OSK_HIDDEN Table;

protected:
   ~CliConfig() override = default;

private:
   ByIntf< InterfaceEnableConfig > enabledIntf_;
   double counterUpdateRequestTime_ = 0;
   ByIntf< FlowspecIntfInterfaceSetConfig > intfInterfaceSetConfig_;
   ByIntf< Vek::String > sourceVrfOverride_;
   U32 interfaceSetCountLimit_ = 0;
   bool isConfigDriven_ = false;
};

/// A new root that no directory holds.
OSK_EXPORT Vek::Ptr< CliConfig > cliConfigFactory( const Vek::String& name );
/// The same by its constructor form.
inline Vek::Ptr< CliConfig > CliConfigIs( const Vek::String& name ) {
   return cliConfigFactory( name );
}

} // namespace Flowspec
