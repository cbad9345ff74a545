#include "agents/bgp/message/UpdateWriter.h"
#include "tests/agents/bgp/message/PlainUpdate.h"
#include "tests/agents/bgp/message/UpdateBytes.h"

#include <algorithm>
#include <random>

#include <gmock/gmock.h>

namespace Bgp {
namespace {

using namespace TestSupport;
using Octets = std::vector< U8 >;

class Generator {
public:
   explicit Generator( U64 seed ) : random_( seed ) {}

   std::size_t below( std::size_t bound ) { return random_() % bound; }
   bool oneIn( std::size_t n ) { return below( n ) == 0; }

   Octets octets( std::size_t size ) {
      Octets result( size );
      for ( U8& octet : result ) {
         octet = static_cast< U8 >( random_() );
      }
      return result;
   }

   // Segments of AS numbers, many of which stand for one that two octets do not hold.
   Octets path( unsigned asSize, U8 maxType ) {
      Octets path;
      for ( std::size_t segments = below( 4 ); segments > 0; --segments ) {
         path.push_back( static_cast< U8 >( oneIn( 3 ) ? 1 + below( maxType ) : 2 ) );
         const std::size_t count = 1 + below( 4 );
         path.push_back( static_cast< U8 >( count ) );
         for ( std::size_t i = 0; i < count; ++i ) {
            if ( asSize == 4 ) {
               append32( path,
                         static_cast< U32 >( oneIn( 2 ) ? 65536 + below( 9 ) : 1 + below( 9 ) ) );
            } else {
               append16( path, static_cast< U16 >( oneIn( 2 ) ? asTrans : 1 + below( 9 ) ) );
            }
         }
      }
      return path;
   }

   Octets rules() {
      Octets rules;
      for ( std::size_t count = below( 5 ); count > 0; --count ) {
         const Octets value = octets( oneIn( 8 ) ? 240 + below( 100 ) : below( 20 ) );
         if ( value.size() >= 240 ) {
            append16( rules, static_cast< U16 >( 0xF000 + value.size() ) );
         } else {
            rules.push_back( static_cast< U8 >( value.size() ) );
         }
         rules.insert( rules.end(), value.begin(), value.end() );
      }
      return rules;
   }

   Family family() { return oneIn( 10 ) ? ipv4Unicast : flowFamilies[below( 4 )]; }

   std::string familyHex() {
      const Family chosen = family();
      return hexNumber( chosen.afi, 2 ) + hexNumber( chosen.safi, 1 );
   }

   // The list of attributes of an update that is good, as far as single ones go.
   std::string attributes( bool fourOctetAs ) {
      if ( oneIn( 20 ) ) {
         return attribute( 0x80, 15, familyHex() );
      }
      std::vector< std::string > list;
      const unsigned asSize = fourOctetAs ? 4 : 2;
      const auto add = [&]( std::size_t likely, unsigned flags, unsigned type,
                            const Octets& value ) {
         if ( below( 8 ) < likely ) {
            const unsigned extended = value.size() > 255 || oneIn( 4 ) ? 0x10 : 0;
            list.push_back( attribute( flags | extended, type, hexOf( value ) ) );
         }
      };
      constexpr std::size_t nextHops[] = { 0, 4, 16, 12, 24 };
      const Octets nextHop = octets( nextHops[below( oneIn( 4 ) ? 5 : 3 )] );
      add( 7, 0x80, 14,
           bytesOf( familyHex() + hexNumber( nextHop.size(), 1 ) + hexOf( nextHop ) + "00" +
                    hexOf( rules() ) ) );
      add( 2, 0x80, 15, bytesOf( familyHex() + hexOf( oneIn( 2 ) ? Octets() : rules() ) ) );
      add( 7, 0x40, 1, { static_cast< U8 >( below( 3 ) ) } );
      add( 7, 0x40, 2, path( asSize, 2 ) );
      add( 1, 0x40, 3, octets( 4 ) );
      add( 2, 0x80, 4, octets( 4 ) );
      add( 2, 0x40, 5, octets( 4 ) );
      add( 1, 0x40, 6, {} );
      Octets aggregator = octets( 8 );
      aggregator.erase( aggregator.begin(), aggregator.begin() + ( fourOctetAs ? 0 : 2 ) );
      if ( !fourOctetAs && oneIn( 2 ) ) {
         aggregator[0] = asTrans >> 8;
         aggregator[1] = asTrans & 0xFF;
      }
      add( 2, 0xC0, 7, aggregator );
      add( 1, 0xC0, 8, octets( 4 * ( 1 + below( 3 ) ) ) );
      add( 1, 0x80, 9, octets( 4 ) );
      add( 1, 0x80, 10, octets( 4 * ( 1 + below( 3 ) ) ) );
      add( 4, 0xC0, 16, octets( 8 * ( 1 + below( 40 ) ) ) );
      add( 3, 0xC0, 17, path( 4, 4 ) );
      add( 2, 0xC0, 18, octets( 8 ) );
      add( 1, 0xC0, 25, octets( 20 * ( 1 + below( 3 ) ) ) );
      add( 1, 0xC0, 32, octets( 12 * ( 1 + below( 3 ) ) ) );
      add( 1, 0xC0, 99, octets( below( 5 ) ) );
      if ( oneIn( 8 ) && !list.empty() ) {
         list.push_back( list[below( list.size() )] );
      }
      std::ranges::shuffle( list, random_ );
      std::string all;
      for ( const std::string& one : list ) {
         all += one;
      }
      return all;
   }

