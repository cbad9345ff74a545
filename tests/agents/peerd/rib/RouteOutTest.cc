#include "agents/peerd/rib/RouteOut.h"

#include "Flowspec/key/FlowspecKeyReader.h"
#include "agents/bgp/message/Header.h"
#include "agents/bgp/message/RouteRefresh.h"
#include "tests/agents/peerd/rib/Announcement.h"

#include <gmock/gmock.h>

namespace Peerd {
namespace {

using namespace TestSupport;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr PeerId outer = 1, inner = 2;

Flowspec::FlowspecKey key( const std::string& text ) {
   Flowspec::FlowspecKey read;
   EXPECT_FALSE( Flowspec::readStringValue( text, read ) ) << text;
   return read;
}

const std::string two = "0;ipv4;192.0.2.0/24;*;";
const std::string three = "0;ipv4;192.0.3.0/24;*;";

Flowspec::RuleAction rate( float bytes ) {
   Flowspec::RuleAction action;
   if ( bytes == 0 ) {
      action.fields.trafficDropIs( true );
   } else {
      action.fields.trafficRateIs( true );
      action.rateLimit = bytes;
   }
   return action;
}

class RouteOutTest : public testing::Test {
public:
   RouteOutTest() {
      for ( const PeerId peer : { outer, inner } ) {
         out_.peerIs( peer, ExportPolicy{ .announcesOthers = true } );
      }
   }

   Bgp::Agreed agreed( PeerId peer ) const {
      Bgp::Agreed agreed;
      agreed.localAs = 64512;
      agreed.peerAs = peer == outer ? 64501 : 64512;
      agreed.families = families_;
      agreed.fourOctetAs = true;
      agreed.enhancedRefresh = peer == inner;
      return agreed;
   }
   void up( PeerId peer ) { out_.established( peer, agreed( peer ) ); }

   void put( const std::string& text, float bytes = 0 ) { out_.put( key( text ), rate( bytes ) ); }
   void del( const std::string& text ) { out_.del( key( text ) ); }

   // All that a peer is told now, message by message.
   std::vector< std::string > told( PeerId peer, U32 limit = 1000 ) {
      std::vector< U8 > octets;
      while ( out_.isPending( peer ) ) {
         out_.write( peer, octets, limit );
      }
      return textOf( peer, octets );
   }

   std::vector< std::string > textOf( PeerId peer, std::span< const U8 > octets ) const {
      std::vector< std::string > messages;
      while ( !octets.empty() ) {
         Bgp::Header header{};
         EXPECT_FALSE(
            Bgp::readHeader( octets.first< Bgp::headerSize >(), Bgp::maxMessage, header ) );
         const auto body = octets.first( header.length ).subspan( Bgp::headerSize );
         messages.push_back( header.type == Bgp::MessageType::update ? updateText( peer, body )
                                                                     : refreshText( body ) );
         octets = octets.subspan( header.length );
      }
      return messages;
   }

   static std::string refreshText( std::span< const U8 > body ) {
      Bgp::RouteRefresh refresh;
      EXPECT_FALSE( Bgp::readRouteRefresh( body, refresh ) );
      return Vek::concat( refresh.subtype == Bgp::RouteRefresh::begin ? "begin " : "end ",
                          Bgp::name( refresh.family ) );
   }

   std::string updateText( PeerId peer, std::span< const U8 > body ) const {
      Bgp::Agreed theirs = agreed( peer );
      std::swap( theirs.localAs, theirs.peerAs );
      Bgp::Update update;
      EXPECT_FALSE( Bgp::readUpdate( body, theirs, update ) );
      EXPECT_FALSE( update.withdrawn ) << update.withdrawn->message();
      EXPECT_TRUE( update.discarded.empty() );
      if ( update.endOfRib ) {
         return "end of " + Bgp::name( *update.endOfRib );
      }
      if ( update.unreach ) {
         EXPECT_FALSE( update.reach );
         return Vek::concat( "-", Bgp::name( update.unreach->family ), ' ',
                             hexOf( update.unreach->nlri ) );
      }
      const Bgp::PathAttributes& path = update.attributes;
      EXPECT_TRUE( update.nextHop.empty() );
      EXPECT_EQ( path.origin, Bgp::Origin::igp );
      std::string text =
         Vek::concat( "+", Bgp::name( update.reach->family ), ' ', hexOf( update.reach->nlri ),
                      " path \"", path.asPath.text(), '"' );
      if ( path.localPref ) {
         text += Vek::concat( " pref ", *path.localPref );
      }
      if ( path.med ) {
         text += Vek::concat( " med ", *path.med );
      }
      text += ' ' + hexOf( path.communities.extended.value_or( std::span< const U8 >() ) );
      if ( path.communities.ipv6 ) {
         text += " ipv6 " + hexOf( *path.communities.ipv6 );
      }
      return text;
   }

