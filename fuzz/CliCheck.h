#pragma once

#include "fuzz/Check.h"

namespace Fuzz {

/// The checked reader of the command-line form, and as a second opinion the operation that traces:
/// same verdict, same key, except where that one would end the process or throw.
inline void checkCli( std::string_view text, bool includesValueLength ) {
   Flowspec::FlowspecKey key;
   const auto error = Flowspec::readStrCli( text, includesValueLength, key );
   if ( error ) {
      checkError( *error, text );
      if ( error->message.starts_with( "8-byte values" ) ||
           error->message.starts_with( "Too many terms" ) ) {
         return;
      }
   }
   Flowspec::FlowspecKey second;
   require( second.copyInStrCli( text, includesValueLength ) == !error, "the verdicts agree" );
   require( second == key, "the keys agree" );
   checkForms( key );
}

} // namespace Fuzz
