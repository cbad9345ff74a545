#include "Vek/text/Text.h"
#include "dataplane/PacketText.h"

#include <algorithm>
#include <charconv>

namespace Dataplane {

namespace {

using Match::FragmentBits;
using Match::Packet;
using Zorv::AddressFamily;
using Zorv::IpGenAddr;

constexpr U8 tcp = 6;
constexpr U8 udp = 17;

// A cursor over the words of a text; the first that is wrong leaves a reason.
class Reader {
public:
   Reader( std::string_view text, Vek::String& reason ) : rest_( text ), reason_( reason ) {}

   std::optional< Packet > read() {
      if ( !readFamily() || !readProtocol() || !readEnd( packet_.source, packet_.srcPort ) ||
           !readArrow() || !readEnd( packet_.destination, packet_.destPort ) ) {
         return std::nullopt;
      }
      for ( std::string_view name = word(); !name.empty(); name = word() ) {
         if ( !readField( name ) ) {
            return std::nullopt;
         }
      }
      return complete() ? std::optional( packet_ ) : std::nullopt;
   }

private:
   bool isIpv6() const { return packet_.family == AddressFamily::ipv6; }
   U8 icmp() const { return isIpv6() ? 58 : 1; }
   U32 header() const { return isIpv6() ? 40 : 20; }

   std::string_view word() {
      rest_.remove_prefix( std::min( rest_.find_first_not_of( ' ' ), rest_.size() ) );
      const std::string_view found = rest_.substr( 0, rest_.find( ' ' ) );
      rest_.remove_prefix( found.size() );
      return found;
   }

   bool fail( std::string_view expected, std::string_view found ) {
      reason_ = found.empty() ? Vek::concat( "expected ", expected, " at the end" )
                              : Vek::concat( "expected ", expected, ", found '", found, "'" );
      return false;
   }

   template < typename T >
   bool readNumber( std::string_view text, std::string_view what, U32 most, T& number ) {
      const bool isHex = text.starts_with( "0x" );
      const char* const end = text.data() + text.size();
      U32 value = 0;
      const auto [last, error] =
         std::from_chars( text.data() + ( isHex ? 2 : 0 ), end, value, isHex ? 16 : 10 );
      if ( error != std::errc() || last != end || value > most ) {
         return fail( Vek::concat( what, " up to ", most ), text );
      }
      number = static_cast< T >( value );
      return true;
   }
   template < typename T >
   bool readNumber( std::string_view text, std::string_view what, U32 most,
                    std::optional< T >& number ) {
      T value = 0;
      if ( !readNumber( text, what, most, value ) ) {
         return false;
      }
      number = value;
      return true;
   }

   bool readFamily() {
      const std::string_view name = word();
      packet_.family = name == "ipv4"   ? AddressFamily::ipv4
                       : name == "ipv6" ? AddressFamily::ipv6
                                        : AddressFamily::none;
      return packet_.family != AddressFamily::none || fail( "ipv4 or ipv6", name );
   }

   bool readProtocol() {
      const std::string_view name = word();
      if ( name == "tcp" || name == "udp" || name == "icmp" ) {
         packet_.protocol = name == "tcp" ? tcp : name == "udp" ? udp : icmp();
         return true;
      }
      if ( name == "proto" ) {
         return readNumber( word(), "a protocol", 255, packet_.protocol );
      }
      return ( name == "cut" && isIpv6() ) || fail( "tcp, udp, icmp or proto NUMBER", name );
   }

   bool readArrow() {
      const std::string_view arrow = word();
      return arrow == ">" || fail( "'>'", arrow );
   }

   // An address, or one with a port: of IPv6 in brackets.
   bool readEnd( IpGenAddr& address, std::optional< U16 >& port ) {
      const std::string_view end = word();
      const bool isBracketed = end.starts_with( '[' );
      const std::size_t close = isBracketed ? end.find( "]:" )
                                : isIpv6()  ? end.npos
                                            : end.find( ':' );
      const std::string_view text = end.substr( isBracketed, close - isBracketed );
      const auto read = IpGenAddr::fromText( text );
      if ( !read || read->family() != packet_.family || ( isBracketed && close == end.npos ) ) {
         return fail( isIpv6() ? "an IPv6 address or [ADDRESS]:PORT" : "an IPv4 address", end );
      }
      address = *read;
      return close == end.npos ||
             readNumber( end.substr( close + ( isBracketed ? 2 : 1 ) ), "a port", 0xFFFF, port );
   }

   bool readField( std::string_view name ) {
      const std::string_view text = word();
      if ( name == "length" ) {
         hasLength_ = true;
         return readNumber( text, "a length", isIpv6() ? 65575 : 65535, packet_.length );
      }
      if ( name == "type" ) {
         return readNumber( text, "an ICMP type", 255, packet_.icmpType );
      }
      if ( name == "code" ) {
         return readNumber( text, "an ICMP code", 255, packet_.icmpCode );
      }
      if ( name == "flags" ) {
         return readNumber( text, "TCP flags", 0xFFF, packet_.tcpFlags );
      }
      if ( name == "fragment" ) {
         return readNumber( text, "fragment bits", isIpv6() ? 0xE : 0xF, packet_.fragment );
      }
      if ( name == "dscp" ) {
         return readNumber( text, "a DSCP", 63, packet_.dscp );
      }
      if ( name == "label" && isIpv6() ) {
         return readNumber( text, "a flow label", 0xFFFFF, packet_.flowLabel );
      }
      return fail( isIpv6() ? "length, type, code, flags, fragment, dscp or label"
                            : "length, type, code, flags, fragment or dscp",
                   name );
   }

   // Fills in what was left out, and refuses what no packet has.
   bool complete() {
      const bool isIcmp = packet_.protocol == icmp();
      const bool isLater = packet_.fragment.value_or( 0 ) & FragmentBits::isFragment;
      if ( packet_.tcpFlags && packet_.protocol != tcp ) {
         return fail( "flags of TCP alone", "flags" );
      }
      if ( ( packet_.icmpType || packet_.icmpCode ) && !isIcmp ) {
         return fail( "an ICMP type or code of ICMP alone", packet_.icmpType ? "type" : "code" );
      }
      if ( packet_.protocol && !packet_.fragment ) {
         packet_.fragment = 0;
      }
      if ( isIpv6() && !packet_.flowLabel ) {
         packet_.flowLabel = 0;
      }
      const bool hasPorts = packet_.srcPort && packet_.destPort;
      if ( !hasLength_ ) {
         packet_.length = header() + ( isLater                             ? 0
                                       : packet_.protocol == tcp           ? 20
                                       : packet_.protocol == udp || isIcmp ? 8
                                                                           : 0 );
      }
      if ( packet_.protocol == tcp && hasPorts && !isLater && !packet_.tcpFlags &&
           packet_.length >= header() + 14 ) {
         packet_.tcpFlags = 0;
      }
      return true;
   }

   std::string_view rest_;
   Vek::String& reason_;
   Packet packet_;
   bool hasLength_ = false;
};

} // namespace

std::optional< Packet > readPacketText( std::string_view text, Vek::String& reason ) {
   return Reader( text, reason ).read();
}

} // namespace Dataplane
