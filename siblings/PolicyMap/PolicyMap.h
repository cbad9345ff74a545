#pragma once

#include "Osk/UniqueId.h"
#include "Vek/entity/Entity.h"

/// The generic policy model: a policy configuration and the actions that it names.
namespace PolicyMap {

/// A policer's rate in bits per second. A plain value.
class OSK_EXPORT PoliceRate {
public:
   static constexpr std::string_view typeName = "PolicyMap::PoliceRate";

   constexpr PoliceRate() = default;
   constexpr explicit PoliceRate( U64 value ) : value_( value ) {}
   constexpr U64 value() const { return value_; }
   /// The number in decimal, and its reader; `Vek::RangeException` for any other text.
   Vek::String stringValue() const { return Vek::concat( value_ ); }
   void stringValueIs( std::string_view text );
   constexpr auto operator<=>( const PoliceRate& ) const = default;

private:
   U64 value_ = 0;
};

/// A policer's burst size in bytes. A plain value.
class OSK_EXPORT PoliceBurstSize {
public:
   static constexpr std::string_view typeName = "PolicyMap::PoliceBurstSize";

   constexpr PoliceBurstSize() = default;
   constexpr explicit PoliceBurstSize( U64 value ) : value_( value ) {}
   constexpr U64 value() const { return value_; }
   /// The number in decimal, and its reader; `Vek::RangeException` for any other text.
   Vek::String stringValue() const { return Vek::concat( value_ ); }
   void stringValueIs( std::string_view text );
   constexpr auto operator<=>( const PoliceBurstSize& ) const = default;

private:
   U64 value_ = 0;
};

/// A DSCP value, 0 to 63 (RFC 2474); `Vek::RangeException` above that. A plain value.
class OSK_EXPORT Dscp {
public:
   static constexpr std::string_view typeName = "PolicyMap::Dscp";

   constexpr Dscp() = default;
   explicit Dscp( U64 value );
   constexpr U8 value() const { return value_; }
   /// The number in decimal, and its reader; `Vek::RangeException` for any other text.
   Vek::String stringValue() const { return Vek::concat( value_ ); }
   void stringValueIs( std::string_view text );
   constexpr auto operator<=>( const Dscp& ) const = default;

private:
   U8 value_ = 0;
};

// In the attribute log: rate and burst size as U64, a DSCP as U8.
constexpr std::size_t logSize( const PoliceRate& ) { return 8; }
inline void logWrite( Vek::LogWriter& out, const PoliceRate& rate ) { out.u64( rate.value() ); }
inline void logRead( Vek::LogReader& in, PoliceRate& rate ) { rate = PoliceRate( in.u64() ); }
constexpr std::size_t logSize( const PoliceBurstSize& ) { return 8; }
inline void logWrite( Vek::LogWriter& out, const PoliceBurstSize& size ) {
   out.u64( size.value() );
}
inline void logRead( Vek::LogReader& in, PoliceBurstSize& size ) {
   size = PoliceBurstSize( in.u64() );
}
constexpr std::size_t logSize( const Dscp& ) { return 1; }
inline void logWrite( Vek::LogWriter& out, const Dscp& dscp ) { out.u8( dscp.value() ); }
inline void logRead( Vek::LogReader& in, Dscp& dscp ) { dscp = Dscp( in.u8() ); }

/// Base of the actions: a name, an identifier and the number of the action's kind, all fixed.
class OSK_EXPORT Action : public Vek::NamedEntity {
public:
   static const Vek::TypeInfo baseInfo;

   Osk::UniqueId id() const { return id_; }
   U32 actionType() const { return actionType_; }

   /// Whether `other` does the same: an action of the same kind with the same arguments, whatever
   /// its name and identifier.
   virtual bool equalTo( const Action& other ) const = 0;

