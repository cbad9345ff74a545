#include "Vek/Arguments.h"
#include "Vek/TypeInfo.h"

#include <algorithm>

namespace Vek::detail {

namespace {

// Calls with each stored attribute, which are the first rows of the table, and its description.
template < typename Visit >
void forEachAttribute( const TypeInfo& type, const void* value, Visit visit ) {
   for ( std::size_t i = 0; i < type.parameters.size(); ++i ) {
      const Field& row = type.rows[i];
      if ( row.stored ) {
         visit( *type.parameters[i], row.stored( value ) );
      } else {
         const Arguments attribute( type.parameters.subspan( i, 1 ) );
         row.get( value, attribute[0] );
         visit( *type.parameters[i], attribute[0] );
      }
   }
}

} // namespace

std::size_t recordLogSize( const TypeInfo& type, const void* value ) {
   std::size_t size = 0;
   forEachAttribute( type, value, [&]( const ValueType& description, const void* attribute ) {
      size += description.logSize( attribute );
   } );
   return size;
}

void recordLogWrite( const TypeInfo& type, LogWriter& out, const void* value ) {
   forEachAttribute( type, value, [&]( const ValueType& description, const void* attribute ) {
      description.logWrite( out, attribute );
   } );
}

void recordLogRead( const TypeInfo& type, LogReader& in, void* value ) {
   const std::span< const Field > rows = type.rows.first( type.parameters.size() );
   if ( std::all_of( rows.begin(), rows.end(),
                     []( const Field& row ) { return row.stored != nullptr; } ) ) {
      // Attributes that stand in the value as they are have nothing to be checked.
      for ( std::size_t i = 0; i < rows.size(); ++i ) {
         type.parameters[i]->logRead( in, const_cast< void* >( rows[i].stored( value ) ) );
      }
      return;
   }
   const Arguments attributes( type.parameters );
   for ( std::size_t i = 0; i < type.parameters.size(); ++i ) {
      type.parameters[i]->logRead( in, attributes[i] );
   }
   type.build( attributes.data(), value );
}

} // namespace Vek::detail
