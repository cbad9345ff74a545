#include "SrTePolicy/PolicyKey.h"

#include "Osk/HashMix.h"
#include "Vek/text/Exceptions.h"

namespace SrTePolicy {

std::optional< PolicyKey > PolicyKey::fromText( std::string_view text ) {
   const std::size_t comma = text.find( ',' );
   if ( comma == std::string_view::npos ) {
      return std::nullopt;
   }
   const auto color = Vek::decimal( text.substr( 0, comma ), 0xFFFFFFFF );
   const std::string_view address = text.substr( comma + 1 );
   const auto endpoint = address.empty() ? Zorv::IpGenAddr() : Zorv::IpGenAddr::fromText( address );
   if ( !color || !endpoint ) {
      return std::nullopt;
   }
   return PolicyKey( static_cast< U32 >( *color ), *endpoint );
}

void PolicyKey::stringValueIs( std::string_view text ) {
   const auto key = fromText( text );
   if ( !key ) {
      Vek::throwRange( badTextMessage( text ) );
   }
   *this = *key;
}

Vek::String PolicyKey::badTextMessage( std::string_view text ) {
   return Vek::concat( "SrTePolicy::PolicyKey: '", text, "' is not a policy key" );
}

U32 PolicyKey::hash() const {
   Osk::HashMix mix;
   mix.mix( color_ );
   mix.mix( U32{ static_cast< U8 >( endpoint_.family() ) } );
   mix.mix( endpoint_.hash() );
   return mix.value();
}

Vek::String PolicyKey::stringValue() const { return Vek::concat( *this ); }

Vek::TextWriter& operator<<( Vek::TextWriter& out, const PolicyKey& key ) {
   return out << key.color() << ',' << key.endpoint();
}

std::ostream& operator<<( std::ostream& out, const PolicyKey& key ) {
   return Vek::writeText( out, key.stringValue() );
}

void logWrite( Vek::LogWriter& out, const PolicyKey& key ) {
   out.u32( key.color() );
   logWrite( out, key.endpoint() );
}

void logRead( Vek::LogReader& in, PolicyKey& key ) {
   const U32 color = in.u32();
   Zorv::IpGenAddr endpoint;
   logRead( in, endpoint );
   key = PolicyKey( color, endpoint );
}

} // namespace SrTePolicy
