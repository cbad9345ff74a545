#include "Vek/text/Enum.h"

namespace Vek {

String enumText( const EnumInfo& info, U8 number ) {
   const Enumerator* const row = info.find( U64{ number } );
   return row ? String( row->name ) : concat( number );
}

U8 enumNumber( const EnumInfo& info, U64 number ) {
   const Enumerator* const row = info.find( number );
   if ( !row ) {
      throwRange( concat( info.type, ": ", number, " is not an enumerator" ) );
   }
   return row->number;
}

U8 enumNumber( const EnumInfo& info, std::string_view name ) {
   const Enumerator* const row = info.find( name );
   if ( !row ) {
      throwRange( concat( info.type, ": '", name, "' is not an enumerator" ) );
   }
   return row->number;
}

} // namespace Vek
