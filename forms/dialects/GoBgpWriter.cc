#include "forms/dialects/Communities.h"
#include "forms/dialects/CommunityParts.h"
#include "forms/dialects/GoBgp.h"
#include "forms/dialects/GoBgpNames.h"

#include <algorithm>
#include <charconv>

namespace Forms {

namespace {

using namespace CommunityParts;
using namespace Flowspec;
using namespace GoBgp;
using Wire::CommunityType;
using Wire::RouteTarget;

template < typename... Parts >
[[noreturn]] void refuse( const Parts&... parts ) {
   throw Inexpressible{ Vek::concat( parts... ) };
}

class Writer {
public:
   Writer( const Rule& rule, Vek::String& out ) : rule_( rule ), out_( out ) {}

   void write( const Wire::EncodedAction& communities ) {
      constexpr U32 longest = 0xF0 - 1;
      if ( nlriLength( rule_ ) > longest ) {
         refuse( "GoBGP sends a wrong length for rules of more than ", longest, " octets" );
      }
      put( "gobgp global rib -a ", familyOf( rule_ ).name, " add" );
      writeDistinguisher();
      out_ += " match";
      writePrefix( " destination ", rule_.key.destPrefix() );
      writePrefix( " source ", rule_.key.srcPrefix() );
      for ( const Component& component : componentsOf( rule_.key ) ) {
         writeComponent( component );
      }
      writeAction( communities );
   }

private:
   template < typename... Parts >
   void put( const Parts&... parts ) {
      out_ += Vek::concat( parts... );
   }

   void writeDistinguisher();
   void writePrefix( std::string_view name, const Zorv::IpGenPrefix& prefix );
   void writeComponent( const Component& component );
   void writeNumber( const Term& term, bool last );
   void writeFlags( MatchCompType type, const Term& term );
   void writeAction( const Wire::EncodedAction& communities );
   void writeCommunity( const Wire::ExtendedCommunity& community );

