#include "Vek/RecordText.h"

#include "Vek/Arguments.h"

namespace Vek {

namespace {

[[noreturn]] void throwNoRecord( const TypeInfo& type, std::string_view text ) {
   detail::throwNotAValue( type.name, text );
}

} // namespace

String valueText( const TypeInfo& type, const void* value ) {
   String text;
   TextWriter out( text );
   if ( !type.build ) {
      type.value->write( out, value );
      out.flush();
      return text;
   }
   // The stored attributes are the first rows of the table.
   const Arguments attributes( type.parameters );
   for ( std::size_t i = 0; i < type.parameters.size(); ++i ) {
      type.rows[i].get( value, attributes[i] );
      type.parameters[i]->write( out, attributes[i] );
      out << ';';
   }
   out.flush();
   return text;
}

void textToValue( const TypeInfo& type, std::string_view text, void* value ) {
   if ( !type.build ) {
      if ( !type.value || !type.value->read ) {
         throwNoRecord( type, text );
      }
      type.value->read( text, value );
      return;
   }
   const Arguments attributes( type.parameters );
   std::string_view rest = text;
   for ( std::size_t i = 0; i < type.parameters.size(); ++i ) {
      const ValueType& attribute = *type.parameters[i];
      const std::size_t end = rest.find( ';' );
      if ( end == std::string_view::npos || !attribute.read ) {
         throwNoRecord( type, text );
      }
      attribute.read( rest.substr( 0, end ), attributes[i] );
      rest.remove_prefix( end + 1 );
   }
   if ( !rest.empty() ) {
      throwNoRecord( type, text );
   }
   type.build( attributes.data(), value );
}

} // namespace Vek
