#include "tests/agents/bgp/message/PlainUpdate.h"
#include "tests/agents/bgp/message/UpdateBytes.h"
#include "tests/agents/peerd/LivePeer.h"
#include "wire/NlriDecoder.h"

#include <random>

#include <gmock/gmock.h>

namespace Peerd {
namespace {

using namespace TestSupport;
using Octets = std::vector< U8 >;

constexpr const char* hostile = "127.0.0.12";
constexpr const char* bystander = "127.0.0.13";

const std::string marker( 32, 'F' );
const std::string internalPath = attribute( 0x40, 2, "" );

// A rule for 10.x.y.z/32 as NLRI, and the key that it is filed under.
std::string goodRule( unsigned number ) { return "06 0120" + hexNumber( 0x0A000000 + number, 4 ); }

Flowspec::FlowspecKey keyOf( const std::string& nlri ) {
   Wire::Nlri read;
   EXPECT_FALSE( Wire::decodeNlri( bytesOf( nlri ), *Bgp::ipv4Flow.format(), read ) );
   read.key.vrfIdIs( 0 );
   return read.key;
}

Octets update( const Octets& body ) { return RawPeer::message( 2, body ); }

Octets announcement( const std::string& nlri ) {
   return update(
      updateBody( attribute( 0x90, 14, "0001850000" + nlri ) + origin + internalPath ) );
}

// A peer that misbehaves, and another one, whose session must not suffer.
class HostilePeer : public testing::Test {
protected:
   void TearDown() override {
      const std::string rule = goodRule( 0x123456 );
      other->send( announcement( rule ) );
      EXPECT_TRUE( peerd.until( [&] { return peerd.isFiled( keyOf( rule ) ); } ) );
      EXPECT_TRUE( peerd.isEstablished( "other" ) );
      EXPECT_EQ( peerd.state( "other" )->flaps(), 0U );
   }

   std::unique_ptr< RawPeer > session() { return liveSession( peerd, hostile ); }
   // A rule after whatever was said before is filed.
   void expectGoesOn( RawPeer& peer ) {
      const std::string rule = goodRule( ++rules );
      peer.send( announcement( rule ) );
      EXPECT_TRUE( peerd.until( [&] { return peerd.isFiled( keyOf( rule ) ); } ) );
   }

