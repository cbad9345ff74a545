#include "PolicyMap/PolicyMap.h"

#include "PolicyMap/PolicyMapModule.h"
#include "Vek/entity/EntityInfo.h"
#include "Vek/types/ValueInfo.h"

namespace PolicyMap {

namespace {

U64 numberIn( std::string_view text, std::string_view type ) {
   const auto number = Vek::decimal( text, ~U64{ 0 } );
   if ( !number ) {
      Vek::throwRange( Vek::concat( type, ": '", text, "' is not a number" ) );
   }
   return *number;
}

} // namespace

void PoliceRate::stringValueIs( std::string_view text ) { value_ = numberIn( text, typeName ); }

void PoliceBurstSize::stringValueIs( std::string_view text ) {
   value_ = numberIn( text, typeName );
}

void Dscp::stringValueIs( std::string_view text ) { *this = Dscp( numberIn( text, typeName ) ); }

Dscp::Dscp( U64 value ) : value_( static_cast< U8 >( value ) ) {
   if ( value > 63 ) {
      Vek::throwRange( Vek::concat( typeName, ": ", value, " is not a DSCP" ) );
   }
}

struct Action::Table {
   static constexpr Vek::Rows rows{
      Vek::key< &Action::id_ >( 258, "id" ),
      Vek::key< &Action::actionType_ >( 259, "actionType" ),
   };
};

struct PoliceAction::Table {
   static constexpr Vek::Rows rows{
      Vek::key< &PoliceAction::rate_ >( 260, "rate" ),
      Vek::key< &PoliceAction::burstSize_ >( 261, "burstSize" ),
   };
};

struct SetDscpAction::Table {
   static constexpr Vek::Rows rows{ Vek::key< &SetDscpAction::dscp_ >( 260, "dscp" ) };
};

struct Config::Table {
   static constexpr Vek::Rows rows{
      Vek::attr< &Config::cmapType_, &Config::cmapTypeIs >( 258, "cmapType" ),
      Vek::attr< &Config::pmapType_ >( 259, "pmapType" ),
      Vek::attr< &Config::mapType_ >( 260, "mapType" ),
   };
};

constinit const Vek::TypeInfo Action::baseInfo =
   Vek::baseInfo< Action, Action::Table::rows >( "PolicyMap::Action", &NamedEntity::baseInfo );

constinit const Vek::TypeInfo Config::baseInfo =
   Vek::baseInfo< Config, Config::Table::rows >( "PolicyMap::Config", &NamedEntity::baseInfo );

namespace {

template < typename T, const auto& rows, typename... Arguments >
const Vek::TypeInfo& actionInfo() {
   static constexpr Vek::TypeInfo info =
      Vek::entityInfo< T, rows, Vek::String, Osk::UniqueId, Arguments... >( Vek::TypeKind::child );
   return info;
}

using Vek::noRows;
using Vek::Plain;
constexpr std::string_view needs[] = { "Osk::UniqueId", "Vek::String" };

} // namespace

constinit Vek::Module
   module( "PolicyMap",
           Vek::types< DropAction, PoliceAction, SetDscpAction, NexthopAction, Plain< PoliceRate >,
                       Plain< PoliceBurstSize >, Plain< Dscp > >,
           needs );

const Vek::TypeInfo& DropAction::type() { return actionInfo< DropAction, noRows >(); }
const Vek::TypeInfo& PoliceAction::type() {
   return actionInfo< PoliceAction, PoliceAction::Table::rows, PoliceRate, PoliceBurstSize >();
}
const Vek::TypeInfo& SetDscpAction::type() {
   return actionInfo< SetDscpAction, SetDscpAction::Table::rows, Dscp >();
}
const Vek::TypeInfo& NexthopAction::type() { return actionInfo< NexthopAction, noRows >(); }

bool DropAction::equalTo( const Action& other ) const {
   return dynamic_cast< const DropAction* >( &other ) != nullptr;
}

bool PoliceAction::equalTo( const Action& other ) const {
   const auto* const police = dynamic_cast< const PoliceAction* >( &other );
   return police && police->rate_ == rate_ && police->burstSize_ == burstSize_;
}

bool SetDscpAction::equalTo( const Action& other ) const {
   const auto* const setDscp = dynamic_cast< const SetDscpAction* >( &other );
   return setDscp && setDscp->dscp_ == dscp_;
}

bool NexthopAction::equalTo( const Action& other ) const {
   return dynamic_cast< const NexthopAction* >( &other ) != nullptr;
}

void Config::cmapTypeIs( const Vek::String& cmapType ) {
   put< Table, &Config::cmapType_ >( cmapType );
}

void Config::pmapTypeIs( const Vek::String& pmapType, U32 mapType ) {
   const Vek::Ptr< Config > hold( this );
   put< Table, &Config::pmapType_ >( pmapType );
   put< Table, &Config::mapType_ >( mapType );
}

} // namespace PolicyMap
