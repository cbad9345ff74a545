#pragma once

#include "forms/dialects/Cursor.h"

#include <vector>

namespace Forms {

/// A JSON value that knows where in its text it stands, so that what is wrong with it can be told
/// by line and column. What is asked of a value that it does not have throws a `Fault` there.
class PlacedJson {
public:
   /// Takes one value. Texts nest at most 32 deep, which is more than any message does. The text is
   /// viewed as long as the value lives.
   explicit PlacedJson( Cursor& text ) : PlacedJson( text, 0 ) {}

   std::size_t at() const { return at_; }
   bool isObject() const { return kind_ == Kind::object; }
   bool isArray() const { return kind_ == Kind::array; }
   bool isText() const { return kind_ == Kind::text; }

   /// The elements of an array, or the values of an object.
   const std::vector< PlacedJson >& elements() const;
   /// The name of an object's member `index`, which there is: the text between its quotes.
   std::string_view name( std::size_t index ) const;

   /// The member of an object; null when there is none. Where a name occurs twice neither is taken
   /// to be meant: the object is at fault.
   const PlacedJson* find( std::string_view name ) const;
   /// The same; a missing one is at fault.
   const PlacedJson& member( std::string_view name ) const;

   /// The characters of a string without an escape: those of the text.
   std::string_view text() const;
   /// A number from 0 to `max`, without a fraction.
   U64 number( U64 max ) const;
   /// Any number, as near as a `float` comes.
   float real() const;
   bool truth() const;

   template < typename... Parts >
   [[noreturn]] void fail( const Parts&... parts ) const {
      text_->failAt( at_, parts... );
   }

private:
   enum class Kind : U8 { word, number, text, array, object };

   PlacedJson( Cursor& text, unsigned depth );
   void takeObject( Cursor& text, unsigned depth );
   void takeArray( Cursor& text, unsigned depth );
   static std::string_view takeText( Cursor& text );
   [[noreturn]] void failExpecting( std::string_view what ) const;

   const Cursor* text_;
   std::size_t at_;
   Kind kind_ = Kind::word;
   std::string_view view_; // of a word, a number, or a string without its quotes
   std::vector< std::string_view > names_;
   std::vector< PlacedJson > elements_;
};

/// A list of texts joined by ", " in an object or array that is being written.
class JsonList {
public:
   explicit JsonList( Vek::String& out ) : out_( out ) {}
   /// Appends the separator, but in front of the first.
   void next() { out_ += std::exchange( separator_, ", " ); }

private:
   Vek::String& out_;
   std::string_view separator_;
};

} // namespace Forms
