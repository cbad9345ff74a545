#include "agents/bgp/session/SessionConfig.h"

#include "Vek/text/Text.h"

#include <algorithm>

namespace Bgp {

namespace {

// What the kernel takes (TCP_MD5SIG_MAXKEYLEN).
constexpr std::size_t maxPassword = 80;
// The restart time has 12 bits.
constexpr U16 maxRestartTime = 4095;

} // namespace

Vek::String SocketAddress::text() const {
   return address.family() == Zorv::AddressFamily::ipv6
             ? Vek::concat( '[', address.stringValue(), "]:", port )
             : Vek::concat( address.stringValue(), ':', port );
}

Vek::String fault( const SessionConfig& config ) {
   if ( config.peer.address.empty() ) {
      return "the peer has no address";
   }
   if ( !config.localAddress.empty() &&
        config.localAddress.family() != config.peer.address.family() ) {
      return Vek::concat( "the local address ", config.localAddress.stringValue(),
                          " is not of the family of ", config.peer.address.stringValue() );
   }
   if ( config.localAs == 0 || config.peerAs == 0 ) {
      return "0 is not an AS number";
   }
   if ( config.routerId == 0 ) {
      return "0 is not a router id";
   }
   if ( config.families.empty() ) {
      return "there is no address family";
   }
   for ( std::size_t i = 1; i < config.families.size(); ++i ) {
      const auto at = config.families.begin() + static_cast< std::ptrdiff_t >( i );
      if ( std::find( config.families.begin(), at, *at ) != at ) {
         return Vek::concat( "the address family ", name( *at ), " is there twice" );
      }
   }
   if ( config.holdTime == 1 || config.holdTime == 2 ) {
      return Vek::concat( "the hold time ", config.holdTime, " is neither 0 nor at least 3" );
   }
   if ( config.connectRetryTime == 0 ) {
      return "the connect retry time is 0, the least is 1";
   }
   if ( config.password.size() > maxPassword ) {
      return Vek::concat( "the password has ", config.password.size(), " octets, at most are ",
                          maxPassword );
   }
   if ( config.restartTime > maxRestartTime ) {
      return Vek::concat( "the restart time is ", config.restartTime, " seconds, at most are ",
                          maxRestartTime );
   }
   return {};
}

} // namespace Bgp
