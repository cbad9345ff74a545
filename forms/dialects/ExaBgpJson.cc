#include "Flowspec/vocab/MatchCompType.h"
#include "forms/dialects/Communities.h"
#include "forms/dialects/CommunityParts.h"
#include "forms/dialects/ExaBgp.h"
#include "forms/dialects/ExaBgpTerms.h"
#include "forms/dialects/PlacedJson.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace Forms {

namespace {

using namespace ExaBgp;
using namespace CommunityParts;
using Wire::CommunityType;
using Wire::ExtendedCommunity;
using Wire::Ipv6Community;
using Zorv::AddressFamily;

constexpr std::string_view ipv6Attribute = "attribute-0x19-0xC0";
constexpr std::string_view noNextHop = "no-nexthop";
constexpr std::string_view addressCharacters = "0123456789abcdefABCDEF.:";

struct FamilyName {
   std::string_view name;
   AddressFamily family;
   bool vpn;
};
constexpr FamilyName families[] = {
   { "ipv4 flow", AddressFamily::ipv4, false },
   { "ipv4 flow-vpn", AddressFamily::ipv4, true },
   { "ipv6 flow", AddressFamily::ipv6, false },
   { "ipv6 flow-vpn", AddressFamily::ipv6, true },
};

class Reader {
public:
   Reader( Cursor& text, const Context& context, Rule& rule, std::vector< Fault >& remarks )
      : text_( text ), context_( context ), rule_( rule ), remarks_( remarks ) {}

   void read() {
      const PlacedJson message( text_ );
      const std::size_t end = text_.offset();
      const PlacedJson& update =
         message.member( "neighbor" ).member( "message" ).member( "update" );
      const PlacedJson* const announced = update.find( "announce" );
      if ( !announced ) {
         update.fail( "the update announces no rule that ExaBGP could read" );
      }
      const PlacedJson& family = only( *announced, "family" );
      const auto* const row =
         std::ranges::find( families, announced->name( 0 ), &FamilyName::name );
      if ( row == std::end( families ) ) {
         announced->fail( "'", announced->name( 0 ), "' is not a family of flow specifications" );
      }
      const PlacedJson& nextHop = only( family, "next hop" );
      if ( family.name( 0 ) != noNextHop ) {
         const auto address = Zorv::IpGenAddr::fromText( family.name( 0 ) );
         if ( !address ) {
            family.fail( "'", family.name( 0 ), "' is not an address" );
         }
         nextHop_ = *address;
      }
      const PlacedJson& rule = only( nextHop, "rule" );
      readMatch( rule, *row );
      readAttributes( update );
      text_.offsetIs( end );
   }

private:
   static const PlacedJson& only( const PlacedJson& list, std::string_view what ) {
      if ( list.elements().size() != 1 ) {
         list.fail( "expected one ", what, ", found ", list.elements().size() );
      }
      return list.elements().front();
   }

   void readMatch( const PlacedJson& rule, const FamilyName& family );
   void readAttributes( const PlacedJson& update );
   void readIpv6Communities( const PlacedJson& attribute );
   Ipv6Community ipv6Community();

