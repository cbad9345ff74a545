#include "Flowspec/key/FlowspecKeyReader.h"
#include "match/Matcher.h"
#include "tests/match/RandomMatch.h"
#include "tests/match/SlowMatch.h"

#include <gtest/gtest.h>

#include <map>

namespace Match {
namespace {

using namespace Flowspec;
using TestSupport::KeyGenerator;
using TestSupport::packetBytes;
using TestSupport::PacketParts;
using TestSupport::portBytes;

FlowspecKey keyOf( const std::string& text ) {
   FlowspecKey key;
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   EXPECT_FALSE( readStrCli( text, false, key ) ) << text;
   return key;
}

/// The matcher beside the rules in their order, which are tried one after the other.
class Both {
public:
   void insert( U32 id, const FlowspecKey& key, U64 priority ) {
      erase( id );
      matcher_.insert( { &key, priority, id } );
      rules_.emplace( std::pair( priority, id ), key );
   }

   void erase( U32 id ) {
      matcher_.erase( id );
      std::erase_if( rules_, [&]( const auto& rule ) { return rule.first.second == id; } );
   }

   std::size_t size() const { return rules_.size(); }

   /// Whether a rule won.
   bool agrees( const std::vector< U8 >& bytes ) const {
      const auto packet = parsePacket( bytes );
      if ( !packet ) {
         return false;
      }
      EXPECT_EQ( matcher_.match( *packet ), slowWinner( bytes, 1 ) );
      EXPECT_EQ( matcher_.match( *packet, []( U32 id ) { return id % 3 == 0; } ),
                 slowWinner( bytes, 3 ) );
      return slowWinner( bytes, 1 ).has_value();
   }

private:
   std::optional< U32 > slowWinner( const std::vector< U8 >& bytes, U32 divisor ) const {
      for ( const auto& [place, key] : rules_ ) {
         if ( place.second % divisor == 0 && TestSupport::slowMatches( key, bytes ) ) {
            return place.second;
         }
      }
      return std::nullopt;
   }