   void mutate( Octets& octets ) {
      for ( std::size_t changes = 1 + below( 3 ); changes > 0 && !octets.empty(); --changes ) {
         const auto at = octets.begin() + static_cast< std::ptrdiff_t >( below( octets.size() ) );
         switch ( below( 4 ) ) {
         case 0:
            octets.erase( at );
            break;
         case 1:
            octets.insert( at, static_cast< U8 >( random_() ) );
            break;
         case 2:
            *at ^= static_cast< U8 >( 1U << below( 8 ) );
            break;
         default:
            *at = static_cast< U8 >( random_() );
         }
      }
   }

private:
   std::mt19937_64 random_;
};

Octets pathOctets( const PlainUpdate& plain ) {
   Octets octets;
   for ( const auto& [type, numbers] : plain.path ) {
      octets.push_back( type );
      octets.push_back( static_cast< U8 >( numbers.size() ) );
      for ( const U32 as : numbers ) {
         append32( octets, as );
      }
   }
   return octets;
}

std::optional< Octets > numberOctets( std::optional< U32 > value ) {
   if ( !value ) {
      return std::nullopt;
   }
   Octets octets;
   append32( octets, *value );
   return octets;
}

std::optional< Octets > copyOf( std::optional< std::span< const U8 > > octets ) {
   return octets ? std::optional( Octets( octets->begin(), octets->end() ) ) : std::nullopt;
}

void expectRoutes( const std::optional< Routes >& routes, std::optional< Family > family,
                   const Octets& nlri ) {
   ASSERT_EQ( routes.has_value(), family.has_value() );
   if ( routes ) {
      ASSERT_EQ( routes->family, *family );
      ASSERT_EQ( hexOf( routes->nlri ), hexOf( nlri ) );
   }
}

// Reads an update both ways; returns what became of it.
std::string expectAsPlain( const Octets& body, const Agreed& agreed, Update& update ) {
   const PlainUpdate plain = plainUpdate( body, agreed );
   const auto fault = readUpdate( body, agreed, update );
   EXPECT_EQ( fault ? int{ fault->notification.subcode } : 0, plain.resetSubcode )
      << ( fault ? fault->text : "" );
   if ( fault ) {
      EXPECT_EQ( fault->notification.code, ErrorCode::update );
      EXPECT_NE( fault->text, "" );
      return "reset";
   }
   EXPECT_EQ( update.withdrawn.has_value(), plain.withdrawn );
   EXPECT_EQ( update.discarded.size(), std::min< std::size_t >( plain.discarded, 16 ) );
   EXPECT_EQ( update.endOfRib, plain.endOfRib );
   expectRoutes( update.reach, plain.reach, plain.reachNlri );
   expectRoutes( update.unreach, plain.unreach, plain.unreachNlri );
   if ( update.withdrawn ) {
      EXPECT_NE( update.withdrawn->message(), "" );
      return "withdraw";
   }
   const auto value = [&plain]( U8 type ) {
      const auto found = plain.values.find( type );
      return found == plain.values.end() || found->second.empty() ? std::nullopt
                                                                  : std::optional( found->second );
   };
   const PathAttributes& attributes = update.attributes;
   EXPECT_EQ( hexOf( attributes.asPath.octets() ), hexOf( pathOctets( plain ) ) );
   EXPECT_EQ( Octets{ static_cast< U8 >( attributes.origin ) },
              value( 1 ).value_or( Octets{ 0 } ) );
   EXPECT_EQ( numberOctets( attributes.med ), value( 4 ) );
   EXPECT_EQ( numberOctets( attributes.localPref ), value( 5 ) );
   EXPECT_EQ( numberOctets( attributes.originatorId ), value( 9 ) );
   EXPECT_EQ( hexOf( attributes.clusterList ), hexOf( value( 10 ).value_or( Octets() ) ) );
   EXPECT_EQ( copyOf( attributes.communities.extended ), value( 16 ) );
   EXPECT_EQ( copyOf( attributes.communities.ipv6 ), value( 25 ) );
   if ( update.reach ) {
      EXPECT_EQ( hexOf( update.nextHop ), hexOf( plain.nextHop ) );
   }
   return update.endOfRib ? "end" : "use";
}

TEST( BgpUpdateProperty, ReadersAgreeOnGoodAndMutatedUpdates ) {
   Generator random( 20'210'104 );
   Update update;
   std::map< std::string, unsigned > verdicts;
   for ( int round = 0; round < 6'000; ++round ) {
      const Agreed agreed = agreedWith( random.oneIn( 2 ) ? 64512 : 64500, random.oneIn( 2 ) );
      Octets list = bytesOf( random.attributes( agreed.fourOctetAs ) );
      const bool mutated = random.oneIn( 2 );
      if ( mutated ) {
         random.mutate( list );
      }
      const std::string nlri =
         random.oneIn( 20 ) ? hexOf( random.octets( random.below( 8 ) ) ) : "";
      const std::string withdrawn =
         random.oneIn( 20 ) ? hexOf( random.octets( random.below( 8 ) ) ) : "";
      Octets body = updateBody( hexOf( list ), nlri, withdrawn );
      if ( random.oneIn( 4 ) ) {
         random.mutate( body );
         body.resize( std::max< std::size_t >( body.size(), 4 ) );
      }
      SCOPED_TRACE( hexOf( body ) );
      ++verdicts[expectAsPlain( body, agreed, update )];
      if ( HasFailure() ) {
         return;
      }
   }
   // Each outcome is often met, or the test would show little.
   EXPECT_EQ( verdicts.size(), 4U );
   for ( const auto& [verdict, count] : verdicts ) {
      EXPECT_GT( count, verdict == "end" ? 50U : 500U ) << verdict;
   }
}

TEST( BgpUpdateProperty, ShortBodiesAreReadAlike ) {
   Generator random( 1 );
   Update update;
   for ( int round = 0; round < 10'000; ++round ) {
      Octets body = random.octets( 4 + random.below( 30 ) );
      body[0] = 0;
      body[1] = static_cast< U8 >( random.below( 3 ) );
      SCOPED_TRACE( hexOf( body ) );
      expectAsPlain( body, random.oneIn( 2 ) ? internal : twoOctet, update );
      if ( HasFailure() ) {
         return;
      }
   }
}

TEST( BgpUpdateProperty, WrittenAttributesReadBack ) {
   Generator random( 2 );
   for ( int round = 0; round < 2'000; ++round ) {
      const bool fourOctetAs = random.oneIn( 2 );
      const Octets path = random.path( 4, 2 );
      const Octets clusters = random.octets( 4 * random.below( 80 ) );
      const Octets extended = random.octets( 8 * ( 1 + random.below( 40 ) ) );
      const Octets ipv6 = random.octets( 20 * ( 1 + random.below( 20 ) ) );
      PathAttributes written;
      written.origin = static_cast< Origin >( random.below( 3 ) );
      written.asPath = AsPath( path );
      written.clusterList = clusters;
      const auto maybe = [&random]( auto& field ) {
         if ( random.oneIn( 2 ) ) {
            field = static_cast< U32 >( random.below( 1U << 31 ) );
         }
      };
      maybe( written.med );
      maybe( written.localPref );
      maybe( written.originatorId );
      if ( random.oneIn( 2 ) ) {
         written.communities = { extended, ipv6 };
      }
      Octets attributes;
      writeAttributes( written, fourOctetAs, attributes );
      Octets out;
      UpdateWriter writer =
         UpdateWriter::announcing( ipv4Flow, attributes, maxExtendedMessage, out );
      ASSERT_TRUE( writer.add( bytesOf( rule ) ) );
      writer.finish();
      SCOPED_TRACE( hexOf( out ) );
      const Octets body = bodiesOf( out, MessageType::update ).at( 0 );
      Update update;
      ASSERT_EQ( verdict( body, agreedWith( 64512, fourOctetAs ), update ), "use" );
      const PathAttributes& read = update.attributes;
      EXPECT_EQ( read.origin, written.origin );
      EXPECT_EQ( read.asPath.text(), written.asPath.text() );
      EXPECT_EQ( read.med, written.med );
      EXPECT_EQ( read.localPref, written.localPref );
      EXPECT_EQ( read.originatorId, written.originatorId );
      EXPECT_EQ( hexOf( read.clusterList ), hexOf( clusters ) );
      EXPECT_EQ( copyOf( read.communities.extended ), copyOf( written.communities.extended ) );
      EXPECT_EQ( copyOf( read.communities.ipv6 ), copyOf( written.communities.ipv6 ) );
   }
}

} // namespace
} // namespace Bgp
