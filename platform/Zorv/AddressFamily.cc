#include "Zorv/AddressFamily.h"

#include "Vek/text/Exceptions.h"

namespace Zorv {

Vek::TextWriter& operator<<( Vek::TextWriter& out, AddressFamily family ) {
   switch ( family ) {
   case AddressFamily::none:
      return out << "none";
   case AddressFamily::ipv4:
      return out << "ipv4";
   case AddressFamily::ipv6:
      return out << "ipv6";
   }
   return out << "af" << static_cast< U8 >( family );
}

Vek::String stringValue( AddressFamily family ) { return Vek::concat( family ); }

std::optional< AddressFamily > addressFamily( std::string_view text ) {
   if ( text == "none" ) {
      return AddressFamily::none;
   }
   if ( text == "ipv4" ) {
      return AddressFamily::ipv4;
   }
   if ( text == "ipv6" ) {
      return AddressFamily::ipv6;
   }
   if ( !text.starts_with( "af" ) ) {
      return std::nullopt;
   }
   const auto number = Vek::decimal( text.substr( 2 ), 255 );
   if ( !number || *number <= 2 ) {
      return std::nullopt;
   }
   return static_cast< AddressFamily >( *number );
}

void sequenceToValue( Vek::CharRange& range, AddressFamily* family ) {
   const std::string_view name = range.takeName();
   const auto read = addressFamily( name );
   if ( !read ) {
      Vek::throwRange( Vek::concat( "Zorv::AddressFamily: '", name, "' is not a family" ) );
   }
   *family = *read;
}

} // namespace Zorv
