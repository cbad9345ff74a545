#include "bench/system/Forwarder.h"

#include "Osk/Endian.h"
#include "Vek/text/Text.h"

#include <chrono>
#include <fstream>

#include <arpa/inet.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/socket.h>

namespace Bench {

namespace {

constexpr U32 firstAddress = 0x0A000000;

} // namespace

Forwarder::Forwarder() {
   if ( !space_.missing().empty() ) {
      fail( space_.missing() );
   }
   // Nobody has the hardware address that the packets go to.
   space_.run( "ip link add out type veth peer name in address 02:00:00:00:00:02 && "
               "ip link add away type veth peer name far && "
               "sysctl -qw net.ipv4.ip_forward=1 net.ipv4.conf.all.rp_filter=0 "
               "net.ipv4.conf.default.rp_filter=0 net.ipv6.conf.all.disable_ipv6=1 && "
               "ip address add 198.51.100.1/24 dev in && "
               "ip address add 203.0.113.1/24 dev away && "
               "ip link set lo up && ip link set out up && ip link set in up && "
               "ip link set away up && ip link set far up && "
               "ip neighbour add 203.0.113.2 lladdr 02:00:00:00:00:99 dev away && "
               "ip route add 10.0.0.0/8 via 203.0.113.2" );
   socket_ = ::socket( AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, 0 );
   const int direct = 1;
   if ( socket_ < 0 ||
        ::setsockopt( socket_, SOL_PACKET, PACKET_QDISC_BYPASS, &direct, sizeof direct ) != 0 ) {
      fail( "no packet sockets" );
   }
}

Forwarder::~Forwarder() { ::close( socket_ ); }

U32 Forwarder::in() const { return if_nametoindex( "in" ); }

// The destination, and the header's checksum with it.
void Forwarder::address( Packet& packet, U32 destination ) const {
   Osk::storeBig32( &packet[16], destination );
   packet[10] = packet[11] = 0;
   U32 sum = 0;
   for ( std::size_t at = 0; at < 20; at += 2 ) {
      sum += Osk::loadBig16( &packet[at] );
   }
   sum = ( sum & 0xFFFF ) + ( sum >> 16 );
   sum = ( sum & 0xFFFF ) + ( sum >> 16 );
   packet[10] = static_cast< U8 >( ~sum >> 8 );
   packet[11] = static_cast< U8 >( ~sum );
}

U64 Forwarder::forwarded() const {
   std::ifstream devices( "/proc/thread-self/net/dev" );
   for ( Vek::String line; std::getline( devices, line ); ) {
      const std::size_t colon = line.find( "far:" );
      if ( colon != Vek::String::npos ) {
         U64 bytes = 0;
         U64 packets = 0;
         std::sscanf( line.c_str() + colon + 4, "%lu %lu", &bytes, &packets );
         return packets;
      }
   }
   fail( "no interface 'far'" );
}

double Forwarder::packetsPerSecond( U32 count, double seconds ) {
   using Clock = std::chrono::steady_clock;
   sockaddr_ll to{};
   to.sll_family = AF_PACKET;
   to.sll_protocol = htons( 0x0800 );
   to.sll_ifindex = static_cast< int >( if_nametoindex( "out" ) );
   to.sll_halen = 6;
   to.sll_addr[0] = 2;
   to.sll_addr[5] = 2;
   std::array< Packet, batch > packets;
   std::array< iovec, batch > parts;
   std::array< mmsghdr, batch > messages{};
   for ( std::size_t i = 0; i < batch; ++i ) {
      packets[i] = { 0x45, 0,   0, 60, 0, 0, 0, 0,    64,   17, 0,  0, 198,
                     51,   100, 2, 0,  0, 0, 0, 0x30, 0x39, 0,  80, 0, 40 };
      parts[i] = { packets[i].data(), packets[i].size() };
      messages[i].msg_hdr.msg_name = &to;
      messages[i].msg_hdr.msg_namelen = sizeof to;
      messages[i].msg_hdr.msg_iov = &parts[i];
      messages[i].msg_hdr.msg_iovlen = 1;
   }
   const U64 before = forwarded();
   const auto start = Clock::now();
   const auto end = start + std::chrono::duration_cast< Clock::duration >(
                               std::chrono::duration< double >( seconds ) );
   U32 next = 0;
   while ( Clock::now() < end ) {
      for ( Packet& packet : packets ) {
         // Neighbours in the list are not neighbours in memory.
         next = ( next + 7919 ) % count;
         address( packet, firstAddress + next );
      }
      if ( ::sendmmsg( socket_, messages.data(), batch, 0 ) < 0 ) {
         fail( "cannot send packets" );
      }
   }
   const std::chrono::duration< double > took = Clock::now() - start;
   return static_cast< double >( forwarded() - before ) / took.count();
}

} // namespace Bench
