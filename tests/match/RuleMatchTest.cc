#include "match/RuleMatch.h"

#include "Flowspec/key/FlowspecKeyReader.h"
#include "tests/match/SlowMatch.h"
#include "tests/support/PacketBytes.h"

#include <gmock/gmock.h>

namespace Match {
namespace {

using namespace Flowspec;
using TestSupport::icmpBytes;
using TestSupport::packetBytes;
using TestSupport::PacketParts;
using TestSupport::portBytes;
using TestSupport::tcpBytes;
using Zorv::AddressFamily;

/// The key of a rule in the command-line form, IPv4 unless said.
FlowspecKey keyOf( std::string_view text, AddressFamily family = AddressFamily::ipv4 ) {
   FlowspecKey key;
   key.addressFamilyIs( family );
   const auto error = readStrCli( text, false, key );
   EXPECT_FALSE( error ) << text << ": " << error->message;
   return key;
}

/// The verdict, about which the slow implementation must agree.
bool matches( const FlowspecKey& key, const PacketParts& parts ) {
   const auto bytes = packetBytes( parts );
   const bool verdict = RuleMatch( key ).matches( parsePacket( bytes ).value() );
   EXPECT_EQ( verdict, TestSupport::slowMatches( key, bytes ) ) << key.stringValue();
   return verdict;
}

bool matches( std::string_view text, const PacketParts& parts ) {
   return matches( keyOf( text, parts.family ), parts );
}

PacketParts udp( U16 source, U16 destination ) {
   PacketParts parts;
   parts.payload = portBytes( source, destination );
   return parts;
}

PacketParts tcp( U16 flags ) {
   PacketParts parts;
   parts.protocol = 6;
   parts.payload = tcpBytes( 1024, 443, flags );
   return parts;
}

TEST( RuleMatch, ARuleWithoutComponentsMatchesItsFamily ) {
   EXPECT_TRUE( matches( "*;*", {} ) );
   EXPECT_TRUE( matches( "*;*", PacketParts::ipv6() ) );
   EXPECT_FALSE( matches( keyOf( "*;*", AddressFamily::ipv6 ), {} ) );
   EXPECT_FALSE( matches( keyOf( "*;*" ), PacketParts::ipv6() ) );
   EXPECT_FALSE( matches( keyOf( "*;*", AddressFamily::none ), {} ) );
   EXPECT_FALSE( matches( keyOf( "*;*", AddressFamily{ 3 } ), {} ) );
   EXPECT_FALSE( RuleMatch( keyOf( "*;*" ) ).matches( Packet() ) );
   EXPECT_FALSE( RuleMatch( keyOf( "*;*", AddressFamily::none ) ).matches( Packet() ) );
}

TEST( RuleMatch, PrefixesContainTheAddresses ) {
   for ( const auto* text : { "10.1.2.3/32;*", "10.0.0.0/8;*", "0.0.0.0/0;*", "*;192.0.2.0/24",
                              "10.1.2.2/31;192.0.2.1/32" } ) {
      EXPECT_TRUE( matches( text, {} ) ) << text;
   }
   for ( const auto* text : { "10.1.2.4/32;*", "11.0.0.0/8;*", "192.0.2.1/32;*", "*;192.0.3.0/24",
                              "10.1.2.0/31;192.0.2.1/32", "10.0.0.0/8;10.0.0.0/8" } ) {
      EXPECT_FALSE( matches( text, {} ) ) << text;
   }
   for ( const auto* text : { "2001:db8::1/128;*", "2001:db8::/64;*", "::/0;*",
                              "2001:db8::/65;2001:db8:ffff::/48" } ) {
      EXPECT_TRUE( matches( text, PacketParts::ipv6() ) ) << text;
   }
   for ( const auto* text : { "2001:db8::2/128;*", "2001:db8:0:1::/64;*", "*;2001:db8::/33" } ) {
      EXPECT_FALSE( matches( text, PacketParts::ipv6() ) ) << text;
   }
   EXPECT_FALSE( matches( "::/0;*", {} ) ) << "a prefix of the other family";
}

TEST( RuleMatch, ComparisonsOfNumericTerms ) {
   struct Case {
      U8 op;
      bool below, equal, above;
   };
   for ( const auto& [op, below, equal, above] : {
            Case{ 0, false, false, false },
            Case{ 1, false, true, false },
            Case{ 2, false, false, true },
            Case{ 3, false, true, true },
            Case{ 4, true, false, false },
            Case{ 5, true, true, false },
            Case{ 6, true, false, true },
            Case{ 7, true, true, true },
         } ) {
      FlowspecKey key = keyOf( "*;*" );
      key.setOpVal( 0, destPort, static_cast< U8 >( op | 0x90 ), 1000 );
      EXPECT_EQ( matches( key, udp( 1, 999 ) ), below ) << int{ op };
      EXPECT_EQ( matches( key, udp( 1, 1000 ) ), equal ) << int{ op };
      EXPECT_EQ( matches( key, udp( 1, 1001 ) ), above ) << int{ op };
   }
}

TEST( RuleMatch, NoComparisonIsTrueOfAnAbsentField ) {
   FlowspecKey key = keyOf( "*;*" );
   key.setOpVal( 0, tcpFlags, 0x82, 0x02 );
   EXPECT_FALSE( matches( key, udp( 1, 2 ) ) ) << "UDP has no flags that could be clear";
   key.setOpVal( 0, icmpType, 0x87, 0 );
   EXPECT_FALSE( matches( key, udp( 1, 2 ) ) );
}

TEST( RuleMatch, AndBindsTighterThanOr ) {
   const auto* const text = "*;*;DP:=80|>=1000&<=2000|=443";
   for ( const U16 port : std::initializer_list< U16 >{ 80, 443, 1000, 1500, 2000 } ) {
      EXPECT_TRUE( matches( text, udp( 1, port ) ) ) << port;
   }
   for ( const U16 port : std::initializer_list< U16 >{ 0, 81, 999, 2001, 65535 } ) {
      EXPECT_FALSE( matches( text, udp( 1, port ) ) ) << port;
   }
   EXPECT_TRUE( matches( "*;*;DP:>10&<20&<>15|=7", udp( 1, 7 ) ) ) << "=7 alone";
}

TEST( RuleMatch, TheFirstTermsAndBitDoesNotCount ) {
   FlowspecKey key = keyOf( "*;*" );
   key.setOpVal( 0, ipProto, 0x81, 6 );
   key.setOpVal( 1, destPort, 0xC1, 53 );
   EXPECT_FALSE( matches( key, udp( 1, 53 ) ) ) << "components are joined by AND";
   key.matchOpValIs( 0, MatchOpVal( ipProto, 0xC1, 17 ) );
   EXPECT_TRUE( matches( key, udp( 1, 53 ) ) );
   EXPECT_FALSE( matches( key, udp( 1, 54 ) ) );
}

TEST( RuleMatch, PortIsTheSourceOrTheDestination ) {
   EXPECT_TRUE( matches( "*;*;P:=53", udp( 53, 1 ) ) );
   EXPECT_TRUE( matches( "*;*;P:=53", udp( 1, 53 ) ) );
   EXPECT_FALSE( matches( "*;*;P:=53", udp( 1, 2 ) ) );
   EXPECT_FALSE( matches( "*;*;P:>100&<200", udp( 50, 300 ) ) ) << "each alone is outside";
   EXPECT_TRUE( matches( "*;*;DP:=2;SP:=1", udp( 1, 2 ) ) );
   EXPECT_FALSE( matches( "*;*;DP:=1;SP:=2", udp( 1, 2 ) ) );
}

TEST( RuleMatch, PortsAreOfTcpAndUdpOnly ) {
   for ( const U8 protocol : std::initializer_list< U8 >{ 6, 17, 33, 132, 136, 1 } ) {
      PacketParts parts = udp( 80, 80 );
      parts.protocol = protocol;
      for ( const auto* text : { "*;*;P:=80", "*;*;DP:=80", "*;*;SP:=80" } ) {
         EXPECT_EQ( matches( text, parts ), protocol == 6 || protocol == 17 ) << text;
      }
   }
}

TEST( RuleMatch, TransportFieldsAreNotInLaterFragments ) {
   PacketParts parts = tcp( 0x02 );
   for ( const auto* text : { "*;*;DP:=443", "*;*;SP:=1024", "*;*;P:=443", "*;*;TCP:2" } ) {
      parts.offset = 0;
      parts.moreFragments = false;
      EXPECT_TRUE( matches( text, parts ) ) << text;
      parts.moreFragments = true;
      EXPECT_TRUE( matches( text, parts ) ) << text;
      parts.offset = 1;
      EXPECT_FALSE( matches( text, parts ) ) << text;
   }
   EXPECT_TRUE( matches( "*;*;IP:=6", parts ) );
}

TEST( RuleMatch, TestsOfBits ) {
   struct Case {
      U8 op;
      bool none, some, all;
   };
   for ( const auto& [op, none, some, all] : {
            Case{ 0, false, true, true },  // any
            Case{ 1, false, false, true }, // all
            Case{ 2, true, false, false }, // not any
            Case{ 3, true, true, false },  // not all
         } ) {
      FlowspecKey key = keyOf( "*;*" );
      key.setOpVal( 0, MatchCompType::tcpFlags, static_cast< U8 >( op | 0x80 ), 0x12 );
      EXPECT_EQ( matches( key, tcp( 0x04 ) ), none ) << int{ op };
      EXPECT_EQ( matches( key, tcp( 0x02 ) ), some ) << int{ op };
      EXPECT_EQ( matches( key, tcp( 0x1F ) ), all ) << int{ op };
      // The bit that would be "less than" means nothing.
      key.setOpVal( 0, MatchCompType::tcpFlags, static_cast< U8 >( op | 0x84 ), 0x12 );
      EXPECT_EQ( matches( key, tcp( 0x02 ) ), some ) << int{ op };
   }
   EXPECT_TRUE( matches( "*;*;TCP:=2&!16", tcp( 0x02 ) ) );
   EXPECT_FALSE( matches( "*;*;TCP:=2&!16", tcp( 0x12 ) ) );
}

TEST( RuleMatch, TcpFlagsOfTwoBytesReachTheTwelfthBit ) {
   EXPECT_TRUE( matches( "*;*;TCP:=0x100", tcp( 0x102 ) ) );
   EXPECT_TRUE( matches( "*;*;TCP:=0x802", tcp( 0x802 ) ) );
   EXPECT_FALSE( matches( "*;*;TCP:=0x100", tcp( 0x002 ) ) );
   EXPECT_FALSE( matches( "*;*;TCP:=0x1002", tcp( 0xFFF ) ) ) << "the data offset counts as 0";
}

TEST( RuleMatch, FragmentBits ) {
   PacketParts whole = udp( 1, 2 );
   PacketParts first = whole;
   first.moreFragments = true;
   PacketParts middle = first;
   middle.offset = 10;
   PacketParts last = middle;
   last.moreFragments = false;
   const std::pair< const char*, std::array< bool, 4 > > rules[] = {
      { "*;*;FRAG:2", { false, false, true, true } },
      { "*;*;FRAG:4", { false, true, false, false } },
      { "*;*;FRAG:8", { false, false, false, true } },
      { "*;*;FRAG:!6", { true, false, false, false } },
      { "*;*;FRAG:1", { false, false, false, false } },
      { "*;*;FRAG:=0xA", { false, false, false, true } },
   };
   for ( const auto family : { AddressFamily::ipv4, AddressFamily::ipv6 } ) {
      for ( const auto& [text, verdicts] : rules ) {
         std::size_t i = 0;
         for ( PacketParts parts : { whole, first, middle, last } ) {
            if ( family == AddressFamily::ipv6 ) {
               parts.family = family;
               parts.destination = parts.source = PacketParts::ipv6().source;
               parts.extensions = { 44 };
            }
            EXPECT_EQ( matches( text, parts ), verdicts[i++] ) << text;
         }
      }
   }
   whole.dontFragment = true;
   EXPECT_TRUE( matches( "*;*;FRAG:1", whole ) );
   EXPECT_TRUE( matches( "*;*;FRAG:=0x11", whole ) ) << "the upper half is ignored";
}

TEST( RuleMatch, Ipv6IgnoresDontFragment ) {
   PacketParts parts = PacketParts::ipv6();
   parts.extensions = { 44 };
   parts.moreFragments = true;
   EXPECT_TRUE( matches( "*;*;FRAG:=5", parts ) );
   EXPECT_FALSE( matches( "*;*;FRAG:1", parts ) );
   EXPECT_TRUE( matches( "*;*;FRAG:=1", parts ) ) << "all of no bits";
}

TEST( RuleMatch, OtherNumericFields ) {
   PacketParts parts = udp( 1, 2 );
   parts.dscp = 46;
   EXPECT_TRUE( matches( "*;*;IP:=17;LEN:=28;DSCP:=46", parts ) );
   EXPECT_TRUE( matches( "*;*;DSCP:=110", parts ) ) << "6 bits of the value count";
   EXPECT_FALSE( matches( "*;*;DSCP:=10", parts ) );
   EXPECT_FALSE( matches( "*;*;LEN:>28", parts ) );
   EXPECT_FALSE( matches( "*;*;FL:>=0", parts ) ) << "IPv4 has no flow label";
   parts.protocol = 1;
   parts.payload = icmpBytes( 3, 4 );
   EXPECT_TRUE( matches( "*;*;IT:=3;IC:=4", parts ) );
   EXPECT_FALSE( matches( "*;*;IT:=3;IC:=3", parts ) );
   PacketParts ipv6 = PacketParts::ipv6();
   ipv6.flowLabel = 0xABCDE;
   EXPECT_TRUE( matches( "*;*;LEN:=40;FL:=0xABCDE", ipv6 ) );
   EXPECT_FALSE( matches( "*;*;FL:=0xABCDF", ipv6 ) );
}

TEST( RuleMatch, AKeyThatIsNoRuleMatchesNothing ) {
   const U32 protocol = 0x03070000; // true of every protocol
   const std::vector< std::vector< U32 > > keys = {
      { protocol, 0 },                    // no type
      { 0x01070000 },                     // a prefix has no terms
      { 0x02070000, protocol },           //
      { 0x0E070000 },                     // not known
      { 0xFF070000 },                     //
      { 0x03370000, protocol },           // 8 bytes
      { protocol, 0x03270000 },           // half of 4 bytes
      { protocol, 0x0A070000, protocol }, // at two places
   };
   const auto bytes = packetBytes( {} );
   const auto verdict = [&]( const FlowspecKey& key ) {
      const RuleMatch rule( key );
      EXPECT_EQ( rule.matches( parsePacket( bytes ).value() ), rule.valid() );
      EXPECT_EQ( TestSupport::slowMatches( key, bytes ), rule.valid() );
      return rule.valid();
   };
   for ( const auto& words : keys ) {
      FlowspecKey key = keyOf( "*;*" );
      U32 index = 0;
      for ( const U32 word : words ) {
         key.matchOpValIs( index++, MatchOpVal( word ) );
      }
      EXPECT_FALSE( verdict( key ) ) << key.toStrep();
   }
   FlowspecKey key = keyOf( "*;*" );
   key.matchOpValIs( 1, MatchOpVal( protocol ) );
   EXPECT_FALSE( verdict( key ) ) << "a hole";
   key.matchOpValIs( 0, MatchOpVal( protocol ) );
   EXPECT_TRUE( verdict( key ) );
   for ( U32 i = 0; i <= 2046; ++i ) {
      key.matchOpValIs( i, MatchOpVal( protocol ) );
   }
   EXPECT_TRUE( verdict( key ) ) << "as many terms as fit";
   key.matchOpValIs( 2047, MatchOpVal( protocol ) );
   EXPECT_FALSE( verdict( key ) ) << "a term more than can be walked";
}

TEST( RuleMatch, VrfAndInterfaceSetsDoNotCount ) {
   FlowspecKey key = keyOf( "*;*;IP:=17" );
   key.vrfIdIs( 7 );
   key.interfaceSetPush( 3 );
   EXPECT_TRUE( matches( key, {} ) );
}

} // namespace
} // namespace Match
