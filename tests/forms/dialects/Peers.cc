#include "tests/forms/dialects/Peers.h"

#include "Osk/Endian.h"
#include "forms/dialects/Communities.h"
#include "wire/ActionDecoder.h"
#include "wire/NlriDecoder.h"
#include "wire/NlriEncoder.h"

#include <algorithm>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

namespace TestSupport {

namespace {

using Octets = std::vector< U8 >;

constexpr std::size_t headerSize = 19;
constexpr U8 updateType = 2;
constexpr U8 longLength = 0x10;
constexpr U8 reachable = 14;
constexpr U8 extendedCommunities = 16;
constexpr U8 ipv6Communities = 25;

void append16( Octets& out, std::size_t value ) {
   out.push_back( static_cast< U8 >( value >> 8 ) );
   out.push_back( static_cast< U8 >( value ) );
}

void appendAttribute( Octets& out, U8 flags, U8 type, const Octets& value ) {
   out.push_back( flags | longLength );
   out.push_back( type );
   append16( out, value.size() );
   out.insert( out.end(), value.begin(), value.end() );
}

template < typename Community >
Octets joined( const std::vector< Community >& communities ) {
   Octets octets;
   for ( const Community& community : communities ) {
      octets.insert( octets.end(), community.begin(), community.end() );
   }
   return octets;
}

} // namespace

bool isThere( const Vek::String& program ) { return outputOf( "command -v " + program ) != ""; }

U16 freePort() {
   const int fd = ::socket( AF_INET, SOCK_STREAM, 0 );
   sockaddr_in address{};
   address.sin_family = AF_INET;
   address.sin_addr.s_addr = htonl( INADDR_LOOPBACK );
   socklen_t size = sizeof address;
   auto* const any = reinterpret_cast< sockaddr* >( &address );
   EXPECT_EQ( ::bind( fd, any, size ), 0 );
   EXPECT_EQ( ::getsockname( fd, any, &size ), 0 );
   ::close( fd );
   return ntohs( address.sin_port );
}

Vek::String outputOf( const Vek::String& command ) {
   const Folder folder;
   const Vek::String output = folder.file( "output", "" );
   Process shell( { "sh", "-c", command }, output );
   shell.wait();
   return contents( output );
}

std::vector< U8 > updateOf( const Forms::Rule& rule ) {
   const Wire::NlriFormat format{ rule.key.addressFamily(), rule.rd.has_value() };
   Octets reach;
   append16( reach, static_cast< U8 >( format.family ) );
   reach.push_back( format.vpn ? 134 : 133 );
   reach.push_back( 0 ); // no next hop
   reach.push_back( 0 );
   EXPECT_FALSE( Wire::encodeNlri( rule.key, format, rule.rd.value_or( Zorv::RouteDistinguisher() ),
                                   Wire::ValueLengths::shortest, reach ) );
   const auto communities = Forms::communitiesOf( rule, ruleContext() );

   Octets attributes;
   appendAttribute( attributes, 0x40, 1, { 0 } );
   appendAttribute( attributes, 0x40, 2, {} );
   appendAttribute( attributes, 0x40, 5, { 0, 0, 0, 100 } );
   appendAttribute( attributes, 0x80, reachable, reach );
   if ( !communities.extended.empty() ) {
      appendAttribute( attributes, 0xC0, extendedCommunities, joined( communities.extended ) );
   }
   if ( !communities.ipv6.empty() ) {
      appendAttribute( attributes, 0xC0, ipv6Communities, joined( communities.ipv6 ) );
   }
   Octets message( 16, 0xFF );
   append16( message, headerSize + 4 + attributes.size() );
   message.push_back( updateType );
   append16( message, 0 );
   append16( message, attributes.size() );
   message.insert( message.end(), attributes.begin(), attributes.end() );
   return message;
}

Forms::Rule ruleOf( std::span< const U8 > message ) {
   Forms::Rule rule;
   Wire::Communities communities;
   Wire::Nlri nlri;
   bool found = false;
   for ( auto rest = message.subspan( std::min( headerSize + 4, message.size() ) );
         rest.size() > 3; ) {
      const bool isLong = rest[0] & longLength;
      const std::size_t begin = isLong ? 4 : 3;
      const std::size_t size = isLong ? Osk::loadBig16( &rest[2] ) : rest[2];
      if ( begin + size > rest.size() ) {
         ADD_FAILURE() << "the attributes are cut off";
         return {};
      }
      const auto value = rest.subspan( begin, size );
      if ( rest[1] == reachable ) {
         const auto format = Wire::NlriFormat::of( Osk::loadBig16( value.data() ), value[2] );
         Wire::NlriList list( value.subspan( 5U + value[3] ), *format );
         const auto rejection = list.next( nlri );
         EXPECT_FALSE( rejection ) << rejection->message();
         EXPECT_TRUE( list.atEnd() );
         rule.key = nlri.key;
         if ( format->vpn ) {
            rule.rd = nlri.rd;
         }
         found = true;
      } else if ( rest[1] == extendedCommunities ) {
         communities.extended = value;
      } else if ( rest[1] == ipv6Communities ) {
         communities.ipv6 = value;
      }
      rest = rest.subspan( begin + size );
   }
   EXPECT_TRUE( found ) << "no rule is announced";
   const Forms::Context& context = ruleContext();
   Wire::DecodedAction decoded;
   const auto rejection =
      Wire::decodeAction( communities, { context.localAs, {}, context.vrfs }, decoded );
   EXPECT_FALSE( rejection ) << rejection->message();
   rule.action = decoded.action;
   for ( const U16 id : decoded.interfaceSets ) {
      rule.key.interfaceSetPush( id );
   }
   rule.kept = decoded.kept;
   rule.keptIpv6 = decoded.keptIpv6;
   return rule;
}

std::map< std::string, const Forms::Rule* > filed( const std::vector< const NamedRule* >& rules ) {
   std::map< Octets, const NamedRule* > byMatch;
   for ( const auto* const named : rules ) {
      Forms::Rule match;
      match.key = named->rule.key;
      match.rd = named->rule.rd;
      byMatch[updateOf( match )] = named;
   }
   std::map< std::string, const Forms::Rule* > byId;
   for ( const auto& [match, named] : byMatch ) {
      byId[named->id] = &named->rule;
   }
   return byId;
}

void expectSame( const std::vector< Forms::Rule >& read,
                 const std::map< std::string, const Forms::Rule* >& rules ) {
   EXPECT_EQ( read.size(), rules.size() );
   for ( const auto& named : rules ) {
      const Forms::Rule& rule = *named.second;
      const auto means = [&]( const Forms::Rule& candidate ) {
         return sameMeaning( candidate, rule );
      };
      EXPECT_TRUE( std::ranges::any_of( read, means ) )
         << named.first << ' ' << rule.key.stringValue();
   }
}

} // namespace TestSupport
