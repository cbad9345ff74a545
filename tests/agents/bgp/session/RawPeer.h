#pragma once

#include "agents/bgp/message/Header.h"
#include "agents/bgp/message/Open.h"
#include "tests/agents/bgp/session/Sides.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace TestSupport {

/// A peer that says what it likes, from 127.0.0.12.
class RawPeer {
public:
   /// Connects to a side that listens on 127.0.0.11.
   explicit RawPeer( const Bgp::SocketAddress& side, std::string_view from = "127.0.0.12",
                     int receiveBuffer = 0 )
      : fd_( ::socket( AF_INET, SOCK_STREAM, 0 ) ) {
      if ( receiveBuffer != 0 ) {
         ::setsockopt( fd_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer );
      }
      // What is sent goes at once, whatever of it is unacknowledged.
      const int yes = 1;
      ::setsockopt( fd_, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes );
      sockaddr_in local = of( { address( from ), 0 } );
      EXPECT_EQ( ::bind( fd_, reinterpret_cast< sockaddr* >( &local ), sizeof local ), 0 );
      sockaddr_in remote = of( side );
      EXPECT_EQ( ::connect( fd_, reinterpret_cast< sockaddr* >( &remote ), sizeof remote ), 0 );
   }
   RawPeer( const RawPeer& ) = delete;
   RawPeer& operator=( const RawPeer& ) = delete;
   ~RawPeer() { close(); }

   /// The OPEN of a peer that side would have a session with.
   static Bgp::Open open() {
      Bgp::Open open{ 64500, 90, 0x7F00000C, {} };
      open.capabilities.families = { Bgp::ipv4Flow, Bgp::ipv6Flow };
      open.capabilities.fourOctetAs = 64500;
      return open;
   }
   static std::vector< U8 > octets( const Bgp::Open& open ) {
      std::vector< U8 > out;
      writeOpen( open, out );
      return out;
   }
   static std::vector< U8 > octets( const Bgp::Notification& notification ) {
      std::vector< U8 > out;
      writeNotification( notification, out );
      return out;
   }
   static std::vector< U8 > keepalive() {
      std::vector< U8 > out;
      Bgp::writeKeepalive( out );
      return out;
   }
   /// A message of any type and body.
   static std::vector< U8 > message( U8 type, const std::vector< U8 >& body ) {
      std::vector< U8 > out;
      const std::size_t start = Bgp::beginMessage( static_cast< Bgp::MessageType >( type ), out );
      out.insert( out.end(), body.begin(), body.end() );
      Bgp::endMessage( start, out );
      return out;
   }

   /// Sends as much as the connection takes; returns how much that was.
   std::size_t send( std::span< const U8 > octets ) const {
      const ssize_t count =
         ::send( fd_, octets.data(), octets.size(), MSG_NOSIGNAL | MSG_DONTWAIT );
      return count < 0 ? 0 : static_cast< std::size_t >( count );
   }
   void close() { ::close( std::exchange( fd_, -1 ) ); }
   int fd() const { return fd_; }

   /// Reads what has come; whether the other end has closed.
   bool read() {
      U8 room[4096];
      ssize_t count = 0;
      while ( ( count = ::recv( fd_, room, sizeof room, MSG_DONTWAIT ) ) > 0 ) {
         heard.insert( heard.end(), room, room + count );
      }
      return count == 0 || ( errno != EAGAIN && errno != EWOULDBLOCK );
   }

   /// The types of the messages heard so far.
   std::vector< int > types() const {
      std::vector< int > all;
      for ( const auto& each : messages() ) {
         all.push_back( each[18] );
      }
      return all;
   }
   std::vector< std::span< const U8 > > messages() const {
      std::vector< std::span< const U8 > > all;
      std::span< const U8 > rest = heard;
      while ( rest.size() >= Bgp::headerSize ) {
         const std::size_t length = std::size_t{ rest[16] } << 8 | rest[17];
         if ( length > rest.size() ) {
            break;
         }
         all.push_back( rest.first( length ) );
         rest = rest.subspan( length );
      }
      return all;
   }
   /// The last message when it is a NOTIFICATION.
   std::optional< Bgp::Notification > farewell() const {
      const auto all = messages();
      if ( all.empty() || all.back()[18] != 3 ) {
         return std::nullopt;
      }
      return Bgp::readNotification( all.back().subspan( Bgp::headerSize ) );
   }

   std::vector< U8 > heard;

private:
   static sockaddr_in of( const Bgp::SocketAddress& end ) {
      sockaddr_in address{};
      address.sin_family = AF_INET;
      address.sin_port = htons( end.port );
      address.sin_addr.s_addr = htonl( end.address.ipv4Value() );
      return address;
   }

   int fd_;
};

/// A side with a session that waits for a raw peer.
class Waiting {
public:
   Waiting() {
      EXPECT_THAT( side.set.listen( { { address( "127.0.0.11" ), 0 } } ), testing::IsEmpty() );
      configured = config( "raw", "127.0.0.11", "127.0.0.12" );
      configured.passive = true;
      configured.idleHoldTime = 0;
      side.set.apply( { configured } );
   }

   Bgp::SocketAddress listening() const { return side.set.listening().at( 0 ); }

   /// Brings the session up.
   bool establish( RawPeer& peer, const Bgp::Open& open = RawPeer::open() ) {
      peer.send( RawPeer::octets( open ) );
      peer.send( RawPeer::keepalive() );
      return world.until( [&] { return side.up == 1; } );
   }
   /// What the peer is told when it is closed, having read all.
   std::optional< Bgp::Notification > farewell( RawPeer& peer ) {
      EXPECT_TRUE( world.until( [&] { return peer.read(); } ) ) << "it is not closed";
      return peer.farewell();
   }

   World world;
   Side side{ world };
   Bgp::SessionConfig configured;
};

} // namespace TestSupport
