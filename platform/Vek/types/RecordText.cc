#include "Vek/types/RecordText.h"

#include "Vek/types/Arguments.h"

namespace Vek {

namespace {

constexpr char attributeEnd = ';';
constexpr char escape = '\\';

bool isEscaped( char c ) { return c == attributeEnd || c == escape; }

void writeAttribute( TextWriter& out, const ValueType& type, const void* value ) {
   if ( type.record ) {
      type.write( out, value );
      return;
   }
   String text;
   TextWriter writer( text );
   type.write( writer, value );
   writer.flush();
   for ( const char c : text ) {
      if ( isEscaped( c ) ) {
         out << escape;
      }
      out << c;
   }
   out << attributeEnd;
}

// A number that is too large for `size` bytes as the largest one that is not.
String bounded( const String& text, std::size_t size ) {
   const U64 largest = ~U64{ 0 } >> ( 64 - 8 * size );
   const bool isNumber = !text.empty() && text.front() != '0' &&
                         text.find_first_not_of( "0123456789" ) == String::npos;
   return isNumber && !decimal( text, largest ) ? concat( largest ) : text;
}

class RecordReader {
public:
   RecordReader( const TypeInfo& type, std::string_view text )
      : type_( type ), text_( text ), rest_( text ) {}

   void read( void* value ) { read( type_, value ); }

private:
   void read( const TypeInfo& type, void* value ) {
      const Arguments attributes( type.parameters );
      for ( std::size_t i = 0; i < type.parameters.size(); ++i ) {
         const ValueType& attribute = *type.parameters[i];
         if ( attribute.record ) {
            read( attribute.record(), attributes[i] );
            continue;
         }
         const String text = takeAttribute();
         attribute.read( type.bounded ? bounded( text, attribute.size ) : text, attributes[i] );
      }
      if ( &type == &type_ && !rest_.empty() ) {
         fail();
      }
      type.build( attributes.data(), value );
   }

   String takeAttribute() {
      String attribute;
      while ( !rest_.take( attributeEnd ) ) {
         if ( rest_.empty() && type_.parameters.size() == 1 ) {
            break;
         }
         const bool escaped = rest_.take( escape );
         if ( rest_.empty() || ( escaped && !isEscaped( rest_.rest().front() ) ) ) {
            fail();
         }
         attribute += rest_.take( std::size_t{ 1 } );
      }
      return attribute;
   }

   [[noreturn]] void fail() const { detail::throwNotAValue( type_.name, text_ ); }

   const TypeInfo& type_;
   std::string_view text_;
   CharRange rest_;
};

} // namespace

namespace detail {

void recordTextWrite( const TypeInfo& type, TextWriter& out, const void* value ) {
   // The stored attributes are the first rows of the table.
   const Arguments attributes( type.parameters );
   for ( std::size_t i = 0; i < type.parameters.size(); ++i ) {
      type.rows[i].get( value, attributes[i] );
      writeAttribute( out, *type.parameters[i], attributes[i] );
   }
}

void recordTextRead( const TypeInfo& type, std::string_view text, void* value ) {
   RecordReader( type, text ).read( value );
}

} // namespace detail

String valueText( const TypeInfo& type, const void* value ) {
   if ( !type.value || !type.value->write ) {
      throwRange( concat( type.name, ": a value of this type has no text" ) );
   }
   String text;
   TextWriter out( text );
   type.value->write( out, value );
   out.flush();
   return text;
}

void textToValue( const TypeInfo& type, std::string_view text, void* value ) {
   if ( !type.value || !type.value->read ) {
      detail::throwNotAValue( type.name, text );
   }
   type.value->read( text, value );
}

} // namespace Vek
