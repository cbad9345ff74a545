#include "Zorv/RouteDistinguisher.h"

#include "Vek/text/Exceptions.h"
#include "Zorv/IpGenAddr.h"

#include <charconv>

namespace Zorv {

namespace {

constexpr U64 typeIpv4 = U64{ 1 } << 48;
constexpr U64 typeAs4 = U64{ 2 } << 48;

std::optional< RouteDistinguisher > readHexadecimal( std::string_view digits ) {
   U64 value = 0;
   const char* const end = digits.data() + digits.size();
   const auto [stop, error] = std::from_chars( digits.data(), end, value, 16 );
   if ( digits.size() != 16 || error != std::errc() || stop != end || value >> 48 <= 2 ) {
      return std::nullopt;
   }
   return RouteDistinguisher( value );
}

} // namespace

std::optional< RouteDistinguisher > RouteDistinguisher::fromText( std::string_view text ) {
   if ( text.starts_with( "0x" ) ) {
      return readHexadecimal( text.substr( 2 ) );
   }
   const std::size_t colon = text.rfind( ':' );
   if ( colon == std::string_view::npos ) {
      return std::nullopt;
   }
   std::string_view administrator = text.substr( 0, colon );
   const auto number = Vek::decimal( text.substr( colon + 1 ), 0xFFFFFFFF );
   if ( !number ) {
      return std::nullopt;
   }
   const bool isShort = *number <= 0xFFFF;
   if ( administrator.find( '.' ) != std::string_view::npos ) {
      const auto address = IpGenAddr::fromText( administrator );
      if ( !address || address->family() != AddressFamily::ipv4 || !isShort ) {
         return std::nullopt;
      }
      return RouteDistinguisher( typeIpv4 | U64{ address->ipv4Value() } << 16 | *number );
   }
   const bool as4 = administrator.ends_with( 'L' );
   administrator.remove_suffix( as4 );
   const auto as = Vek::decimal( administrator, as4 ? 0xFFFF : 0xFFFFFFFF );
   if ( !as ) {
      return std::nullopt;
   }
   if ( !as4 && *as <= 0xFFFF ) {
      return RouteDistinguisher( *as << 32 | *number );
   }
   if ( !isShort ) {
      return std::nullopt;
   }
   return RouteDistinguisher( typeAs4 | *as << 16 | *number );
}

void RouteDistinguisher::stringValueIs( std::string_view text ) {
   const auto rd = fromText( text );
   if ( !rd ) {
      Vek::throwRange( badTextMessage( text ) );
   }
   *this = *rd;
}

Vek::String RouteDistinguisher::badTextMessage( std::string_view text ) {
   return Vek::concat( "Zorv::RouteDistinguisher: '", text, "' is not a route distinguisher" );
}

Vek::String RouteDistinguisher::stringValue() const { return Vek::concat( *this ); }

Vek::TextWriter& operator<<( Vek::TextWriter& out, const RouteDistinguisher& rd ) {
   const U64 value = rd.value();
   const U16 low16 = static_cast< U16 >( value );
   const U32 middle32 = static_cast< U32 >( value >> 16 );
   switch ( rd.type() ) {
   case 0:
      return out << static_cast< U16 >( value >> 32 ) << ':' << static_cast< U32 >( value );
   case 1:
      return out << IpGenAddr::ipv4( middle32 ) << ':' << low16;
   case 2:
      return out << middle32 << ( middle32 <= 0xFFFF ? "L:" : ":" ) << low16;
   default:
      out << "0x";
      for ( int shift = 60; shift >= 0; shift -= 4 ) {
         out.hex( value >> shift & 0xF );
      }
      return out;
   }
}

std::ostream& operator<<( std::ostream& out, const RouteDistinguisher& rd ) {
   return Vek::writeText( out, rd.stringValue() );
}

} // namespace Zorv
