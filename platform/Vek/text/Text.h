#pragma once

#include "Vek/text/Digits.h"
#include "Vek/text/String.h"

#include <concepts>
#include <exception>
#include <optional>
#include <utility>

/// Writing and reading text without streams: writers append to a string, readers advance a cursor.
namespace Vek {

/// Collects text in a buffer of its own and appends it to a string, so that many small pieces cost
/// one append. The string holds the whole text once the writer is destroyed or `flush` was called.
/// Nothing is allocated when the string's capacity suffices.
class TextWriter {
public:
   explicit TextWriter( String& out ) : out_( out ) {}
   TextWriter( const TextWriter& ) = delete;
   TextWriter& operator=( const TextWriter& ) = delete;
   ~TextWriter() noexcept( false ) {
      try {
         flush();
      } catch ( ... ) {
         // An exception that is under way already tells that there is no whole text.
         if ( std::uncaught_exceptions() == 0 ) {
            throw;
         }
      }
   }

   TextWriter& operator<<( char c ) {
      need( 1 );
      *next_++ = c;
      return *this;
   }

   TextWriter& operator<<( std::string_view text ) {
      if ( text.size() > size ) [[unlikely]] {
         flush();
         out_.append( text );
         return *this;
      }
      need( text.size() );
      next_ += text.copy( next_, text.size() );
      return *this;
   }

   /// An integer in decimal.
   template < std::integral T >
   requires( !std::same_as< T, bool > ) TextWriter& operator<<( T value ) {
      need( 20 );
      auto magnitude = static_cast< U64 >( value );
      if constexpr ( std::signed_integral< T > ) {
         if ( value < 0 ) {
            *next_++ = '-';
            magnitude = 0 - magnitude;
         }
      }
      next_ = writeDecimal( next_, magnitude );
      return *this;
   }

   /// Writers of truth values say themselves how they are spelled.
   template < std::same_as< bool > T >
   TextWriter& operator<<( T ) = delete;

   /// `value` in lower-case hexadecimal without leading zeros.
   TextWriter& hex( U64 value ) {
      need( 16 );
      next_ += ( std::bit_width( value | 1 ) + 3 ) / 4;
      for ( char* at = next_; at == next_ || value != 0; value >>= 4 ) {
         *--at = "0123456789abcdef"[value & 0xF];
      }
      return *this;
   }

   /// Room for `bytes` characters, 480 at the most. The caller writes there and passes the end of
   /// its text to `written` before anything else is done with the writer.
   char* room( std::size_t bytes ) {
      need( bytes );
      return next_;
   }
   void written( char* end ) { next_ = end; }

   /// `std::bad_alloc` when the string cannot take it; what was collected is dropped then, so that
   /// the destructor does not try again.
   void flush() {
      const char* const end = std::exchange( next_, buffer_ );
      out_.append( buffer_, static_cast< std::size_t >( end - buffer_ ) );
   }

private:
   static constexpr std::size_t size = 480;

   void need( std::size_t bytes ) {
      if ( static_cast< std::size_t >( buffer_ + size - next_ ) < bytes ) [[unlikely]] {
         flush();
      }
   }

   String& out_;
   char buffer_[size];
   char* next_ = buffer_;
};

/// All of `parts` (texts, characters, integers) joined.
template < typename... Parts >
String concat( const Parts&... parts ) {
   String text;
   TextWriter writer( text );
   ( writer << ... << parts );
   writer.flush();
   return text;
}

/// A cursor over characters, for readers that take what they know and leave the rest.
class CharRange {
public:
   explicit CharRange( std::string_view text ) : rest_( text ) {}

   bool empty() const { return rest_.empty(); }
   /// What is not read yet.
   std::string_view rest() const { return rest_; }

   /// Takes the next character when it is `c`.
   bool take( char c ) {
      const bool there = !rest_.empty() && rest_.front() == c;
      rest_.remove_prefix( there );
      return there;
   }

   /// Takes `count` characters; there must be as many.
   std::string_view take( std::size_t count ) {
      const std::string_view taken = rest_.substr( 0, count );
      rest_.remove_prefix( count );
      return taken;
   }

   /// Takes the longest run of letters, digits and "_"; empty when there is none.
   std::string_view takeName() {
      std::size_t length = 0;
      while ( length < rest_.size() && isNameCharacter( rest_[length] ) ) {
         ++length;
      }
      return take( length );
   }

private:
   static bool isNameCharacter( char c ) {
      return ( c >= 'a' && c <= 'z' ) || ( c >= 'A' && c <= 'Z' ) || ( c >= '0' && c <= '9' ) ||
             c == '_';
   }

   std::string_view rest_;
};

/// The value of a decimal digit; above 9 for any other character.
constexpr unsigned digitValue( char c ) { return static_cast< U8 >( c - '0' ); }

/// Whether `c` is a decimal digit, in every locale.
constexpr bool isDigit( char c ) { return digitValue( c ) <= 9; }

/// The unsigned number that all of `text` spells in decimal: digits only, no leading zero but in
/// "0" itself, at most `max`. Nothing otherwise.
constexpr std::optional< U64 > decimal( std::string_view text, U64 max ) {
   if ( text.empty() || ( text.size() > 1 && text.front() == '0' ) ) {
      return std::nullopt;
   }
   U64 value = 0;
   for ( const char c : text ) {
      if ( !isDigit( c ) || __builtin_mul_overflow( value, U64{ 10 }, &value ) ||
           __builtin_add_overflow( value, digitValue( c ), &value ) ) {
         return std::nullopt;
      }
   }
   return value <= max ? std::optional( value ) : std::nullopt;
}

} // namespace Vek
