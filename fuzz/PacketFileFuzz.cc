#include "agents/programd/PacketFile.h"
#include "fuzz/MemoryFile.h"
#include "match/LinkLayer.h"
#include "match/Packet.h"

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   const Fuzz::MemoryFile file( data, size );
   Agents::EventLoop loop;
   U64 packets = 0;
   U64 told = 0;
   unsigned ends = 0;
   try {
      const Agents::PacketFile reader(
         loop, file.path(),
         [&]( std::span< const U8 > frame, U32 linkType, U32 ) {
            ++packets;
            Match::parsePacket( Match::ipPacketOf( frame, linkType ) );
         },
         [&]( U64 count, const Vek::String& ) {
            told = count;
            ++ends;
            loop.stop();
         } );
      loop.run();
   } catch ( const std::runtime_error& error ) {
      Fuzz::require( *error.what() != '\0' && packets == 0,
                     "a file that is no capture is refused" );
      return 0;
   }
   Fuzz::require( ends == 1 && told == packets, "the end is told once, with the packets" );
   return 0;
}
