#include "forms/dialects/Communities.h"
#include "forms/dialects/CommunityParts.h"
#include "forms/dialects/GoBgp.h"
#include "forms/dialects/GoBgpNames.h"
#include "forms/dialects/PlacedJson.h"

#include <charconv>
#include <limits>

namespace Forms {

namespace {

using namespace CommunityParts;
using namespace Flowspec;
using namespace GoBgp;
using Wire::CommunityType;
using Wire::ExtendedCommunity;
using Wire::RouteTarget;
using Zorv::AddressFamily;

constexpr U64 max8 = std::numeric_limits< U8 >::max();
constexpr U64 max16 = std::numeric_limits< U16 >::max();
constexpr U64 max32 = std::numeric_limits< U32 >::max();
constexpr U64 max64 = std::numeric_limits< U64 >::max();

// Path attributes by their types.
constexpr U64 reachable = 14;
constexpr U64 extendedCommunities = 16;
constexpr U64 ipv6Communities = 25;
// What GoBGP sends for a redirect to an IPv6 route target, in an IPv6-address-specific community.
constexpr U16 gobgpRedirect = 0x800B;

// How the six octets of a community are read, by the lower half of its type's first octet.
constexpr U8 layoutOf( U16 type ) { return type >> 8 & 0x3F; }

// Seven octets as base64: what GoBGP has for a community that it does not know, without the first
// octet of its type.
constexpr std::string_view base64 =
   "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t base64Digits = 10;
constexpr std::string_view base64End = "==";

bool hasColon( const PlacedJson& value ) {
   return value.text().find( ':' ) != std::string_view::npos;
}

class Reader {
public:
   Reader( Cursor& text, const Context& context, Rule& rule, std::vector< Fault >& remarks )
      : text_( text ), context_( context ), rule_( rule ), remarks_( remarks ) {}

   void read() {
      const PlacedJson whole( text_ );
      const PlacedJson& path = pathIn( whole );
      const PlacedJson& attributes = path.member( "attrs" );
      if ( !attributes.isArray() ) {
         attributes.fail( "GoBGP could not print the attributes" );
      }
      readMatch( path.member( "nlri" ), attributes );
      readAction( attributes );
   }

private:
   // The only path of the only rule of what was printed.
   static const PlacedJson& pathIn( const PlacedJson& json ) {
      if ( json.isObject() && json.find( "nlri" ) ) {
         return json;
      }
      if ( json.elements().size() != 1 ) {
         json.fail( std::string_view( json.isObject() ? "expected one rule, found "
                                                      : "expected one path, found " ),
                    json.elements().size() );
      }
      return pathIn( json.elements().front() );
   }

   void readMatch( const PlacedJson& nlri, const PlacedJson& attributes );
   AddressFamily familyOf( const PlacedJson& components, const PlacedJson& attributes ) const;
   void readDistinguisher( const PlacedJson& rd );
   void readPrefix( KeyBuilder& key, MatchCompType type, const PlacedJson& component );
   static void readTerms( KeyBuilder& key, MatchCompType type, const PlacedJson& component );

   void readAction( const PlacedJson& attributes );
   void addCommunity( const PlacedJson& community );
   void addIpv6Community( const PlacedJson& community );
   static RouteTarget targetIn( const PlacedJson& value, RouteTarget::Kind kind );
   static ExtendedCommunity octetsIn( U16 type, const PlacedJson& value );
   void passOver( const PlacedJson& community );

   static U16 typeOf( const PlacedJson& community ) {
      return static_cast< U16 >( community.member( "type" ).number( max8 ) << 8 |
                                 community.member( "subtype" ).number( max8 ) );
   }

