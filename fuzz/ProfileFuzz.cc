#include "agents/programd/Profile.h"
#include "fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   try {
      const std::string_view text = Fuzz::text( data, size );
      const Agents::Profile profile = Agents::Profile::read( text );
      Fuzz::require( Agents::Profile::read( text ) == profile,
                     "a profile reads to the same again" );
   } catch ( const Agents::ProfileError& error ) {
      Fuzz::require( *error.what() != '\0', "an error has words" );
   }
   return 0;
}
