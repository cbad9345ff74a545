#pragma once

#include "Flowspec/vocab/InterfaceSetId.h"
#include "Flowspec/vocab/IpVersion.h"
#include "Vek/collections/FlatSet.h"
#include "Zorv/IntfId.h"

#include <optional>

namespace Flowspec {

/// The identifier of one interface set, or none. None equals none, differs from every number and
/// comes before all of them. A plain value.
class OSK_EXPORT FlowspecIntfSetId {
public:
   static constexpr std::string_view typeName = "Flowspec::FlowspecIntfSetId";
   static const Vek::TypeInfo& typeInfo();

   /// None.
   constexpr FlowspecIntfSetId() = default;
   constexpr explicit FlowspecIntfSetId( U16 intfSetId ) : intfSetId_( intfSetId ) {}

   constexpr std::optional< U16 > intfSetId() const { return intfSetId_; }

   /// The number in decimal, or "".
   Vek::String stringValue() const;
   /// Reads what `stringValue` writes; `Vek::RangeException` for anything else.
   void stringValueIs( std::string_view text );

   constexpr auto operator<=>( const FlowspecIntfSetId& ) const = default;

   struct OSK_HIDDEN Table;

private:
   std::optional< U16 > intfSetId_;
};

// In the attribute log: whether there is a number, and the number or 0 as U16.
constexpr std::size_t logSize( const FlowspecIntfSetId& ) { return 3; }
OSK_EXPORT void logWrite( Vek::LogWriter& out, const FlowspecIntfSetId& id );
OSK_EXPORT void logRead( Vek::LogReader& in, FlowspecIntfSetId& id );

/// The interface sets that one interface belongs to. A plain value with a set in it.
class OSK_EXPORT FlowspecIntfInterfaceSetConfig {
public:
   static constexpr std::string_view typeName = "Flowspec::FlowspecIntfInterfaceSetConfig";
   static constexpr std::size_t rowCount = 3;
   static const Vek::TypeInfo& typeInfo();
   using InterfaceSet = Vek::FlatSet< FlowspecIntfSetId >;

   FlowspecIntfInterfaceSetConfig() = default;
   explicit FlowspecIntfInterfaceSetConfig( Zorv::IntfId intfId ) : intfId_( intfId ) {}

   /// There is no generic text form: the assertion "\"No String constructor for
   /// FlowspecIntfInterfaceSetConfig - has collection\" == nullptr" fails.
   explicit FlowspecIntfInterfaceSetConfig( const Vek::String& text );

   /// The interface; the key of this value in `CliConfig`.
   Zorv::IntfId intfId() const { return intfId_; }

   /// Ascending, none first.
   const InterfaceSet& interfaceSet() const { return interfaceSet_; }
   void interfaceSetIs( FlowspecIntfSetId id );
   void interfaceSetDel( FlowspecIntfSetId id );
   /// Removes the member at `at` and returns the place where to go on.
   InterfaceSet::const_iterator interfaceSetDel( InterfaceSet::const_iterator at ) {
      return interfaceSet_.erase( at );
   }
   void interfaceSetDelAll();
   bool interfaceSetHas( FlowspecIntfSetId id ) const;

   /// "IFSET:=3,10,200;" as rule keys embed it, or "" for no sets. The identifier none is not
   /// written, as it has no number.
   Vek::String interfaceSetStrep() const;

   /// The interface, ";" and `interfaceSetStrep()`.
   Vek::String toStrep() const;

   bool operator==( const FlowspecIntfInterfaceSetConfig& ) const;

   struct OSK_HIDDEN Table;

private:
   Zorv::IntfId intfId_;
   InterfaceSet interfaceSet_;
};

// In the attribute log: the interface, a U32 count and the sets in ascending order.
OSK_EXPORT std::size_t logSize( const FlowspecIntfInterfaceSetConfig& config );
OSK_EXPORT void logWrite( Vek::LogWriter& out, const FlowspecIntfInterfaceSetConfig& config );
OSK_EXPORT void logRead( Vek::LogReader& in, FlowspecIntfInterfaceSetConfig& config );

/// How flow specification is enabled on one interface. A plain value.
class OSK_EXPORT InterfaceEnableConfig {
public:
   static constexpr std::string_view typeName = "Flowspec::InterfaceEnableConfig";
   static constexpr std::size_t rowCount = 4;
   static const Vek::TypeInfo& typeInfo();

   InterfaceEnableConfig() = default;
   explicit InterfaceEnableConfig( Zorv::IntfId intfId ) : intfId_( intfId ) {}
   InterfaceEnableConfig( Zorv::IntfId intfId, IpVersion ipVersion, Vek::String sourceVrfOverride )
      : intfId_( intfId ), ipVersion_( ipVersion ),
        sourceVrfOverride_( std::move( sourceVrfOverride ) ) {}

   /// The interface; the key of this value in `CliConfig`.
   Zorv::IntfId intfId() const { return intfId_; }
   /// The address families for which filtering is enabled.
   IpVersion ipVersion() const { return ipVersion_; }
   void ipVersionIs( IpVersion ipVersion ) { ipVersion_ = ipVersion; }
   /// Name of the VRF in which the interface's traffic is matched instead of its own; "" for none.
   const Vek::String& sourceVrfOverride() const { return sourceVrfOverride_; }
   void sourceVrfOverrideIs( const Vek::String& name ) { sourceVrfOverride_ = name; }

   /// Whether no family is enabled and no VRF is named.
   bool isDefaults() const { return !ipVersion_ && sourceVrfOverride_.empty(); }

   bool operator==( const InterfaceEnableConfig& ) const = default;

   struct OSK_HIDDEN Table;

private:
   Zorv::IntfId intfId_;
   IpVersion ipVersion_;
   Vek::String sourceVrfOverride_;
};

} // namespace Flowspec