   Cursor& text_;
   const Context& context_;
   Rule& rule_;
   std::vector< Fault >& remarks_;
   Wire::EncodedAction communities_;
   bool passedOver_ = false;
};

void Reader::readMatch( const PlacedJson& nlri, const PlacedJson& attributes ) {
   if ( !nlri.isObject() ) {
      nlri.fail( "GoBGP could not print the rule" );
   }
   const PlacedJson& components = nlri.member( "value" );
   KeyBuilder key( text_, familyOf( components, attributes ), rule_ );
   if ( const PlacedJson* const rd = nlri.find( "rd" ) ) {
      readDistinguisher( *rd );
   }
   for ( const PlacedJson& component : components.elements() ) {
      const auto type =
         static_cast< MatchCompType >( component.member( "type" ).number( numComponentTypes - 1 ) );
      if ( type == invalid ) {
         component.fail( "there is no component of type 0" );
      }
      if ( type == destPrefix || type == srcPrefix ) {
         readPrefix( key, type, component );
      } else {
         readTerms( key, type, component );
      }
   }
   key.finish( nlri.at() );
}

// MP_REACH_NLRI tells it, a prefix as well.
AddressFamily Reader::familyOf( const PlacedJson& components, const PlacedJson& attributes ) const {
   for ( const PlacedJson& attribute : attributes.elements() ) {
      if ( attribute.member( "type" ).number( max8 ) == reachable ) {
         const U64 afi = attribute.member( "afi" ).number( max16 );
         const U64 safi = attribute.member( "safi" ).number( max8 );
         const auto format =
            Wire::NlriFormat::of( static_cast< U16 >( afi ), static_cast< U8 >( safi ) );
         if ( !format ) {
            attribute.fail( "AFI ", afi, " and SAFI ", safi, " are not a family of rules" );
         }
         return format->family;
      }
   }
   for ( const PlacedJson& component : components.elements() ) {
      if ( component.member( "type" ).number( max8 ) <= static_cast< U64 >( srcPrefix ) ) {
         const bool ipv6 = component.member( "value" ).member( "prefix" ).text().find( ':' ) !=
                           std::string_view::npos;
         return ipv6 ? AddressFamily::ipv6 : AddressFamily::ipv4;
      }
   }
   if ( context_.family == AddressFamily::none ) {
      components.fail( "nothing tells the family of the rule" );
   }
   return context_.family;
}

void Reader::readDistinguisher( const PlacedJson& rd ) {
   const U64 type = rd.member( "type" ).number( 2 );
   const PlacedJson& admin = rd.member( "admin" );
   const U64 assigned = rd.member( "assigned" ).number( type == 0 ? max32 : max16 );
   U64 administrator = 0;
   if ( type == 1 ) {
      const auto address = Zorv::IpGenAddr::fromText( admin.text() );
      if ( !address || address->family() != AddressFamily::ipv4 ) {
         admin.fail( "expected an IPv4 address" );
      }
      administrator = address->ipv4Value();
   } else {
      administrator = admin.number( type == 0 ? max16 : max32 );
   }
   rule_.rd =
      Zorv::RouteDistinguisher( type << 48 | administrator << ( type == 0 ? 32 : 16 ) | assigned );
}

void Reader::readPrefix( KeyBuilder& key, MatchCompType type, const PlacedJson& component ) {
   const PlacedJson& text = component.member( "value" ).member( "prefix" );
   const auto prefix = Zorv::IpGenPrefix::fromText( text.text() );
   if ( !prefix ) {
      text.fail( "expected a prefix" );
   }
   key.prefixIs( text.at(), type, *prefix );
   if ( const PlacedJson* const offset = component.find( "offset" );
        offset && offset->number( max8 ) != 0 ) {
      offset->fail( "a rule key holds no offset of a prefix but 0" );
   }
}

void Reader::readTerms( KeyBuilder& key, MatchCompType type, const PlacedJson& component ) {
   constexpr U8 flagTests = OpBits::match | OpBits::invert;
   constexpr U8 numericTests = OpBits::lt | OpBits::gt | OpBits::eq;
   key.begin( component.at(), type );
   const PlacedJson& terms = component.member( "value" );
   if ( terms.elements().empty() ) {
      terms.fail( "the component has no test" );
   }
   for ( const PlacedJson& term : terms.elements() ) {
      const auto op = static_cast< U8 >( term.member( "op" ).number( max8 ) );
      const U64 value = term.member( "value" ).number( max64 );
      if ( value > max32 ) {
         term.fail( "the value ", value, " is too large for its component" );
      }
      const bool first = &term == terms.elements().data();
      key.add( term.at(),
               { !first && ( op & OpBits::andPrevious ) != 0,
                 static_cast< U8 >( op & ( isBitmask( type ) ? flagTests : numericTests ) ),
                 static_cast< U32 >( value ) } );
   }
}

void Reader::readAction( const PlacedJson& attributes ) {
   for ( const PlacedJson& attribute : attributes.elements() ) {
      const U64 type = attribute.member( "type" ).number( max8 );
      if ( type == extendedCommunities ) {
         for ( const PlacedJson& community : attribute.member( "value" ).elements() ) {
            addCommunity( community );
         }
      } else if ( type == ipv6Communities ) {
         for ( const PlacedJson& community : attribute.member( "value" ).elements() ) {
            addIpv6Community( community );
         }
      }
   }
   takeCommunities( text_, attributes.at(), communities_, {}, context_, rule_, remarks_ );
}

void Reader::addCommunity( const PlacedJson& community ) {
   const U16 type = typeOf( community );
   std::vector< ExtendedCommunity >& list = communities_.extended;
   if ( type == CommunityType::rateBytes ) {
      list.push_back( rate( type, static_cast< U16 >( community.member( "as" ).number( max16 ) ),
                            community.member( "rate" ).real() ) );
   } else if ( type == CommunityType::trafficAction ) {
      const U32 bits = ( community.member( "sample" ).truth() ? 2U : 0U ) |
                       ( community.member( "terminal" ).truth() ? 1U : 0U );
      list.push_back( as2( type, 0, bits ) );
   } else if ( type == CommunityType::marking ) {
      list.push_back(
         as2( type, 0, static_cast< U32 >( community.member( "value" ).number( 63 ) ) ) );
   } else if ( type == CommunityType::color ) {
      list.push_back(
         as2( type, 0, static_cast< U32 >( community.member( "color" ).number( max32 ) ) ) );
   } else if ( const PlacedJson* const value = community.find( "value" );
               layoutOf( type ) > 2 && !( value && value->isText() && !hasColon( *value ) ) ) {
      passOver( community );
   } else if ( const PlacedJson& text = community.member( "value" ); hasColon( text ) ) {
      const auto kind = static_cast< RouteTarget::Kind >( layoutOf( type ) );
      addTarget( targetIn( text, kind ), { type, type, type, type }, communities_ );
   } else {
      list.push_back( octetsIn( type, text ) );
   }
}

void Reader::addIpv6Community( const PlacedJson& community ) {
   const U16 type = typeOf( community );
   const U16 meant = type == gobgpRedirect ? U16{ Wire::Ipv6CommunityType::redirect } : type;
   addTarget( targetIn( community.member( "value" ), RouteTarget::Kind::ipv6 ),
              { meant, meant, meant, meant }, communities_ );
}

RouteTarget Reader::targetIn( const PlacedJson& value, RouteTarget::Kind kind ) {
   const auto target = routeTargetOf( value.text() );
   if ( !target || target->kind != kind ) {
      value.fail( "expected what the type of the community has, such as '",
                  std::string_view( kind == RouteTarget::Kind::as2    ? "65000:1"
                                    : kind == RouteTarget::Kind::ipv4 ? "192.0.2.1:1"
                                    : kind == RouteTarget::Kind::as4  ? "1.0:1"
                                                                      : "2001:db8::1:1" ),
                  '\'' );
   }
   return *target;
}

ExtendedCommunity Reader::octetsIn( U16 type, const PlacedJson& value ) {
   const std::string_view text = value.text();
   U64 octets = 0;
   bool wrong = text.size() != base64Digits + base64End.size() || !text.ends_with( base64End );
   for ( std::size_t i = 0; i < base64Digits && !wrong; ++i ) {
      const std::size_t digit = base64.find( text[i] );
      wrong = digit == std::string_view::npos;
      octets = octets << 6 | digit;
   }
   constexpr int unused = 4; // bits of the last digit
   const U64 low = octets >> unused;
   if ( wrong || low >> 48 != ( type & 0xFFU ) ) {
      value.fail( "expected 7 octets in base64, the first being the subtype" );
   }
   ExtendedCommunity community;
   Osk::storeBig64( community.data(), U64{ type } << 48 | ( low & 0xFFFF'FFFF'FFFF ) );
   return community;
}

// Tells of the first: a remark costs the time to count lines.
void Reader::passOver( const PlacedJson& community ) {
   if ( !std::exchange( passedOver_, true ) ) {
      remarks_.push_back( text_.faultAt(
         community.at(), "the community is passed over: it is not part of the action" ) );
   }
}

class Writer {
public:
   Writer( const Rule& rule, Vek::String& out ) : rule_( rule ), out_( out ) {}

