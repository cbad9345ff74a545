#pragma once

#include "Vek/text/Text.h"
#include "forms/dialects/Dialect.h"

namespace Forms {

/// Goes through a text from its beginning to its end: readers take what they know and fail with the
/// place of what they do not. The text is viewed.
class Cursor {
public:
   explicit Cursor( std::string_view text ) : text_( text ) {}

   bool atEnd() const { return at_ == text_.size(); }
   /// The next character; 0 at the end.
   char next() const { return atEnd() ? '\0' : text_[at_]; }
   std::string_view rest() const { return text_.substr( at_ ); }

   /// How much was taken, to come back to or to fail at.
   std::size_t offset() const { return at_; }
   void offsetIs( std::size_t offset ) { at_ = offset; }

   /// Passes over blanks, tabs and ends of lines.
   void skipBlanks();
   /// Takes `c`, or all of `expected`, when it comes next.
   bool take( char c );
   bool take( std::string_view expected );
   /// The same for a word: no character of one follows it.
   bool takeWord( std::string_view expected );
   /// Takes the longest run of letters, digits, "_" and "-"; empty when there is none.
   std::string_view takeWord();
   /// Takes the longest run of characters that are in `set`.
   std::string_view takeAllOf( std::string_view set );
   /// Takes all up to the first character that is in `set`, or to the end.
   std::string_view takeUntil( std::string_view set );
   /// Takes a number from 0 to `max`, decimal or hexadecimal with "0x" in front; `what` says what
   /// is expected where there is none.
   U64 number( U64 max, std::string_view what = "a number" );

   Zorv::IpGenAddr address();
   /// Takes an address, "/" and a length, without bits after the length.
   Zorv::IpGenPrefix prefix();

   /// Fails unless `expected` comes next, or the end; takes it.
   void expect( std::string_view expected );
   void expectEnd() const;

   /// Throws a `Fault` at the next character, or at an offset.
   template < typename... Parts >
   [[noreturn]] void fail( const Parts&... parts ) const {
      throw faultAt( at_, Vek::concat( parts... ) );
   }
   template < typename... Parts >
   [[noreturn]] void failAt( std::size_t offset, const Parts&... parts ) const {
      throw faultAt( offset, Vek::concat( parts... ) );
   }
   /// Fails with "expected WHAT, found 'x'".
   [[noreturn]] void failExpecting( std::string_view what ) const;
   /// The same at an offset before, of what was taken: comes back to it.
   [[noreturn]] void failExpectingAt( std::size_t offset, std::string_view what );

   Fault faultAt( std::size_t offset, Vek::String reason ) const;

private:
   std::string_view text_;
   std::size_t at_ = 0;
};

/// Whether a word may have the character: a letter, a digit, "_" or "-".
constexpr bool isWordCharacter( char c ) {
   return ( c >= 'a' && c <= 'z' ) || ( c >= 'A' && c <= 'Z' ) || ( c >= '0' && c <= '9' ) ||
          c == '_' || c == '-';
}

} // namespace Forms
