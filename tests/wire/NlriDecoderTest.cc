#include "wire/NlriDecoder.h"

#include "tests/support/AllocationCounter.h"
#include "tests/support/Hex.h"
#include "tests/support/KeyWords.h"
#include "tests/support/Sanitized.h"

#include <gmock/gmock.h>

namespace Wire {
namespace {

using testing::ElementsAre;
using TestSupport::bytesOf;
using TestSupport::hexOf;

constexpr NlriFormat ipv4{ Zorv::AddressFamily::ipv4, false };
constexpr NlriFormat ipv6{ Zorv::AddressFamily::ipv6, false };
constexpr NlriFormat vpnIpv4{ Zorv::AddressFamily::ipv4, true };

/// "code offset message", or "ok" and the octets that were taken, with the remarks behind.
std::string judged( std::string_view hex, NlriFormat format ) {
   const std::vector< U8 > octets = bytesOf( hex );
   Nlri nlri;
   const auto rejection = decodeNlri( octets, format, nlri );
   std::string text = rejection ? Vek::concat( name( rejection->code ), ' ', rejection->offset,
                                               ": ", rejection->message() )
                                : Vek::concat( "ok ", nlri.octets.size() );
   for ( const Remark& remark : nlri.remarks ) {
      text += Vek::concat( "; ", name( remark.code ), ' ', remark.offset, ' ', remark.type );
   }
   return text;
}

TEST( NlriDecoder, TellsWhatIsWrongAndWhere ) {
   EXPECT_EQ( judged( "", ipv4 ), "length-truncated 0: the length field is missing" );
   EXPECT_EQ( judged( "ff", ipv4 ),
              "length-truncated 1: the second octet of the length field is missing" );
   EXPECT_EQ( judged( "04 038106", ipv4 ),
              "length-mismatch 0: the length field says 4 octets, 3 follow" );
   EXPECT_EQ( judged( "ffff 038106", ipv4 ),
              "length-mismatch 0: the length field says 4095 octets, 3 follow" );
   EXPECT_EQ( judged( "00", ipv4 ), "empty 1: the rule has no component" );
   EXPECT_EQ( judged( "f000", ipv4 ), "empty 2: the rule has no component; length-form 0 0" );
   EXPECT_EQ( judged( "08 0000fde800000064", vpnIpv4 ), "empty 9: the rule has no component" );
   EXPECT_EQ( judged( "07 0000fde8000000", vpnIpv4 ),
              "rd-truncated 8: the route distinguisher needs 8 octets, 7 are left" );
   EXPECT_EQ( judged( "00", vpnIpv4 ),
              "rd-truncated 1: the route distinguisher needs 8 octets, 0 are left" );
   EXPECT_EQ( judged( "03 008106", ipv4 ),
              "unknown-type 1: component type 0 is not assigned for IPv4" );
   EXPECT_EQ( judged( "06 0da100000006", ipv4 ),
              "unknown-type 1: component type 13 is not assigned for IPv4" );
   EXPECT_EQ( judged( "03 0e8106", ipv6 ),
              "unknown-type 1: component type 14 is not assigned for IPv6" );
   EXPECT_EQ( judged( "06 038106 038106", ipv4 ),
              "duplicate-type 4: component type 3 occurs twice" );
   EXPECT_EQ( judged( "05 048106 0100", ipv4 ),
              "type-order 4: component type 1 after 4: the types must ascend" );
   EXPECT_EQ( judged( "01 01", ipv4 ),
              "truncated 2: component type 1: the prefix length is missing" );
   EXPECT_EQ( judged( "02 0120", ipv6 ),
              "truncated 3: component type 1: the prefix offset is missing" );
   EXPECT_EQ( judged( "04 02180a00", ipv4 ),
              "truncated 5: component type 2: the prefix needs 3 octets, 2 are left" );
   EXPECT_EQ( judged( "01 05", ipv4 ), "truncated 2: component type 5: the operator is missing" );
   EXPECT_EQ( judged( "02 0591", ipv4 ),
              "truncated 3: component type 5: the value needs 2 octets, 0 are left" );
   EXPECT_EQ(
      judged( "03 050106", ipv4 ),
      "no-end-of-list 4: component type 5: the last term does not have the end-of-list bit" );
   EXPECT_EQ( judged( "07 0121 0a00000001", ipv4 ),
              "prefix-range 2: component type 1: prefix length 33 is above 32" );
   EXPECT_EQ( judged( "02 01ff", ipv4 ),
              "prefix-range 2: component type 1: prefix length 255 is above 32" );
   EXPECT_EQ(
      judged( "03 018100", ipv6 ),
      "prefix-range 2: component type 1: prefix length 129 with offset 0: the length must be "
      "at most 128 and above the offset, or both 0" );
   EXPECT_EQ(
      judged( "03 02ff00", ipv6 ),
      "prefix-range 2: component type 2: prefix length 255 with offset 0: the length must be "
      "at most 128 and above the offset, or both 0" );
   EXPECT_EQ(
      judged( "03 010001", ipv6 ),
      "prefix-range 2: component type 1: prefix length 0 with offset 1: the length must be at "
      "most 128 and above the offset, or both 0" );
   EXPECT_EQ( judged( "06 09a100000002", ipv4 ),
              "value-length 2: component type 9 must not have values of 4 octets" );
   EXPECT_EQ( judged( "04 0c910002", ipv6 ),
              "value-length 2: component type 12 must not have values of 2 octets" );
   EXPECT_EQ( judged( "04 011810 20", ipv6 ),
              "unrepresentable 3: component type 1: no rule key holds a prefix with an offset" );
   EXPECT_EQ( judged( "0a 04b10000000100000000", ipv4 ),
              "unrepresentable 3: component type 4: no rule key holds a value above 4294967295; "
              "value-length-should 2 4; value-range 3 4" );
}

TEST( NlriDecoder, UnrepresentableIsJudgedLast ) {
   EXPECT_EQ( judged( "08 011810 20 0b9106ff", ipv6 ),
              "value-length 6: component type 11 must not have values of 2 octets" );
   EXPECT_EQ( judged( "08 011810 20 021810 21", ipv6 ),
              "unrepresentable 3: component type 1: no rule key holds a prefix with an offset" );
}

TEST( NlriDecoder, BearsWhatAReceiverMustAndRemarksIt ) {
   EXPECT_EQ( judged( "f003 038106", ipv4 ), "ok 5; length-form 0 0" );
   EXPECT_EQ( judged( "03 038106 00ff", ipv4 ), "ok 4; trailing-octets 4 0" );
   EXPECT_EQ( judged( "0b 0003000000000000 038106", vpnIpv4 ), "ok 12; rd-type 1 0" );
   EXPECT_EQ( judged( "03 01070b", ipv4 ), "ok 4; prefix-padding 3 1" );
   EXPECT_EQ( judged( "05 03 4106 c111", ipv4 ), "ok 6; first-and 2 3" );
   EXPECT_EQ( judged( "03 038906", ipv4 ), "ok 4; reserved-op-bits 2 3" );
   EXPECT_EQ( judged( "03 0c8c02", ipv4 ), "ok 4; reserved-op-bits 2 12" );
   EXPECT_EQ( judged( "03 03c906", ipv4 ), "ok 4; first-and 2 3; reserved-op-bits 2 3" );
   EXPECT_EQ( judged( "04 09915102", ipv4 ), "ok 5; reserved-value-bits 3 9" );
   EXPECT_EQ( judged( "03 0b8140", ipv4 ), "ok 4; reserved-value-bits 3 11" );
   EXPECT_EQ( judged( "03 0c8110", ipv4 ), "ok 4; reserved-value-bits 3 12" );
   EXPECT_EQ( judged( "03 0c8101", ipv4 ), "ok 4" );
   EXPECT_EQ( judged( "03 0c8101", ipv6 ), "ok 4; reserved-value-bits 3 12" );
   EXPECT_EQ( judged( "04 0391012c", ipv4 ), "ok 5; value-length-should 2 3; value-range 3 3" );
   EXPECT_EQ( judged( "06 04a100000050", ipv4 ), "ok 7; value-length-should 2 4" );
   EXPECT_EQ( judged( "06 0da100100000", ipv6 ), "ok 7; value-range 3 13" );
   EXPECT_EQ( judged( "03 0d8106", ipv6 ), "ok 4; value-length-should 2 13" );
}

TEST( NlriDecoder, KeepsWhatTheRuleMeans ) {
   // Host bits, the AND of a first term, reserved bits, and a value of 8 octets.
   const auto octets = bytesOf( "13 0109 0aff 034906 c111 05b9000000000000 01bb" );
   Nlri nlri;
   ASSERT_FALSE( decodeNlri( octets, ipv4, nlri ) );
   EXPECT_EQ( nlri.key.destPrefix().stringValue(), "10.128.0.0/9" );
   EXPECT_THAT( TestSupport::words( nlri.key ),
                ElementsAre( "0: ipProto 1 6", "1: ipProto c1 17", "2: destPort 91 443" ) );
   EXPECT_EQ( hexOf( nlri.octets ), hexOf( octets ) );
   EXPECT_EQ( hexOf( nlri.components( ipv4 ) ), hexOf( octets ).substr( 2 ) );
}

TEST( NlriDecoder, KeepsTheVrfAndTheInterfaceSets ) {
   Nlri nlri;
   nlri.key.vrfIdIs( 7 );
   nlri.key.interfaceSetPush( 3 );
   ASSERT_FALSE( decodeNlri( bytesOf( "0d 01180a0001 02180a0002 038106" ), ipv4, nlri ) );
   ASSERT_FALSE( decodeNlri( bytesOf( "03 048150" ), ipv4, nlri ) );
   EXPECT_EQ( nlri.key.stringValue(), "7;ipv4;IFSET:=3;*;*;P:=0L80;" );
   ASSERT_TRUE( decodeNlri( bytesOf( "03 040050" ), ipv4, nlri ) );
   EXPECT_EQ( nlri.key.toStrep(), "7;;IFSET:=3;;;" );
}

TEST( NlriDecoder, FollowsBothLengthForms ) {
   for ( const unsigned length : { 3U, 239U, 240U, 241U, 4095U } ) {
      // Terms of one octet, and one of two octets to make the length even.
      std::vector< U8 > body{ 0x04 };
      while ( body.size() < length ) {
         const bool two = ( length - body.size() ) % 2 == 1;
         const bool last = length - body.size() <= 3;
         body.push_back( static_cast< U8 >( ( last ? 0x81 : 0x01 ) | ( two ? 0x10 : 0 ) ) );
         body.insert( body.end(), two ? 2 : 1, U8{ 7 } );
      }
      std::vector< U8 > octets;
      if ( length < 240 ) {
         octets.push_back( static_cast< U8 >( length ) );
      } else {
         octets = { static_cast< U8 >( 0xF0 | length >> 8 ), static_cast< U8 >( length ) };
      }
      octets.insert( octets.end(), body.begin(), body.end() );
      Nlri nlri;
      const auto rejection = decodeNlri( octets, ipv4, nlri );
      ASSERT_FALSE( rejection ) << length << ": " << rejection->message();
      EXPECT_TRUE( nlri.remarks.empty() );
      EXPECT_EQ( nlri.octets.size(), octets.size() );
      EXPECT_EQ( hexOf( nlri.components( ipv4 ) ), hexOf( body ) );
      EXPECT_EQ( nlri.key.matchOpVals(), ( length - 1 ) / 2 );
   }
}

TEST( NlriFormats, AreOfTwoFamiliesWithAndWithoutDistinguisher ) {
   for ( unsigned afi = 0; afi <= 3; ++afi ) {
      for ( unsigned safi = 132; safi <= 135; ++safi ) {
         const auto format = NlriFormat::of( static_cast< U16 >( afi ), static_cast< U8 >( safi ) );
         const bool exists = ( afi == 1 || afi == 2 ) && ( safi == 133 || safi == 134 );
         ASSERT_EQ( format.has_value(), exists ) << afi << '/' << safi;
         if ( exists ) {
            EXPECT_EQ( static_cast< unsigned >( format->family ), afi );
            EXPECT_EQ( format->vpn, safi == 134 );
         }
      }
   }
}

TEST( NlriDecoder, ComponentsComeAfterTheDistinguisher ) {
   const NlriFormat vpn = NlriFormat::of( 1, 134 ).value();
   const std::vector< U8 > octets = TestSupport::bytesOf( "0B 0000FDE800000064 038106" );
   Nlri nlri;
   const auto rejection = decodeNlri( octets, vpn, nlri );
   ASSERT_FALSE( rejection ) << rejection->message();
   EXPECT_EQ( hexOf( nlri.components( vpn ) ), "038106" );
}

TEST( NlriDecoder, TakesNoMemoryForUpToEightWords ) {
   // Four remarks, and one rejected.
   const auto eight =
      bytesOf( "1a 01070b 02190a0002ff 04 4101 0902 0103 0104 0105 0106 0107 8108" );
   const auto bad = bytesOf( "06 01180a0001 03" );
   Nlri nlri;
   const TestSupport::AllocationCounter counter;
   const auto result = decodeNlri( eight, ipv4, nlri );
   const U32 words = nlri.key.matchOpVals();
   const U32 remarks = nlri.remarks.size();
   const auto rejection = decodeNlri( bad, ipv4, nlri );
   if ( !TestSupport::sanitized ) {
      EXPECT_EQ( counter.count(), 0U );
   }
   EXPECT_FALSE( result ) << result->message();
   EXPECT_EQ( words, 8U );
   EXPECT_EQ( remarks, 4U );
   EXPECT_TRUE( rejection );
}

std::vector< std::string > walked( std::string_view hex, NlriFormat format, bool& framed ) {
   const auto field = bytesOf( hex );
   NlriList list( field, format );
   std::vector< std::string > found;
   while ( !list.atEnd() ) {
      Nlri nlri;
      const auto rejection = list.next( nlri );
      found.push_back( rejection ? std::string( name( rejection->code ) )
                                 : std::string( nlri.key.toStrepCli( false ) ) );
      EXPECT_TRUE( nlri.remarks.empty() );
   }
   framed = list.isFramed();
   return found;
}

TEST( NlriList, GoesOnAfterABadOneWhileTheFramingHolds ) {
   bool framed = false;
   EXPECT_THAT( walked( "03 038106 02 0380 00 04 01100a01", ipv4, framed ),
                ElementsAre( "*;*;IP:=6;", "truncated", "empty", "10.1.0.0/16;*;" ) );
   EXPECT_TRUE( framed );
   EXPECT_THAT( walked( "03 038106 05 0380 00 04", ipv4, framed ),
                ElementsAre( "*;*;IP:=6;", "length-mismatch" ) );
   EXPECT_FALSE( framed );
   EXPECT_THAT( walked( "03 038106 f1", ipv4, framed ),
                ElementsAre( "*;*;IP:=6;", "length-truncated" ) );
   EXPECT_FALSE( framed );
   EXPECT_THAT( walked( "", ipv4, framed ), ElementsAre() );
   EXPECT_TRUE( framed );
}

} // namespace
} // namespace Wire
