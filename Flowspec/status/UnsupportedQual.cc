#include "Flowspec/status/UnsupportedQual.h"

#include "Flowspec/types/Types.h"
#include "Osk/Assert.h"
#include "Vek/Rows.h"

namespace Flowspec {

struct UnsupportedQual::Table {
   using T = UnsupportedQual;
   static constexpr Vek::Field rows[] = {
      Vek::key< &T::addressFamily_ >( 2, "addressFamily" ),
      Vek::coll< &T::qual_, &T::qualIs, &T::qualDel >( 3, "qual" ),
      Vek::attr< &T::unsupportedActions_, &T::unsupportedActionsIs >( 4, "unsupportedActions" ),
      Vek::operation< &T::dumpState >( 5, "dumpState", "context", "indent" ),
   };
   static_assert( Vek::idsAscend( rows ) );
};

constinit const Vek::TypeInfo unsupportedQualInfo =
   Vek::valueInfo< UnsupportedQual >( UnsupportedQual::Table::rows );

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

} // namespace Flowspec
