#include "wire/Canonical.h"

#include "Flowspec/key/FlowspecKeyReader.h"
#include "tests/support/KeyGenerator.h"

#include <chrono>

#include <gmock/gmock.h>

namespace Wire {
namespace {

using namespace Flowspec;
using TestSupport::KeyGenerator;
using Zorv::AddressFamily;

FlowspecKey keyOf( std::string_view text, AddressFamily family = AddressFamily::ipv4 ) {
   FlowspecKey key;
   key.addressFamilyIs( family );
   EXPECT_FALSE( readStrCli( text, false, key ) ) << text;
   return key;
}

/// The canonical key's text, or why there is none.
std::string canonical( std::string_view text, AddressFamily family = AddressFamily::ipv4 ) {
   const CanonicalRule rule( keyOf( text, family ) );
   FlowspecKey key;
   if ( const auto reason = rule.toKey( key ) ) {
      return *reason == NoKey::tooManyWords
                ? "too many words"
                : "nothing: " + std::string( stringValue( *rule.nothing() ) );
   }
   EXPECT_EQ( CanonicalRule( key ), rule ) << text;
   EXPECT_EQ( key.addressFamily(), family );
   return std::string( key.toStrepCli( false ) );
}

TEST( Canonical, WritesRangesAscendingAndApart ) {
   EXPECT_EQ( canonical( "*;*;DP:=80" ), "*;*;DP:=80;" );
   EXPECT_EQ( canonical( "*;*;DP:=443|=80|=81" ), "*;*;DP:>=80&<=81|=443;" );
   EXPECT_EQ( canonical( "*;*;DP:>79&<81" ), "*;*;DP:=80;" );
   EXPECT_EQ( canonical( "*;*;DP:>=10&<=20|>=15&<=30|>=31&<40" ), "*;*;DP:>=10&<=39;" );
   EXPECT_EQ( canonical( "*;*;DP:<>80" ), "*;*;DP:<=79|>=81;" );
   EXPECT_EQ( canonical( "*;*;DP:<>80&<>90&>50" ), "*;*;DP:>=51&<=79|>=81&<=89|>=91;" );
   EXPECT_EQ( canonical( "*;*;IP:<=255&>=254" ), "*;*;IP:>=254;" );
   EXPECT_EQ( canonical( "*;*;IP:<6" ), "*;*;IP:<=5;" );
   EXPECT_EQ( canonical( "*;*;IP:<>300&>4" ), "*;*;IP:>=5;" );
   EXPECT_EQ( canonical( "*;*;LEN:>100", AddressFamily::ipv6 ), "*;*;LEN:>=101;" );
   EXPECT_EQ( canonical( "*;*;DSCP:=174" ), "*;*;DSCP:=46;" ); // the upper two bits are ignored
}

TEST( Canonical, PutsComponentsInOrderWithTheShortestValues ) {
   FlowspecKey key;
   key.addressFamilyIs( AddressFamily::ipv4 );
   key.vrfIdIs( 7 );
   key.interfaceSetPush( 3 );
   key.setOpVal( 0, destPort, 0x21, 80 );
   key.setOpVal( 2, ipProto, 0xC9, 6 );
   FlowspecKey written = key;
   ASSERT_FALSE( CanonicalRule( key ).toKey( written ) );
   EXPECT_EQ( written.stringValue(), "7;ipv4;IFSET:=3;*;*;IP:=0L6;DP:=0L80;" );
   EXPECT_EQ( written.matchOpVal( 0 ).op(), 0x81 );
   EXPECT_EQ( written.matchOpVal( 1 ).op(), 0x81 );
   const CanonicalRule label( keyOf( "*;*;FL:=5", AddressFamily::ipv6 ) );
   ASSERT_FALSE( label.toKey( written ) );
   EXPECT_EQ( written.stringValue(), "7;ipv6;IFSET:=3;*;*;FL:=2L5;" );
}

TEST( Canonical, LeavesOutWhatEachPacketSatisfies ) {
   EXPECT_EQ( canonical( "10.0.0.0/8;0.0.0.0/0;LEN:>=0;DSCP:<=63;IP:<>300;FRAG:1|!1" ),
              "10.0.0.0/8;*;" );
   EXPECT_EQ( canonical( "*;::/0;LEN:>5|<=5;DSCP:<=63;FL:>=0", AddressFamily::ipv6 ), "::/0;*;" );
   EXPECT_EQ( canonical( "*;*;LEN:<=65575", AddressFamily::ipv6 ), "::/0;*;" );
   EXPECT_EQ( canonical( "*;*;LEN:<=65535", AddressFamily::ipv6 ), "*;*;LEN:<=65535;" );
   EXPECT_EQ( canonical( "*;*;LEN:<=65535" ), "0.0.0.0/0;*;" );
   EXPECT_EQ( canonical( "*;*" ), "0.0.0.0/0;*;" );
   EXPECT_EQ( canonical( "0.0.0.0/0;*;IP:=6" ), "*;*;IP:=6;" );
   // Not all packets have these.
   EXPECT_EQ( canonical( "*;*;P:>=0;DP:<=65535;SP:<>70000" ), "*;*;P:>=0;DP:>=0;SP:>=0;" );
   EXPECT_EQ( canonical( "*;*;IT:>=0;IC:<=255;TCP:!0" ), "*;*;IT:>=0;IC:>=0;TCP:=0;" );
   EXPECT_EQ( canonical( "*;*;IP:>=0;FRAG:2|!2", AddressFamily::ipv6 ), "*;*;IP:>=0;FRAG:=0;" );
}

TEST( Canonical, WritesFlagsInOneWay ) {
   EXPECT_EQ( canonical( "*;*;TCP:18" ), "*;*;TCP:18;" );
   EXPECT_EQ( canonical( "*;*;TCP:2|16" ), "*;*;TCP:18;" );
   EXPECT_EQ( canonical( "*;*;TCP:=2&16" ), "*;*;TCP:=18;" );
   EXPECT_EQ( canonical( "*;*;TCP:=2" ), "*;*;TCP:2;" );
   EXPECT_EQ( canonical( "*;*;TCP:!2&!16" ), "*;*;TCP:!18;" );
   EXPECT_EQ( canonical( "*;*;TCP:!2|!16" ), "*;*;TCP:!=18;" );
   EXPECT_EQ( canonical( "*;*;TCP:2&!16" ), "*;*;TCP:=2&!16;" );
   EXPECT_EQ( canonical( "*;*;TCP:=3|=5&!2" ), canonical( "*;*;TCP:=5|=3&!4|=7" ) );
   EXPECT_EQ( canonical( "*;*;FRAG:3", AddressFamily::ipv6 ), "*;*;FRAG:2;" );
   EXPECT_EQ( canonical( "*;*;FRAG:242" ), "*;*;FRAG:2;" );
   // The data offset is 0 to all tests of flags.
   EXPECT_EQ( canonical( "*;*;TCP:61442" ), "*;*;TCP:2;" );
   EXPECT_EQ( canonical( "*;*;TCP:=61442" ), "nothing: tcpFlags" );
}

TEST( Canonical, NamesWhatAdmitsNothing ) {
   EXPECT_EQ( canonical( "*;*;DP:=80&=81" ), "nothing: destPort" );
   EXPECT_EQ( canonical( "*;*;IP:=300" ), "nothing: ipProto" );
   EXPECT_EQ( canonical( "*;*;IP:6" ), "nothing: ipProto" );
   EXPECT_EQ( canonical( "*;*;FRAG:0" ), "nothing: fragment" );
   EXPECT_EQ( canonical( "*;*;FRAG:1", AddressFamily::ipv6 ), "nothing: fragment" );
   EXPECT_EQ( canonical( "*;*;FL:>=0" ), "nothing: flowLabel" );
   EXPECT_EQ( canonical( "2001:db8::/32;*" ), "nothing: invalid" );
   EXPECT_EQ( canonical( "*;*;P:=80;DP:=80;P:=81" ), "nothing: invalid" );
   EXPECT_EQ( CanonicalRule( FlowspecKey() ).nothing(), invalid );
   FlowspecKey broken = keyOf( "*;*;DP:=80" );
   broken.matchOpValIs( 1, MatchOpVal( 0x05B10000 ) );
   EXPECT_EQ( CanonicalRule( broken ).nothing(), invalid );
   EXPECT_TRUE( equivalent( broken, keyOf( "*;*;DP:=80&=81" ) ) );
   EXPECT_FALSE( equivalent( broken, keyOf( "*;*;DP:=80" ) ) );
}

TEST( Canonical, SaysWhenNoKeyHoldsIt ) {
   // 2,000 numbers that are excepted, with gaps between them and without.
   for ( const U32 step : { 3U, 1U } ) {
      FlowspecKey key;
      key.addressFamilyIs( AddressFamily::ipv4 );
      for ( U32 i = 0; i < 2000; ++i ) {
         key.setOpVal( i, destPort, i == 0 ? 0x16 : i == 1999 ? 0xD6 : 0x56, 1 + i * step );
      }
      const CanonicalRule rule( key );
      ASSERT_EQ( rule.components().size(), 1U );
      EXPECT_EQ( rule.components()[0].ranges.size(), step == 3 ? 2001U : 2U );
      FlowspecKey written = keyOf( "*;*;IP:=6" );
      const FlowspecKey before = written;
      EXPECT_EQ( rule.toKey( written ),
                 step == 3 ? std::optional( NoKey::tooManyWords ) : std::nullopt );
      EXPECT_EQ( written == before, step == 3 );
   }
}

TEST( Canonical, TakesLittleTimeForManyTerms ) {
   KeyGenerator random( 71 );
   for ( const MatchCompType type : { destPort, tcpFlags, flowLabel } ) {
      FlowspecKey key;
      key.addressFamilyIs( AddressFamily::ipv6 );
      for ( U32 index = 0; index < 2000; ) {
         const U64 op = ( random.any() & 0x47 ) | ( type == flowLabel ? 0x20U : 0x10U );
         index = key.setOpVal( index, type, static_cast< U8 >( op ), random.number( 12 ) );
      }
      const auto start = std::chrono::steady_clock::now();
      EXPECT_TRUE( equivalent( key, key ) );
      FlowspecKey written;
      static_cast< void >( CanonicalRule( key ).toKey( written ) );
      EXPECT_LT( std::chrono::steady_clock::now() - start, std::chrono::seconds( 5 ) );
   }
}

TEST( Canonical, FindsDoublesThatDifferInOctetsOnly ) {
   const auto same = []( std::string_view a, std::string_view b ) {
      return equivalent( keyOf( a ), keyOf( b ) );
   };
   EXPECT_TRUE( same( "*;*;DP:=80|=443", "*;*;DP:=443|>79&<81" ) );
   EXPECT_TRUE( same( "0.0.0.0/0;*;IP:=6", "*;*;IP:=6" ) );
   EXPECT_FALSE( same( "*;*;DP:=80", "*;*;SP:=80" ) );
   EXPECT_FALSE( same( "*;*;P:>=0", "*;*" ) );
   EXPECT_FALSE( same( "10.0.0.0/8;*", "*;10.0.0.0/8" ) );
   EXPECT_FALSE( equivalent( keyOf( "*;*;IP:=6" ), keyOf( "*;*;IP:=6", AddressFamily::ipv6 ) ) );
   FlowspecKey elsewhere = keyOf( "*;*;IP:=6" );
   elsewhere.vrfIdIs( 3 );
   elsewhere.interfaceSetPush( 3 );
   EXPECT_TRUE( equivalent( elsewhere, keyOf( "*;*;IP:=6" ) ) );
}

TEST( FlagFunction, ItsConjunctionsCoverItAndNothingElse ) {
   KeyGenerator random( 72 );
   for ( unsigned round = 0; round < 300; ++round ) {
      const auto flags = static_cast< unsigned >( random.oneIn( 4 ) ? 12 : 4 );
      FlagFunction function( flags, false );
      for ( U64 i = random.below( 6 ); i > 0; --i ) {
         FlagFunction more = FlagFunction::all( flags, random.number( flags ) );
         more &= ~FlagFunction::any( flags, random.number( flags ) );
         function |= more;
      }
      const auto cubes = function.cubes();
      const auto covers = [&]( std::size_t leftOut ) {
         for ( U32 combination = 0; combination < 1U << flags; ++combination ) {
            bool holds = false;
            for ( std::size_t i = 0; i < cubes.size(); ++i ) {
               holds |= i != leftOut && ( combination & cubes[i].set ) == cubes[i].set &&
                        ( combination & cubes[i].clear ) == 0;
            }
            if ( holds != function.admits( combination ) ) {
               return false;
            }
         }
         return true;
      };
      ASSERT_TRUE( covers( cubes.size() ) );
      for ( std::size_t i = 0; i < cubes.size(); ++i ) {
         ASSERT_FALSE( covers( i ) ) << "none is in vain";
      }
   }
}

// Those that no NLRI has: a family that is none, prefixes of the other one, prefixes as words.
TEST( Canonical, KeysThatAreNoRulesAreToldApart ) {
   const auto prefix = []( std::string_view text ) {
      return Zorv::IpGenPrefix::fromText( text ).value();
   };
   FlowspecKey none;
   FlowspecKey destination;
   destination.addressFamilyIs( AddressFamily::ipv4 );
   destination.destPrefixIs( prefix( "2001:db8::/32" ) );
   FlowspecKey source;
   source.addressFamilyIs( AddressFamily::ipv6 );
   source.srcPrefixIs( prefix( "10.0.0.0/8" ) );
   FlowspecKey word;
   word.addressFamilyIs( AddressFamily::ipv4 );
   word.setOpVal( 0, srcPrefix, 0x81, 1 );
   for ( const FlowspecKey& key : { none, destination, source, word } ) {
      EXPECT_EQ( CanonicalRule( key ).nothing(), MatchCompType::invalid ) << key;
   }
}

TEST( Canonical, OnlyARuleForAllPacketsGetsAPrefixOfLengthZero ) {
   EXPECT_EQ( canonical( "10.0.0.0/8;*;" ), "10.0.0.0/8;*;" );
   EXPECT_EQ( canonical( "*;10.0.0.0/8;" ), "*;10.0.0.0/8;" );
   EXPECT_EQ( canonical( "*;*;IP:=6;" ), "*;*;IP:=6;" );
   EXPECT_EQ( canonical( "*;*;" ), "0.0.0.0/0;*;" );
}

} // namespace
} // namespace Wire