   void write( const Wire::EncodedAction& communities ) {
      const std::vector< Component > components = componentsOf( rule_.key );
      const bool ipv6 = rule_.key.addressFamily() == AddressFamily::ipv6;
      out_ += R"({"nlri":)";
      writeRule( components );
      out_ += R"(,"attrs":[)";
      writeCommunities( communities );
      put( R"({"type":14,"nexthop":")", std::string_view( ipv6 ? "::" : "0.0.0.0" ), R"(","afi":)",
           std::string_view( ipv6 ? "2" : "1" ), R"(,"safi":)",
           std::string_view( rule_.rd ? "134" : "133" ), R"(,"value":[)" );
      writeRule( components );
      out_ += "]}]}";
   }

private:
   template < typename... Parts >
   void put( const Parts&... parts ) {
      out_ += Vek::concat( parts... );
   }

   void writeRule( const std::vector< Component >& components );
   void writeDistinguisher();
   void writePrefix( MatchCompType type, const Zorv::IpGenPrefix& prefix );
   void writeTerms( const Component& component );
   void writeCommunities( const Wire::EncodedAction& communities );
   void writeCommunity( const ExtendedCommunity& community );

   const Rule& rule_;
   Vek::String& out_;
};

void Writer::writeRule( const std::vector< Component >& components ) {
   out_ += '{';
   writeDistinguisher();
   out_ += R"("value":[)";
   writePrefix( destPrefix, rule_.key.destPrefix() );
   writePrefix( srcPrefix, rule_.key.srcPrefix() );
   for ( const Component& component : components ) {
      writeTerms( component );
   }
   out_.back() = ']'; // there is a component, and a comma after each
   out_ += '}';
}

void Writer::writeDistinguisher() {
   if ( !rule_.rd ) {
      return;
   }
   const U64 value = rule_.rd->value();
   switch ( rule_.rd->type() ) {
   case 0:
      put( R"("rd":{"type":0,"admin":)", value >> 32 & max16, R"(,"assigned":)", value & max32 );
      break;
   case 1:
      put( R"("rd":{"type":1,"admin":")",
           Zorv::IpGenAddr::ipv4( static_cast< U32 >( value >> 16 ) ), R"(","assigned":)",
           value & max16 );
      break;
   case 2:
      put( R"("rd":{"type":2,"admin":)", value >> 16 & max32, R"(,"assigned":)", value & max16 );
      break;
   default:
      throw Inexpressible{
         Vek::concat( "GoBGP has no text for the route distinguisher ", *rule_.rd ) };
   }
   out_ += "},";
}

