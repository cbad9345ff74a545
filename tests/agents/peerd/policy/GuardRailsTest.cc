#include "agents/peerd/policy/GuardRails.h"

#include "Flowspec/key/FlowspecKeyReader.h"
#include "match/RuleMatch.h"
#include "tests/support/KeyGenerator.h"

#include <gmock/gmock.h>

namespace Peerd {
namespace {

using TestSupport::KeyGenerator;
using Zorv::AddressFamily;
using Zorv::IpGenAddr;

Flowspec::FlowspecKey rule( const char* text, AddressFamily family = AddressFamily::ipv4 ) {
   Flowspec::FlowspecKey key;
   key.addressFamilyIs( family );
   const auto error = Flowspec::readStrCli( text, false, key );
   EXPECT_FALSE( error ) << text << ": " << error->message;
   return key;
}

const SessionEnds session{ *IpGenAddr::fromText( "10.0.0.1" ), *IpGenAddr::fromText( "10.0.0.2" ) };

bool covers( const char* text ) { return coversSession( rule( text ), session ); }

TEST( PeerdGuardRails, Everything ) {
   EXPECT_TRUE( matchesEverything( rule( "0.0.0.0/0;*;" ) ) );
   EXPECT_TRUE( matchesEverything( rule( "0.0.0.0/0;0.0.0.0/0;" ) ) );
   EXPECT_TRUE( matchesEverything( rule( "*;*;IP:>=0;" ) ) ) << "each packet has a protocol";
   EXPECT_TRUE( matchesEverything( rule( "*;*;LEN:<100|>=100;DSCP:<=63;" ) ) );
   EXPECT_FALSE( matchesEverything( rule( "0.0.0.0/1;*;" ) ) );
   EXPECT_FALSE( matchesEverything( rule( "*;128.0.0.0/1;" ) ) );
   EXPECT_FALSE( matchesEverything( rule( "*;*;DP:>=0;" ) ) ) << "not each packet has ports";
   EXPECT_FALSE( matchesEverything( rule( "*;*;IP:>0;" ) ) );
   EXPECT_FALSE( matchesEverything( rule( "*;*;IP:>5&<3;" ) ) ) << "nothing at all";
   EXPECT_TRUE( matchesEverything( rule( "::/0;*;", AddressFamily::ipv6 ) ) );
   EXPECT_FALSE( matchesEverything( rule( "*;*;IP:>=0;", AddressFamily::ipv6 ) ) )
      << "a chain of headers may be cut off";
}

TEST( PeerdGuardRails, SessionByAddresses ) {
   EXPECT_TRUE( covers( "10.0.0.1/32;*;" ) );
   EXPECT_TRUE( covers( "10.0.0.2/32;*;" ) ) << "the other direction";
   EXPECT_TRUE( covers( "10.0.0.0/8;10.0.0.2/32;" ) );
   EXPECT_TRUE( covers( "10.0.0.2/31;10.0.0.0/31;" ) );
   EXPECT_FALSE( covers( "10.0.0.1/32;10.0.0.1/32;" ) );
   EXPECT_FALSE( covers( "10.0.0.2/31;10.0.0.2/31;" ) );
   EXPECT_FALSE( covers( "192.0.2.0/24;*;" ) );
   EXPECT_FALSE( coversSession( rule( "::/0;*;", AddressFamily::ipv6 ), session ) );
   EXPECT_FALSE( coversSession( rule( "*;*;IP:=6;" ), { {}, session.peer } ) )
      << "our address is not known";
}

TEST( PeerdGuardRails, SessionByPorts ) {
   EXPECT_TRUE( covers( "*;*;IP:=6;" ) );
   EXPECT_FALSE( covers( "*;*;IP:=17;" ) );
   EXPECT_TRUE( covers( "*;*;P:=179;" ) );
   EXPECT_TRUE( covers( "*;*;DP:=179;" ) );
   EXPECT_TRUE( covers( "*;*;SP:=179;" ) );
   EXPECT_TRUE( covers( "*;*;SP:=50000;" ) ) << "the other port is any";
   EXPECT_TRUE( covers( "*;*;DP:=179;SP:=50000;" ) );
   EXPECT_FALSE( covers( "*;*;DP:=80;SP:=50000;" ) );
   EXPECT_TRUE( covers( "*;*;P:=50000;DP:=179;" ) );
   EXPECT_FALSE( covers( "*;*;P:=50000;DP:=80;" ) ) << "179 would be the source, and none is 50000";
   EXPECT_TRUE( covers( "*;*;P:=80;DP:=80;" ) ) << "from the peer's port";
   EXPECT_FALSE( covers( "*;*;P:=80;DP:=80;SP:<179|>179;" ) );
   EXPECT_FALSE( covers( "*;*;DP:=179;SP:=0;" ) ) << "no port is 0";
   EXPECT_FALSE( covers( "*;*;DP:=0;" ) );
}

TEST( PeerdGuardRails, SessionByOtherComponents ) {
   EXPECT_FALSE( covers( "*;*;IT:>=0;" ) );
   EXPECT_TRUE( covers( "*;*;LEN:=40;" ) );
   EXPECT_FALSE( covers( "*;*;LEN:<40;" ) ) << "two headers";
   EXPECT_TRUE( covers( "*;*;TCP:=2;" ) );
   EXPECT_TRUE( covers( "*;*;FRAG:!2;" ) );
   EXPECT_FALSE( covers( "*;*;FRAG:2;" ) ) << "later fragments have no ports";
   EXPECT_TRUE( covers( "*;*;DSCP:=48;" ) );
   EXPECT_FALSE( covers( "*;*;IP:>6&<6;" ) );
}

TEST( PeerdGuardRails, SessionAtOtherPorts ) {
   const SessionEnds other{ session.local, session.peer, 1790, 1791 };
   EXPECT_FALSE( coversSession( rule( "*;*;P:=179;DP:=1;" ), other ) );
   EXPECT_TRUE( coversSession( rule( "10.0.0.1/32;*;DP:=1790;SP:=5;" ), other ) );
   EXPECT_FALSE( coversSession( rule( "10.0.0.2/32;*;DP:=1790;SP:=5;" ), other ) );
   EXPECT_TRUE( coversSession( rule( "10.0.0.2/32;*;DP:=1791;SP:=5;" ), other ) );
   EXPECT_TRUE( coversSession( rule( "10.0.0.2/32;*;DP:=5;SP:=1790;" ), other ) );
}

// Each packet of the session that the matcher finds among those that were tried is one that the
// rule covers, and a rule that covers some is found to: ports are drawn from those that rules
// mention, so that few are missed.
TEST( PeerdGuardRails, MatcherAgrees ) {
   KeyGenerator random( 20261122 );
   static constexpr U32 ports[] = { 1, 80, 179, 180, 50000, 65535 };
   static constexpr U8 withPorts[] = { 0, 1, 4, 5, 8, 9, 12, 13 }; // not later fragments
   static constexpr U32 lengths[] = { 39, 40, 41, 576, 1500 };
   U32 covered = 0;
   for ( U32 i = 0; i < 800; ++i ) {
      Flowspec::FlowspecKey key;
      key.addressFamilyIs( AddressFamily::ipv4 );
      static const Zorv::IpGenPrefix prefixes[] = {
         {},
         { *IpGenAddr::fromText( "10.0.0.1" ), 32 },
         { *IpGenAddr::fromText( "10.0.0.2" ), 32 },
         { *IpGenAddr::fromText( "10.0.0.0" ), 30 },
      };
      key.destPrefixIs( random.oneOf( prefixes ) );
      key.srcPrefixIs( random.oneOf( prefixes ) );
      U32 index = 0;
      const auto add = [&]( Flowspec::MatchCompType type, U8 op, U32 value ) {
         index = key.setOpVal( index, type, op, value );
      };
      const auto addPort = [&]( Flowspec::MatchCompType type ) {
         static constexpr U8 operators[] = { 0x91, 0x92, 0x93, 0x94, 0x95, 0x96 };
         if ( random.oneIn( 2 ) ) {
            add( type, random.oneOf( operators ), random.oneOf( ports ) );
         }
      };
      if ( random.oneIn( 2 ) ) {
         add( Flowspec::ipProto, 0x81, random.oneIn( 4 ) ? 17 : 6 );
      }
      addPort( Flowspec::port );
      addPort( Flowspec::destPort );
      addPort( Flowspec::srcPort );
      if ( random.oneIn( 4 ) ) {
         add( Flowspec::tcpFlags, random.oneIn( 2 ) ? 0x81 : 0x82, random.number( 5 ) );
      }
      if ( random.oneIn( 4 ) ) {
         add( Flowspec::packetLength, random.oneIn( 2 ) ? 0x95 : 0x93, random.oneOf( lengths ) );
      }
      if ( random.oneIn( 4 ) ) {
         add( Flowspec::fragment, random.oneIn( 2 ) ? 0x80 : 0x82, random.number( 4 ) );
      }
      const Match::RuleMatch match( key );
      ASSERT_TRUE( match.valid() );
      bool found = false;
      for ( const bool outward : { false, true } ) {
         for ( const U32 source : ports ) {
            for ( const U32 destination : ports ) {
               if ( source != 179 && destination != 179 ) {
                  continue;
               }
               Match::Packet packet;
               packet.family = AddressFamily::ipv4;
               packet.source = outward ? session.local : session.peer;
               packet.destination = outward ? session.peer : session.local;
               packet.protocol = U8{ 6 };
               packet.srcPort = static_cast< U16 >( source );
               packet.destPort = static_cast< U16 >( destination );
               for ( const U32 length : lengths ) {
                  if ( length < 40 ) {
                     continue;
                  }
                  packet.length = length;
                  for ( U16 flags = 0; flags < 32; ++flags ) {
                     packet.tcpFlags = flags;
                     for ( const U8 fragment : withPorts ) {
                        packet.fragment = fragment;
                        found = found || match.matches( packet );
                     }
                  }
               }
            }
         }
      }
      EXPECT_EQ( coversSession( key, session ), found ) << key.stringValue();
      covered += found;
   }
   EXPECT_GT( covered, 80U );
   EXPECT_LT( covered, 720U );
}

} // namespace
} // namespace Peerd
