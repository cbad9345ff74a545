#include "tests/support/PacketModel.h"

#include <algorithm>
#include <stdexcept>

namespace TestSupport {

namespace {

using namespace Classification;
using Flowspec::MatchOpValResult;

bool contains( const Zorv::IpGenPrefix& prefix, const Zorv::IpGenAddr& address ) {
   return prefix.empty() || ( prefix.family() == address.family() &&
                              address.masked( prefix.length() ) == prefix.address() );
}

bool contains( const NumericalRange& range, U32 value ) {
   return range.rangeMin() <= value && value <= range.rangeMax();
}

/// Whether a criterion is absent, or one of its members contains the value.
template < typename Members, typename Value >
bool passes( const Members& members, const Value& value ) {
   return members.empty() ||
          std::ranges::any_of( members, [&]( const auto& m ) { return contains( m, value ); } );
}

bool portsPass( const ProtoField& field, const Packet& packet ) {
   if ( field.port.empty() ) {
      return true;
   }
   return packet.hasPorts() && std::ranges::any_of( field.port, [&]( const auto& port ) {
             return passes( port.second.sport, packet.srcPort ) &&
                    passes( port.second.dport, packet.destPort );
          } );
}

bool icmpPasses( const ProtoField& field, const Packet& packet ) {
   if ( field.icmpType.empty() ) {
      return true;
   }
   return packet.hasIcmp() && std::ranges::any_of( field.icmpType, [&]( const auto& type ) {
             return contains( type.first, packet.icmpType ) &&
                    passes( type.second.icmpCode, packet.icmpCode );
          } );
}

bool tcpFlagsPass( const ProtoField& field, const Packet& packet ) {
   if ( field.tcpFlagAndMask.empty() ) {
      return true;
   }
   return packet.hasTcp() &&
          std::ranges::any_of( field.tcpFlagAndMask, [&]( const TcpFlagAndMask& test ) {
             return ( packet.tcpFlags & test.mask() ) == ( test.flag() & test.mask() );
          } );
}

bool protocolPasses( const StructuredFilter& filter, const Packet& packet ) {
   return filter.proto.empty() || std::ranges::any_of( filter.proto, [&]( const auto& proto ) {
             return contains( proto.first, packet.protocol ) && portsPass( proto.second, packet ) &&
                    icmpPasses( proto.second, packet ) && tcpFlagsPass( proto.second, packet );
          } );
}

bool fragmentPasses( const StructuredFilter& filter, const Packet& packet ) {
   if ( !filter.fragment ) {
      return true;
   }
   switch ( filter.fragment->fragmentType() ) {
   case FragmentType::anyFragment:
      return packet.isFragment();
   case FragmentType::firstFragment:
      return packet.isFragment() && !packet.atOffset;
   case FragmentType::nonFirstFragment:
      return packet.atOffset;
   case FragmentType::notFragment:
      return !packet.isFragment();
   }
   throw std::logic_error( "no such fragment type" );
}

bool numericHolds( const MatchOpValResult& term, U32 value ) {
   return ( term.lt() && value < term.val32() ) || ( term.gt() && value > term.val32() ) ||
          ( term.eq() && value == term.val32() );
}

bool bitmaskHolds( const MatchOpValResult& term, U32 bits ) {
   const U32 found = bits & term.val32();
   return ( term.match() ? found == term.val32() : found != 0 ) != term.invert();
}

bool termHolds( const MatchOpValResult& term, const Packet& packet ) {
   switch ( term.matchType() ) {
   case Flowspec::ipProto:
      return numericHolds( term, packet.protocol );
   case Flowspec::destPort:
      return packet.hasPorts() && numericHolds( term, packet.destPort );
   case Flowspec::srcPort:
      return packet.hasPorts() && numericHolds( term, packet.srcPort );
   case Flowspec::icmpType:
      return packet.hasIcmp() && numericHolds( term, packet.icmpType );
   case Flowspec::icmpCode:
      return packet.hasIcmp() && numericHolds( term, packet.icmpCode );
   case Flowspec::tcpFlags:
      return packet.hasTcp() && bitmaskHolds( term, packet.tcpFlags );
   case Flowspec::packetLength:
      return numericHolds( term, packet.length );
   case Flowspec::dscp:
      return numericHolds( term, packet.dscp );
   case Flowspec::fragment:
      return bitmaskHolds( term, U32{ packet.dontFragment } | U32{ packet.isFragment() } << 1 |
                                    U32{ packet.isFragment() && !packet.atOffset } << 2 |
                                    U32{ packet.atOffset && !packet.moreFragments } << 3 );
   default:
      throw std::logic_error( "a component that the model does not know" );
   }
}

} // namespace

bool matches( const StructuredFilter& filter, const Packet& packet ) {
   return passes( filter.destPrefix, packet.destination ) &&
          passes( filter.srcPrefix, packet.source ) && protocolPasses( filter, packet ) &&
          passes( filter.length, packet.length ) && passes( filter.dscp, packet.dscp ) &&
          fragmentPasses( filter, packet );
}

bool matches( const Flowspec::FlowspecKey& key, const Packet& packet ) {
   if ( !contains( key.destPrefix(), packet.destination ) ||
        !contains( key.srcPrefix(), packet.source ) ) {
      return false;
   }
   MatchOpValResult term = key.getOptVal( 0 );
   while ( !term.isEnd() ) {
      // AND binds tighter than OR; the AND bit of a component's first term does not count.
      const Flowspec::MatchCompType type = term.matchType();
      bool component = false;
      bool conjunction = termHolds( term, packet );
      for ( term = key.getOptVal( term.nextIndex() ); term.matchType() == type;
            term = key.getOptVal( term.nextIndex() ) ) {
         const bool holds = termHolds( term, packet );
         if ( term.andPrevious() ) {
            conjunction = conjunction && holds;
         } else {
            component = component || conjunction;
            conjunction = holds;
         }
      }
      if ( !component && !conjunction ) {
         return false;
      }
   }
   return true;
}

} // namespace TestSupport