   Cursor& text_;
   const Context& context_;
   Rule& rule_;
   std::vector< Fault >& remarks_;
   Zorv::IpGenAddr nextHop_;
};

// The text after "flow": words and values, then "rd" and "next-hop", which are members as well.
void Reader::readMatch( const PlacedJson& rule, const FamilyName& family ) {
   const PlacedJson& words = rule.member( "string" );
   text_.offsetIs( words.at() + 1 );
   const std::size_t end = text_.offset() + words.text().size();
   if ( !text_.takeWord( "flow" ) ) {
      text_.failExpecting( "'flow'" );
   }
   MatchParts match;
   for ( text_.skipBlanks(); text_.offset() < end; text_.skipBlanks() ) {
      const std::size_t at = text_.offset();
      const std::string_view word = text_.takeWord();
      if ( word == "rd" || word == "next-hop" ) {
         break;
      }
      if ( !takeComponent( text_, at, word, Style::printed, match ) ) {
         text_.offsetIs( at );
         text_.failExpecting( "a component" );
      }
   }
   match.fill( text_, family.family, words.at(), rule_ );
   const PlacedJson* const rd = rule.find( "rd" );
   if ( ( rd != nullptr ) != family.vpn ) {
      rule.fail( std::string_view( rd ? "the family has no 'rd'" : "'rd' is missing" ) );
   }
   if ( rd ) {
      rule_.rd = Zorv::RouteDistinguisher::fromText( rd->text() );
      if ( !rule_.rd ) {
         rd->fail( "expected a route distinguisher" );
      }
   }
}

void Reader::readAttributes( const PlacedJson& update ) {
   Wire::EncodedAction communities;
   const PlacedJson* const attributes = update.find( "attribute" );
   if ( const PlacedJson* const extended =
           attributes ? attributes->find( "extended-community" ) : nullptr ) {
      for ( const PlacedJson& community : extended->elements() ) {
         const U64 value = community.member( "value" ).number( std::numeric_limits< U64 >::max() );
         Osk::storeBig64( communities.extended.emplace_back().data(), value );
      }
   }
   if ( const PlacedJson* const ipv6 = attributes ? attributes->find( ipv6Attribute ) : nullptr ) {
      text_.offsetIs( ipv6->at() + 1 );
      const std::size_t end = text_.offset() + ipv6->text().size();
      text_.take( '[' );
      for ( text_.skipBlanks(); text_.offset() < end && !text_.take( ']' ); text_.skipBlanks() ) {
         communities.ipv6.push_back( ipv6Community() );
      }
   }
   takeCommunities( text_, attributes ? attributes->at() : update.at(), communities, nextHop_,
                    context_, rule_, remarks_ );
}

// A redirect in words, or hexadecimal digits without the zeros in front.
Ipv6Community Reader::ipv6Community() {
   constexpr std::size_t digits = 40;
   const std::size_t at = text_.offset();
   const bool copy = text_.takeWord( "copy-to-nexthop-ietf" );
   if ( copy || text_.takeWord( "redirect-to-nexthop-ietf" ) ) {
      text_.skipBlanks();
      const std::size_t addressAt = text_.offset();
      const auto address = Zorv::IpGenAddr::fromText( text_.takeAllOf( addressCharacters ) );
      if ( !address || address->family() != AddressFamily::ipv6 ) {
         text_.offsetIs( addressAt );
         text_.failExpecting( "an IPv6 address" );
      }
      if ( copy ) {
         text_.expect( " (with copy)" );
      }
      return CommunityParts::ipv6( Wire::Ipv6CommunityType::redirectIp, *address, copy );
   }
   if ( !text_.take( "0x" ) ) {
      text_.failExpecting( "an IPv6-address-specific extended community" );
   }
   const std::string_view word = text_.takeAllOf( "0123456789abcdefABCDEF" );
   if ( word.empty() || word.size() > digits ) {
      text_.failAt( at, "expected 1 to ", digits, " hexadecimal digits after '0x'" );
   }
   Ipv6Community community{};
   for ( std::size_t i = 0; i < word.size(); ++i ) {
      const std::size_t place = digits - word.size() + i;
      U8 digit = 0;
      std::from_chars( word.data() + i, word.data() + i + 1, digit, 16 );
      community[place / 2] |= static_cast< U8 >( place % 2 == 0 ? digit << 4 : digit );
   }
   return community;
}

class Writer {
public:
   Writer( const Rule& rule, Vek::String& out ) : rule_( rule ), out_( out ) {}

   void write( const Wire::EncodedAction& communities ) {
      out_ += R"({ "exabgp": "4.0.1", "type": "update", "neighbor": { "message": { "update": { )"
              R"("attribute": { )";
      writeAttributes( communities );
      const auto* const family = std::ranges::find_if( families, [&]( const FamilyName& row ) {
         return row.family == rule_.key.addressFamily() && row.vpn == rule_.rd.has_value();
      } );
      const std::vector< Component > components = componentsOf( rule_.key );
      put( R"( }, "announce": { ")", family->name, R"(": { ")", noNextHop, R"(": [ )" );
      writeRule( components );
      out_ += " ] } } } } } }";
   }

private:
   template < typename... Parts >
   void put( const Parts&... parts ) {
      out_ += Vek::concat( parts... );
   }

   void writeAttributes( const Wire::EncodedAction& communities );
   static Vek::String words( const ExtendedCommunity& community );
   static Vek::String words( const Ipv6Community& community );
   void writeRule( const std::vector< Component >& components );
   void writePrefix( JsonList& members, std::string_view name, const Zorv::IpGenPrefix& prefix );
   void writeComponent( std::string_view name, const Component& component );

   const Rule& rule_;
   Vek::String& out_;
   Vek::String string_ = "flow"; // of the member "string"
};

void Writer::writeAttributes( const Wire::EncodedAction& communities ) {
   JsonList members( out_ );
   if ( !communities.extended.empty() ) {
      members.next();
      out_ += R"("extended-community": [ )";
      JsonList list( out_ );
      for ( const ExtendedCommunity& community : communities.extended ) {
         list.next();
         put( R"({ "value": )", Osk::loadBig64( community.data() ), R"(, "string": ")",
              words( community ), R"(" })" );
      }
      out_ += " ]";
   }
   if ( !communities.ipv6.empty() ) {
      members.next();
      const bool several = communities.ipv6.size() > 1;
      put( '"', ipv6Attribute, R"(": ")", std::string_view( several ? "[ " : "" ) );
      std::string_view separator;
      for ( const Ipv6Community& community : communities.ipv6 ) {
         put( std::exchange( separator, " " ), words( community ) );
      }
      put( std::string_view( several ? " ]" : "" ), '"' );
   }
}

