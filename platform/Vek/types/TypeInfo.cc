#include "Vek/types/TypeInfo.h"

namespace Vek {

std::string_view stringValue( FieldKind kind ) {
   static constexpr std::string_view names[] = { "key",      "attribute", "view",
                                                 "derived",  "constant",  "collection",
                                                 "children", "child",     "operation" };
   return names[static_cast< U8 >( kind )];
}

std::string_view stringValue( TypeKind kind ) {
   static constexpr std::string_view names[] = { "root", "child", "value", "enumeration",
                                                 "utility" };
   return names[static_cast< U8 >( kind )];
}

const Field* TypeInfo::field( U16 id ) const {
   for ( const Field& row : rows ) {
      if ( row.id == id ) {
         return &row;
      }
   }
   return base ? base->field( id ) : nullptr;
}

const Field* TypeInfo::field( std::string_view fieldName ) const {
   for ( const Field& row : rows ) {
      if ( row.name == fieldName ) {
         return &row;
      }
   }
   return base ? base->field( fieldName ) : nullptr;
}

namespace detail {

std::size_t recordLogSize( const TypeInfo& type, const void* value ) {
   return type.logSize( value );
}

void recordLogWrite( const TypeInfo& type, LogWriter& out, const void* value ) {
   type.logWrite( out, value );
}

void recordLogRead( const TypeInfo& type, LogReader& in, void* value ) {
   type.logRead( in, value );
}

} // namespace detail

} // namespace Vek
