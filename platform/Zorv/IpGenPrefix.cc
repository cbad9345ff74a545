#include "Zorv/IpGenPrefix.h"

#include "Vek/Exceptions.h"

namespace Zorv {

namespace {

unsigned maxLength( AddressFamily family ) { return family == AddressFamily::ipv4 ? 32 : 128; }

} // namespace

IpGenPrefix::IpGenPrefix( const IpGenAddr& address, unsigned length ) {
   if ( address.empty() || length > maxLength( address.family() ) ) {
      Vek::throwRange( badTextMessage( Vek::concat( address, '/', length ) ) );
   }
   address_ = address.masked( length );
   length_ = static_cast< U8 >( length );
}

std::optional< IpGenPrefix > IpGenPrefix::fromText( std::string_view text ) {
   std::optional< IpGenPrefix > prefix;
   const std::size_t slash = text.find( '/' );
   if ( slash == std::string_view::npos ) {
      return prefix;
   }
   const auto address = IpGenAddr::fromText( text.substr( 0, slash ) );
   if ( !address ) {
      return prefix;
   }
   const auto length = Vek::decimal( text.substr( slash + 1 ), maxLength( address->family() ) );
   if ( length ) {
      prefix.emplace( *address, static_cast< unsigned >( *length ) );
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

} // namespace Zorv
