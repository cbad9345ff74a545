#include "forms/NlriText.h"
#include "tests/agents/bgp/message/UpdateBytes.h"
#include "tests/agents/peerd/LivePeer.h"
#include "tests/wire/NlriData.h"
#include "wire/NlriDecoder.h"

#include <algorithm>
#include <set>

#include <gmock/gmock.h>

namespace Peerd {
namespace {

using namespace TestSupport;
using Octets = std::vector< U8 >;
using Keys = std::set< Flowspec::FlowspecKey, Flowspec::FlowspecKeyOrder >;

constexpr const char* address = "127.0.0.12";

std::string familyHex( Wire::NlriFormat format ) {
   return hexNumber( static_cast< std::size_t >( format.family ), 2 ) +
          ( format.vpn ? "86" : "85" );
}

// An internal peer's announcement with the route target of VRF 7.
Octets announcement( const Octets& nlri, Wire::NlriFormat format ) {
   return RawPeer::message(
      2, updateBody( attribute( 0x90, 14, familyHex( format ) + "0000" + hexOf( nlri ) ) + origin +
                     attribute( 0x40, 2, "" ) + attribute( 0xC0, 16, "0002FBF400000007" ) ) );
}

// What follows each line, to see that the session goes on.
Octets goodRule( std::size_t number ) {
   return bytesOf( "06 0120" + hexNumber( 0x0AFF0000 + number, 4 ) );
}

Flowspec::FlowspecKey keyOf( const Octets& nlri ) {
   Wire::Nlri read;
   EXPECT_FALSE( Wire::decodeNlri( nlri, *Bgp::ipv4Flow.format(), read ) );
   read.key.vrfIdIs( 0 );
   return read.key;
}

// What identifies the rule in BGP: the octets after the length field.
Peers::RouteKey routeOf( const NlriLine& line ) {
   const std::size_t lengthSize = line.octets[0] < 0xF0 ? 1 : 2;
   std::string digits = hexOf( std::span( line.octets ).subspan( lengthSize ) );
   std::ranges::transform( digits, digits.begin(),
                           []( char c ) { return static_cast< char >( std::tolower( c ) ); } );
   const bool ipv6 = line.format.family == Zorv::AddressFamily::ipv6;
   return { static_cast< Peers::Family >( ( line.format.vpn ? 2 : 0 ) + ( ipv6 ? 1 : 0 ) ),
            digits };
}

bool endsTheSession( const NlriLine& line ) {
   Wire::NlriList list( line.octets, line.format );
   while ( !list.atEnd() ) {
      Wire::Nlri nlri;
      (void)list.next( nlri );
   }
   return !list.isFramed();
}

TEST( NlriSession, FilesOrRefusesEachLine ) {
   RunningPeerd peerd( livePeer( "first", address ), R"({"vrf":7,"import":["64500:7"]})" );
   const auto peer = liveSession( peerd, address );
   std::map< Peers::RouteKey, Vek::String > refused;
   std::set< Peers::RouteKey > taken;
   Keys keys;
   std::map< std::string, int > verdicts;
   std::size_t number = 0;
   for ( const NlriLine& line : nlriLines() ) {
      if ( endsTheSession( line ) ) {
         continue;
      }
      peer->send( announcement( line.octets, line.format ) );
      Wire::Nlri nlri;
      if ( const auto rejection = Wire::decodeNlri( line.octets, line.format, nlri ) ) {
         ++verdicts[rejection->code == Wire::RejectionCode::unrepresentable ? "unrepresentable"
                                                                            : "malformed"];
         refused[routeOf( line )] = rejection->message();
      } else {
         ++verdicts["rule"];
         taken.insert( routeOf( line ) );
         Flowspec::FlowspecKey key = line.key;
         key.vrfIdIs( line.format.vpn ? 7 : 0 );
         keys.insert( key );
      }
      const Octets rule = goodRule( ++number );
      peer->send( announcement( rule, *Bgp::ipv4Flow.format() ) );
      keys.insert( keyOf( rule ) );
   }
   EXPECT_EQ( verdicts, ( std::map< std::string, int >{
                           { "malformed", 53 }, { "rule", 123 }, { "unrepresentable", 9 } } ) );
   EXPECT_TRUE( peerd.until( [&] {
      return std::ranges::all_of( keys, [&]( const auto& key ) { return peerd.isFiled( key ); } );
   } ) );
   EXPECT_EQ( peerd.filed( 0 ) + peerd.filed( 7 ), keys.size() ) << "and nothing else is";
   ASSERT_TRUE( peerd.until( [&] {
      const auto told = peerd.state( "first" );
      return told && told->rules().refused == refused.size() &&
             told->refusedRule().size() == refused.size();
   } ) );
   const auto told = peerd.state( "first" );
   EXPECT_EQ( told->rules().received, refused.size() + taken.size() + number );
   EXPECT_EQ( told->rules().filed + told->rules().hidden, taken.size() + number );
   EXPECT_EQ( told->state(), Peers::SessionState::established );
   EXPECT_EQ( told->flaps(), 0U );
   for ( const auto& [route, reason] : refused ) {
      const auto rule = told->refusedRule( route );
      ASSERT_TRUE( rule ) << route.nlri();
      EXPECT_EQ( rule->reason(), reason );
   }
}

TEST( NlriSession, EndsWhereTheNextRuleCannotBeFound ) {
   RunningPeerd peerd( livePeer( "first", address ), R"({"vrf":7,"import":["64500:7"]})" );
   std::size_t ended = 0;
   for ( const NlriLine& line : nlriLines() ) {
      if ( !endsTheSession( line ) ) {
         continue;
      }
      SCOPED_TRACE( line.id );
      const auto peer = liveSession( peerd, address );
      peer->send( announcement( line.octets, line.format ) );
      EXPECT_THAT( ending( *peer ), testing::StartsWith( "3/9 900E" ) );
      // The next good rule arrives on the next session.
      const Octets rule = goodRule( ++ended );
      const auto next = liveSession( peerd, address );
      next->send( announcement( rule, *Bgp::ipv4Flow.format() ) );
      EXPECT_TRUE( peerd.until( [&] { return peerd.isFiled( keyOf( rule ) ); } ) );
      EXPECT_EQ( peerd.filed( 0 ), 1U ) << "rules of sessions that are over are gone";
   }
   EXPECT_EQ( ended, 10U );
}

} // namespace
} // namespace Peerd
