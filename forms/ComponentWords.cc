#include "forms/ComponentWords.h"

#include "Vek/text/Text.h"

#include <algorithm>
#include <string_view>

namespace Forms {

using namespace Flowspec;

namespace {

struct Words {
   MatchCompType type;
   std::string_view field;
};

constexpr Words fields[] = {
   { destPrefix, "destination" },
   { srcPrefix, "source" },
   { ipProto, "protocol" },
   { port, "port of either side" },
   { destPort, "destination port" },
   { srcPort, "source port" },
   { icmpType, "ICMP type" },
   { icmpCode, "ICMP code" },
   { tcpFlags, "TCP flags" },
   { packetLength, "length in bytes" },
   { dscp, "DSCP" },
   { fragment, "fragment flags" },
   { flowLabel, "flow label" },
};
static_assert( std::size( fields ) + 1 == numComponentTypes );

std::string_view fieldOf( MatchCompType type ) {
   return fields[static_cast< std::size_t >( type ) - 1].field;
}

std::string_view protocolName( U32 protocol ) {
   switch ( protocol ) {
   case 1:
      return "ICMP";
   case 6:
      return "TCP";
   case 17:
      return "UDP";
   case 47:
      return "GRE";
   case 50:
      return "ESP";
   case 58:
      return "ICMPv6";
   default:
      return "";
   }
}

// Alternatives with ", or " before the last one.
class Alternatives {
public:
   void add( Vek::String text ) {
      if ( !last_.empty() ) {
         all_ += all_.empty() ? "" : ", ";
         all_ += last_;
      }
      last_ = std::move( text );
   }
   Vek::String text() const { return all_.empty() ? last_ : all_ + ", or " + last_; }

private:
   Vek::String all_;
   Vek::String last_;
};

Vek::String rangeWords( MatchCompType type, const NumericalRange& range ) {
   if ( range.rangeMin() != range.rangeMax() ) {
      return Vek::concat( range.rangeMin(), " to ", range.rangeMax() );
   }
   const std::string_view name = type == ipProto ? protocolName( range.rangeMin() ) : "";
   return name.empty() ? Vek::concat( range.rangeMin() ) : Vek::String( name );
}

// Of the text "SYN:1,ACK:0".
template < typename Mask >
Vek::String maskWords( const Mask& mask ) {
   Vek::String words;
   const Vek::String text = mask.toStrepCli();
   for ( std::string_view bits = text; !bits.empty(); ) {
      const std::string_view bit = bits.substr( 0, bits.find( ',' ) );
      const std::string_view name = bit.substr( 0, bit.find( ':' ) );
      words += Vek::concat( std::string_view( words.empty()     ? ""
                                              : mask.matchAll() ? " and "
                                                                : " or " ),
                            name, std::string_view( bit.ends_with( '1' ) ? " set" : " clear" ) );
      bits.remove_prefix( std::min( bit.size() + 1, bits.size() ) );
   }
   return words.empty() ? "any" : words;
}

Vek::String valueWords( const MatchComponent& component ) {
   Alternatives values;
   for ( const NumericalRange* const range : component.numericalRange().sorted() ) {
      values.add( rangeWords( component.compType(), *range ) );
   }
   for ( const IpBitMask* const mask : component.ipBitMask().sorted() ) {
      values.add( maskWords( *mask ) );
   }
   for ( const TcpBitMask* const mask : component.tcpBitMask().sorted() ) {
      values.add( maskWords( *mask ) );
   }
   return values.text();
}

} // namespace

Vek::String componentWords( const MatchComponent& component ) {
   const std::string_view field = fieldOf( component.compType() );
   if ( component.matchTypePrefix() ) {
      return Vek::concat( field, " in ", std::string_view( component.prefix().stringValue() ) );
   }
   const Vek::String values = valueWords( component );
   if ( values.empty() ) {
      return Vek::concat( field, ": no value" );
   }
   return Vek::concat( field, std::string_view( component.matchTypeBitMask() ? ": " : " " ),
                       std::string_view( values ) );
}

} // namespace Forms
