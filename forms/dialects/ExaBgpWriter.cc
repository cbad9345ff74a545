#include "forms/dialects/Communities.h"
#include "forms/dialects/CommunityParts.h"
#include "forms/dialects/ExaBgp.h"
#include "forms/dialects/ExaBgpTerms.h"

#include <cmath>

namespace Forms {

namespace {

using namespace ExaBgp;
using namespace CommunityParts;
using Wire::CommunityType;

template < typename... Parts >
[[noreturn]] void refuse( const Parts&... parts ) {
   throw Inexpressible{ Vek::concat( parts... ) };
}

// ExaBGP knows communities by the lower half of their type alone. It never ends printing a redirect
// to a route target with four octets of AS number, and prints rates as whole numbers.
bool fails( const Wire::ExtendedCommunity& community ) {
   constexpr U16 known = 0x0FFF;
   const U16 kind = type( community ) & known;
   return kind == ( CommunityType::redirectAs4 & known ) ||
          ( kind == ( CommunityType::rateBytes & known ) && !std::isfinite( rateOf( community ) ) );
}

class Writer {
public:
   Writer( const Rule& rule, Vek::String& out ) : rule_( rule ), out_( out ) {}

   void write( const Wire::EncodedAction& communities ) {
      constexpr U32 longest = Wire::maxNlriLength - 1;
      if ( nlriLength( rule_ ) > longest ) {
         refuse( "ExaBGP takes no rule of more than ", longest, " octets" );
      }
      const std::vector< Component > components = componentsOf( rule_.key );
      const bool prefix = !rule_.key.destPrefix().empty() || !rule_.key.srcPrefix().empty();
      if ( rule_.key.addressFamily() == Zorv::AddressFamily::ipv6 && !prefix ) {
         writeLine( components, communities );
      } else {
         writeBlocks( components, communities );
      }
   }

private:
   template < typename... Parts >
   void put( const Parts&... parts ) {
      out_ += Vek::concat( parts... );
   }

   void writeBlocks( const std::vector< Component >& components,
                     const Wire::EncodedAction& communities );
   void writeLine( const std::vector< Component >& components,
                   const Wire::EncodedAction& communities );
   void writeDistinguisher();
   void writeMatch( const std::vector< Component >& components );
   void writePrefix( std::string_view name, const Zorv::IpGenPrefix& prefix );
   void writeInterfaceSets( const Wire::EncodedAction& communities );
   void writeAction( const Wire::EncodedAction& communities );
   void writeCommunity( const Wire::ExtendedCommunity& community );
   void writeCommunity( const Wire::Ipv6Community& community );

