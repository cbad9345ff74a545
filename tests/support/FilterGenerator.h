#pragma once

#include "tests/support/PacketModel.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <vector>

namespace TestSupport {

/// Random filters, and packets that come close to what a filter asks for; the same ones for a seed
/// on every machine.
class FilterGenerator {
public:
   explicit FilterGenerator( U64 seed ) : random_( seed ) {}

   U32 below( U32 count ) { return static_cast< U32 >( random_() % count ); }
   bool oneIn( U32 count ) { return below( count ) == 0; }

   /// A filter of one family with at most one prefix a side, the same criteria for every protocol,
   /// the same codes for every ICMP type, ports in one field or on one side only, masks with bits
   /// in them, and the fragment type of any fragment or none.
   Vek::Ptr< Classification::StructuredFilter > filter( Zorv::AddressFamily family ) {
      const auto result = Classification::structuredFilterFactory();
      if ( oneIn( 2 ) ) {
         result->destPrefix.insert( prefix( family ) );
      }
      if ( oneIn( 2 ) ) {
         result->srcPrefix.insert( prefix( family ) );
      }
      const Classification::ProtoField criteria = protoField();
      for ( U32 i = below( 4 ); i > 0; --i ) {
         // Which identifiers the port fields of a protocol have makes no difference.
         Classification::ProtoField& field =
            result->proto[range< Classification::ProtocolRange >()];
         field = criteria;
         field.port.clear();
         for ( const auto& [id, port] : criteria.port ) {
            field.port[Osk::UniqueId()] = port;
         }
      }
      if ( oneIn( 3 ) ) {
         result->length = ranges< Classification::PacketLengthRange >();
      }
      if ( oneIn( 3 ) ) {
         result->dscp = ranges< Classification::DscpRange >();
      }
      if ( oneIn( 4 ) ) {
         result->fragment =
            Classification::fragmentFactory( Classification::FragmentType::anyFragment );
      }
      return result;
   }

   Packet packet( const Classification::StructuredFilter& filter, Zorv::AddressFamily family ) {
      Packet result;
      result.destination = near( filter.destPrefix, family );
      result.source = near( filter.srcPrefix, family );
      result.length = static_cast< U16 >( near( filter.length ) );
      result.dscp = static_cast< U8 >( near( filter.dscp ) % 64 );
      result.dontFragment = oneIn( 4 );
      result.moreFragments = oneIn( filter.fragment ? 2 : 8 );
      result.atOffset = oneIn( filter.fragment ? 2 : 8 );
      std::vector< Classification::ProtocolRange > protocols;
      std::vector< Classification::PortRange > ports;
      std::vector< Classification::IcmpTypeRange > types;
      std::vector< Classification::IcmpCodeRange > codes;
      result.tcpFlags = static_cast< U8 >( random_() );
      for ( const auto& [protocol, field] : filter.proto ) {
         protocols.push_back( protocol );
         for ( const auto& [id, port] : field.port ) {
            ports.insert( ports.end(), port.sport.begin(), port.sport.end() );
            ports.insert( ports.end(), port.dport.begin(), port.dport.end() );
         }
         for ( const auto& [type, code] : field.icmpType ) {
            types.push_back( type );
            codes.insert( codes.end(), code.icmpCode.begin(), code.icmpCode.end() );
         }
         for ( const Classification::TcpFlagAndMask& test : field.tcpFlagAndMask ) {
            if ( oneIn( 2 ) ) {
               result.tcpFlags = test.flag() ^ static_cast< U8 >( 1U << below( 16 ) );
            }
         }
      }
      static constexpr U8 usual[] = { 1, 6, 6, 17, 58 };
      result.protocol = oneIn( 4 ) ? static_cast< U8 >( near( protocols ) ) : usual[below( 5 )];
      result.destPort = static_cast< U16 >( near( ports ) );
      result.srcPort = static_cast< U16 >( near( ports ) );
      result.icmpType = static_cast< U8 >( near( types ) );
      result.icmpCode = static_cast< U8 >( near( codes ) );
      return result;
   }

private:
   Zorv::IpGenAddr address( Zorv::AddressFamily family ) {
      Zorv::IpGenAddr::Bytes bytes;
      std::ranges::generate( bytes, [&] { return static_cast< U8 >( random_() ); } );
      return family == Zorv::AddressFamily::ipv6
                ? Zorv::IpGenAddr::ipv6( bytes )
                : Zorv::IpGenAddr::ipv4( static_cast< U32 >( random_() ) );
   }

