#pragma once

#include "SrTePolicy/PolicyKey.h"
#include "Vek/text/Enum.h"
#include "Vek/text/FlagSet.h"
#include "Vrf/VrfIdMap.h"
#include "Zorv/IpGenAddr.h"

namespace Flowspec {

/// Which of a rule's actions are in force (RFC 8955 section 7).
class OSK_EXPORT ActionFieldSet : public Vek::FlagSet< ActionFieldSet > {
public:
   static constexpr std::string_view typeName = "Flowspec::ActionFieldSet";
   static constexpr std::size_t rowCount = 8;
   static const Vek::TypeInfo& typeInfo();
   static constexpr std::string_view flagNames[] = {
      "invalid",       "trafficPermit",   "trafficDrop",    "trafficRate",
      "trafficAction", "trafficRedirect", "trafficMarking", "trafficRatePkt" };

   /// The actions, by the positions of their bits.
   enum class Field : U8 {
      invalid = 0,
      trafficPermit = 1,
      trafficDrop = 2,
      trafficRate = 3, ///< bytes per second
      trafficAction = 4,
      trafficRedirect = 5,
      trafficMarking = 6,
      trafficRatePkt = 7, ///< packets per second
   };

   using FlagSet::FlagSet;

   constexpr bool has( Field field ) const { return flag( static_cast< U8 >( field ) ); }
   constexpr void set( Field field, bool on = true ) { flagIs( static_cast< U8 >( field ), on ); }

   constexpr bool invalid() const { return has( Field::invalid ); }
   constexpr bool trafficPermit() const { return has( Field::trafficPermit ); }
   constexpr bool trafficDrop() const { return has( Field::trafficDrop ); }
   constexpr bool trafficRate() const { return has( Field::trafficRate ); }
   constexpr bool trafficAction() const { return has( Field::trafficAction ); }
   constexpr bool trafficRedirect() const { return has( Field::trafficRedirect ); }
   constexpr bool trafficMarking() const { return has( Field::trafficMarking ); }
   constexpr bool trafficRatePkt() const { return has( Field::trafficRatePkt ); }

   constexpr void invalidIs( bool on ) { set( Field::invalid, on ); }
   constexpr void trafficPermitIs( bool on ) { set( Field::trafficPermit, on ); }
   constexpr void trafficDropIs( bool on ) { set( Field::trafficDrop, on ); }
   constexpr void trafficRateIs( bool on ) { set( Field::trafficRate, on ); }
   constexpr void trafficActionIs( bool on ) { set( Field::trafficAction, on ); }
   constexpr void trafficRedirectIs( bool on ) { set( Field::trafficRedirect, on ); }
   constexpr void trafficMarkingIs( bool on ) { set( Field::trafficMarking, on ); }
   constexpr void trafficRatePktIs( bool on ) { set( Field::trafficRatePkt, on ); }
};

/// The bits of the traffic-action community (RFC 8955 section 7.3).
class OSK_EXPORT TrafficAction : public Vek::FlagSet< TrafficAction > {
public:
   static constexpr std::string_view typeName = "Flowspec::TrafficAction";
   static constexpr std::size_t rowCount = 2;
   static const Vek::TypeInfo& typeInfo();
   static constexpr std::string_view flagNames[] = { "sampleAndLog", "continueMatch" };

   using FlagSet::FlagSet;

   constexpr bool sampleAndLog() const { return flag( 0 ); }
   constexpr bool continueMatch() const { return flag( 1 ); } ///< go on to the next rule

   constexpr void sampleAndLogIs( bool on ) { flagIs( 0, on ); }
   constexpr void continueMatchIs( bool on ) { flagIs( 1, on ); }
};

// Both in the attribute log: U32.
constexpr std::size_t logSize( const ActionFieldSet& ) { return 4; }
OSK_EXPORT void logWrite( Vek::LogWriter& out, const ActionFieldSet& set );
OSK_EXPORT void logRead( Vek::LogReader& in, ActionFieldSet& set );
constexpr std::size_t logSize( const TrafficAction& ) { return 4; }
OSK_EXPORT void logWrite( Vek::LogWriter& out, const TrafficAction& set );
OSK_EXPORT void logRead( Vek::LogReader& in, TrafficAction& set );

/// What a redirect names.
enum class TrafficRedirectType : U8 { vrf = 0, addr = 1, srTePolicy = 2 };

inline constexpr Vek::Enumerator trafficRedirectTypeRows[] = {
   { 0, "vrf" }, { 1, "addr" }, { 2, "srTePolicy" } };
static_assert( Vek::enumeratorsAreDense( trafficRedirectTypeRows ) );
inline constexpr Vek::EnumInfo trafficRedirectTypeInfo{ "Flowspec::TrafficRedirectType",
                                                        trafficRedirectTypeRows };
constexpr const Vek::EnumInfo& enumInfo( TrafficRedirectType ) { return trafficRedirectTypeInfo; }

using Vek::operator<<;
using Vek::sequenceToValue;
using Vek::stringValue;

/// The type with a number or a name; `Vek::RangeException` when there is none.
inline TrafficRedirectType TrafficRedirectTypeInstance( U64 number ) {
   return Vek::enumInstance< TrafficRedirectType >( number );
}
inline TrafficRedirectType TrafficRedirectTypeInstance( std::string_view name ) {
   return Vek::enumInstance< TrafficRedirectType >( name );
}

/// Where a rule sends its packets: to a VRF, an address or an SR-TE policy, as `type` says.
class OSK_EXPORT TrafficRedirect {
public:
   static constexpr std::string_view typeName = "Flowspec::TrafficRedirect";
   static constexpr std::size_t rowCount = 5;
   static const Vek::TypeInfo& typeInfo();

   /// To no VRF.
   TrafficRedirect() = default;
   TrafficRedirect( Vrf::VrfIdMap::VrfId vrfId, TrafficRedirectType type, Zorv::IpGenAddr addr,
                    SrTePolicy::PolicyKey srTePolicyKey, bool copy )
      : vrfId_( vrfId ), type_( type ), addr_( addr ), srTePolicyKey_( srTePolicyKey ),
        copy_( copy ) {}

   Vrf::VrfIdMap::VrfId vrfId() const { return vrfId_; }
   void vrfIdIs( Vrf::VrfIdMap::VrfId vrfId ) { vrfId_ = vrfId; }
   TrafficRedirectType type() const { return type_; }
   void typeIs( TrafficRedirectType type ) { type_ = type; }
   const Zorv::IpGenAddr& addr() const { return addr_; }
   void addrIs( const Zorv::IpGenAddr& addr ) { addr_ = addr; }
   const SrTePolicy::PolicyKey& srTePolicyKey() const { return srTePolicyKey_; }
   void srTePolicyKeyIs( const SrTePolicy::PolicyKey& key ) { srTePolicyKey_ = key; }
   /// Redirect a copy and forward the packet as well.
   bool copy() const { return copy_; }
   void copyIs( bool copy ) { copy_ = copy; }

   bool operator==( const TrafficRedirect& ) const = default;

   struct OSK_HIDDEN Table;

private:
   Vrf::VrfIdMap::VrfId vrfId_ = Vrf::VrfIdMap::invalid();
   TrafficRedirectType type_ = TrafficRedirectType::vrf;
   Zorv::IpGenAddr addr_;
   SrTePolicy::PolicyKey srTePolicyKey_;
   bool copy_ = false;
};

} // namespace Flowspec
