#include "agents/bgp/session/Socket.h"

#include "Vek/text/Text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Bgp {

namespace {

using Zorv::AddressFamily;
using Zorv::IpGenAddr;

constexpr int maxHops = 255;
// Internetwork control, which networks keep apart from their users' packets.
constexpr int trafficClass = 0xC0;

[[noreturn]] void fail( std::string_view doing ) {
   throw std::system_error( errno, std::generic_category(), Vek::concat( "cannot ", doing ) );
}

// An address as system calls take it.
struct SystemAddress {
   sockaddr_storage storage{};
   socklen_t size = sizeof storage;

   SystemAddress() = default;
   explicit SystemAddress( const SocketAddress& end ) {
      if ( isIpv6( end.address ) ) {
         sockaddr_in6 address{};
         address.sin6_family = AF_INET6;
         address.sin6_port = htons( end.port );
         std::memcpy( &address.sin6_addr, end.address.bytes().data(), sizeof address.sin6_addr );
         set( address );
      } else {
         sockaddr_in address{};
         address.sin_family = AF_INET;
         address.sin_port = htons( end.port );
         address.sin_addr.s_addr = htonl( end.address.ipv4Value() );
         set( address );
      }
   }

   static bool isIpv6( const IpGenAddr& address ) {
      return address.family() == AddressFamily::ipv6;
   }

   sockaddr* get() { return reinterpret_cast< sockaddr* >( &storage ); }

   SocketAddress end() const {
      if ( storage.ss_family == AF_INET6 ) {
         sockaddr_in6 address;
         std::memcpy( &address, &storage, sizeof address );
         IpGenAddr::Bytes bytes;
         std::memcpy( bytes.data(), &address.sin6_addr, bytes.size() );
         return { IpGenAddr::ipv6( bytes ), ntohs( address.sin6_port ) };
      }
      if ( storage.ss_family == AF_INET ) {
         sockaddr_in address;
         std::memcpy( &address, &storage, sizeof address );
         return { IpGenAddr::ipv4( ntohl( address.sin_addr.s_addr ) ), ntohs( address.sin_port ) };
      }
      return {};
   }

private:
   template < typename T >
   void set( const T& address ) {
      std::memcpy( &storage, &address, sizeof address );
      size = sizeof address;
   }
};

Socket open( const IpGenAddr& address, std::string_view doing ) {
   const int domain = SystemAddress::isIpv6( address ) ? AF_INET6 : AF_INET;
   Socket socket( ::socket( domain, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0 ) );
   if ( !socket ) {
      fail( doing );
   }
   return socket;
}

void set( const Socket& socket, int level, int option, int value, std::string_view doing ) {
   if ( ::setsockopt( socket.fd(), level, option, &value, sizeof value ) < 0 ) {
      fail( doing );
   }
}

void hopsAre( const Socket& socket, bool ipv6, int hops ) {
   set( socket, ipv6 ? IPPROTO_IPV6 : IPPROTO_IP, ipv6 ? IPV6_UNICAST_HOPS : IP_TTL, hops,
        "set the hop limit" );
}

// A packet that was sent with 255 has at least 256 - n left after n - 1 routers.
void leastHopsLeftAre( const Socket& socket, bool ipv6, int hops ) {
   set( socket, ipv6 ? IPPROTO_IPV6 : IPPROTO_IP, ipv6 ? IPV6_MINHOPCOUNT : IP_MINTTL, hops,
        "set the least hop limit of what arrives" );
}

} // namespace

Socket::~Socket() {
   if ( fd_ >= 0 ) {
      ::close( fd_ );
   }
}

Socket connectTo( const SessionConfig& config ) {
   const Vek::String doing = Vek::concat( "connect to ", config.peer.text() );
   Socket socket = open( config.peer.address, doing );
   take( socket, config );
   if ( !config.localAddress.empty() ) {
      SystemAddress local( { config.localAddress, 0 } );
      if ( ::bind( socket.fd(), local.get(), local.size ) < 0 ) {
         fail( Vek::concat( "connect from ", config.localAddress.stringValue() ) );
      }
   }
   SystemAddress peer( config.peer );
   if ( ::connect( socket.fd(), peer.get(), peer.size ) < 0 && errno != EINPROGRESS ) {
      fail( doing );
   }
   return socket;
}

Socket listenOn( const SocketAddress& address, int backlog ) {
   const Vek::String doing = Vek::concat( "listen on ", address.text() );
   Socket socket = open( address.address, doing );
   const bool ipv6 = SystemAddress::isIpv6( address.address );
   set( socket, SOL_SOCKET, SO_REUSEADDR, 1, doing );
   if ( ipv6 ) {
      set( socket, IPPROTO_IPV6, IPV6_V6ONLY, 1, doing );
   }
   hopsAre( socket, ipv6, maxHops );
   SystemAddress local( address );
   if ( ::bind( socket.fd(), local.get(), local.size ) < 0 ||
        ::listen( socket.fd(), backlog ) < 0 ) {
      fail( doing );
   }
   return socket;
}

void take( const Socket& connection, const SessionConfig& config ) {
   const bool ipv6 = SystemAddress::isIpv6( config.peer.address );
   const int hops = config.hops != 0 ? config.hops : config.isInternal() ? maxHops : 1;
   hopsAre( connection, ipv6, config.ttlSecurity ? maxHops : hops );
   if ( config.ttlSecurity ) {
      leastHopsLeftAre( connection, ipv6, maxHops + 1 - hops );
   }
   if ( !config.password.empty() ) {
      passwordIs( connection, config.peer.address, config.password );
   }
   // Messages are sent when they are complete: there is nothing to wait for.
   set( connection, IPPROTO_TCP, TCP_NODELAY, 1, "send without delay" );
   set( connection, ipv6 ? IPPROTO_IPV6 : IPPROTO_IP, ipv6 ? IPV6_TCLASS : IP_TOS, trafficClass,
        "set the traffic class" );
}

void passwordIs( const Socket& socket, const IpGenAddr& peer, const Vek::String& password ) {
   tcp_md5sig signature{};
   const SystemAddress address( { peer, 0 } );
   std::memcpy( &signature.tcpm_addr, &address.storage, sizeof address.storage );
   const std::size_t length = std::min( password.size(), sizeof signature.tcpm_key );
   signature.tcpm_keylen = static_cast< decltype( signature.tcpm_keylen ) >( length );
   std::memcpy( signature.tcpm_key, password.data(), length );
   if ( ::setsockopt( socket.fd(), IPPROTO_TCP, TCP_MD5SIG, &signature, sizeof signature ) < 0 &&
        !( password.empty() && errno == ENOENT ) ) {
      fail( Vek::concat( "set the password of ", peer.stringValue() ) );
   }
}

SocketAddress localEnd( const Socket& socket ) {
   SystemAddress address;
   return ::getsockname( socket.fd(), address.get(), &address.size ) == 0 ? address.end()
                                                                          : SocketAddress{ {}, 0 };
}

SocketAddress remoteEnd( const Socket& socket ) {
   SystemAddress address;
   return ::getpeername( socket.fd(), address.get(), &address.size ) == 0 ? address.end()
                                                                          : SocketAddress{ {}, 0 };
}

int connectError( const Socket& socket ) {
   int error = 0;
   socklen_t size = sizeof error;
   if ( ::getsockopt( socket.fd(), SOL_SOCKET, SO_ERROR, &error, &size ) < 0 ) {
      return errno;
   }
   return error != 0 || !remoteEnd( socket ).address.empty() ? error : EINPROGRESS;
}

} // namespace Bgp
