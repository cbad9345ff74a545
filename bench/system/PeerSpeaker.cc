#include "bench/system/PeerSpeaker.h"

#include "Osk/Endian.h"
#include "agents/bgp/message/Header.h"
#include "agents/bgp/message/Open.h"
#include "agents/bgp/message/PathAttributes.h"
#include "agents/bgp/message/UpdateWriter.h"
#include "bench/system/Child.h"

#include <algorithm>
#include <bit>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Bench {

namespace {

constexpr U32 as = 64600;

sockaddr_in ipv4( const char* address, U16 port ) {
   sockaddr_in result{};
   result.sin_family = AF_INET;
   result.sin_port = htons( port );
   ::inet_pton( AF_INET, address, &result.sin_addr );
   return result;
}

// A rule with its length field.
void appendRule( U32 number, std::vector< U8 >& out ) {
   const std::size_t length = out.size();
   out.push_back( 0 );
   out.insert( out.end(), { 1, 32, 10 } );
   out.insert( out.end(), { static_cast< U8 >( number >> 16 ), static_cast< U8 >( number >> 8 ),
                            static_cast< U8 >( number ) } );
   out.insert( out.end(), { 3, 0x81, static_cast< U8 >( number % 3 == 0 ? 17 : 6 ) } );
   const auto port = static_cast< U16 >( 1024 + number % 50000 );
   out.push_back( 5 );
   if ( number % 2 == 0 ) {
      out.insert( out.end(), { 0x01, 53 } );
   }
   out.insert( out.end(), { 0x91, static_cast< U8 >( port >> 8 ), static_cast< U8 >( port ) } );
   out[length] = static_cast< U8 >( out.size() - length - 1 );
}

std::vector< U8 > attributes( U32 number ) {
   const U8 path[] = { 2, 1, 0, 0, as >> 8, as & 0xFF };
   U8 rate[] = { 0x80, 0x06, 0, 0, 0, 0, 0, 0 };
   Osk::storeBig32( rate + 4, std::bit_cast< U32 >( static_cast< float >( number % 8 * 1000 ) ) );
   Bgp::PathAttributes said;
   said.asPath = Bgp::AsPath( path );
   said.communities.extended = rate;
   std::vector< U8 > octets;
   Bgp::writeAttributes( said, true, octets );
   return octets;
}

} // namespace

PeerSpeaker::PeerSpeaker( const Vek::String& address, U16 port ) {
   const sockaddr_in from = ipv4( address.c_str(), 0 );
   const sockaddr_in to = ipv4( "127.0.0.1", port );
   for ( int tries = 0; tries < 300; ++tries ) {
      socket_ = ::socket( AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0 );
      if ( ::bind( socket_, reinterpret_cast< const sockaddr* >( &from ), sizeof from ) == 0 &&
           ::connect( socket_, reinterpret_cast< const sockaddr* >( &to ), sizeof to ) == 0 &&
           greet() ) {
         return;
      }
      ::close( socket_ );
      ::usleep( 100'000 );
   }
   fail( "no session can be made" );
}

PeerSpeaker::~PeerSpeaker() { ::close( socket_ ); }

// Whether the other side answers with an OPEN and a KEEPALIVE.
bool PeerSpeaker::greet() {
   Bgp::Open open;
   open.as = as;
   open.identifier = 0x09090900;
   open.capabilities.families = { Bgp::ipv4Flow };
   open.capabilities.fourOctetAs = as;
   std::vector< U8 > messages;
   Bgp::writeOpen( open, messages );
   Bgp::writeKeepalive( messages );
   if ( ::send( socket_, messages.data(), messages.size(), MSG_NOSIGNAL ) !=
        static_cast< ssize_t >( messages.size() ) ) {
      return false;
   }
   for ( const auto type : { Bgp::MessageType::open, Bgp::MessageType::keepalive } ) {
      U8 header[Bgp::headerSize];
      std::vector< U8 > body( Bgp::maxMessage );
      if ( ::recv( socket_, header, sizeof header, MSG_WAITALL ) != sizeof header ||
           header[18] != static_cast< U8 >( type ) ) {
         return false;
      }
      const std::size_t length = Osk::loadBig16( header + 16 ) - sizeof header;
      if ( length > 0 && ::recv( socket_, body.data(), length, MSG_WAITALL ) !=
                            static_cast< ssize_t >( length ) ) {
         return false;
      }
   }
   return true;
}

void PeerSpeaker::drop() {
   U8 octets[4096];
   while ( ::recv( socket_, octets, sizeof octets, MSG_DONTWAIT ) > 0 ) {
   }
}

void PeerSpeaker::send( const std::vector< U8 >& messages ) {
   for ( std::size_t sent = 0; sent < messages.size(); ) {
      pollfd ready{ socket_, POLLOUT, 0 };
      ::poll( &ready, 1, -1 );
      drop();
      const ssize_t count = ::send( socket_, messages.data() + sent, messages.size() - sent,
                                    MSG_NOSIGNAL | MSG_DONTWAIT );
      if ( count < 0 && errno != EAGAIN ) {
         fail( "the session is lost" );
      }
      sent += count > 0 ? static_cast< std::size_t >( count ) : 0;
   }
}

std::vector< U8 > announcements( U32 first, U32 count ) {
   std::vector< U8 > out;
   for ( U32 at = 0; at < count; at += rulesPerMessage ) {
      const std::vector< U8 > said = attributes( ( first + at ) / rulesPerMessage );
      auto writer = Bgp::UpdateWriter::announcing( Bgp::ipv4Flow, said, Bgp::maxMessage, out );
      for ( U32 i = at; i < std::min( at + rulesPerMessage, count ); ++i ) {
         std::vector< U8 > rule;
         appendRule( first + i, rule );
         (void)writer.add( rule ); // a small part of a message
      }
      writer.finish();
   }
   return out;
}

std::vector< U8 > withdrawals( U32 first, U32 count ) {
   std::vector< U8 > out;
   for ( U32 at = 0; at < count; at += rulesPerMessage ) {
      auto writer = Bgp::UpdateWriter::withdrawing( Bgp::ipv4Flow, Bgp::maxMessage, out );
      for ( U32 i = at; i < std::min( at + rulesPerMessage, count ); ++i ) {
         std::vector< U8 > rule;
         appendRule( first + i, rule );
         (void)writer.add( rule ); // a small part of a message
      }
      writer.finish();
   }
   return out;
}

} // namespace Bench
