#include "tests/agents/programd/nftables/PacketWire.h"

#include "Osk/Endian.h"

#include <algorithm>
#include <chrono>
#include <sstream>
#include <thread>

#include <arpa/inet.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/socket.h>

namespace TestSupport {

namespace {

constexpr U8 inAddress[6] = { 2, 0, 0, 0, 0, 2 };

// Tables of the test's own, before and after ours.
constexpr const char* watchers = R"(
table ip watch {
	counter in {}
	counter through {}
	chain before { type filter hook prerouting priority -460; iifname "in" counter name "in"; }
	chain after { type filter hook prerouting priority -440; iifname "in" counter name "through"; }
}
table ip6 watch {
	counter in {}
	counter through {}
	chain before { type filter hook prerouting priority -460; iifname "in" counter name "in"; }
	chain after { type filter hook prerouting priority -440; iifname "in" counter name "through"; }
}
)";

void store16( U8* at, std::size_t value ) {
   at[0] = static_cast< U8 >( value >> 8 );
   at[1] = static_cast< U8 >( value );
}

// Whether a packet is one of those that the kernel cannot be asked about: see `matchLines`.
bool isException( const std::vector< U8 >& packet ) {
   if ( packet[0] >> 4 != 6 ) {
      return false;
   }
   std::size_t at = 40;
   bool authentic = false;
   bool fragment = false;
   U8 next = packet[6];
   while ( next == 0 || next == 43 || next == 44 || next == 51 || next == 60 ) {
      if ( authentic || ( fragment && next == 44 ) || ( next == 43 && at + 4 > packet.size() ) ) {
         return true;
      }
      authentic = next == 51;
      fragment = fragment || next == 44;
      if ( at + 4 > packet.size() || ( next == 44 && Osk::loadBig16( &packet[at + 2] ) >> 3 ) ) {
         return false;
      }
      const std::size_t size = next == 44   ? 8U
                               : next == 51 ? 4U * ( packet[at + 1] + 2U )
                                            : 8U * ( packet[at + 1] + 1U );
      next = packet[at];
      at += size;
   }
   return authentic && ( next == 6 || next == 17 || next == 58 );
}

} // namespace

PacketWire::PacketWire() : missing_( space_.missing() ) {
   if ( !missing_.empty() ) {
      return;
   }
   if ( std::system( "nft list tables >/dev/null 2>&1" ) != 0 ) {
      missing_ = "no nf_tables, or no nft";
      return;
   }
   space_.run( "ip link add out type veth peer name in address 02:00:00:00:00:02" );
   space_.run( "sysctl -qw net.ipv6.conf.out.disable_ipv6=1" );
   space_.run( "ip link set out up && ip link set in up" );
   space_.run( Vek::String( "nft -f - <<'END'" ) + watchers + "END" );
   kernel_.emplace();
   // On one processor no packet is half way while this runs.
   sched_getaffinity( 0, sizeof processors_, &processors_ );
   cpu_set_t one;
   CPU_ZERO( &one );
   CPU_SET( sched_getcpu(), &one );
   sched_setaffinity( 0, sizeof one, &one );
   socket_ = ::socket( AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, 0 );
   index_ = static_cast< int >( if_nametoindex( "out" ) );
}

PacketWire::~PacketWire() {
   if ( socket_ >= 0 ) {
      ::close( socket_ );
      sched_setaffinity( 0, sizeof processors_, &processors_ );
   }
}

Vek::String PacketWire::missing() const { return missing_; }

Zorv::IntfId PacketWire::in() const { return Zorv::IntfId( if_nametoindex( "in" ) ); }

PacketWire::Seen PacketWire::seen() {
   Seen seen;
   for ( const auto family : { Zorv::AddressFamily::ipv4, Zorv::AddressFamily::ipv6 } ) {
      const auto counters = kernel_->counters( family, "watch" );
      seen.in += counters.at( "in" ).packets;
      seen.through += counters.at( "through" ).packets;
   }
   return seen;
}

void PacketWire::sendOne( const std::vector< U8 >& packet ) {
   sockaddr_ll to{};
   to.sll_family = AF_PACKET;
   to.sll_protocol = htons( packet[0] >> 4 == 6 ? 0x86DD : 0x0800 );
   to.sll_ifindex = index_;
   to.sll_halen = sizeof inAddress;
   std::copy_n( inAddress, sizeof inAddress, to.sll_addr );
   if ( ::sendto( socket_, packet.data(), packet.size(), 0, reinterpret_cast< sockaddr* >( &to ),
                  sizeof to ) < 0 ) {
      throw std::runtime_error( std::strerror( errno ) );
   }
}

void PacketWire::flood( const std::vector< U8 >& packet, std::chrono::duration< double > time ) {
   const auto end = std::chrono::steady_clock::now() + time;
   while ( std::chrono::steady_clock::now() < end ) {
      sendOne( packet );
   }
}

bool PacketWire::send( const std::vector< U8 >& packet ) {
   const U64 before = seen().in;
   sendOne( packet );
   for ( int tries = 0; tries < 20; ++tries ) {
      if ( seen().in == before + 1 ) {
         return true;
      }
      std::this_thread::sleep_for( std::chrono::microseconds( 100 ) );
   }
   return false;
}

std::vector< U8 > PacketWire::acceptable( std::vector< U8 > packet ) {
   if ( packet.size() < 20 || ( packet[0] >> 4 == 6 && packet.size() < 40 ) ) {
      return {};
   }
   if ( packet[0] >> 4 == 4 ) {
      if ( ( packet[0] & 0x0F ) < 5 || packet.size() < std::size_t{ 4 } * ( packet[0] & 0x0F ) ) {
         return {};
      }
      const std::size_t length = Osk::loadBig16( &packet[2] );
      if ( length > packet.size() || length < std::size_t{ 4 } * ( packet[0] & 0x0F ) ) {
         store16( &packet[2], packet.size() );
      }
      store16( &packet[10], 0 );
      U32 sum = 0;
      for ( std::size_t at = 0; at < std::size_t{ 4 } * ( packet[0] & 0x0F ); at += 2 ) {
         sum += Osk::loadBig16( &packet[at] );
      }
      sum = ( sum & 0xFFFF ) + ( sum >> 16 );
      sum = ( sum & 0xFFFF ) + ( sum >> 16 );
      store16( &packet[10], ~sum & 0xFFFF );
   } else if ( packet[0] >> 4 == 6 ) {
      if ( Osk::loadBig16( &packet[4] ) + std::size_t{ 40 } > packet.size() ) {
         store16( &packet[4], packet.size() - 40 );
      }
      if ( packet[6] == 0 && packet.size() >= 48 ) {
         std::fill_n( packet.begin() + 42, 6, U8{ 0 } );
      }
   } else {
      return {};
   }
   if ( isException( packet ) ) {
      return {};
   }
   return packet;
}

} // namespace TestSupport
