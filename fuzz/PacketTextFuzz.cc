#include "dataplane/PacketText.h"
#include "fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   Vek::String reason;
   const auto packet = Dataplane::readPacketText( Fuzz::text( data, size ), reason );
   Fuzz::require( packet.has_value() == reason.empty(), "there is a packet or a reason" );
   if ( packet ) {
      const Vek::String text = Dataplane::packetText( *packet );
      const auto again = Dataplane::readPacketText( text, reason );
      Fuzz::require( again && Dataplane::packetText( *again ) == text, "a packet keeps its text" );
   }
   return 0;
}
