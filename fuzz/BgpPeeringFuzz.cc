#include "fuzz/Check.h"
#include "tests/agents/bgp/session/PeeringModel.h"

// Each byte is a choice of what happens next to the connections with a peer.
extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   std::size_t next = 0;
   TestSupport::PeeringModel model(
      [&]( unsigned below ) {
         unsigned value = next < size ? data[next++] : 0;
         if ( below > 256 ) {
            value = value << 8 | ( next < size ? data[next++] : 0 );
         }
         return value % below;
      },
      Fuzz::require );
   while ( next < size ) {
      model.step();
   }
   model.recover();
   return 0;
}