   Matcher matcher_;
   std::map< std::pair< U64, U32 >, FlowspecKey > rules_;
};

TEST( MatcherChange, ARuleThatCameWinsAndOneThatWentDoesNot ) {
   const FlowspecKey wide = keyOf( "10.0.0.0/8;*" );
   const FlowspecKey narrow = keyOf( "10.1.2.3/32;*;DP:>=50&<=60" );
   PacketParts parts;
   parts.payload = portBytes( 1, 53 );
   const Packet packet = parsePacket( packetBytes( parts ) ).value();
   Matcher matcher;
   EXPECT_EQ( matcher.match( packet ), std::nullopt );
   matcher.insert( { &wide, 2, 7 } );
   EXPECT_EQ( matcher.match( packet ), 7U );
   matcher.insert( { &narrow, 1, 3 } );
   EXPECT_EQ( matcher.match( packet ), 3U );
   matcher.insert( { &narrow, 3, 3 } );
   EXPECT_EQ( matcher.match( packet ), 7U );
   matcher.erase( 7 );
   EXPECT_EQ( matcher.match( packet ), 3U );
   matcher.erase( 7 );
   matcher.erase( 1000 );
   matcher.erase( 3 );
   EXPECT_EQ( matcher.match( packet ), std::nullopt );
}

TEST( MatcherChange, AKeyThatIsNoRuleTakesThePlaceOfOne ) {
   const FlowspecKey any = keyOf( "*;*" );
   FlowspecKey broken = any;
   broken.matchOpValIs( 0, MatchOpVal( 0x3F070000 ) );
   Matcher matcher;
   matcher.insert( { &any, 1, 0 } );
   matcher.insert( { &broken, 1, 0 } );
   EXPECT_EQ( matcher.match( parsePacket( packetBytes( PacketParts() ) ).value() ), std::nullopt );
}

// IPv6's length field does not count the fixed header, the packet's length does.
TEST( MatcherChange, TheLongestPacketsAreFound ) {
   PacketParts parts = PacketParts::ipv6();
   Packet packet = parsePacket( packetBytes( parts ) ).value();
   packet.length = 65575;
   FlowspecKey key;
   key.addressFamilyIs( Zorv::AddressFamily::ipv6 );
   ASSERT_FALSE( readStrCli( "*;*;LEN:>60", false, key ) );
   Matcher matcher;
   for ( U32 id = 0; id < 100; ++id ) {
      matcher.insert( { &key, id, id } );
   }
   EXPECT_EQ( matcher.match( packet ), 0U );
}

using MakeRule = std::function< FlowspecKey( KeyGenerator& ) >;
using MakePacket = std::function< std::vector< U8 >( KeyGenerator& ) >;

// Rules come, change and go at random, at first mostly come and at last all go.
void expectAgreement( U64 seed, U32 rules, const MakeRule& makeRule,
                      const MakePacket& makePacket ) {
   KeyGenerator random( seed );
   Both both;
   unsigned won = 0;
   const auto compare = [&] {
      for ( unsigned i = 0; i < 20; ++i ) {
         won += both.agrees( makePacket( random ) );
      }
   };
   for ( U32 change = 0; change < 3 * rules; ++change ) {
      const U32 id = static_cast< U32 >( random.below( rules ) );
      if ( random.oneIn( change < rules ? 8 : 2 ) ) {
         both.erase( id );
      } else {
         both.insert( id, makeRule( random ), random.below( rules ) );
      }
      if ( change % ( rules / 4 ) == 0 ) {
         compare();
      }
   }
   EXPECT_GT( both.size(), rules / 4 );
   EXPECT_GT( won, 20U );
   for ( U32 i = 0; i < rules; ++i ) {
      both.erase( ( i * 7919 ) % rules );
      if ( i % ( rules / 4 ) == 0 ) {
         compare();
      }
   }
   compare();
   EXPECT_EQ( both.size(), 0U );
}

TEST( MatcherChange, AgreesOnRulesOfAllKinds ) {
   TestSupport::RandomMatch all( 1 );
   std::vector< std::vector< U8 > > packets;
   for ( unsigned i = 0; i < 30; ++i ) {
      packets.push_back( all.packet() );
   }
   expectAgreement(
      2, 1000, [&]( KeyGenerator& random ) { return all.rule( random.oneOf( packets ) ); },
      [&]( KeyGenerator& random ) { return random.oneOf( packets ); } );
}

std::string range( KeyGenerator& random, const char* label, U64 width ) {
   const U64 first = random.below( 60000 );
   return ";" + std::string( label ) + ":>=" + std::to_string( first ) +
          "&<=" + std::to_string( first + random.below( width ) );
}

// To the address that rules are about, ports from a small range or from all.
std::vector< U8 > packetToVictim( KeyGenerator& random ) {
   PacketParts parts;
   parts.destination = Zorv::IpGenAddr::ipv4( 0x0A010203 );
   parts.protocol = random.oneIn( 2 ) ? 17 : 6;
   const U16 from = static_cast< U16 >( random.below( 65536 ) );
   const U16 to = static_cast< U16 >( random.below( 65536 ) );
   parts.payload =
      parts.protocol == 6 ? TestSupport::tcpBytes( from, to, 2 ) : portBytes( from, to );
   return packetBytes( parts );
}

TEST( MatcherChange, AgreesOnRangesForOneDestination ) {
   expectAgreement(
      3, 1500,
      []( KeyGenerator& random ) {
         std::string text = "10.1.2.3/32;*";
         text += random.oneIn( 2 ) ? ";IP:=6" : ";IP:=17";
         text += random.oneIn( 3 ) ? range( random, "P", 3000 ) : range( random, "DP", 3000 );
         text += random.oneIn( 2 ) ? range( random, "SP", 30000 ) : "";
         return keyOf( text );
      },
      packetToVictim );
}

TEST( MatcherChange, AgreesOnNestedPrefixes ) {
   expectAgreement(
      4, 1500,
      []( KeyGenerator& random ) {
         std::string text = "10.1.2.3/32;*";
         FlowspecKey key = keyOf( text + range( random, random.oneIn( 2 ) ? "DP" : "P", 500 ) );
         const unsigned length = static_cast< unsigned >( random.below( 33 ) );
         key.destPrefixIs( { Zorv::IpGenAddr::ipv4( 0x0A010203 ), length } );
         return key;
      },
      packetToVictim );
}

// No component tells them apart for a packet, as all match it: some by ranges nearly as wide as
// the field, by more ranges than are filed apart, or by flags alone.
TEST( MatcherChange, AgreesOnRulesThatAllOverlap ) {
   expectAgreement(
      5, 600,
      []( KeyGenerator& random ) {
         const std::string number = std::to_string( random.below( 60 ) );
         switch ( random.below( 5 ) ) {
         case 0:
            return keyOf( "*;*;DP:>=" + number );
         case 1:
            return keyOf( "*;*;P:<>" + number + ";LEN:>=" + number );
         case 2: {
            std::string text = "*;*;SP:=1";
            for ( U64 port = 1; port < 60; ++port ) {
               text += "|>=" + std::to_string( 1000 * port ) +
                       "&<=" + std::to_string( 1000 * port + 900 );
            }
            return keyOf( text );
         }
         case 3:
            return keyOf( "*;*;FRAG:!2" );
         default:
            return keyOf( "*;*;IP:>0;SP:>" + number + ";DP:>" + number + ";LEN:<2000" );
         }
      },
      packetToVictim );
}

} // namespace
} // namespace Match