   const Rule& rule_;
   Vek::String& out_;
};

void Writer::writeDistinguisher() {
   if ( !rule_.rd ) {
      return;
   }
   if ( rule_.rd->type() > 2 ) {
      refuse( "GoBGP has no text for the route distinguisher ", *rule_.rd );
   }
   Wire::ExtendedCommunity octets;
   Osk::storeBig64( octets.data(), rule_.rd->value() );
   put( " rd ", targetText( static_cast< RouteTarget::Kind >( rule_.rd->type() ), octets ) );
}

void Writer::writePrefix( std::string_view name, const Zorv::IpGenPrefix& prefix ) {
   if ( prefix.empty() ) {
      return;
   }
   const Vek::String text = prefix.stringValue();
   const bool ipv6 = prefix.family() == Zorv::AddressFamily::ipv6;
   if ( ipv6 && text.find( '.' ) != Vek::String::npos ) {
      refuse( "GoBGP takes no IPv6 prefix of an IPv4 address: ", text );
   }
   put( name, text );
}

void Writer::writeComponent( const Component& component ) {
   const auto* const name = std::ranges::find( components, component.type, &ComponentName::type );
   put( ' ', name->name, " '" );
   const std::vector< Term >& terms = component.terms;
   for ( std::size_t i = 0; i < terms.size(); ++i ) {
      if ( terms[i].value > name->max ) {
         refuse( "GoBGP takes no value above ", name->max, " in '", name->name, '\'' );
      }
      out_ += i == 0 ? "" : terms[i].andPrevious ? "&" : " ";
      if ( isBitmask( component.type ) ) {
         writeFlags( component.type, terms[i] );
      } else {
         writeNumber( terms[i], i + 1 == terms.size() );
      }
   }
   out_ += '\'';
}

// GoBGP calls true what RFC 8955 calls false. It takes both as the last of a component alone, and
// joins them by OR whatever is written.
void Writer::writeNumber( const Term& term, bool last ) {
   constexpr U8 always = OpBits::lt | OpBits::gt | OpBits::eq;
   constexpr std::string_view operators[] = { "true", "==", ">", ">=", "<", "<=", "!=", "false" };
   const bool constant = term.test == 0 || term.test == always;
   if ( constant && ( !last || term.andPrevious ) ) {
      refuse( "GoBGP takes 'true' and 'false' at the end of a component alone, joined by OR" );
   }
   out_ += operators[term.test];
   if ( !constant ) {
      put( term.value );
   }
}

void Writer::writeFlags( MatchCompType type, const Term& term ) {
   constexpr std::string_view operators[] = { "", "=", "!", "!=" };
   out_ += operators[term.test & 3U];
   if ( type == tcpFlags ) {
      if ( term.value == 0 ) {
         refuse( "GoBGP has no text for no TCP flag" );
      }
      for ( std::size_t bit = 0; bit < tcpLetters.size(); ++bit ) {
         out_ += term.value >> bit & 1 ? tcpLetters.substr( bit, 1 ) : std::string_view();
      }
      return;
   }
   std::string_view separator;
   for ( const NumberName& flag : fragments ) {
      if ( term.value & flag.value || term.value == flag.value ) {
         put( std::exchange( separator, "+" ), flag.name );
         if ( term.value == flag.value ) {
            return;
         }
      }
   }
}

void Writer::writeAction( const Wire::EncodedAction& communities ) {
   out_ += " then";
   const std::size_t before = out_.size();
   for ( const Wire::ExtendedCommunity& community : communities.extended ) {
      writeCommunity( community );
   }
   if ( !communities.ipv6.empty() ) {
      refuse( "GoBGP has no text for IPv6-address-specific extended communities" );
   }
   if ( out_.size() == before ) {
      out_ += " accept";
   }
}

void Writer::writeCommunity( const Wire::ExtendedCommunity& community ) {
   constexpr U32 actionBits = 3;
   constexpr std::string_view actions[] = { "", "terminal", "sample", "sample-terminal" };
   const U32 number = number4Of( community );
   switch ( type( community ) ) {
   case CommunityType::rateBytes:
      if ( const float rate = rateOf( community ); rate == 0 ) {
         out_ += " discard";
      } else {
         char digits[64];
         const char* const end =
            std::to_chars( digits, std::end( digits ), rate, std::chars_format::fixed ).ptr;
         put( " rate-limit ", std::string_view( digits, end ) );
      }
      if ( as2Of( community ) != 0 ) {
         put( " as ", as2Of( community ) );
      }
      return;
   case CommunityType::trafficAction:
      if ( as2Of( community ) == 0 && number != 0 && number <= actionBits ) {
         put( " action ", actions[number] );
         return;
      }
      break;
   case CommunityType::marking:
      put( " mark ", number );
      return;
   case CommunityType::redirectAs2:
      put( " redirect ", targetText( RouteTarget::Kind::as2, community ) );
      return;
   case CommunityType::redirectIpv4:
      put( " redirect ", targetText( RouteTarget::Kind::ipv4, community ) );
      return;
   case CommunityType::redirectAs4:
      put( " redirect ", targetText( RouteTarget::Kind::as4, community ) );
      return;
   case CommunityType::color:
      if ( as2Of( community ) == 0 ) {
         put( " color ", number );
         return;
      }
      break;
   case CommunityType::routeTargetAs2:
      put( " rt ", targetText( RouteTarget::Kind::as2, community ) );
      return;
   case CommunityType::routeTargetIpv4:
      put( " rt ", targetText( RouteTarget::Kind::ipv4, community ) );
      return;
   case CommunityType::routeTargetAs4:
      put( " rt ", targetText( RouteTarget::Kind::as4, community ) );
      return;
   default:
      break;
   }
   Vek::String octets;
   Vek::TextWriter( octets ).hex( type( community ) );
   refuse( "GoBGP has no text for an extended community of the type 0x", octets );
}

} // namespace

void appendGoBgp( const Rule& rule, const Context& context, Vek::String& out ) {
   const Wire::EncodedAction communities = communitiesOf( rule, context );
   writeEquivalent( rule, out,
                    [&]( const Rule& any ) { Writer( any, out ).write( communities ); } );
}

} // namespace Forms
