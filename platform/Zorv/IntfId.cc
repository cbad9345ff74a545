#include "Zorv/IntfId.h"

#include "Osk/HashMix.h"
#include "Vek/text/Exceptions.h"

#include <limits>

namespace Zorv {

namespace {

constexpr std::string_view textPrefix = "intf";

} // namespace

std::optional< IntfId > IntfId::fromText( std::string_view text ) {
   if ( !text.starts_with( textPrefix ) ) {
      return std::nullopt;
   }
   const auto number =
      Vek::decimal( text.substr( textPrefix.size() ), std::numeric_limits< U64 >::max() );
   return number ? std::optional( IntfId( *number ) ) : std::nullopt;
}

void IntfId::stringValueIs( std::string_view text ) {
   const auto intf = fromText( text );
   if ( !intf ) {
      Vek::throwRange( badTextMessage( text ) );
   }
   *this = *intf;
}

Vek::String IntfId::badTextMessage( std::string_view text ) {
   return Vek::concat( "Zorv::IntfId: '", text, "' is not an interface" );
}

U32 IntfId::hash() const {
   Osk::HashMix mix;
   mix.mix( value_ );
   return mix.value();
}

Vek::String IntfId::stringValue() const { return Vek::concat( *this ); }

Vek::TextWriter& operator<<( Vek::TextWriter& out, const IntfId& intf ) {
   return out << textPrefix << intf.value();
}

std::ostream& operator<<( std::ostream& out, const IntfId& intf ) {
   return Vek::writeText( out, intf.stringValue() );
}

} // namespace Zorv
