#include "tools/flowspecctl/system/EntityText.h"

#include "Flowspec/key/FlowspecKey.h"
#include "Vek/text/Text.h"
#include "tools/state/ValueText.h"

namespace Tools {

const void* addressOf( const Vek::Entity& entity ) {
   return dynamic_cast< const void* >( &entity );
}

Vek::String textOf( const Vek::ValueType& type, const void* value ) {
   if ( type == Vek::valueType< Flowspec::FlowspecKey > ) {
      return static_cast< const Flowspec::FlowspecKey* >( value )->stringValue();
   }
   Vek::String text;
   appendValue( text, type, value );
   return text;
}

void appendStep( Vek::String& path, const Vek::Entity& entity, Vek::log::StreamTypes& types ) {
   path += path.empty() ? "" : ", ";
   const std::string_view type = entity.typeInfo().name;
   path += type.substr( type.rfind( ':' ) + 1 );
   for ( const Vek::Field* const row : types.of( entity.typeInfo() ).parameters() ) {
      Vek::log::withValue( *row, addressOf( entity ), [&]( const void* value ) {
         path += Vek::concat( ' ', textOf( *row->value, value ) );
      } );
   }
}

} // namespace Tools
