#include "dataplane/PacketText.h"

#include "match/Packet.h"
#include "tests/support/PacketBytes.h"

#include <gtest/gtest.h>

namespace Dataplane {
namespace {

using TestSupport::PacketParts;

Vek::String textOf( const PacketParts& parts ) {
   const auto packet = Match::parsePacket( TestSupport::packetBytes( parts ) );
   return packet ? packetText( *packet ) : "no packet";
}

TEST( PacketText, HasWhatThePacketHas ) {
   PacketParts parts;
   parts.payload = TestSupport::portBytes( 53, 1234 );
   EXPECT_EQ( textOf( parts ), "ipv4 udp 192.0.2.1:53 > 10.1.2.3:1234 length 28" );
   parts.offset = 1;
   EXPECT_EQ( textOf( parts ), "ipv4 udp 192.0.2.1 > 10.1.2.3 length 28 fragment 0xa" );
   parts = {};
   parts.dscp = 46;
   parts.protocol = 6;
   parts.dontFragment = true;
   parts.payload = TestSupport::tcpBytes( 0, 80, 0x12 );
   EXPECT_EQ( textOf( parts ),
              "ipv4 tcp 192.0.2.1:0 > 10.1.2.3:80 length 40 flags 0x12 fragment 0x1 dscp 46" );
   parts = {};
   parts.protocol = 1;
   parts.payload = TestSupport::icmpBytes( 8, 0 );
   EXPECT_EQ( textOf( parts ), "ipv4 icmp 192.0.2.1 > 10.1.2.3 length 28 type 8 code 0" );
   parts.protocol = 58;
   EXPECT_EQ( textOf( parts ), "ipv4 proto 58 192.0.2.1 > 10.1.2.3 length 28" );
}

TEST( PacketText, SetsIpv6AddressesApartFromPorts ) {
   PacketParts parts = PacketParts::ipv6();
   parts.flowLabel = 7;
   parts.payload = TestSupport::portBytes( 53, 1234 );
   const Vek::String source = parts.source.stringValue();
   const Vek::String destination = parts.destination.stringValue();
   EXPECT_EQ( textOf( parts ),
              "ipv6 udp [" + source + "]:53 > [" + destination + "]:1234 length 48 label 7" );
   Match::Packet cut;
   cut.family = Zorv::AddressFamily::ipv6;
   cut.destination = parts.destination;
   cut.source = parts.source;
   cut.length = 40;
   EXPECT_EQ( packetText( cut ), "ipv6 cut " + source + " > " + destination + " length 40" );
   cut.protocol = 1;
   EXPECT_EQ( packetText( cut ), "ipv6 proto 1 " + source + " > " + destination + " length 40" );
   cut.protocol = 58;
   cut.icmpType = 128;
   cut.icmpCode = 0;
   EXPECT_EQ( packetText( cut ),
              "ipv6 icmp " + source + " > " + destination + " length 40 type 128 code 0" );
}

} // namespace
} // namespace Dataplane
