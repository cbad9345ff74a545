#include "Flowspec/status/UnsupportedQual.h"

#include "Osk/Assert.h"
#include "Vek/types/ValueInfo.h"

namespace Flowspec {

struct UnsupportedQual::Table {
   using T = UnsupportedQual;
   static constexpr Vek::Rows rows{
      Vek::key< &T::addressFamily_ >( 2, "addressFamily" ),
      Vek::coll< &T::qual_, &T::qualIs, Vek::byKey( &T::qualDel ) >( 3, "qual" ),
      Vek::attr< &T::unsupportedActions_, &T::unsupportedActionsIs >( 4, "unsupportedActions" ),
      Vek::operation< &T::dumpState >( 5, "dumpState", "context", "indent" ),
   };
   static constexpr Vek::TypeInfo info = Vek::valueInfo< T, rows >();
};

const Vek::TypeInfo& UnsupportedQual::typeInfo() { return Table::info; }

UnsupportedQual::UnsupportedQual( const Vek::String& ) {
   OSK_ASSERT( false, "\"No String constructor for UnsupportedQual - has collection\" == nullptr" );
}

Vek::String UnsupportedQual::qual( MatchCompType compType ) const {
   const auto at = qual_.find( compType );
   return at == qual_.end() ? "" : at->second;
}

void UnsupportedQual::qualIs( MatchCompType compType, const Vek::String& reason ) {
   qual_.insertOrAssign( compType, reason );
}

Vek::String UnsupportedQual::toStrep() const {
   return Vek::concat( "<addressFamily=", addressFamily_, ";quals=", qual_.size(),
                       ";unsupportedActions=", unsupportedActions_.stringValue(), '>' );
}

// The encoding.
static_assert( Vek::listsRows< UnsupportedQual, 4 > );

std::size_t logSize( const UnsupportedQual& value ) {
   std::size_t size = 4 + 4 + 4;
   for ( const auto& [type, reason] : value.qual() ) {
      size += 4 + 4 + reason.size();
   }
   return size;
}

void logWrite( Vek::LogWriter& out, const UnsupportedQual& value ) {
   if ( value.qual().find( invalid ) != value.qual().end() ) {
      throw Vek::DefaultKeyException( UnsupportedQual::typeName, "qual" );
   }
   out.u32( static_cast< U8 >( value.addressFamily() ) );
   for ( const auto& [type, reason] : value.qual() ) {
      out.u32( static_cast< U8 >( type ) );
      out.string( reason );
   }
   out.u32( static_cast< U8 >( invalid ) );
   logWrite( out, value.unsupportedActions() );
}

void logRead( Vek::LogReader& in, UnsupportedQual& value ) {
   UnsupportedQual read( static_cast< Zorv::AddressFamily >( static_cast< U8 >( in.u32() ) ) );
   while ( const U32 number = in.u32() ) {
      const auto type = static_cast< MatchCompType >( static_cast< U8 >( number ) );
      if ( type == invalid ) {
         in.fail( Vek::concat( "no component has the type ", number ) );
      }
      read.qualIs( type, in.string() );
   }
   ActionFieldSet actions;
   logRead( in, actions );
   read.unsupportedActionsIs( actions );
   value = std::move( read );
}

} // namespace Flowspec
