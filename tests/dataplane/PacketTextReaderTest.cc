#include "dataplane/PacketText.h"
#include "match/PacketSet.h"
#include "tests/match/RandomMatch.h"

#include <gtest/gtest.h>

namespace Dataplane {
namespace {

using Match::Packet;

// The text of the packet that was read, or why there was none.
Vek::String again( std::string_view text ) {
   Vek::String reason;
   const auto packet = readPacketText( text, reason );
   EXPECT_EQ( packet.has_value(), reason.empty() );
   return packet ? packetText( *packet ) : reason;
}

TEST( PacketTextReader, ReadsWhatIsWritten ) {
   for ( const char* const text : {
            "ipv4 tcp 192.0.2.1:1 > 10.1.2.3:80 length 40 flags 0x12 fragment 0x1 dscp 46",
            "ipv4 udp 192.0.2.1 > 10.1.2.3 length 28 fragment 0xa",
            "ipv4 icmp 192.0.2.1 > 10.1.2.3 length 28 type 8 code 0",
            "ipv4 proto 58 192.0.2.1 > 10.1.2.3 length 28",
            "ipv6 udp [2001:db8::1]:53 > [2001:db8::2]:1234 length 48 label 7",
            "ipv6 cut 2001:db8::1 > 2001:db8::2 length 40",
            "ipv6 icmp 2001:db8::1 > 2001:db8::2 length 48 type 128 code 0",
         } ) {
      EXPECT_EQ( again( text ), text );
   }
}

TEST( PacketTextReader, FillsInWhatIsLeftOut ) {
   EXPECT_EQ( again( "ipv4 tcp 192.0.2.1:1 > 10.1.2.3:80" ),
              "ipv4 tcp 192.0.2.1:1 > 10.1.2.3:80 length 40" );
   EXPECT_EQ( again( " ipv4  udp 192.0.2.1:1 > 10.1.2.3:80 dscp 0x2e " ),
              "ipv4 udp 192.0.2.1:1 > 10.1.2.3:80 length 28 dscp 46" );
   EXPECT_EQ( again( "ipv6 icmp 2001:db8::1 > 2001:db8::2 type 128" ),
              "ipv6 icmp 2001:db8::1 > 2001:db8::2 length 48 type 128" );
   EXPECT_EQ( again( "ipv4 tcp 192.0.2.1 > 10.1.2.3 fragment 2" ),
              "ipv4 tcp 192.0.2.1 > 10.1.2.3 length 20 fragment 0x2" );
   EXPECT_EQ( again( "ipv4 proto 99 192.0.2.1 > 10.1.2.3" ),
              "ipv4 proto 99 192.0.2.1 > 10.1.2.3 length 20" );

   Vek::String reason;
   const auto flags = [&]( const char* text ) { return readPacketText( text, reason )->tcpFlags; };
   EXPECT_EQ( flags( "ipv4 tcp 192.0.2.1:1 > 10.1.2.3:80" ), 0 );
   EXPECT_EQ( flags( "ipv4 tcp 192.0.2.1:1 > 10.1.2.3:80 length 34" ), 0 );
   EXPECT_EQ( flags( "ipv4 tcp 192.0.2.1:1 > 10.1.2.3:80 length 33" ), std::nullopt );
   EXPECT_EQ( flags( "ipv4 tcp 192.0.2.1:1 > 10.1.2.3 length 40" ), std::nullopt );
   EXPECT_EQ( flags( "ipv4 udp 192.0.2.1:1 > 10.1.2.3:80 length 40" ), std::nullopt );
   EXPECT_EQ( readPacketText( "ipv4 tcp 192.0.2.1 > 10.1.2.3", reason )->fragment, 0 );
   EXPECT_EQ( readPacketText( "ipv4 tcp 192.0.2.1 > 10.1.2.3", reason )->flowLabel, std::nullopt );
   EXPECT_EQ( readPacketText( "ipv6 cut ::1 > ::2", reason )->fragment, std::nullopt );
   EXPECT_EQ( readPacketText( "ipv6 cut ::1 > ::2", reason )->flowLabel, 0U );
}

TEST( PacketTextReader, SaysWhatIsWrong ) {
   EXPECT_EQ( again( "" ), "expected ipv4 or ipv6 at the end" );
   EXPECT_EQ( again( "ip tcp" ), "expected ipv4 or ipv6, found 'ip'" );
   EXPECT_EQ( again( "ipv4 TCP" ), "expected tcp, udp, icmp or proto NUMBER, found 'TCP'" );
   EXPECT_EQ( again( "ipv4 cut" ), "expected tcp, udp, icmp or proto NUMBER, found 'cut'" );
   EXPECT_EQ( again( "ipv4 proto 256" ), "expected a protocol up to 255, found '256'" );
   EXPECT_EQ( again( "ipv4 proto" ), "expected a protocol up to 255 at the end" );
   EXPECT_EQ( again( "ipv4 tcp 192.0.2" ), "expected an IPv4 address, found '192.0.2'" );
   EXPECT_EQ( again( "ipv4 tcp ::1" ), "expected an IPv4 address, found '::1'" );
   EXPECT_EQ( again( "ipv6 tcp [::1:80" ),
              "expected an IPv6 address or [ADDRESS]:PORT, found '[::1:80'" );
   EXPECT_EQ( again( "ipv6 tcp 192.0.2.1" ),
              "expected an IPv6 address or [ADDRESS]:PORT, found '192.0.2.1'" );
   EXPECT_EQ( again( "ipv4 tcp 192.0.2.1:65536 > 10.1.2.3" ),
              "expected a port up to 65535, found '65536'" );
   EXPECT_EQ( again( "ipv4 tcp 192.0.2.1 10.1.2.3" ), "expected '>', found '10.1.2.3'" );
   EXPECT_EQ( again( "ipv4 tcp 192.0.2.1 > 10.1.2.3 ttl 4" ),
              "expected length, type, code, flags, fragment or dscp, found 'ttl'" );
   EXPECT_EQ( again( "ipv4 tcp 192.0.2.1 > 10.1.2.3 label 4" ),
              "expected length, type, code, flags, fragment or dscp, found 'label'" );
   EXPECT_EQ( again( "ipv4 tcp 192.0.2.1 > 10.1.2.3 length 65536" ),
              "expected a length up to 65535, found '65536'" );
   EXPECT_EQ( again( "ipv4 tcp 192.0.2.1 > 10.1.2.3 flags 0x1000" ),
              "expected TCP flags up to 4095, found '0x1000'" );
   EXPECT_EQ( again( "ipv4 udp 192.0.2.1 > 10.1.2.3 flags 2" ),
              "expected flags of TCP alone, found 'flags'" );
   EXPECT_EQ( again( "ipv4 udp 192.0.2.1 > 10.1.2.3 type 8" ),
              "expected an ICMP type or code of ICMP alone, found 'type'" );
   EXPECT_EQ( again( "ipv4 proto 58 192.0.2.1 > 10.1.2.3 code 8" ),
              "expected an ICMP type or code of ICMP alone, found 'code'" );
}

// Packets as they come, and those that sets of rules give as witnesses.
TEST( PacketTextReader, KeepsPackets ) {
   TestSupport::RandomMatch random( 5103 );
   unsigned read = 0;
   for ( unsigned i = 0; i < 2'000U; ++i ) {
      const auto bytes = random.packet();
      for ( const auto& packet :
            { Match::parsePacket( bytes ), Match::PacketSet( random.rule( bytes ) ).any() } ) {
         if ( !packet ) {
            continue;
         }
         const Vek::String text = packetText( *packet );
         ASSERT_EQ( again( text ), text );
         ++read;
      }
   }
   EXPECT_GT( read, 2'000U );
}

} // namespace
} // namespace Dataplane
