#pragma once

#include "agents/bgp/message/Header.h"
#include "agents/bgp/message/Update.h"
#include "tests/support/Hex.h"

#include <span>
#include <string>

namespace TestSupport {

/// `value` as so many octets in hexadecimal.
inline std::string hexNumber( std::size_t value, unsigned octets ) {
   std::vector< U8 > bytes( octets );
   for ( unsigned i = 0; i < octets; ++i ) {
      bytes[octets - 1 - i] = static_cast< U8 >( value >> 8 * i );
   }
   return hexOf( bytes );
}

/// One path attribute; flags with the bit 0x10 take a length of two octets.
inline std::string attribute( unsigned flags, unsigned type, const std::string& value ) {
   const std::size_t size = bytesOf( value ).size();
   return hexNumber( flags, 1 ) + hexNumber( type, 1 ) + hexNumber( size, flags & 0x10 ? 2 : 1 ) +
          value;
}

inline const std::string origin = attribute( 0x40, 1, "00" );
/// 64500 64501 as sequence, in four octets.
inline const std::string asPath = attribute( 0x40, 2, "0202 0000FBF4 0000FBF5" );
/// 192.0.2.0/24, and what else a rule for it takes.
inline const std::string rule = "05 0118C00002";
inline const std::string reachRule = attribute( 0x80, 14, "0001 85 00 00" + rule );
inline const std::string unreachRule = attribute( 0x80, 15, "0001 85" + rule );

/// The octets of an UPDATE after the header.
inline std::vector< U8 > updateBody( const std::string& attributes, const std::string& nlri = "",
                                     const std::string& withdrawn = "" ) {
   return bytesOf( hexNumber( bytesOf( withdrawn ).size(), 2 ) + withdrawn +
                   hexNumber( bytesOf( attributes ).size(), 2 ) + attributes + nlri );
}

/// A session of AS 64512 with `peerAs` and all families of rules.
inline Bgp::Agreed agreedWith( U32 peerAs, bool fourOctetAs = true ) {
   Bgp::Agreed agreed;
   agreed.localAs = 64512;
   agreed.peerAs = peerAs;
   agreed.families = { Bgp::flowFamilies.begin(), Bgp::flowFamilies.end() };
   agreed.fourOctetAs = fourOctetAs;
   return agreed;
}
inline const Bgp::Agreed external = agreedWith( 64500 );
inline const Bgp::Agreed internal = agreedWith( 64512 );
inline const Bgp::Agreed twoOctet = agreedWith( 64500, false );

/// The bodies of the messages in `octets`, which are whole and of one type.
inline std::vector< std::vector< U8 > > bodiesOf( std::span< const U8 > octets,
                                                  Bgp::MessageType type ) {
   std::vector< std::vector< U8 > > bodies;
   while ( !octets.empty() ) {
      Bgp::Header header{};
      const auto bad =
         Bgp::readHeader( octets.first< Bgp::headerSize >(), Bgp::maxExtendedMessage, header );
      if ( bad || header.type != type || header.length > octets.size() ) {
         throw std::runtime_error( bad ? bad->text : "not a message of the type" );
      }
      const auto body = octets.first( header.length ).subspan( Bgp::headerSize );
      bodies.emplace_back( body.begin(), body.end() );
      octets = octets.subspan( header.length );
   }
   return bodies;
}

/// What becomes of an update, in one line: "reset 3/1: TEXT", "withdraw: TEXT" or "use", then each
/// remark after "; ".
inline std::string verdict( std::span< const U8 > body, const Bgp::Agreed& agreed,
                            Bgp::Update& update ) {
   if ( const auto fault = Bgp::readUpdate( body, agreed, update ) ) {
      return Vek::concat( "reset ", fault->notification.code, '/', fault->notification.subcode,
                          ": ", fault->text );
   }
   std::string text = update.withdrawn ? "withdraw: " + update.withdrawn->message() : "use";
   for ( const Bgp::AttributeFault& remark : update.discarded ) {
      text += "; " + remark.message();
   }
   return text;
}

} // namespace TestSupport
