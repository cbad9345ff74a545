#include "dataplane/PacketText.h"

#include "Vek/text/Text.h"

namespace Dataplane {

namespace {

Vek::String protocolText( const Match::Packet& packet ) {
   if ( !packet.protocol ) {
      return "cut";
   }
   switch ( *packet.protocol ) {
   case 6:
      return "tcp";
   case 17:
      return "udp";
   case 1:
      return packet.family == Zorv::AddressFamily::ipv4 ? "icmp" : "proto 1";
   case 58:
      return packet.family == Zorv::AddressFamily::ipv6 ? "icmp" : "proto 58";
   default:
      return Vek::concat( "proto ", U32{ *packet.protocol } );
   }
}

Vek::String endText( const Zorv::IpGenAddr& address, std::optional< U16 > port ) {
   const Vek::String text = address.stringValue();
   if ( !port ) {
      return text;
   }
   return address.family() == Zorv::AddressFamily::ipv6
             ? Vek::concat( '[', std::string_view( text ), "]:", *port )
             : Vek::concat( std::string_view( text ), ':', *port );
}

} // namespace

Vek::String packetText( const Match::Packet& packet ) {
   Vek::String text =
      Vek::concat( Zorv::stringValue( packet.family ), ' ', protocolText( packet ), ' ',
                   endText( packet.source, packet.srcPort ), " > ",
                   endText( packet.destination, packet.destPort ), " length ", packet.length );
   const auto add = [&]( std::string_view name, std::optional< U32 > value ) {
      if ( value ) {
         text += Vek::concat( ' ', name, ' ', *value );
      }
   };
   const auto addBits = [&]( std::string_view name, std::optional< U32 > bits ) {
      if ( bits.value_or( 0 ) != 0 ) {
         Vek::TextWriter( text ) << ' ' << name << " 0x";
         Vek::TextWriter( text ).hex( *bits );
      }
   };
   add( "type", packet.icmpType );
   add( "code", packet.icmpCode );
   addBits( "flags", packet.tcpFlags );
   addBits( "fragment", packet.fragment );
   add( "dscp", packet.dscp == 0 ? std::nullopt : std::optional< U32 >( packet.dscp ) );
   add( "label", packet.flowLabel.value_or( 0 ) == 0 ? std::nullopt : packet.flowLabel );
   return text;
}

} // namespace Dataplane
