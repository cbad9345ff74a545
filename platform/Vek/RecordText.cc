#include "Vek/RecordText.h"

#include "Vek/ValueBuffer.h"

#include <list>
#include <vector>

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
   for ( std::size_t i = 0; i < type.parameters.size(); ++i ) {
      const ValueBuffer attribute( *type.parameters[i] );
      type.rows[i].get( value, attribute.get() );
      type.parameters[i]->write( out, attribute.get() );
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
   std::list< ValueBuffer > attributes;
   std::vector< void* > arguments;
   std::string_view rest = text;
   for ( const ValueType* const attribute : type.parameters ) {
      const std::size_t end = rest.find( ';' );
      if ( end == std::string_view::npos || !attribute->read ) {
         throwNoRecord( type, text );
      }
      arguments.push_back( attributes.emplace_back( *attribute ).get() );
      attribute->read( rest.substr( 0, end ), arguments.back() );
      rest.remove_prefix( end + 1 );
   }
   if ( !rest.empty() ) {
      throwNoRecord( type, text );
   }
   type.build( arguments.data(), value );
}

} // namespace Vek