   Zorv::IpGenPrefix prefix( Zorv::AddressFamily family ) {
      return { address( family ), below( family == Zorv::AddressFamily::ipv6 ? 129 : 33 ) };
   }

   /// An address of the prefix as often as not.
   Zorv::IpGenAddr near( const std::set< Zorv::IpGenPrefix >& prefixes,
                         Zorv::AddressFamily family ) {
      return prefixes.empty() || oneIn( 4 ) ? address( family ) : prefixes.begin()->address();
   }

   /// A bound of one of the ranges, or the number beside it, or any number.
   template < typename Ranges >
   U32 near( const Ranges& ranges ) {
      if ( ranges.empty() || oneIn( 8 ) ) {
         return static_cast< U32 >( random_() );
      }
      const auto& range =
         *std::next( ranges.begin(), below( static_cast< U32 >( ranges.size() ) ) );
      const U32 bound = oneIn( 2 ) ? range.rangeMin() : range.rangeMax();
      return bound - 1 + below( 8 ) % 3;
   }

   template < typename Range >
   Range range() {
      // Small numbers are as common as large ones, and so are protocols that have ports or types.
      static constexpr U32 bounds[] = { 0, 1, 6, 17, 58, 255, 256, 65535 };
      const U32 count = Range::max() + 1;
      U32 low = oneIn( 2 ) ? bounds[below( 8 )] % count : below( count );
      U32 high = oneIn( 2 ) ? low : oneIn( 2 ) ? Range::max() : below( count );
      return Range( std::min( low, high ), std::max( low, high ) );
   }

   template < typename Range >
   std::set< Range > ranges() {
      std::set< Range > result;
      for ( U32 i = 1 + below( 3 ); i > 0; --i ) {
         result.insert( range< Range >() );
      }
      return result;
   }

   Classification::ProtoField protoField() {
      Classification::ProtoField field;
      switch ( below( 6 ) ) {
      case 0:
         field.port[Osk::UniqueId()] = { ranges< Classification::PortRange >(),
                                         ranges< Classification::PortRange >() };
         break;
      case 1:
         for ( U32 i = 1 + below( 3 ); i > 0; --i ) {
            field.port[Osk::UniqueId()].dport = ranges< Classification::PortRange >();
         }
         break;
      case 2:
         for ( U32 i = 1 + below( 3 ); i > 0; --i ) {
            field.port[Osk::UniqueId()].sport = ranges< Classification::PortRange >();
         }
         break;
      case 3: {
         const auto codes = oneIn( 2 ) ? ranges< Classification::IcmpCodeRange >()
                                       : std::set< Classification::IcmpCodeRange >();
         for ( const Classification::IcmpTypeRange& type :
               ranges< Classification::IcmpTypeRange >() ) {
            field.icmpType[type].icmpCode = codes;
         }
         return field;
      }
      default:
         break;
      }
      for ( U32 i = oneIn( 2 ) ? below( 4 ) : 0; i > 0; --i ) {
         const U8 bit = static_cast< U8 >( 1U << below( 8 ) );
         const U8 mask = static_cast< U8 >( random_() & random_() ) | bit;
         field.tcpFlagAndMask.emplace( static_cast< U8 >( random_() ), mask );
      }
      return field;
   }

   std::mt19937_64 random_;
};

} // namespace TestSupport
