#include "match/Matcher.h"

#include "Flowspec/key/FlowspecKeyReader.h"
#include "tests/match/RandomMatch.h"
#include "tests/match/SlowMatch.h"
#include "tests/support/PacketBytes.h"

#include <gmock/gmock.h>

namespace Match {
namespace {

using namespace Flowspec;
using TestSupport::packetBytes;
using TestSupport::PacketParts;
using TestSupport::portBytes;
using TestSupport::slowMatches;

FlowspecKey keyOf( std::string_view text ) {
   FlowspecKey key;
   key.addressFamilyIs( Zorv::AddressFamily::ipv4 );
   EXPECT_FALSE( readStrCli( text, false, key ) ) << text;
   return key;
}

Packet udpTo( U16 port ) {
   PacketParts parts;
   parts.payload = portBytes( 1, port );
   return parsePacket( packetBytes( parts ) ).value();
}

/// Rules whose ids are their numbers from 100 on.
std::vector< Candidate > rulesOf( const std::vector< FlowspecKey >& keys,
                                  const std::vector< U64 >& priorities ) {
   std::vector< Candidate > rules;
   for ( std::size_t i = 0; i < keys.size(); ++i ) {
      rules.push_back( { &keys[i], priorities[i], static_cast< U32 >( 100 + i ) } );
   }
   return rules;
}

TEST( Matcher, WithoutRulesNothingWins ) {
   const Matcher matcher;
   EXPECT_EQ( matcher.match( udpTo( 53 ) ), std::nullopt );
   EXPECT_EQ( matcher.match( Packet() ), std::nullopt );
}

TEST( Matcher, TheLowestPriorityWins ) {
   const std::vector< FlowspecKey > keys = { keyOf( "*;*" ), keyOf( "10.0.0.0/8;*;DP:=53" ),
                                             keyOf( "*;*;IP:=17" ) };
   const Matcher matcher( rulesOf( keys, { ~U64{ 0 }, 5, 7 } ) );
   EXPECT_EQ( matcher.match( udpTo( 53 ) ), 101U );
   EXPECT_EQ( matcher.match( udpTo( 54 ) ), 102U );
   EXPECT_EQ( matcher.match( Packet() ), std::nullopt );
   PacketParts tcp;
   tcp.protocol = 6;
   EXPECT_EQ( matcher.match( parsePacket( packetBytes( tcp ) ).value() ), 100U );
   EXPECT_EQ( matcher.match( parsePacket( packetBytes( PacketParts::ipv6() ) ).value() ),
              std::nullopt );
}

TEST( Matcher, OfEqualPrioritiesTheFirstRuleWins ) {
   const std::vector< FlowspecKey > keys = { keyOf( "*;*;DP:=80" ), keyOf( "*;*;DP:=53|=80" ),
                                             keyOf( "10.1.2.3/32;*" ) };
   const Matcher matcher( rulesOf( keys, { 3, 3, 3 } ) );
   EXPECT_EQ( matcher.match( udpTo( 80 ) ), 100U );
   EXPECT_EQ( matcher.match( udpTo( 53 ) ), 101U );
   EXPECT_EQ( matcher.match( udpTo( 1 ) ), 102U );
}

TEST( Matcher, GoesOnBehindRulesThatAreNotAccepted ) {
   const std::vector< FlowspecKey > keys( 5, keyOf( "10.0.0.0/8;*;DP:=53" ) );
   const Matcher matcher( rulesOf( keys, { 0, 1, 2, 3, 4 } ) );
   EXPECT_EQ( matcher.match( udpTo( 53 ), []( U32 id ) { return id >= 103; } ), 103U );
   EXPECT_EQ( matcher.match( udpTo( 53 ), []( U32 ) { return false; } ), std::nullopt );
   EXPECT_EQ( matcher.match( udpTo( 54 ), []( U32 ) { return true; } ), std::nullopt );
}

TEST( Matcher, AsksAboutMatchingRulesOnly ) {
   const std::vector< FlowspecKey > keys = { keyOf( "*;*;DP:=80" ), keyOf( "*;*;DP:=53" ),
                                             keyOf( "*;*;IP:=6" ), keyOf( "*;*" ) };
   const Matcher matcher( rulesOf( keys, { 0, 1, 2, 3 } ) );
   std::vector< U32 > asked;
   matcher.match( udpTo( 53 ), [&]( U32 id ) {
      asked.push_back( id );
      return false;
   } );
   EXPECT_THAT( asked, testing::UnorderedElementsAre( 101, 103 ) );
}

TEST( Matcher, PassesOverKeysThatAreNoRules ) {
   std::vector< FlowspecKey > keys = { keyOf( "*;*" ), keyOf( "*;*" ) };
   keys[0].matchOpValIs( 0, MatchOpVal( 0x3F070000 ) );
   EXPECT_EQ( Matcher( rulesOf( keys, { 0, 1 } ) ).match( udpTo( 53 ) ), 101U );
}

/// What wins by trying one rule after the other.
std::optional< U32 > slowWinner( const std::vector< FlowspecKey >& keys,
                                 const std::vector< U64 >& priorities,
                                 const std::vector< U8 >& packet, U32 divisor ) {
   std::optional< std::size_t > best;
   for ( std::size_t i = 0; i < keys.size(); ++i ) {
      if ( ( 100 + i ) % divisor == 0 && slowMatches( keys[i], packet ) &&
           ( !best || priorities[i] < priorities[*best] ) ) {
         best = i;
      }
   }
   return best ? std::optional( static_cast< U32 >( 100 + *best ) ) : std::nullopt;
}

// Rules and packets meet by what `rule` makes of a packet; among many rules each attribute is
// shared by many, by few or by none.
void expectSlowWinners( U64 seed, unsigned sets, std::size_t size ) {
   TestSupport::RandomMatch random( seed );
   unsigned won = 0;
   for ( unsigned set = 0; set < sets; ++set ) {
      std::vector< std::vector< U8 > > packets;
      for ( unsigned i = 0; i < 20; ++i ) {
         packets.push_back( random.packet() );
      }
      std::vector< FlowspecKey > keys;
      std::vector< U64 > priorities;
      for ( std::size_t i = random.random().below( size + 1 ); i > 0; --i ) {
         keys.push_back( random.rule( random.random().oneOf( packets ) ) );
         priorities.push_back( random.random().below( size ) );
      }
      const Matcher matcher( rulesOf( keys, priorities ) );
      for ( const auto& bytes : packets ) {
         const auto packet = parsePacket( bytes );
         for ( const U32 divisor : { 1U, 3U } ) {
            const auto winner =
               packet ? divisor == 1
                           ? matcher.match( *packet )
                           : matcher.match( *packet, []( U32 id ) { return id % 3 == 0; } )
                      : std::nullopt;
            ASSERT_EQ( winner, slowWinner( keys, priorities, bytes, divisor ) ) << set;
            won += winner.has_value();
         }
      }
   }
   EXPECT_GT( won, sets * 20 / 2 );
}

TEST( Matcher, TheWinnerIsTheFirstThatMatchesOfFewRules ) { expectSlowWinners( 1, 500, 12 ); }

TEST( Matcher, TheWinnerIsTheFirstThatMatchesOfManyRules ) { expectSlowWinners( 2, 15, 600 ); }

} // namespace
} // namespace Match