   struct OSK_HIDDEN Table;

protected:
   Action( const Vek::EntityCreation& by, const Vek::String& name, Osk::UniqueId id,
           U32 actionType )
      : NamedEntity( by, name ), id_( id ), actionType_( actionType ) {}
   ~Action() override = default;

private:
   Osk::UniqueId id_;
   U32 actionType_;
};

/// Discards packets.
class OSK_EXPORT DropAction : public Vek::EntityOf< DropAction, Action > {
public:
   static constexpr std::string_view typeName = "PolicyMap::DropAction";
   static const Vek::TypeInfo& type();
   static constexpr U32 actionTypeNumber = 1;

   DropAction( ByCreate by, const Vek::String& name, Osk::UniqueId id )
      : EntityOf( by, name, id, actionTypeNumber ) {}

   bool equalTo( const Action& other ) const override;

protected:
   ~DropAction() override = default;
};

/// Limits traffic to a rate.
class OSK_EXPORT PoliceAction : public Vek::EntityOf< PoliceAction, Action > {
public:
   static constexpr std::string_view typeName = "PolicyMap::PoliceAction";
   static const Vek::TypeInfo& type();
   static constexpr U32 actionTypeNumber = 2;

   PoliceAction( ByCreate by, const Vek::String& name, Osk::UniqueId id, PoliceRate rate,
                 PoliceBurstSize burstSize )
      : EntityOf( by, name, id, actionTypeNumber ), rate_( rate ), burstSize_( burstSize ) {}

   PoliceRate rate() const { return rate_; }
   PoliceBurstSize burstSize() const { return burstSize_; }

   bool equalTo( const Action& other ) const override;

   struct OSK_HIDDEN Table;

protected:
   ~PoliceAction() override = default;

private:
   PoliceRate rate_;
   PoliceBurstSize burstSize_;
};

/// Marks packets with a DSCP.
class OSK_EXPORT SetDscpAction : public Vek::EntityOf< SetDscpAction, Action > {
public:
   static constexpr std::string_view typeName = "PolicyMap::SetDscpAction";
   static const Vek::TypeInfo& type();
   static constexpr U32 actionTypeNumber = 3;

   SetDscpAction( ByCreate by, const Vek::String& name, Osk::UniqueId id, Dscp dscp )
      : EntityOf( by, name, id, actionTypeNumber ), dscp_( dscp ) {}

   Dscp dscp() const { return dscp_; }

   bool equalTo( const Action& other ) const override;

   struct OSK_HIDDEN Table;

protected:
   ~SetDscpAction() override = default;

private:
   Dscp dscp_;
};

/// Sends packets to a next hop.
class OSK_EXPORT NexthopAction : public Vek::EntityOf< NexthopAction, Action > {
public:
   static constexpr std::string_view typeName = "PolicyMap::NexthopAction";
   static const Vek::TypeInfo& type();
   static constexpr U32 actionTypeNumber = 4;

   NexthopAction( ByCreate by, const Vek::String& name, Osk::UniqueId id )
      : EntityOf( by, name, id, actionTypeNumber ) {}

   bool equalTo( const Action& other ) const override;

protected:
   ~NexthopAction() override = default;
};

/// Base of policy configurations: the kinds of their class maps and policy maps.
class OSK_EXPORT Config : public Vek::NamedEntity {
public:
   static const Vek::TypeInfo baseInfo;

   const Vek::String& cmapType() const { return cmapType_; }
   void cmapTypeIs( const Vek::String& cmapType );

   const Vek::String& pmapType() const { return pmapType_; }
   U32 mapType() const { return mapType_; }
   /// The policy-map type with its number.
   void pmapTypeIs( const Vek::String& pmapType, U32 mapType );

   struct OSK_HIDDEN Table;

protected:
   Config( const Vek::EntityCreation& by, const Vek::String& name ) : NamedEntity( by, name ) {}
   ~Config() override = default;

private:
   Vek::String cmapType_;
   Vek::String pmapType_;
   U32 mapType_ = 0;
};

} // namespace PolicyMap
