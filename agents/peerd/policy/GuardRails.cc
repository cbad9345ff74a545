#include "agents/peerd/policy/GuardRails.h"

#include "match/Packet.h"
#include "wire/Canonical.h"

#include <algorithm>
#include <array>

namespace Peerd {

namespace {

using Flowspec::MatchCompType;
using Wire::ValueRange;

constexpr U8 tcp = 6;
// Of the two headers without options.
constexpr U32 leastSegment( Zorv::AddressFamily family ) {
   return family == Zorv::AddressFamily::ipv6 ? 60 : 40;
}
constexpr std::array allPorts{ ValueRange{ 1, 65535 } };

bool contains( const Zorv::IpGenPrefix& prefix, const Zorv::IpGenAddr& address ) {
   return prefix.empty() || ( prefix.family() == address.family() &&
                              address.masked( prefix.length() ) == prefix.address() );
}

using Ranges = std::span< const ValueRange >;

bool overlap( const ValueRange& a, const ValueRange& b ) {
   return a.low <= b.high && b.low <= a.high;
}
bool overlap( Ranges a, ValueRange b ) {
   return std::ranges::any_of( a, [&]( const ValueRange& range ) { return overlap( range, b ); } );
}
bool has( Ranges ranges, U16 port ) { return overlap( ranges, { port, port } ); }

// Whether both and `allPorts` have a port in common; all are ascending.
bool overlap( Ranges a, Ranges b ) {
   for ( std::size_t i = 0, j = 0; i < a.size() && j < b.size(); ) {
      const ValueRange common{ std::max( a[i].low, b[j].low ), std::min( a[i].high, b[j].high ) };
      if ( common.low <= common.high && common.high > 0 ) {
         return true;
      }
      ( a[i].high < b[j].high ? i : j )++;
   }
   return false;
}

// Whether some combination without `clear` is admitted.
bool admitsWithout( const Wire::FlagFunction& function, U32 clear ) {
   for ( U32 combination = 0; combination < U32{ 1 } << function.flags(); ++combination ) {
      if ( ( combination & clear ) == 0 && function.admits( combination ) ) {
         return true;
      }
   }
   return false;
}

// The ports that a rule admits.
struct Ports {
   Ranges either = allPorts; ///< of `port`, which holds for one of the two
   Ranges destination = allPorts;
   Ranges source = allPorts;
   bool anyEither = true;

   // Whether it admits a segment with the port `known` on one side, which `known` there and
   // `other` on the other side are about.
   bool admit( U16 port, Ranges side, Ranges otherSide ) const {
      return has( side, port ) &&
             ( anyEither || has( either, port ) ? overlap( otherSide, allPorts )
                                                : overlap( otherSide, either ) );
   }
};

// Whether a component admits a segment of TCP; of a component about ports, whether there are any.
bool admitsSegment( const Wire::CanonicalComponent& component, Zorv::AddressFamily family,
                    Ports& ports ) {
   switch ( component.type ) {
   case Flowspec::ipProto:
      return overlap( component.ranges, { tcp, tcp } );
   case Flowspec::port:
      ports.either = component.ranges;
      ports.anyEither = false;
      return true;
   case Flowspec::destPort:
      ports.destination = component.ranges;
      return true;
   case Flowspec::srcPort:
      ports.source = component.ranges;
      return true;
   case Flowspec::icmpType:
   case Flowspec::icmpCode:
      return false;
   case Flowspec::packetLength:
      return overlap( component.ranges, { leastSegment( family ), ~U32{ 0 } } );
   case Flowspec::fragment:
      return admitsWithout( component.flags, Match::FragmentBits::isFragment );
   default:
      return true; // some flags, DSCP or flow label are admitted, as the rule admits a packet
   }
}

// Whether the rule admits a segment from `source` to `destination` in which one end uses its port.
bool admits( const Wire::CanonicalRule& rule, const Ports& ports, const Zorv::IpGenAddr& source,
             U16 sourcePort, const Zorv::IpGenAddr& destination, U16 destinationPort ) {
   return contains( rule.srcPrefix(), source ) && contains( rule.destPrefix(), destination ) &&
          ( ports.admit( destinationPort, ports.destination, ports.source ) ||
            ports.admit( sourcePort, ports.source, ports.destination ) );
}

bool mayCover( const Flowspec::FlowspecKey& key, const SessionEnds& session ) {
   const auto between = [&]( const Zorv::IpGenAddr& source, const Zorv::IpGenAddr& destination ) {
      return contains( key.destPrefix(), destination ) && contains( key.srcPrefix(), source );
   };
   return !session.local.empty() && key.addressFamily() == session.peer.family() &&
          ( between( session.peer, session.local ) || between( session.local, session.peer ) );
}

} // namespace

bool matchesEverything( const Flowspec::FlowspecKey& key ) {
   if ( key.destPrefix().length() != 0 || key.srcPrefix().length() != 0 ) {
      return false;
   }
   const Wire::CanonicalRule rule( key );
   return !rule.nothing() && rule.components().empty();
}

bool coversSession( const Flowspec::FlowspecKey& key, const SessionEnds& session ) {
   if ( !mayCover( key, session ) ) {
      return false;
   }
   const Wire::CanonicalRule rule( key );
   if ( rule.nothing() ) {
      return false;
   }
   Ports ports;
   for ( const Wire::CanonicalComponent& component : rule.components() ) {
      if ( !admitsSegment( component, rule.family(), ports ) ) {
         return false;
      }
   }
   return admits( rule, ports, session.peer, session.peerPort, session.local, session.localPort ) ||
          admits( rule, ports, session.local, session.localPort, session.peer, session.peerPort );
}

} // namespace Peerd
