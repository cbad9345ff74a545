#include "forms/FilterLosses.h"

#include <algorithm>

namespace Forms {

namespace {

using namespace Classification;

Reason prefixLoss( const std::set< Zorv::IpGenPrefix >& prefixes, std::string_view name ) {
   return prefixes.size() > 1 ? Reason( Vek::concat( "of ", prefixes.size(), ' ', name, " only ",
                                                     *prefixes.begin(), " is kept" ) )
                              : std::nullopt;
}

// The port fields without the identifiers that tell them apart.
std::set< std::pair< std::set< PortRange >, std::set< PortRange > > >
portsOf( const ProtoField& field ) {
   std::set< std::pair< std::set< PortRange >, std::set< PortRange > > > ports;
   for ( const auto& [id, port] : field.port ) {
      ports.emplace( port.sport, port.dport );
   }
   return ports;
}

bool sameCriteria( const ProtoField& a, const ProtoField& b ) {
   return portsOf( a ) == portsOf( b ) && a.icmpType == b.icmpType &&
          a.tcpFlagAndMask == b.tcpFlagAndMask;
}

// Several pairs are kept when they are alike in one of their parts.
bool mixesPorts( const ProtoField& field ) {
   const auto ports = portsOf( field );
   return std::ranges::any_of(
             ports, [&]( const auto& port ) { return port.first != ports.begin()->first; } ) &&
          std::ranges::any_of(
             ports, [&]( const auto& port ) { return port.second != ports.begin()->second; } );
}

bool mixesCodes( const ProtoField& field ) {
   return std::ranges::any_of( field.icmpType, [&]( const auto& type ) {
      return type.second != field.icmpType.begin()->second;
   } );
}

Reason fieldLoss( const ProtoField& field ) {
   if ( std::ranges::any_of( field.tcpFlagAndMask,
                             []( const TcpFlagAndMask& flags ) { return flags.mask() == 0; } ) ) {
      return "a TCP flag without a mask is left out";
   }
   if ( mixesPorts( field ) ) {
      return "the source ports of each 'ports' are asked with the destination ports of all";
   }
   return mixesCodes( field ) ? Reason( "the codes of each ICMP type are asked of all types" )
                              : std::nullopt;
}

Reason protocolLoss( const std::map< ProtocolRange, ProtoField >& protocols ) {
   for ( const auto& [protocol, field] : protocols ) {
      if ( !sameCriteria( field, protocols.begin()->second ) ) {
         return "the criteria of each protocol are asked of all protocols";
      }
      if ( Reason loss = fieldLoss( field ) ) {
         return loss;
      }
   }
   return std::nullopt;
}

} // namespace

Reason filterLoss( const StructuredFilter& filter ) {
   if ( Reason loss = prefixLoss( filter.destPrefix, "destPrefix" ) ) {
      return loss;
   }
   if ( Reason loss = prefixLoss( filter.srcPrefix, "srcPrefix" ) ) {
      return loss;
   }
   if ( filter.fragment && filter.fragment->fragmentType() != FragmentType::anyFragment ) {
      return Vek::concat( "fragment '", stringValue( filter.fragment->fragmentType() ),
                          "' is left out" );
   }
   return protocolLoss( filter.proto );
}

} // namespace Forms
