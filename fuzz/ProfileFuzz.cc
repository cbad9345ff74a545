#include "dataplane/Profile.h"
#include "fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   try {
      const std::string_view text = Fuzz::text( data, size );
      const Dataplane::Profile profile = Dataplane::Profile::read( text );
      Fuzz::require( Dataplane::Profile::read( text ) == profile,
                     "a profile reads to the same again" );
   } catch ( const Dataplane::ProfileError& error ) {
      Fuzz::require( *error.what() != '\0', "an error has words" );
   }
   return 0;
}
