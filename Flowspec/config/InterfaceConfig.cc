#include "Flowspec/config/InterfaceConfig.h"

#include "Osk/Assert.h"
#include "Vek/types/ValueInfo.h"

namespace Flowspec {

struct FlowspecIntfSetId::Table {
   static constexpr Vek::Rows rows{
      Vek::derived< &FlowspecIntfSetId::stringValue >( 2, "intfSetId" )
         .asAttribute( "optional U16" ),
   };
   static constexpr Vek::TypeInfo info = Vek::valueInfo< FlowspecIntfSetId, rows >();
};

struct FlowspecIntfInterfaceSetConfig::Table {
   using T = FlowspecIntfInterfaceSetConfig;
   static constexpr Vek::Rows rows{
      Vek::key< &T::intfId_ >( 2, "intfId" ),
      Vek::coll< &T::interfaceSet_, &T::interfaceSetIs, Vek::byKey( &T::interfaceSetDel ) >(
         3, "interfaceSet" ),
      Vek::operation< &T::interfaceSetStrep >( 4, "interfaceSetStrep" ),
   };
   static constexpr Vek::TypeInfo info = Vek::valueInfo< T, rows >();
};

struct InterfaceEnableConfig::Table {
   using T = InterfaceEnableConfig;
   static constexpr Vek::Rows rows{
      Vek::key< &T::intfId_ >( 2, "intfId" ),
      Vek::attr< &T::ipVersion_, &T::ipVersionIs >( 3, "ipVersion" ),
      Vek::attr< &T::sourceVrfOverride_, &T::sourceVrfOverrideIs >( 4, "sourceVrfOverride" ),
      Vek::operation< &T::isDefaults >( 5, "isDefaults" ),
   };
   static constexpr Vek::TypeInfo info = Vek::valueInfo< T, rows >();
};

Vek::String FlowspecIntfSetId::stringValue() const {
   return intfSetId_ ? Vek::concat( *intfSetId_ ) : "";
}

void FlowspecIntfSetId::stringValueIs( std::string_view text ) {
   const auto number = Vek::decimal( text, 0xFFFF );
   if ( !number && !text.empty() ) {
      Vek::throwRange( Vek::concat( typeName, ": '", text, "' is not an interface-set number" ) );
   }
   intfSetId_ = number ? std::optional( static_cast< U16 >( *number ) ) : std::nullopt;
}

FlowspecIntfInterfaceSetConfig::FlowspecIntfInterfaceSetConfig( const Vek::String& ) {
   OSK_ASSERT( false, "\"No String constructor for FlowspecIntfInterfaceSetConfig - has "
                      "collection\" == nullptr" );
}

void FlowspecIntfInterfaceSetConfig::interfaceSetIs( FlowspecIntfSetId id ) {
   interfaceSet_.insert( id );
}

void FlowspecIntfInterfaceSetConfig::interfaceSetDel( FlowspecIntfSetId id ) {
   interfaceSet_.erase( id );
}

void FlowspecIntfInterfaceSetConfig::interfaceSetDelAll() { interfaceSet_.clear(); }

bool FlowspecIntfInterfaceSetConfig::interfaceSetHas( FlowspecIntfSetId id ) const {
   return interfaceSet_.contains( id );
}

bool FlowspecIntfInterfaceSetConfig::operator==( const FlowspecIntfInterfaceSetConfig& ) const =
   default;

Vek::String FlowspecIntfInterfaceSetConfig::interfaceSetStrep() const {
   Vek::String text;
   Vek::TextWriter out( text );
   bool first = true;
   for ( const FlowspecIntfSetId& id : interfaceSet_ ) {
      if ( !id.intfSetId() ) {
         continue;
      }
      if ( first ) {
         out << interfaceSetAnchor;
      } else {
         out << interfaceSetListDelim;
      }
      out << *id.intfSetId();
      first = false;
   }
   out << ( first ? "" : ";" );
   out.flush();
   return text;
}

Vek::String FlowspecIntfInterfaceSetConfig::toStrep() const {
   return Vek::concat( intfId_, ';', interfaceSetStrep() );
}

const Vek::TypeInfo& FlowspecIntfSetId::typeInfo() { return Table::info; }
const Vek::TypeInfo& FlowspecIntfInterfaceSetConfig::typeInfo() { return Table::info; }
const Vek::TypeInfo& InterfaceEnableConfig::typeInfo() { return Table::info; }

void logWrite( Vek::LogWriter& out, const FlowspecIntfSetId& id ) {
   out.boolean( id.intfSetId().has_value() );
   out.u16( id.intfSetId().value_or( 0 ) );
}

void logRead( Vek::LogReader& in, FlowspecIntfSetId& id ) {
   const bool set = in.boolean();
   const U16 number = in.u16();
   id = set ? FlowspecIntfSetId( number ) : FlowspecIntfSetId();
}

// The encoding.
static_assert( Vek::listsRows< FlowspecIntfInterfaceSetConfig, 3 > );

std::size_t logSize( const FlowspecIntfInterfaceSetConfig& config ) {
   return logSize( config.intfId() ) + 4 +
          config.interfaceSet().size() * logSize( FlowspecIntfSetId() );
}

void logWrite( Vek::LogWriter& out, const FlowspecIntfInterfaceSetConfig& config ) {
   logWrite( out, config.intfId() );
   out.u32( static_cast< U32 >( config.interfaceSet().size() ) );
   for ( const FlowspecIntfSetId& id : config.interfaceSet() ) {
      logWrite( out, id );
   }
}

void logRead( Vek::LogReader& in, FlowspecIntfInterfaceSetConfig& config ) {
   Zorv::IntfId intf;
   logRead( in, intf );
   FlowspecIntfInterfaceSetConfig read( intf );
   for ( U32 left = in.count( logSize( FlowspecIntfSetId() ) ); left > 0; --left ) {
      FlowspecIntfSetId id;
      logRead( in, id );
      read.interfaceSetIs( id );
   }
   config = std::move( read );
}

} // namespace Flowspec
