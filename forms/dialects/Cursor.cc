#include "forms/dialects/Cursor.h"

#include <algorithm>
#include <charconv>

namespace Forms {

namespace {

constexpr std::string_view blanks = " \t\r\n";

} // namespace

void Cursor::skipBlanks() { takeAllOf( blanks ); }

bool Cursor::take( char c ) {
   const bool there = !atEnd() && text_[at_] == c;
   at_ += there;
   return there;
}

bool Cursor::take( std::string_view expected ) {
   const bool there = rest().starts_with( expected );
   at_ += there ? expected.size() : 0;
   return there;
}

bool Cursor::takeWord( std::string_view expected ) {
   const std::size_t before = at_;
   const bool there = takeWord() == expected;
   at_ = there ? at_ : before;
   return there;
}

std::string_view Cursor::takeWord() {
   const std::size_t begin = at_;
   while ( !atEnd() && isWordCharacter( text_[at_] ) ) {
      ++at_;
   }
   return text_.substr( begin, at_ - begin );
}

std::string_view Cursor::takeAllOf( std::string_view set ) {
   const std::size_t begin = at_;
   at_ = std::min( text_.find_first_not_of( set, at_ ), text_.size() );
   return text_.substr( begin, at_ - begin );
}

std::string_view Cursor::takeUntil( std::string_view set ) {
   const std::size_t begin = at_;
   at_ = std::min( text_.find_first_of( set, at_ ), text_.size() );
   return text_.substr( begin, at_ - begin );
}

U64 Cursor::number( U64 max, std::string_view what ) {
   const std::size_t begin = at_;
   const bool hexadecimal = take( "0x" ) || take( "0X" );
   const char* const first = text_.data() + at_;
   U64 value = 0;
   const auto [end, error] =
      std::from_chars( first, text_.data() + text_.size(), value, hexadecimal ? 16 : 10 );
   if ( error == std::errc::invalid_argument ) {
      failExpectingAt( begin, what );
   }
   if ( error != std::errc() || value > max ) {
      failAt( begin, "the number is above ", max );
   }
   at_ += static_cast< std::size_t >( end - first );
   return value;
}

Zorv::IpGenAddr Cursor::address() {
   const std::size_t begin = at_;
   const auto address = Zorv::IpGenAddr::fromText( takeAllOf( "0123456789abcdefABCDEF.:" ) );
   if ( !address ) {
      failExpectingAt( begin, "an address" );
   }
   return *address;
}

Zorv::IpGenPrefix Cursor::prefix() {
   const std::size_t begin = at_;
   const std::string_view text = takeAllOf( "0123456789abcdefABCDEF:./" );
   const auto prefix = Zorv::IpGenPrefix::fromText( text );
   if ( !prefix ) {
      failExpectingAt( begin, "a prefix" );
   }
   if ( Zorv::IpGenAddr::fromText( text.substr( 0, text.find( '/' ) ) ) != prefix->address() ) {
      failAt( begin, "the prefix has bits after its length: expected ", *prefix );
   }
   return *prefix;
}

void Cursor::expect( std::string_view expected ) {
   if ( !take( expected ) ) {
      failExpecting( Vek::concat( '\'', expected, '\'' ) );
   }
}

void Cursor::expectEnd() const {
   if ( !atEnd() ) {
      failExpecting( "the end of the rule" );
   }
}

void Cursor::failExpectingAt( std::size_t offset, std::string_view what ) {
   at_ = offset;
   failExpecting( what );
}

void Cursor::failExpecting( std::string_view what ) const {
   // A word tells more than its first letter, and no message is as long as the text.
   constexpr std::size_t longest = 40;
   Cursor found = *this;
   const std::size_t size = std::clamp( found.takeWord().size(), std::size_t{ 1 }, longest );
   if ( atEnd() ) {
      fail( "expected ", what, ", found the end" );
   }
   fail( "expected ", what, ", found '", rest().substr( 0, size ), '\'' );
}

Fault Cursor::faultAt( std::size_t offset, Vek::String reason ) const {
   const std::string_view before = text_.substr( 0, offset );
   const auto newlines = std::ranges::count( before, '\n' );
   return { .line = static_cast< U64 >( newlines ) + 1,
            .column = before.size() - ( before.rfind( '\n' ) + 1 ) + 1,
            .reason = std::move( reason ) };
}

} // namespace Forms
