#include "PolicyMap/PolicyMap.h"

#include "PolicyMap/PolicyMapModule.h"
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
   static constexpr Vek::Field rows[] = {
      Vek::key< &Action::id_ >( 258, "id" ),
      Vek::key< &Action::actionType_ >( 259, "actionType" ),
   };
};

struct PoliceAction::Table {
   static constexpr Vek::Field rows[] = {
      Vek::key< &PoliceAction::rate_ >( 260, "rate" ),
      Vek::key< &PoliceAction::burstSize_ >( 261, "burstSize" ),
   };
};

struct SetDscpAction::Table {
   static constexpr Vek::Field rows[] = { Vek::key< &SetDscpAction::dscp_ >( 260, "dscp" ) };
};

struct Config::Table {
   static constexpr Vek::Field rows[] = {
      Vek::attr< &Config::cmapType_, &Config::cmapTypeIs >( 258, "cmapType" ),
      Vek::attr< &Config::pmapType_ >( 259, "pmapType" ),
      Vek::attr< &Config::mapType_ >( 260, "mapType" ),
   };
   static_assert( Vek::idsAscend( rows ) );
};

constinit const Vek::TypeInfo Action::baseInfo{
   .name = "PolicyMap::Action", .rows = Table::rows, .base = &NamedEntity::baseInfo };

constinit const Vek::TypeInfo Config::baseInfo{
   .name = "PolicyMap::Config", .rows = Table::rows, .base = &NamedEntity::baseInfo };

namespace {

// The tables of the actions that have no attributes of their own.
constexpr std::span< const Vek::Field > noRows;

template < typename T >
constinit Mell::Slab slab{ sizeof( T ), alignof( T ) };

template < typename T, typename... Arguments >
consteval Vek::TypeInfo actionInfo( std::string_view name, std::span< const Vek::Field > rows ) {
   return Vek::entityInfo< T, Vek::String, Osk::UniqueId, Arguments... >(
      name, Vek::TypeKind::child, rows, slab< T >, &Action::baseInfo );
}

constinit const Vek::TypeInfo dropInfo =
   actionInfo< DropAction >( "PolicyMap::DropAction", noRows );
constinit const Vek::TypeInfo policeInfo = actionInfo< PoliceAction, PoliceRate, PoliceBurstSize >(
   "PolicyMap::PoliceAction", PoliceAction::Table::rows );
constinit const Vek::TypeInfo setDscpInfo =
   actionInfo< SetDscpAction, Dscp >( "PolicyMap::SetDscpAction", SetDscpAction::Table::rows );
constinit const Vek::TypeInfo nexthopInfo =
   actionInfo< NexthopAction >( "PolicyMap::NexthopAction", noRows );

constinit const Vek::TypeInfo policeRateInfo = Vek::plainInfo< PoliceRate >();
constinit const Vek::TypeInfo policeBurstSizeInfo = Vek::plainInfo< PoliceBurstSize >();
constinit const Vek::TypeInfo dscpInfo = Vek::plainInfo< Dscp >();

constexpr const Vek::TypeInfo* types[] = {
   &dropInfo,       &policeInfo,          &setDscpInfo, &nexthopInfo,
   &policeRateInfo, &policeBurstSizeInfo, &dscpInfo,
};
constexpr std::string_view needs[] = { "Osk::UniqueId", "Vek::String" };

} // namespace

constinit Vek::Module module( "PolicyMap", types, needs );

const Vek::TypeInfo& DropAction::type() { return dropInfo; }
const Vek::TypeInfo& PoliceAction::type() { return policeInfo; }
const Vek::TypeInfo& SetDscpAction::type() { return setDscpInfo; }
const Vek::TypeInfo& NexthopAction::type() { return nexthopInfo; }

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