void Writer::writePrefix( MatchCompType type, const Zorv::IpGenPrefix& prefix ) {
   if ( prefix.empty() ) {
      return;
   }
   const bool ipv6 = prefix.family() == AddressFamily::ipv6;
   put( R"({"type":)", static_cast< U8 >( type ), R"(,"value":{"prefix":")", prefix, R"("})",
        std::string_view( ipv6 ? R"(,"offset":0)" : "" ), "}," );
}

// Operators are octets as in an NLRI, with lengths and the end of the list.
void Writer::writeTerms( const Component& component ) {
   put( R"({"type":)", static_cast< U8 >( component.type ), R"(,"value":[)" );
   for ( const Term& term : component.terms ) {
      const unsigned length = term.value > max16 ? 2 : term.value > max8 ? 1 : 0;
      const unsigned last = &term == &component.terms.back() ? OpBits::endOfList : 0U;
      const unsigned op =
         last | ( term.andPrevious ? OpBits::andPrevious : 0U ) | length << 4 | term.test;
      put( R"({"op":)", op, R"(,"value":)", term.value, "}," );
   }
   out_.back() = ']';
   out_ += "},";
}

void Writer::writeCommunities( const Wire::EncodedAction& communities ) {
   if ( !communities.extended.empty() ) {
      out_ += R"({"type":16,"value":[)";
      for ( const ExtendedCommunity& community : communities.extended ) {
         writeCommunity( community );
         out_ += "},";
      }
      out_.back() = ']';
      out_ += "},";
   }
   if ( !communities.ipv6.empty() ) {
      out_ += R"({"type":25,"value":[)";
      for ( const Wire::Ipv6Community& community : communities.ipv6 ) {
         put( R"({"type":)", type( community ) >> 8, R"(,"subtype":)", type( community ) & max8,
              R"(,"value":")", targetText( community ), R"("},)" );
      }
      out_.back() = ']';
      out_ += "},";
   }
}