// What ExaBGP calls a community; nothing for one that it has no name for.
Vek::String Writer::words( const ExtendedCommunity& community ) {
   constexpr U16 groupBits = 0x3FFF;
   constexpr float tooLarge = 0x1p64F;
   constexpr std::string_view actions[] = { "", "terminal", "sample", "sample-terminal" };
   switch ( type( community ) ) {
   case CommunityType::rateBytes:
      if ( const float rate = rateOf( community ); rate < tooLarge ) {
         return Vek::concat( "rate-limit:", static_cast< U64 >( rate ) );
      }
      return {};
   case CommunityType::trafficAction:
      return Vek::concat( "action ", actions[number4Of( community ) & 3] );
   case CommunityType::redirectAs2:
      return Vek::concat( "redirect:", as2Of( community ), ':', number4Of( community ) );
   case CommunityType::redirectAs4:
      return Vek::concat( "redirect:", as4Of( community ), ':', number2Of( community ) );
   case CommunityType::marking:
      return Vek::concat( "mark ", number4Of( community ) );
   case CommunityType::redirectIp:
      return number2Of( community ) & 1
                ? Vek::concat( "copy-to-nexthop-ietf ", addressOf( community ), " (with copy)" )
                : Vek::concat( "redirect-to-nexthop-ietf ", addressOf( community ) );
   case CommunityType::interfaceSet:
      return Vek::concat( "interface-set:input:", as4Of( community ), ':',
                          number2Of( community ) & groupBits );
   default:
      return {};
   }
}

Vek::String Writer::words( const Ipv6Community& community ) {
   if ( type( community ) == Wire::Ipv6CommunityType::redirectIp && number2Of( community ) <= 1 ) {
      return number2Of( community ) == 1
                ? Vek::concat( "copy-to-nexthop-ietf ", addressOf( community ), " (with copy)" )
                : Vek::concat( "redirect-to-nexthop-ietf ", addressOf( community ) );
   }
   constexpr char digits[] = "0123456789ABCDEF";
   Vek::String text = "0x";
   for ( const U8 octet : community ) {
      text += digits[octet >> 4];
      text += digits[octet & 15];
   }
   return text;
}

void Writer::writeRule( const std::vector< Component >& components ) {
   const AddressFamily family = rule_.key.addressFamily();
   out_ += "{ ";
   JsonList members( out_ );
   writePrefix( members, "destination", rule_.key.destPrefix() );
   writePrefix( members, "source", rule_.key.srcPrefix() );
   for ( const Component& component : components ) {
      members.next();
      writeComponent( nameOf( component.type, family, component.terms, Style::printed ),
                      component );
   }
   if ( rule_.rd ) {
      members.next();
      put( R"("rd": ")", *rule_.rd, '"' );
      string_ += Vek::concat( " rd ", *rule_.rd );
   }
   members.next();
   put( R"("string": ")", string_, R"(" })" );
}

void Writer::writePrefix( JsonList& members, std::string_view name,
                          const Zorv::IpGenPrefix& prefix ) {
   if ( prefix.empty() ) {
      return;
   }
   Vek::String text;
   appendPrefix( prefix, text );
   const Vek::String whole = Vek::concat(
      name, std::string_view( prefix.family() == AddressFamily::ipv6 ? "-ipv6" : "-ipv4" ) );
   members.next();
   put( '"', whole, R"(": [ ")", text, R"(" ])" );
   string_ += Vek::concat( ' ', whole, ' ', text );
}

// ExaBGP writes each flag of a term as a string of its own, and joins what AND joins into one.
void Writer::writeComponent( std::string_view name, const Component& component ) {
   const bool flags = Flowspec::isBitmask( component.type );
   put( '"', name, R"(": [ )" );
   Vek::String list;
   for ( const Term& term : component.terms ) {
      if ( flags && term.value == 0 && component.type == Flowspec::tcpFlags ) {
         throw Inexpressible{ "ExaBGP's JSON has no word for no TCP flag" };
      }
      list += list.empty() || term.andPrevious ? "" : ", ";
      if ( !flags ) {
         list += '"';
         appendTerm( component.type, term, Style::printed, list );
         list += '"';
         continue;
      }
      std::string_view separator;
      for ( Vek::String flag : flagNames( component.type, term.value ) ) {
         flag.insert( 0, flagOperator( term ) );
         if ( const std::size_t at = flag.find( "!is-fragment" ); at != Vek::String::npos ) {
            flag.replace( at, Vek::String::npos, "not-a-fragment" );
         }
         list += Vek::concat( std::exchange( separator, ", " ), '"', flag, '"' );
      }
   }
   for ( std::size_t at = 0; ( at = list.find( R"("")", at ) ) != Vek::String::npos; ) {
      list.erase( at, 2 );
   }
   put( list, " ]" );
   string_ += Vek::concat( ' ', name, ' ' );
   appendTerms( component, Style::printed, string_ );
}

} // namespace

void readExaBgpJson( Cursor& text, const Context& context, Rule& rule,
                     std::vector< Fault >& remarks ) {
   Reader( text, context, rule, remarks ).read();
}

void appendExaBgpJson( const Rule& rule, const Context& context, Vek::String& out ) {
   const Wire::EncodedAction communities = communitiesOf( rule, context );
   writeEquivalent( rule, out,
                    [&]( const Rule& any ) { Writer( any, out ).write( communities ); } );
}

} // namespace Forms