   std::vector< std::string > refused() {
      std::vector< std::string > rules;
      out_.forEachRefused( 100, [&]( const Flowspec::FlowspecKey& rule, const Vek::String& why ) {
         rules.push_back( rule.stringValue() + ' ' + why );
      } );
      EXPECT_EQ( rules.size(), out_.refused() );
      return rules;
   }

   std::vector< Bgp::Family > families_{ Bgp::ipv4Flow, Bgp::ipv4VpnFlow };
   RouteOut out_;
};

const std::string twoNlri = "050118C00002";
const std::string threeNlri = "050118C00003";
const std::string dropped = "8006FC0000000000";
const std::string limited = "8006FC00447A0000";

TEST_F( RouteOutTest, AttributesAreThoseOfTheKindOfPeer ) {
   put( two );
   up( outer );
   up( inner );
   EXPECT_THAT( told( outer ), ElementsAre( "+ipv4-flow " + twoNlri + " path \"64512\" " + dropped,
                                            "end of ipv4-flow", "end of ipv4-vpn-flow" ) );
   EXPECT_THAT( told( inner ),
                ElementsAre( "+ipv4-flow " + twoNlri + " path \"\" pref 100 " + dropped,
                             "end of ipv4-flow", "end of ipv4-vpn-flow" ) );
   EXPECT_TRUE( out_.endOfRibSent( inner, Bgp::ipv4Flow ) );
   EXPECT_FALSE( out_.endOfRibSent( inner, Bgp::ipv6Flow ) ) << "was not agreed";
   EXPECT_EQ( out_.announced( outer ), 1U );
   ExportPolicy policy{ .announcesOthers = true, .localPref = 50, .med = 7 };
   out_.peerIs( inner, policy );
   EXPECT_THAT( told( inner ),
                ElementsAre( "+ipv4-flow " + twoNlri + " path \"\" pref 50 med 7 " + dropped ) );
}

TEST_F( RouteOutTest, WithoutAPolicyNothingIsAnnounced ) {
   out_.peerIs( outer, std::nullopt );
   put( two );
   up( outer );
   EXPECT_THAT( told( outer ), ElementsAre( "end of ipv4-flow", "end of ipv4-vpn-flow" ) );
   put( three );
   EXPECT_THAT( told( outer ), IsEmpty() );
   out_.peerIs( outer, ExportPolicy{ .announcesOthers = true } );
   EXPECT_THAT( told( outer ),
                ElementsAre( "+ipv4-flow " + twoNlri + threeNlri + " path \"64512\" " + dropped ) );
   out_.peerIs( outer, std::nullopt );
   EXPECT_THAT( told( outer ), ElementsAre( "-ipv4-flow " + twoNlri + threeNlri ) );
   EXPECT_EQ( out_.announced( outer ), 0U );
}

TEST_F( RouteOutTest, PolicyThatChangesTellsWhatChanges ) {
   put( two );
   put( three );
   up( outer );
   told( outer );
   ExportPolicy policy{ .announcesOthers = true };
   policy.terms.push_back(
      { .condition = { .destinations = { *Zorv::IpGenPrefix::fromText( "192.0.3.0/24" ) } },
        .announces = false } );
   out_.peerIs( outer, policy );
   EXPECT_THAT( told( outer ), ElementsAre( "-ipv4-flow " + threeNlri ) );
   out_.peerIs( outer, policy );
   EXPECT_FALSE( out_.isPending( outer ) );
}

TEST_F( RouteOutTest, ChangesAreToldOnce ) {
   up( outer );
   told( outer );
   EXPECT_FALSE( out_.isPending( outer ) );
   put( two );
   put( two, 1000 );
   EXPECT_THAT( told( outer ),
                ElementsAre( "+ipv4-flow " + twoNlri + " path \"64512\" " + limited ) );
   put( two, 1000 );
   EXPECT_FALSE( out_.isPending( outer ) );
   put( two );
   del( two );
   EXPECT_THAT( told( outer ), ElementsAre( "-ipv4-flow " + twoNlri ) );
   put( two );
   del( two );
   EXPECT_THAT( told( outer ), IsEmpty() ) << "the peer never heard of it";
   del( two );
   EXPECT_FALSE( out_.isPending( outer ) );
}

TEST_F( RouteOutTest, RulesArePackedByWhatIsSaidOfThem ) {
   up( outer );
   told( outer );
   put( "0;ipv4;10.0.1.0/24;*;" );
   put( "0;ipv4;10.0.2.0/24;*;", 1000 );
   put( "0;ipv4;10.0.3.0/24;*;" );
   put( "0;ipv4;10.0.4.0/24;*;", 1000 );
   EXPECT_THAT( told( outer ),
                ElementsAre( "+ipv4-flow 0501180A00010501180A0003 path \"64512\" " + dropped,
                             "+ipv4-flow 0501180A00020501180A0004 path \"64512\" " + limited ) );
}

TEST_F( RouteOutTest, EndOfRibComesAfterWhatWasThere ) {
   put( two );
   put( three );
   up( outer );
   std::vector< U8 > octets;
   out_.write( outer, octets, 1 );
   EXPECT_THAT( textOf( outer, octets ),
                ElementsAre( "+ipv4-flow " + twoNlri + " path \"64512\" " + dropped ) );
   put( "0;ipv4;192.0.4.0/24;*;" );
   octets.clear();
   out_.write( outer, octets, 1 );
   EXPECT_THAT( textOf( outer, octets ),
                ElementsAre( "+ipv4-flow " + threeNlri + " path \"64512\" " + dropped,
                             "end of ipv4-flow", "end of ipv4-vpn-flow" ) )
      << "what comes meanwhile does not put it off";
   EXPECT_TRUE( out_.isPending( outer ) );
}

TEST_F( RouteOutTest, RefreshTellsAllAgain ) {
   put( two );
   up( inner );
   up( outer );
   out_.refresh( inner, Bgp::ipv4Flow );
   EXPECT_THAT( told( inner ),
                ElementsAre( "+ipv4-flow " + twoNlri + " path \"\" pref 100 " + dropped,
                             "end of ipv4-flow", "end of ipv4-vpn-flow", "begin ipv4-flow",
                             "+ipv4-flow " + twoNlri + " path \"\" pref 100 " + dropped,
                             "end ipv4-flow" ) )
      << "not before End-of-RIB";
   out_.refresh( inner, Bgp::ipv4VpnFlow );
   EXPECT_THAT( told( inner ), ElementsAre( "begin ipv4-vpn-flow", "end ipv4-vpn-flow" ) );
   out_.refresh( inner, Bgp::ipv6Flow );
   EXPECT_THAT( told( inner ), IsEmpty() ) << "was not agreed";
   told( outer );
   out_.refresh( outer, Bgp::ipv4Flow );
   EXPECT_THAT( told( outer ),
                ElementsAre( "+ipv4-flow " + twoNlri + " path \"64512\" " + dropped ) )
      << "it knows no begin and end";
}

TEST_F( RouteOutTest, NextSessionIsToldAllAgain ) {
   put( two );
   up( outer );
   told( outer );
   put( three );
   out_.down( outer );
   EXPECT_FALSE( out_.isPending( outer ) );
   EXPECT_EQ( out_.announced( outer ), 0U );
   del( two );
   up( outer );
   EXPECT_THAT( told( outer ),
                ElementsAre( "+ipv4-flow " + threeNlri + " path \"64512\" " + dropped,
                             "end of ipv4-flow", "end of ipv4-vpn-flow" ) );
}

TEST_F( RouteOutTest, InterfaceSetsOfOneActionAreUnited ) {
   up( outer );
   told( outer );
   put( "0;ipv4;IFSET:=3;192.0.2.0/24;*;" );
   put( "0;ipv4;IFSET:=5,4;192.0.2.0/24;*;" );
   EXPECT_THAT( told( outer ),
                ElementsAre( "+ipv4-flow " + twoNlri + " path \"64512\" " + dropped +
                             interfaceSet( 3 ) + interfaceSet( 4 ) + interfaceSet( 5 ) ) );
   put( "7;ipv4;192.0.2.0/24;*;" );
   EXPECT_THAT( told( outer ),
                ElementsAre( "+ipv4-flow " + twoNlri + " path \"64512\" " + dropped ) )
      << "one is for all interfaces; a VRF without a distinguisher does not count";
   del( "7;ipv4;192.0.2.0/24;*;" );
   del( "0;ipv4;IFSET:=3;192.0.2.0/24;*;" );
   EXPECT_THAT( told( outer ), ElementsAre( "+ipv4-flow " + twoNlri + " path \"64512\" " + dropped +
                                            interfaceSet( 4 ) + interfaceSet( 5 ) ) );
   EXPECT_THAT( refused(), IsEmpty() );
}

TEST_F( RouteOutTest, OfSeveralActionsTheFirstKeysIsAnnounced ) {
   up( outer );
   told( outer );
   put( "7;ipv4;192.0.2.0/24;*;", 1000 );
   EXPECT_THAT( told( outer ),
                ElementsAre( "+ipv4-flow " + twoNlri + " path \"64512\" " + limited ) );
   put( two );
   EXPECT_THAT( told( outer ),
                ElementsAre( "+ipv4-flow " + twoNlri + " path \"64512\" " + dropped ) );
   EXPECT_THAT( refused(), ElementsAre( "7;ipv4;192.0.2.0/24;*; the same NLRI as " + two +
                                        ", which asks for another action" ) );
   put( "7;ipv4;192.0.2.0/24;*;" );
   EXPECT_FALSE( out_.isPending( outer ) ) << "they agree";
   EXPECT_THAT( refused(), IsEmpty() );
   put( "7;ipv4;192.0.2.0/24;*;", 1000 );
   EXPECT_EQ( refused().size(), 1U );
   del( two );
   EXPECT_THAT( told( outer ),
                ElementsAre( "+ipv4-flow " + twoNlri + " path \"64512\" " + limited ) );
   EXPECT_THAT( refused(), IsEmpty() );
}

TEST_F( RouteOutTest, VrfsWithADistinguisherHaveTheirFamily ) {
   const Wire::RouteTarget target{ Wire::RouteTarget::Kind::as2, { 0xFC, 0, 0, 0, 0, 1 } };
   put( "7;ipv4;192.0.2.0/24;*;" );
   up( outer );
   told( outer );
   out_.vrfTableIs( { { { 7, Zorv::RouteDistinguisher( 0x0000FC0000000064 ), {}, { target } } } } );
   EXPECT_THAT( told( outer ),
                ElementsAre( "-ipv4-flow " + twoNlri,
                             "+ipv4-vpn-flow 0D0000FC00000000640118C00002 path \"64512\" " +
                                dropped + routeTarget( 1 ) ) );
   EXPECT_EQ( out_.announced( outer ), 1U );
}

TEST_F( RouteOutTest, VrfsAreAnnouncedByTargetsOfEachKind ) {
   using Kind = Wire::RouteTarget::Kind;
   families_ = { Bgp::ipv6VpnFlow };
   Wire::RouteTarget ipv6{ Kind::ipv6, {} };
   ipv6.value = { 0x20, 0x01, 0x0D, 0xB8 };
   ipv6.value[17] = 9;
   out_.vrfTableIs( { { { 7,
                          Zorv::RouteDistinguisher( 0x0000FC0000000064 ),
                          {},
                          { { Kind::ipv4, { 192, 0, 2, 1, 0, 5 } },
                            ipv6,
                            { Kind::as4, { 0, 1, 0x11, 0x70, 0, 6 } } } } } } );
   put( "7;ipv6;2001:db8::/32;*;" );
   up( outer );
   EXPECT_THAT( told( outer ),
                ElementsAre( "+ipv6-vpn-flow 0F0000FC0000000064012000" + std::string( "20010DB8" ) +
                                " path \"64512\" " + dropped +
                                "0102C00002010005"
                                "0202000111700006" +
                                " ipv6 000220010DB8" + std::string( 26, '0' ) + "09",
                             "end of ipv6-vpn-flow" ) );
}

TEST_F( RouteOutTest, ARuleThatNoLongerFitsIsWithdrawn ) {
   Flowspec::FlowspecKey large = key( two );
   const auto grow = [&]( U32 terms ) {
      large.matchOpValDelAll();
      for ( U32 i = 0; i < terms; ++i ) {
         large.setOpVal( i, Flowspec::destPort, i + 1 == terms ? 0x91 : 0x11, 1000 + i );
      }
   };
   up( outer );
   told( outer );
   // The longest that a message has room for.
   U32 terms = 1350;
   do {
      out_.del( large );
      grow( --terms );
      out_.put( large, rate( 0 ) );
      told( outer );
   } while ( out_.announced( outer ) == 0 );
   EXPECT_GT( terms, 1330U );
   Flowspec::RuleAction more = rate( 0 );
   more.fields.trafficActionIs( true );
   more.trafficAction.sampleAndLogIs( true );
   out_.put( large, more );
   EXPECT_THAT( told( outer ), ElementsAre( testing::StartsWith( "-ipv4-flow F" ) ) );
   EXPECT_EQ( out_.announced( outer ), 0U );
   U32 tooLong = 0;
   const auto count = [&]( const auto&, const Vek::String& ) { ++tooLong; };
   out_.forEachTooLong( outer, 10, count );
   EXPECT_EQ( tooLong, 1U );
   out_.forEachTooLong( outer, 0, count );
   EXPECT_EQ( tooLong, 1U );
   out_.put( large, rate( 0 ) );
   EXPECT_THAT( told( outer ), ElementsAre( testing::StartsWith( "+ipv4-flow F" ) ) );
   out_.forEachTooLong( outer, 10, count );
   EXPECT_EQ( tooLong, 1U );
}

TEST_F( RouteOutTest, WhatIsRefusedIsListedUpToALimit ) {
   put( "0;ipv4;*;*;" );
   put( "0;ipv6;*;*;" );
   U32 listed = 0;
   for ( const U32 limit : { 0U, 1U, 2U, 3U } ) {
      listed = 0;
      out_.forEachRefused( limit, [&]( const auto&, const Vek::String& ) { ++listed; } );
      EXPECT_EQ( listed, std::min( limit, 2U ) );
   }
   // Another action makes no difference.
   put( "0;ipv4;*;*;", 1000 );
   EXPECT_EQ( out_.refused(), 2U );
   del( "0;ipv4;*;*;" );
   EXPECT_EQ( out_.refused(), 1U );
}

TEST_F( RouteOutTest, RulesThatNoNlriSaysAreListed ) {
   put( "0;ipv4;*;*;" );
   EXPECT_EQ( refused().size(), 1U );
   EXPECT_THAT( refused()[0], testing::StartsWith( "0;ipv4;*;*; " ) );
   Flowspec::RuleAction redirect;
   redirect.fields.trafficRedirectIs( true );
   redirect.redirect.vrfIdIs( 9 );
   out_.put( key( two ), redirect );
   EXPECT_EQ( refused()[0], two + " the VRF of the redirect has no route target" );
   del( "0;ipv4;*;*;" );
   put( two );
   EXPECT_THAT( refused(), IsEmpty() );
}

TEST_F( RouteOutTest, NlriThatNoMessageHasRoomForIsListed ) {
   Flowspec::FlowspecKey large = key( two );
   U32 index = 0;
   for ( U32 port = 0; port < 1350; ++port ) {
      index = large.setOpVal( index, Flowspec::destPort, port == 1349 ? 0x91 : 0x11, 1000 + port );
   }
   up( outer );
   Bgp::Agreed extended = agreed( inner );
   extended.maxSend = Bgp::maxExtendedMessage;
   out_.established( inner, extended );
   told( outer );
   out_.put( large, rate( 0 ) );
   EXPECT_THAT( told( outer ), IsEmpty() );
   const auto tooLong = [&]( PeerId peer ) {
      std::vector< std::string > reasons;
      out_.forEachTooLong(
         peer, 10, [&]( const auto&, const Vek::String& why ) { reasons.push_back( why ); } );
      return reasons;
   };
   EXPECT_THAT( tooLong( outer ), ElementsAre( "no message has room for its 4058 octets" ) );
   std::vector< U8 > octets;
   out_.write( inner, octets );
   EXPECT_GT( octets.size(), 4096U );
   EXPECT_THAT( tooLong( inner ), IsEmpty() );
   EXPECT_EQ( out_.announced( inner ), 1U );
   out_.del( large );
   EXPECT_THAT( told( outer ), IsEmpty() );
   EXPECT_THAT( tooLong( outer ), IsEmpty() );
}

} // namespace
} // namespace Peerd