   const Rule& rule_;
   Vek::String& out_;
   std::string_view end_ = "; "; // of a statement
};

void Writer::writeBlocks( const std::vector< Component >& components,
                          const Wire::EncodedAction& communities ) {
   out_ += "announce flow route { ";
   writeDistinguisher();
   out_ += "match { ";
   writeMatch( components );
   out_ += "} ";
   if ( rule_.key.interfaceSets() != 0 ) {
      out_ += "scope { ";
      writeInterfaceSets( communities );
      out_ += "} ";
   }
   out_ += "then { ";
   writeAction( communities );
   out_ += "} }";
}

// A route without a prefix is one of IPv4, and only a configuration has a place to say IPv6.
void Writer::writeLine( const std::vector< Component >& components,
                        const Wire::EncodedAction& communities ) {
   if ( rule_.rd ) {
      refuse( "ExaBGP has no IPv6 rule with a distinguisher and without a prefix" );
   }
   end_ = " ";
   out_ += "announce { ipv6 { flow ";
   writeMatch( components );
   writeInterfaceSets( communities );
   writeAction( communities );
   out_.back() = ';';
   out_ += " } }";
}

void Writer::writeDistinguisher() {
   if ( !rule_.rd ) {
      return;
   }
   const bool as4 = rule_.rd->type() == 2 && ( rule_.rd->value() >> 32 & 0xFFFF ) != 0;
   if ( rule_.rd->type() > 1 && !as4 ) {
      refuse( "ExaBGP has no text for the route distinguisher ", *rule_.rd );
   }
   put( "rd ", *rule_.rd, "; " );
}

void Writer::writeMatch( const std::vector< Component >& components ) {
   writePrefix( "destination ", rule_.key.destPrefix() );
   writePrefix( "source ", rule_.key.srcPrefix() );
   for ( const Component& component : components ) {
      put( nameOf( component.type, rule_.key.addressFamily(), component.terms, Style::written ),
           ' ' );
      appendTerms( component, Style::written, out_ );
      out_ += end_;
   }
}

void Writer::writePrefix( std::string_view name, const Zorv::IpGenPrefix& prefix ) {
   if ( !prefix.empty() ) {
      out_ += name;
      appendPrefix( prefix, out_ );
      out_ += end_;
   }
}

void Writer::writeInterfaceSets( const Wire::EncodedAction& communities ) {
   constexpr U16 groupBits = 0x3FFF;
   if ( rule_.key.interfaceSets() == 0 ) {
      return;
   }
   out_ += "interface-set [ ";
   for ( const Wire::ExtendedCommunity& community : communities.extended ) {
      if ( type( community ) == CommunityType::interfaceSet ) {
         put( "transitive:input:", as4Of( community ), ':', number2Of( community ) & groupBits,
              ' ' );
      }
   }
   put( ']', end_ );
}

void Writer::writeAction( const Wire::EncodedAction& communities ) {
   const std::size_t before = out_.size();
   for ( const Wire::ExtendedCommunity& community : communities.extended ) {
      if ( type( community ) != CommunityType::interfaceSet ) {
         writeCommunity( community );
      }
   }
   for ( const Wire::Ipv6Community& community : communities.ipv6 ) {
      writeCommunity( community );
   }
   if ( out_.size() == before ) {
      put( "accept", end_ );
   }
}

// In words where ExaBGP has some, else as hexadecimal digits.
void Writer::writeCommunity( const Wire::ExtendedCommunity& community ) {
   constexpr float maxRate = 1e12F;
   constexpr U32 actionBits = 3;
   constexpr std::string_view actions[] = { "", "terminal", "sample", "sample-terminal" };
   const U32 number = number4Of( community );
   switch ( type( community ) ) {
   case CommunityType::rateBytes:
      if ( const float rate = rateOf( community ); rate == 0 ) {
         put( "discard", end_ );
         return;
      } else if ( rate <= maxRate && rate == std::trunc( rate ) ) {
         put( "rate-limit ", static_cast< U64 >( rate ), end_ );
         return;
      }
      break;
   case CommunityType::trafficAction:
      if ( as2Of( community ) == 0 && number != 0 && number <= actionBits ) {
         put( "action ", actions[number], end_ );
         return;
      }
      break;
   case CommunityType::marking:
      put( "mark ", number, end_ );
      return;
   case CommunityType::redirectAs2:
      put( "redirect ", as2Of( community ), ':', number, end_ );
      return;
   case CommunityType::redirectAs4:
      if ( as4Of( community ) > 0xFFFF ) {
         put( "redirect ", as4Of( community ), ':', number2Of( community ), end_ );
         return;
      }
      break;
   case CommunityType::redirectIp:
      if ( number2Of( community ) == 0 ) {
         put( "redirect-to-nexthop-ietf ", addressOf( community ), end_ );
         return;
      }
      break;
   default:
      break;
   }
   if ( fails( community ) ) {
      refuse( "ExaBGP fails to print an extended community of the type ", type( community ) );
   }
   out_ += "extended-community 0x";
   for ( const U8 octet : community ) {
      constexpr char digits[] = "0123456789abcdef";
      out_ += digits[octet >> 4];
      out_ += digits[octet & 15];
   }
   out_ += end_;
}

void Writer::writeCommunity( const Wire::Ipv6Community& community ) {
   const bool redirects = type( community ) == Wire::Ipv6CommunityType::redirectIp;
   if ( redirects && number2Of( community ) == 0 ) {
      put( "redirect-to-nexthop-ietf ", addressOf( community ), end_ );
   } else if ( redirects && rule_.key.addressFamily() == Zorv::AddressFamily::ipv6 && !rule_.rd ) {
      put( "copy ", addressOf( community ), end_ );
   } else if ( redirects ) {
      refuse( "ExaBGP has a copy to an IPv6 address in IPv6 rules without a distinguisher alone" );
   } else {
      refuse( "ExaBGP has no text for IPv6-address-specific extended communities" );
   }
}

} // namespace

void appendExaBgp( const Rule& rule, const Context& context, Vek::String& out ) {
   const Wire::EncodedAction communities = communitiesOf( rule, context );
   writeEquivalent( rule, out,
                    [&]( const Rule& any ) { Writer( any, out ).write( communities ); } );
}

} // namespace Forms
