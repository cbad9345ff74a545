#include "Vek/types/ValueType.h"

#include <charconv>

namespace Vek {

void sequenceToValue( CharRange& range, Osk::UniqueId* id ) {
   const std::string_view digits = range.takeName();
   const auto read = Osk::UniqueId::fromText( digits );
   if ( !read ) {
      throwRange( concat( Osk::UniqueId::typeName, ": '", digits, "' is not an identifier" ) );
   }
   *id = *read;
}

namespace detail {

namespace {

// The shortest text that reads back to the same number.
template < typename T >
void writeShortest( TextWriter& out, T value ) {
   char text[32];
   const auto end = std::to_chars( text, text + sizeof text, value ).ptr;
   out << std::string_view( text, static_cast< std::size_t >( end - text ) );
}

template < typename T >
T readFloating( std::string_view text ) {
   T value = 0;
   const char* const end = text.data() + text.size();
   const auto [stop, error] = std::from_chars( text.data(), end, value );
   if ( error != std::errc() || stop != end ) {
      throwNotAValue( typeName< T >(), text );
   }
   return value;
}

} // namespace

void throwNotAValue( std::string_view type, std::string_view text ) {
   throwRange( concat( type, ": '", text, "' is not a value" ) );
}

void writeDouble( TextWriter& out, double value ) { writeShortest( out, value ); }

void writeFloat( TextWriter& out, float value ) { writeShortest( out, value ); }

bool readBool( std::string_view text ) {
   if ( text != "0" && text != "1" ) {
      throwNotAValue( "bool", text );
   }
   return text == "1";
}

double readDouble( std::string_view text ) { return readFloating< double >( text ); }

float readFloat( std::string_view text ) { return readFloating< float >( text ); }

char readChar( std::string_view text ) {
   if ( text.size() != 1 ) {
      throwNotAValue( "char", text );
   }
   return text.front();
}

U64 readInteger( std::string_view text, std::string_view type, U64 max ) {
   const auto value = decimal( text, max );
   if ( !value ) {
      throwNotAValue( type, text );
   }
   return *value;
}

} // namespace detail

} // namespace Vek
