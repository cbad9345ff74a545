#include "forms/dialects/PlacedJson.h"

#include <charconv>
#include <limits>

namespace Forms {

namespace {

constexpr unsigned maxDepth = 32;

} // namespace

PlacedJson::PlacedJson( Cursor& text, unsigned depth ) : text_( &text ), at_( text.offset() ) {
   if ( depth > maxDepth ) {
      fail( "the text nests deeper than ", maxDepth );
   }
   const char first = text.next();
   if ( first == '{' ) {
      takeObject( text, depth );
   } else if ( first == '[' ) {
      takeArray( text, depth );
   } else if ( first == '"' ) {
      kind_ = Kind::text;
      view_ = takeText( text );
   } else if ( first == '-' || ( first >= '0' && first <= '9' ) ) {
      kind_ = Kind::number;
      view_ = text.takeAllOf( "0123456789+-.eE" );
   } else {
      view_ = text.takeWord();
      if ( view_ != "true" && view_ != "false" && view_ != "null" ) {
         text.offsetIs( at_ );
         text.failExpecting( "a JSON value" );
      }
   }
}

void PlacedJson::takeObject( Cursor& text, unsigned depth ) {
   kind_ = Kind::object;
   text.expect( "{" );
   text.skipBlanks();
   if ( text.take( '}' ) ) {
      return;
   }
   do {
      text.skipBlanks();
      names_.push_back( takeText( text ) );
      text.skipBlanks();
      text.expect( ":" );
      text.skipBlanks();
      elements_.push_back( PlacedJson( text, depth + 1 ) );
      text.skipBlanks();
   } while ( text.take( ',' ) );
   text.expect( "}" );
}

void PlacedJson::takeArray( Cursor& text, unsigned depth ) {
   kind_ = Kind::array;
   text.expect( "[" );
   text.skipBlanks();
   if ( text.take( ']' ) ) {
      return;
   }
   do {
      text.skipBlanks();
      elements_.push_back( PlacedJson( text, depth + 1 ) );
      text.skipBlanks();
   } while ( text.take( ',' ) );
   text.expect( "]" );
}

std::string_view PlacedJson::takeText( Cursor& text ) {
   const std::size_t at = text.offset();
   text.expect( "\"" );
   const std::string_view rest = text.rest();
   std::size_t end = 0;
   while ( end < rest.size() && rest[end] != '"' ) {
      end += rest[end] == '\\' ? 2 : 1;
   }
   if ( end >= rest.size() ) {
      text.failAt( at, "the string has no end" );
   }
   text.offsetIs( text.offset() + end + 1 );
   return rest.substr( 0, end );
}

const std::vector< PlacedJson >& PlacedJson::elements() const {
   if ( kind_ != Kind::array && kind_ != Kind::object ) {
      failExpecting( "an array" );
   }
   return elements_;
}

std::string_view PlacedJson::name( std::size_t index ) const {
   if ( kind_ != Kind::object ) {
      failExpecting( "an object" );
   }
   return names_[index];
}

const PlacedJson* PlacedJson::find( std::string_view name ) const {
   if ( kind_ != Kind::object ) {
      failExpecting( "an object" );
   }
   const PlacedJson* found = nullptr;
   for ( std::size_t i = 0; i < names_.size(); ++i ) {
      if ( names_[i] == name ) {
         if ( found ) {
            fail( "'", name, "' occurs twice" );
         }
         found = &elements_[i];
      }
   }
   return found;
}

const PlacedJson& PlacedJson::member( std::string_view name ) const {
   const PlacedJson* const found = find( name );
   if ( !found ) {
      fail( "'", name, "' is missing" );
   }
   return *found;
}

std::string_view PlacedJson::text() const {
   if ( kind_ != Kind::text ) {
      failExpecting( "a string" );
   }
   if ( view_.find( '\\' ) != std::string_view::npos ) {
      fail( "expected a string without '\\'" );
   }
   return view_;
}

U64 PlacedJson::number( U64 max ) const {
   const auto value = kind_ == Kind::number ? Vek::decimal( view_, max ) : std::nullopt;
   if ( !value ) {
      failExpecting( Vek::concat( "a number from 0 to ", max ) );
   }
   return *value;
}

float PlacedJson::real() const {
   float value = 0;
   const char* const end = view_.data() + view_.size();
   const auto [last, error] = std::from_chars( view_.data(), end, value );
   if ( kind_ != Kind::number || error != std::errc() || last != end ) {
      failExpecting( "a number that a float holds" );
   }
   return value;
}

bool PlacedJson::truth() const {
   if ( kind_ != Kind::word || view_ == "null" ) {
      failExpecting( "true or false" );
   }
   return view_ == "true";
}

void PlacedJson::failExpecting( std::string_view what ) const {
   Cursor here = *text_;
   here.offsetIs( at_ );
   here.failExpecting( what );
}

} // namespace Forms
