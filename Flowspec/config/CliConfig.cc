#include "Flowspec/config/CliConfig.h"

#include "Vek/entity/EntityInfo.h"

namespace Flowspec {

struct CliConfig::Table {
   using T = CliConfig;
   static constexpr Vek::Rows rows{
      Vek::coll< &T::enabledIntf_, &T::enabledIntfIs, Vek::byKey( &T::enabledIntfDel ),
                 &InterfaceEnableConfig::intfId >( 258, "enabledIntf" ),
      Vek::attr< &T::counterUpdateRequestTime_, &T::counterUpdateRequestTimeIs >(
         259, "counterUpdateRequestTime" ),
      Vek::coll< &T::intfInterfaceSetConfig_, &T::intfInterfaceSetConfigIs,
                 Vek::byKey( &T::intfInterfaceSetConfigDel ),
                 &FlowspecIntfInterfaceSetConfig::intfId >( 260, "intfInterfaceSetConfig" ),
      Vek::coll< &T::sourceVrfOverride_, &T::sourceVrfOverrideIs,
                 Vek::byKey( &T::sourceVrfOverrideDel ) >( 261, "sourceVrfOverride" ),
      Vek::attr< &T::interfaceSetCountLimit_, &T::interfaceSetCountLimitIs >(
         262, "interfaceSetCountLimit" ),
      Vek::attr< &T::isConfigDriven_, &T::isConfigDrivenIs >( 263, "isConfigDriven" ),
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, Vek::String >( Vek::TypeKind::root );
};

const Vek::TypeInfo& CliConfig::type() { return Table::info; }

InterfaceEnableConfig CliConfig::enabledIntf( Zorv::IntfId intf ) const {
   return memberAt( enabledIntf_, intf );
}

void CliConfig::enabledIntfIs( const InterfaceEnableConfig& config ) {
   memberIs< Table, &CliConfig::enabledIntf_ >( config.intfId(), config );
}

void CliConfig::enabledIntfDel( Zorv::IntfId intf ) {
   memberDel< Table, &CliConfig::enabledIntf_ >( intf );
}

CliConfig::ByIntf< InterfaceEnableConfig >::const_iterator
CliConfig::enabledIntfDel( ByIntf< InterfaceEnableConfig >::const_iterator at ) {
   return memberDelAt< Table, &CliConfig::enabledIntf_ >( at );
}

void CliConfig::enabledIntfDelAll() { memberDelAll< Table, &CliConfig::enabledIntf_ >(); }

void CliConfig::counterUpdateRequestTimeIs( double counterUpdateRequestTime ) {
   put< Table, &CliConfig::counterUpdateRequestTime_ >( counterUpdateRequestTime );
}

FlowspecIntfInterfaceSetConfig CliConfig::intfInterfaceSetConfig( Zorv::IntfId intf ) const {
   return memberAt( intfInterfaceSetConfig_, intf );
}

void CliConfig::intfInterfaceSetConfigIs( const FlowspecIntfInterfaceSetConfig& config ) {
   memberIs< Table, &CliConfig::intfInterfaceSetConfig_ >( config.intfId(), config );
}

void CliConfig::intfInterfaceSetConfigDel( Zorv::IntfId intf ) {
   memberDel< Table, &CliConfig::intfInterfaceSetConfig_ >( intf );
}

CliConfig::ByIntf< FlowspecIntfInterfaceSetConfig >::const_iterator
CliConfig::intfInterfaceSetConfigDel(
   ByIntf< FlowspecIntfInterfaceSetConfig >::const_iterator at ) {
   return memberDelAt< Table, &CliConfig::intfInterfaceSetConfig_ >( at );
}

void CliConfig::intfInterfaceSetConfigDelAll() {
   memberDelAll< Table, &CliConfig::intfInterfaceSetConfig_ >();
}

Vek::String CliConfig::sourceVrfOverride( Zorv::IntfId intf ) const {
   return memberAt( sourceVrfOverride_, intf );
}

void CliConfig::sourceVrfOverrideIs( Zorv::IntfId intf, const Vek::String& name ) {
   memberIs< Table, &CliConfig::sourceVrfOverride_ >( intf, name );
}

void CliConfig::sourceVrfOverrideDel( Zorv::IntfId intf ) {
   memberDel< Table, &CliConfig::sourceVrfOverride_ >( intf );
}

CliConfig::ByIntf< Vek::String >::const_iterator
CliConfig::sourceVrfOverrideDel( ByIntf< Vek::String >::const_iterator at ) {
   return memberDelAt< Table, &CliConfig::sourceVrfOverride_ >( at );
}

void CliConfig::sourceVrfOverrideDelAll() {
   memberDelAll< Table, &CliConfig::sourceVrfOverride_ >();
}

void CliConfig::interfaceSetCountLimitIs( U32 interfaceSetCountLimit ) {
   put< Table, &CliConfig::interfaceSetCountLimit_ >( interfaceSetCountLimit );
}

void CliConfig::isConfigDrivenIs( bool isConfigDriven ) {
   put< Table, &CliConfig::isConfigDriven_ >( isConfigDriven );
}

Vek::Ptr< CliConfig > cliConfigFactory( const Vek::String& name ) {
   return Vek::create< CliConfig >( name );
}

} // namespace Flowspec