// Up to the brace at its end.
void Writer::writeCommunity( const ExtendedCommunity& community ) {
   const U16 kind = type( community );
   const U32 number = number4Of( community );
   put( R"({"type":)", kind >> 8, R"(,"subtype":)", kind & max8 );
   switch ( kind ) {
   case CommunityType::rateBytes: {
      char digits[32];
      const char* const end = std::to_chars( digits, std::end( digits ), rateOf( community ) ).ptr;
      put( R"(,"as":)", as2Of( community ), R"(,"rate":)", std::string_view( digits, end ) );
      return;
   }
   case CommunityType::trafficAction:
      put( R"(,"terminal":)", std::string_view( number & 1 ? "true" : "false" ), R"(,"sample":)",
           std::string_view( number & 2 ? "true" : "false" ) );
      return;
   case CommunityType::marking:
      put( R"(,"value":)", number );
      return;
   case CommunityType::color:
      put( R"(,"color":)", number );
      return;
   case CommunityType::redirectAs2:
   case CommunityType::redirectIpv4:
   case CommunityType::redirectAs4:
   case CommunityType::redirectIp:
   case CommunityType::routeTargetAs2:
   case CommunityType::routeTargetIpv4:
   case CommunityType::routeTargetAs4:
      put( R"(,"value":")",
           targetText( static_cast< RouteTarget::Kind >( layoutOf( kind ) ), community ), '"' );
      return;
   default:
      break;
   }
   constexpr U64 sevenOctets = 0xFF'FFFF'FFFF'FFFF;
   const U64 octets = Osk::loadBig64( community.data() ) & sevenOctets;
   Vek::String text;
   for ( int shift = 50; shift >= 0; shift -= 6 ) {
      text += base64[octets >> shift & 63];
   }
   text += base64[octets << 4 & 63];
   put( R"(,"value":")", text, base64End, '"' );
}

} // namespace

void readGoBgpJson( Cursor& text, const Context& context, Rule& rule,
                    std::vector< Fault >& remarks ) {
   Reader( text, context, rule, remarks ).read();
}

void appendGoBgpJson( const Rule& rule, const Context& context, Vek::String& out ) {
   Writer( rule, out ).write( communitiesOf( rule, context ) );
}

} // namespace Forms
