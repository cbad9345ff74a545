#include "match/PacketSet.h"

#include "Flowspec/key/FlowspecKeyReader.h"
#include "match/RuleMatch.h"
#include "tests/match/RandomMatch.h"

#include <gtest/gtest.h>

namespace Match {
namespace {

using Flowspec::FlowspecKey;
using Zorv::AddressFamily;

FlowspecKey keyOf( std::string_view text, AddressFamily family = AddressFamily::ipv4 ) {
   FlowspecKey key;
   key.addressFamilyIs( family );
   EXPECT_FALSE( Flowspec::readStrCli( text, false, key ) ) << text;
   return key;
}

// How the packets of two rules are to each other.
struct Row {
   const char* first;
   const char* second;
   const char* relation; ///< "apart", "inside", "around", "same" or "crossing"
};

const char* relationOf( const PacketSet& first, const PacketSet& second ) {
   const bool isInside = !first.beyond( second );
   const bool isAround = !second.beyond( first );
   return isInside && isAround     ? "same"
          : isInside               ? "inside"
          : isAround               ? "around"
          : first.common( second ) ? "crossing"
                                   : "apart";
}

TEST( PacketSet, ComparesTheFieldsOfPackets ) {
   for ( const auto& [first, second, relation] : {
            Row{ "10.0.0.0/8;*;", "10.1.0.0/16;*;", "around" },
            Row{ "10.0.0.0/8;*;", "11.0.0.0/8;*;", "apart" },
            Row{ "10.0.0.0/8;*;", "*;10.0.0.0/8;", "crossing" },
            Row{ "0.0.0.0/0;*;", "*;*;", "same" },
            Row{ "*;*;DP:=80;", "*;*;DP:>79&<81;", "same" },
            Row{ "*;*;DP:=80|=443;", "*;*;DP:=443|=8080;", "crossing" },
            Row{ "*;*;FRAG:2;", "*;*;FRAG:2&!4;", "same" },
            Row{ "*;*;DSCP:=46;", "*;*;DSCP:=0;", "apart" },
         } ) {
      EXPECT_STREQ( relationOf( PacketSet( keyOf( first ) ), PacketSet( keyOf( second ) ) ),
                    relation )
         << first << " and " << second;
   }
}

TEST( PacketSet, KnowsHowFieldsDependOnEachOther ) {
   for ( const auto& [first, second, relation] : {
            Row{ "*;*;P:=80;DP:=80;", "*;*;DP:=80;", "same" },
            Row{ "*;*;P:=80;", "*;*;DP:=80;", "around" },
            Row{ "*;*;P:=80;", "*;*;DP:=80;SP:=81;", "around" },
            Row{ "*;*;P:=80;", "*;*;DP:=81;", "crossing" },
            Row{ "*;*;P:=80;", "*;*;DP:=81;SP:=81;", "apart" },
            Row{ "*;*;TCP:2;", "*;*;IP:=6;", "inside" },
            Row{ "*;*;TCP:2;", "*;*;IP:=17;", "apart" },
            Row{ "*;*;TCP:2;", "*;*;IP:=6;DP:>=0;", "inside" },
            Row{ "*;*;TCP:2;", "*;*;LEN:>=34;", "inside" },
            Row{ "*;*;TCP:2;", "*;*;LEN:<34;", "apart" },
            Row{ "*;*;DP:=80;", "*;*;IP:=6|=17;", "inside" },
            Row{ "*;*;DP:=80;", "*;*;FRAG:2;", "apart" },
            Row{ "*;*;DP:=80;", "*;*;FRAG:4;", "crossing" },
            Row{ "*;*;DP:=80;", "*;*;SP:>=0;", "inside" },
            Row{ "*;*;SP:=80;", "*;*;DP:>=0;", "crossing" },
            Row{ "*;*;IT:=8;", "*;*;IP:=1;", "inside" },
            Row{ "*;*;IC:=0;", "*;*;IT:>=0;", "inside" },
            Row{ "*;*;FRAG:8;", "*;*;FRAG:2;", "inside" },
         } ) {
      EXPECT_STREQ( relationOf( PacketSet( keyOf( first ) ), PacketSet( keyOf( second ) ) ),
                    relation )
         << first << " and " << second;
   }
}

TEST( PacketSet, KnowsWhatFamiliesHave ) {
   const auto ipv6 = []( const char* text ) {
      return PacketSet( keyOf( text, AddressFamily::ipv6 ) );
   };
   EXPECT_STREQ( relationOf( ipv6( "*;*;" ), PacketSet( keyOf( "*;*;" ) ) ), "apart" );
   EXPECT_STREQ( relationOf( ipv6( "*;*;IP:=6;" ), ipv6( "*;*;TCP:2;" ) ), "around" );
   // A chain of extension headers may be cut off before a protocol.
   EXPECT_STREQ( relationOf( ipv6( "*;*;IP:>=0;" ), ipv6( "*;*;" ) ), "inside" );
   EXPECT_STREQ( relationOf( ipv6( "*;*;LEN:>=40;" ), ipv6( "*;*;" ) ), "same" );
   EXPECT_FALSE( ipv6( "*;*;IP:=44;" ).any() );
   EXPECT_FALSE( ipv6( "*;*;LEN:<40;" ).any() );
   EXPECT_FALSE( PacketSet( keyOf( "*;*;LEN:<20;" ) ).any() );
   EXPECT_FALSE( PacketSet( keyOf( "*;*;IP:=17;TCP:2;" ) ).any() );
   EXPECT_FALSE( PacketSet( keyOf( "*;*;IP:=300;" ) ).any() );
   EXPECT_FALSE( PacketSet( FlowspecKey() ).any() );
}

// What sets say of rules that were made about one packet, beside what becomes of the packet.
TEST( PacketSet, AgreesWithTheMatchOfPackets ) {
   TestSupport::RandomMatch random( 5101 );
   unsigned apart = 0;
   unsigned inside = 0;
   for ( unsigned i = 0; i < 2'000U; ++i ) {
      const auto bytes = random.packet();
      const FlowspecKey keys[] = { random.rule( bytes ), random.rule( bytes ) };
      const auto packet = parsePacket( bytes );
      const RuleMatch first( keys[0] );
      const RuleMatch second( keys[1] );
      const PacketSet a( keys[0] );
      const PacketSet b( keys[1] );
      const auto describe = [&] { return keys[0].stringValue() + " and " + keys[1].stringValue(); };

      const auto any = a.any();
      ASSERT_TRUE( any ? first.matches( *any ) : !packet || !first.matches( *packet ) )
         << describe();
      const auto common = a.common( b );
      ASSERT_EQ( common.has_value(), b.common( a ).has_value() ) << describe();
      const auto beyond = a.beyond( b );
      ASSERT_EQ( any.has_value(), common || beyond ) << describe();
      if ( common ) {
         ASSERT_TRUE( first.matches( *common ) && second.matches( *common ) ) << describe();
      }
      if ( beyond ) {
         ASSERT_TRUE( first.matches( *beyond ) && !second.matches( *beyond ) ) << describe();
      }
      if ( packet && first.matches( *packet ) ) {
         ASSERT_TRUE( second.matches( *packet ) ? common : beyond ) << describe();
      }
      apart += any && !common;
      inside += any && !beyond;
   }
   EXPECT_GT( apart, 150U );
   EXPECT_GT( inside, 30U );
}

} // namespace
} // namespace Match
