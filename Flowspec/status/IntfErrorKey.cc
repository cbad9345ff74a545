#include "Flowspec/status/IntfErrorKey.h"

#include "Osk/HashMix.h"
#include "Vek/text/Exceptions.h"
#include "Vek/types/ValueInfo.h"

#include <algorithm>

namespace Flowspec {

struct IntfErrorKey::Table {
   using T = IntfErrorKey;
   static constexpr Vek::Rows rows{
      Vek::attr< &T::intfId_ >( 2, "intfId" ),
      Vek::attr< &T::addressFamily_ >( 3, "addressFamily" ),
   };
   static constexpr Vek::TypeInfo info = Vek::valueInfo< T, rows >();
};

const Vek::TypeInfo& IntfErrorKey::typeInfo() { return Table::info; }

// Hash, text and encoding.
static_assert( Vek::listsRows< IntfErrorKey, 2 > );

U32 IntfErrorKey::hash( U32 seed ) const {
   Osk::HashMix mix;
   mix.mix( U64{ seed } << 32 | intfId_.hash(), U64{ static_cast< U8 >( addressFamily_ ) } );
   return mix.value();
}

Vek::String IntfErrorKey::stringValue() const {
   return Vek::concat( intfId_, ',', addressFamily_ );
}

void IntfErrorKey::stringValueIs( std::string_view text ) {
   const std::size_t comma = std::min( text.find( ',' ), text.size() );
   const auto intfId = Zorv::IntfId::fromText( text.substr( 0, comma ) );
   const auto family = Zorv::addressFamily( text.substr( std::min( comma + 1, text.size() ) ) );
   if ( !intfId || !family ) {
      Vek::throwRange( Vek::concat( typeName, ": '", text, "' is not an interface and a family" ) );
   }
   *this = IntfErrorKey( *intfId, *family );
}

void logWrite( Vek::LogWriter& out, const IntfErrorKey& key ) {
   logWrite( out, key.intfId() );
   out.u32( static_cast< U8 >( key.addressFamily() ) );
}

void logRead( Vek::LogReader& in, IntfErrorKey& key ) {
   Zorv::IntfId intf;
   logRead( in, intf );
   key = IntfErrorKey( intf, static_cast< Zorv::AddressFamily >( static_cast< U8 >( in.u32() ) ) );
}

} // namespace Flowspec
