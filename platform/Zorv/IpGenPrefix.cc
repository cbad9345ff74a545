#include "Zorv/IpGenPrefix.h"

#include "Vek/text/Exceptions.h"

#include <algorithm>

namespace Zorv {

namespace {

// Takes "/" and a decimal number without leading zeros, at most `max`, off the text at `at`.
std::optional< U8 > takeLength( std::string_view text, std::size_t& at, unsigned max ) {
   std::size_t next = at;
   if ( next == text.size() || text[next++] != '/' ) {
      return std::nullopt;
   }
   const std::size_t begin = next;
   unsigned length = 0;
   while ( next < text.size() && next < begin + 3 && Vek::isDigit( text[next] ) ) {
      length = length * 10 + Vek::digitValue( text[next++] );
   }
   const bool leadingZero = next > begin + 1 && text[begin] == '0';
   if ( next == begin || leadingZero || length > max ) {
      return std::nullopt;
   }
   at = next;
   return static_cast< U8 >( length );
}

} // namespace

IpGenPrefix::IpGenPrefix( const IpGenAddr& address, U64 length ) {
   if ( address.empty() || length > IpGenAddr::bits( address.family() ) ) {
      Vek::throwRange( badTextMessage( Vek::concat( address, '/', length ) ) );
   }
   address_ = address.masked( static_cast< unsigned >( length ) );
   length_ = static_cast< U8 >( length );
}

std::optional< IpGenPrefix > IpGenPrefix::fromText( std::string_view text ) {
   std::size_t at = 0;
   const auto prefix = takeFrom( text, at );
   return at == text.size() ? prefix : std::nullopt;
}

std::optional< IpGenPrefix > IpGenPrefix::takeFrom( std::string_view text, std::size_t& at ) {
   std::optional< IpGenPrefix > prefix;
   std::size_t next = at;
   if ( const auto dotted = IpGenAddr::takeDotted( text, next ) ) {
      if ( const auto length = takeLength( text, next, 32 ) ) {
         const U64 mask = ~U64{ 0 } << ( 32 - *length );
         prefix.emplace();
         prefix->address_ = IpGenAddr::ipv4( *dotted & static_cast< U32 >( mask ) );
         prefix->length_ = *length;
         at = next;
      }
      return prefix;
   }
   next = std::min( text.find( '/', at ), text.size() );
   const auto address = IpGenAddr::fromText( text.substr( at, next - at ) );
   if ( !address ) {
      return prefix;
   }
   if ( const auto length = takeLength( text, next, 128 ) ) {
      prefix.emplace( *address, *length );
      at = next;
   }
   return prefix;
}

void IpGenPrefix::stringValueIs( std::string_view text ) {
   const auto prefix = fromText( text );
   if ( !prefix ) {
      Vek::throwRange( badTextMessage( text ) );
   }
   *this = *prefix;
}

Vek::String IpGenPrefix::badTextMessage( std::string_view text ) {
   return Vek::concat( "Zorv::IpGenPrefix: '", text, "' is not a prefix" );
}

Vek::String IpGenPrefix::stringValue() const { return Vek::concat( *this ); }

Vek::TextWriter& operator<<( Vek::TextWriter& out, const IpGenPrefix& prefix ) {
   if ( prefix.empty() ) {
      return out;
   }
   return out << prefix.address() << '/' << prefix.length();
}

std::ostream& operator<<( std::ostream& out, const IpGenPrefix& prefix ) {
   return Vek::writeText( out, prefix.stringValue() );
}

void logFailLength( const Vek::LogReader& in, U32 length ) {
   in.fail( Vek::concat( "no prefix has the length ", length ) );
}

} // namespace Zorv
