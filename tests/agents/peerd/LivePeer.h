#pragma once

#include "tests/agents/peerd/RunningPeerd.h"

#include <stdexcept>
#include <thread>

namespace TestSupport {

/// One that waits for a raw peer to connect, takes all rules of all families, and never refuses
/// connections for errors of the past.
inline Vek::String livePeer( std::string_view name, std::string_view address ) {
   return Vek::concat( R"({"name":")", name, R"(","address":")", address,
                       R"(","as":64500,"passive":true,"idleHoldTime":0,"extendedMessages":false,)"
                       R"("families":["ipv4-flow","ipv6-flow","ipv4-vpn-flow","ipv6-vpn-flow"],)"
                       R"("guards":{"everything":false,"sessions":false}})" );
}

/// Waits for octets, a minute at most, and reads them. False when the connection is over.
inline bool hear( RawPeer& peer ) {
   pollfd polled{ .fd = peer.fd(), .events = POLLIN, .revents = 0 };
   if ( ::poll( &polled, 1, 60'000 ) != 1 ) {
      throw std::runtime_error( "peerd is silent" );
   }
   return !peer.read();
}

/// What the peer is told at the end of its session: "3/9 HEX", code, subcode and data, or "closed".
inline std::string ending( RawPeer& peer ) {
   while ( hear( peer ) ) {
   }
   const auto told = peer.farewell();
   return told ? Vek::concat( told->code, '/', told->subcode, ' ', hexOf( told->data ) ) : "closed";
}

/// A session of all families; tries again while peerd still has the last one.
inline std::unique_ptr< RawPeer > liveSession( RunningPeerd& peerd, std::string_view from ) {
   EXPECT_TRUE( peerd.until( [&] { return peerd.state( "first" ) != nullptr; } ) );
   Bgp::Open open = RawPeer::open();
   open.capabilities.families.assign( Bgp::flowFamilies.begin(), Bgp::flowFamilies.end() );
   for ( int attempt = 0; attempt < 1000; ++attempt ) {
      auto peer = std::make_unique< RawPeer >( peerd.listens, from );
      peer->send( RawPeer::octets( open ) );
      peer->send( RawPeer::keepalive() );
      bool isOpen = true;
      while ( isOpen && peer->types().size() < 2 ) {
         isOpen = hear( *peer );
      }
      if ( const auto types = peer->types(); types.size() >= 2 && types[1] == 4 ) {
         return peer;
      }
      std::this_thread::sleep_for( std::chrono::milliseconds( 5 ) );
   }
   throw std::runtime_error( "no session: " + peerd.process->errors() );
}

} // namespace TestSupport