   RunningPeerd peerd{ livePeer( "first", hostile ) + ',' + livePeer( "other", bystander ) };
   std::unique_ptr< RawPeer > other = liveSession( peerd, bystander );
   unsigned rules = 0;
};

TEST_F( HostilePeer, EndsItsSessionWithBrokenMessages ) {
   struct Case {
      std::string message;
      std::string told;
   };
   const std::string body4097( 2 * 4078, '0' );
   const auto withAttributes = []( const std::string& attributes, const std::string& nlri = "" ) {
      return hexOf( update( updateBody( attributes, nlri ) ) );
   };
   const std::string twice = attribute( 0x80, 14, "0001850000" + goodRule( 1 ) );
   for ( const auto& [message, told] : {
            Case{ marker.substr( 1 ) + "E" + "001304", "1/1 " },
            Case{ marker + "001204", "1/2 0012" },
            Case{ marker + "000004", "1/2 0000" },
            Case{ marker + "100102" + body4097, "1/2 1001" },
            Case{ marker + "FFFF02", "1/2 FFFF" },
            Case{ marker + "00140400", "1/2 0014" },
            Case{ marker + "001300", "1/3 00" },
            Case{ marker + "001306", "1/3 06" },
            Case{ marker + "0013FF", "1/3 FF" },
            Case{ marker + "001D0104FC00005A0000001500", "5/3 01" },
            Case{ marker + "0018050001008500", "7/1 " + marker + "0018050001008500" },
            Case{ marker + "0015030602", "closed" },
            Case{ marker + "00170200010000", "3/1 " },
            Case{ marker + "00170200000001", "3/1 " },
            Case{ withAttributes( twice + origin + internalPath + twice ), "3/1 " },
            Case{ withAttributes( attribute( 0x40, 99, "" ) ), "3/2 406300" },
            Case{ withAttributes( attribute( 0x40, 15, "000185" ) ), "3/4 400F03000185" },
            Case{ withAttributes( attribute( 0x80, 14, "0001850301020300" ) ),
                  "3/9 800E080001850301020300" },
            Case{ withAttributes( attribute( 0x80, 15, "00018505" ) ), "3/9 800F0400018505" },
            Case{ withAttributes( origin + internalPath, "21" ), "3/10 " },
         } ) {
      SCOPED_TRACE( message.substr( 0, 100 ) );
      const auto peer = session();
      peer->send( bytesOf( message ) );
      EXPECT_EQ( ending( *peer ), told );
   }
}

TEST_F( HostilePeer, KeepsItsSessionWhereTheFramingHolds ) {
   const auto peer = session();
   const std::string reach = attribute( 0x80, 14, "0001850000" + goodRule( 0xFFFFFF ) );
   for ( const std::string& attributes : {
            reach + origin,
            reach + origin + internalPath + "8004",
            reach + origin + internalPath + "800409 00",
            reach + attribute( 0x40, 1, "03" ) + internalPath,
            reach + attribute( 0x80, 1, "00" ) + internalPath,
            reach + attribute( 0x40, 1, "" ) + internalPath,
            reach + origin + attribute( 0x40, 2, "0200" ),
            reach + origin + attribute( 0x40, 2, "0201 0000FB" ),
            reach + origin + internalPath + attribute( 0x40, 5, "00" ),
            reach + origin + internalPath + attribute( 0xC0, 16, "00" ),
            attribute( 0x80, 14, "000185000003 0118C0" ) + origin + internalPath,
            attribute( 0x80, 14, "000185000000" ) + origin + internalPath,
         } ) {
      SCOPED_TRACE( attributes );
      peer->send( update( updateBody( attributes ) ) );
      expectGoesOn( *peer );
      EXPECT_FALSE( peerd.isFiled( keyOf( goodRule( 0xFFFFFF ) ) ) );
   }
   // Passed over, all of them.
   peer->send( RawPeer::message( 5, bytesOf( "0001FF85" ) ) );
   peer->send( RawPeer::message( 5, bytesOf( "00190041" ) ) );
   peer->send( update( updateBody( "" ) ) );
   peer->send( update( updateBody( reach + origin + internalPath + origin ) ) );
   expectGoesOn( *peer );
   EXPECT_TRUE( peerd.isFiled( keyOf( goodRule( 0xFFFFFF ) ) ) )
      << "the second ORIGIN does not matter";
   // Two rules are refused for their octets; the one that was treated as withdrawn is filed by now.
   EXPECT_TRUE( peerd.until( [&] {
      const auto told = peerd.state( "first" );
      return told && told->rules().refused == 2 && told->refusedRule().size() == 2;
   } ) );
}

TEST_F( HostilePeer, SendsMutationsOfAGoodUpdate ) {
   const Octets good =
      updateBody( attribute( 0x80, 14, "00018500000B 0118C00002 038106 0481 50" ) +
                  attribute( 0x80, 15, "000185" + goodRule( 1 ) ) + origin + internalPath +
                  attribute( 0x40, 5, "00000064" ) + attribute( 0xC0, 16, "8006000000000000" ) );
   std::mt19937_64 random( 20'210'104 );
   auto peer = session();
   unsigned resets = 0;
   for ( int round = 0; round < 4096; ++round ) {
      Octets body = good;
      for ( std::size_t changes = 1 + random() % 3; changes > 0; --changes ) {
         body[random() % body.size()] = static_cast< U8 >( random() );
      }
      peer->send( update( body ) );
      if ( const int subcode = plainUpdate( body, internal ).resetSubcode ) {
         SCOPED_TRACE( hexOf( body ) );
         ++resets;
         ASSERT_THAT( ending( *peer ), testing::StartsWith( Vek::concat( "3/", subcode, ' ' ) ) );
         peer = session();
      }
   }
   EXPECT_GT( resets, 500U );
   EXPECT_LT( resets, 3500U );
   expectGoesOn( *peer );
}

TEST_F( HostilePeer, IsToldWhichFieldOfItsOpenIsWrong ) {
   const auto withOctet = []( std::size_t at, U8 value ) {
      Octets octets = RawPeer::octets( RawPeer::open() );
      octets.at( Bgp::headerSize + at ) = value;
      return octets;
   };
   const auto with = []( auto change ) {
      Bgp::Open open = RawPeer::open();
      change( open );
      return RawPeer::octets( open );
   };
   const auto tooShort = RawPeer::message( 1, bytesOf( "04FBF4005A7F00000C" ) );
   const std::string wanted = "010400010085"
                              "010400020085"
                              "010400010086"
                              "010400020086";
   for ( const auto& [open, told] : std::initializer_list< std::pair< Octets, std::string > >{
            { withOctet( 0, 3 ), "2/1 0004" },
            { withOctet( 0, 5 ), "2/1 0004" },
            { with( []( auto& open ) { open.as = open.capabilities.fourOctetAs.emplace( 0 ); } ),
              "2/2 " },
            { with( []( auto& open ) { open.as = open.capabilities.fourOctetAs.emplace( 9 ); } ),
              "2/2 " },
            { with( []( auto& open ) { open.capabilities.fourOctetAs = 70'000; } ), "2/2 " },
            { with( []( auto& open ) { open.holdTime = 1; } ), "2/6 " },
            { with( []( auto& open ) { open.holdTime = 2; } ), "2/6 " },
            { with( []( auto& open ) { open.identifier = 0; } ), "2/3 " },
            { with( []( auto& open ) { open.identifier = 0x7F000015; } ), "2/3 " },
            { withOctet( 9, 0 ), "2/0 " },    // the length of the parameters
            { withOctet( 9, 0xF0 ), "2/0 " }, //
            { withOctet( 10, 1 ), "2/4 " },   // the type of the first one
            { withOctet( 11, 0xF0 ), "2/0 " },
            { withOctet( 13, 0xF0 ), "2/0 " }, // the length of its first capability
            { with( []( auto& open ) { open.capabilities.families = { Bgp::ipv4Unicast }; } ),
              "2/7 " + wanted },
            { tooShort, "1/2 001C" },
         } ) {
      SCOPED_TRACE( hexOf( open ) );
      RawPeer peer( peerd.listens, hostile );
      peer.send( open );
      EXPECT_EQ( ending( peer ), told );
   }
   const auto peer = session();
   expectGoesOn( *peer );
}

TEST_F( HostilePeer, StaysSilent ) {
   std::vector< std::unique_ptr< RawPeer > > silent;
   for ( int i = 0; i < 20; ++i ) {
      silent.push_back( std::make_unique< RawPeer >( peerd.listens, hostile ) );
   }
   // With half a message, too.
   silent.back()->send( bytesOf( marker + "001D01" ) );
   const auto peer = session();
   expectGoesOn( *peer );
}

// Asks for more than it takes.
TEST_F( HostilePeer, NeverReads ) {
   const auto peer = session();
   const Octets refresh = RawPeer::message( 5, bytesOf( "00010085" ) );
   Octets many;
   for ( int i = 0; i < 1000; ++i ) {
      many.insert( many.end(), refresh.begin(), refresh.end() );
   }
   std::size_t sent = 0;
   for ( int round = 0; round < 100; ++round ) {
      sent += peer->send( many );
      const std::string rule = goodRule( 0x200000 + static_cast< unsigned >( round ) );
      other->send( announcement( rule ) );
      ASSERT_TRUE( peerd.until( [&] { return peerd.isFiled( keyOf( rule ) ); } ) );
   }
   EXPECT_GT( sent, many.size() );
   EXPECT_TRUE( peerd.isEstablished( "first" ) );
}

} // namespace
} // namespace Peerd
