#include "Flowspec/config/Config.h"

#include "Vek/entity/EntityInfo.h"

namespace Flowspec {

struct Config::Table {
   using T = Config;
   static constexpr Vek::Rows rows{
      Vek::coll< &T::enabledIntf_, &T::enabledIntfIs, Vek::byKey( &T::enabledIntfDel ) >(
         258, "enabledIntf" ),
      Vek::children< &T::vrfRuleConfig_, &T::vrfRuleConfigIs, Vek::byKey( &T::vrfRuleConfigDel ) >(
         259, "vrfRuleConfig" ),
      Vek::attr< &T::twoColorCounterEnabled_, &T::twoColorCounterEnabledIs >(
         260, "twoColorCounterEnabled" ),
      Vek::operation< &T::dumpState >( 261, "dumpState", "context", "indent" ),
      Vek::constant< &T::minInterfaceSetId >( 262, "minInterfaceSetId" ),
      Vek::constant< &T::maxInterfaceSetId >( 263, "maxInterfaceSetId" ),
   };
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, Vek::String >( Vek::TypeKind::root );
};

const Vek::TypeInfo& Config::type() { return Table::info; }

void Config::enabledIntfIs( Zorv::IntfId intf ) {
   elementIs< Table, &Config::enabledIntf_ >( intf );
}

void Config::enabledIntfDel( Zorv::IntfId intf ) {
   memberDel< Table, &Config::enabledIntf_ >( intf );
}

Config::Intfs::const_iterator Config::enabledIntfDel( Intfs::const_iterator at ) {
   return memberDelAt< Table, &Config::enabledIntf_ >( at );
}

void Config::enabledIntfDelAll() { memberDelAll< Table, &Config::enabledIntf_ >(); }

Vek::Ptr< VrfRuleConfig > Config::vrfRuleConfig( Vrf::VrfIdMap::VrfId vrfId ) const {
   return childAt( vrfRuleConfig_, vrfId );
}

Vek::Ptr< VrfRuleConfig > Config::vrfRuleConfigIs( Vrf::VrfIdMap::VrfId vrfId ) {
   return childIs< Table, &Config::vrfRuleConfig_ >( vrfId, vrfRuleConfigFactory );
}

void Config::vrfRuleConfigDel( Vrf::VrfIdMap::VrfId vrfId ) {
   childDel< Table, &Config::vrfRuleConfig_ >( vrfId );
}

Config::VrfRuleConfigs::const_iterator
Config::vrfRuleConfigDel( VrfRuleConfigs::const_iterator at ) {
   return childDelAt< Table, &Config::vrfRuleConfig_ >( at );
}

void Config::vrfRuleConfigDelAll() { childDelAll< Table, &Config::vrfRuleConfig_ >(); }

void Config::twoColorCounterEnabledIs( bool twoColorCounterEnabled ) {
   put< Table, &Config::twoColorCounterEnabled_ >( twoColorCounterEnabled );
}

Vek::Ptr< Config > configFactory( const Vek::String& name ) {
   return Vek::create< Config >( name );
}

} // namespace Flowspec
