#include "wire/NlriEncoder.h"

#include "Flowspec/key/FlowspecKeyReader.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Hex.h"
#include "tests/support/Sanitized.h"
#include "wire/NlriDecoder.h"

#include <gmock/gmock.h>

namespace Wire {
namespace {

using namespace Flowspec;
using TestSupport::hexOf;
using Zorv::AddressFamily;

constexpr NlriFormat ipv4{ AddressFamily::ipv4, false };
constexpr NlriFormat ipv6{ AddressFamily::ipv6, false };

FlowspecKey keyOf( std::string_view text, AddressFamily family = AddressFamily::ipv4,
                   bool withLengths = false ) {
   FlowspecKey key;
   key.addressFamilyIs( family );
   EXPECT_FALSE( readStrCli( text, withLengths, key ) ) << text;
   return key;
}

FlowspecKey keyOfWords( std::initializer_list< U32 > words ) {
   FlowspecKey key;
   key.addressFamilyIs( AddressFamily::ipv4 );
   for ( const U32 word : words ) {
      key.matchOpValIs( key.matchOpVals(), MatchOpVal( word ) );
   }
   return key;
}

/// The octets, or "code: message".
std::string encoded( const FlowspecKey& key, NlriFormat format = ipv4,
                     ValueLengths lengths = ValueLengths::asStored,
                     Zorv::RouteDistinguisher rd = {} ) {
   std::vector< U8 > octets{ 0xAA };
   if ( const auto refusal = encodeNlri( key, format, rd, lengths, octets ) ) {
      EXPECT_EQ( octets, std::vector< U8 >{ 0xAA } );
      return Vek::concat( name( refusal->code ), ": ", refusal->message() );
   }
   return hexOf( std::span( octets ).subspan( 1 ) );
}

TEST( NlriEncoder, WritesARule ) {
   EXPECT_EQ( encoded( keyOf( "10.1.0.0/16;*;IP:=6;DP:=80|>=1024&<=2047;" ) ), "1001100A01"
                                                                               "038106"
                                                                               "050150"
                                                                               "130400"
                                                                               "D507FF" );
   EXPECT_EQ( encoded( keyOf( "2001:db8::/32;::/0;FL:=5;", AddressFamily::ipv6 ), ipv6 ),
              "0D01200020010DB8"
              "020000"
              "0D8105" );
   EXPECT_EQ( encoded( keyOf( "*;0.0.0.0/0" ) ), "020200" );
   EXPECT_EQ( encoded( keyOf( "*;10.0.0.0/9" ), { AddressFamily::ipv4, true },
                       ValueLengths::asStored, Zorv::RouteDistinguisher( 0x0000FDE800000064 ) ),
              "0C0000FDE800000064"
              "02090A00" );
}

TEST( NlriEncoder, OrdersComponentsAndSetsTheBitsAsTheOctetsNeedThem ) {
   // Destination port before the protocol; an AND on a first term; an end in the middle, none at
   // the end; reserved bits.
   EXPECT_EQ( encoded( keyOfWords( { 0x05C10050, 0x05010051, 0x03490006 } ) ), "08038106"
                                                                               "0501508151" );
   EXPECT_EQ( encoded( keyOfWords( { 0x0CCF0002, 0x0C4D0004 } ) ), "050C0302C104" );
}

TEST( NlriEncoder, KeepsLengthsThatMayBeAndShortensTheOthers ) {
   const FlowspecKey key = keyOf( "*;*;IP:=2L6;DP:=2L80;TCP:=2L18;LEN:=1L64;DSCP:=1L46;FRAG:1L2",
                                  AddressFamily::ipv4, true );
   EXPECT_EQ( encoded( key ), "19"
                              "03A100000006"
                              "05A100000050"
                              "098112"
                              "0A910040"
                              "0B812E"
                              "0C8002" );
   EXPECT_EQ( encoded( key, ipv4, ValueLengths::shortest ), "12"
                                                            "038106"
                                                            "058150"
                                                            "098112"
                                                            "0A8140"
                                                            "0B812E"
                                                            "0C8002" );
   const FlowspecKey label = keyOf( "*;*;FL:=0L5|=1L300|=2L70000", AddressFamily::ipv6, true );
   EXPECT_EQ( encoded( label, ipv6 ), "0B"
                                      "0D01051"
                                      "1012CA100011170" );
   EXPECT_EQ( encoded( label, ipv6, ValueLengths::shortest ), "10"
                                                              "0D2100000005"
                                                              "210000012C"
                                                              "A100011170" );
   // A number that its type should have in one octet but that takes two.
   EXPECT_EQ(
      encoded( keyOf( "*;*;IT:<2L256", AddressFamily::ipv4, true ), ipv4, ValueLengths::shortest ),
      "0407940100" );
   // A word whose value is longer than it says.
   EXPECT_EQ( encoded( keyOfWords( { 0x05810150 } ) ), "0405910150" );
}

TEST( NlriEncoder, RefusesWhatNoNlriCanHoldAndNamesTheTerm ) {
   FlowspecKey key;
   EXPECT_EQ( encoded( key ), "no-family: the key is neither of IPv4 nor of IPv6" );
   key.addressFamilyIs( AddressFamily::ipv6 );
   EXPECT_EQ( encoded( key ), "other-family: the key is of the other family" );
   EXPECT_EQ( encoded( key, ipv6 ), "no-component: the key has no component" );
   EXPECT_EQ( encoded( keyOf( "2001:db8::/32;*" ) ),
              "prefix-family: the prefix of component type 1 is of another family" );
   EXPECT_EQ( encoded( keyOf( "*;2001:db8::/32" ) ),
              "prefix-family: the prefix of component type 2 is of another family" );
   key = keyOfWords( { 0x03810006 } );
   key.matchOpValIs( 2, MatchOpVal( 0x03810006 ) );
   EXPECT_EQ( encoded( key ), "hole: the word at index 1: it is missing" );
   EXPECT_EQ( encoded( keyOfWords( { 0x03810006, 0x0E810006 } ) ),
              "bad-type: the word at index 1: no term has the component type 14" );
   EXPECT_EQ( encoded( keyOfWords( { 0 } ) ),
              "bad-type: the word at index 0: no term has the component type 0" );
   EXPECT_EQ( encoded( keyOfWords( { 0x02810006 } ) ),
              "bad-type: the word at index 0: no term has the component type 2" );
   EXPECT_EQ( encoded( keyOfWords( { 0x03810006, 0x0D810006 } ) ),
              "flow-label: the word at index 1: IPv4 has no flow label" );
   EXPECT_EQ( encoded( keyOfWords( { 0x03810006, 0x04B10006 } ) ),
              "value-of-8-octets: the word at index 1: its value has 8 octets" );
   EXPECT_EQ( encoded( keyOfWords( { 0x03810006, 0x04A10006 } ) ),
              "half-value: the word at index 1: the other half of its value is missing" );
   EXPECT_EQ( encoded( keyOfWords( { 0x04210006, 0x04810050 } ) ),
              "half-value: the word at index 0: the other half of its value is missing" );
   EXPECT_EQ( encoded( keyOfWords( { 0x04A10006, 0x05A10050 } ) ),
              "half-value: the word at index 0: the other half of its value is missing" );
   EXPECT_EQ( encoded( keyOfWords( { 0x04810050, 0x03810006, 0x04810051 } ) ),
              "split-component: the word at index 2: the terms of component type 4 are at two "
              "places" );
   EXPECT_EQ(
      encoded( keyOfWords( { 0x0B91012C } ) ),
      "value-too-large: the word at index 0: its value is too large for component type 11" );
}

/// `count` terms of one octet, which with the type are twice as many octets and one.
FlowspecKey portsOf( U32 count ) {
   FlowspecKey key;
   key.addressFamilyIs( AddressFamily::ipv4 );
   for ( U32 i = 0; i < count; ++i ) {
      key.matchOpValIs( i,
                        MatchOpVal( MatchCompType::port, 0x01, static_cast< U16 >( i & 0xFF ) ) );
   }
   return key;
}

TEST( NlriEncoder, WritesUpTo4095Octets ) {
   EXPECT_EQ( encoded( portsOf( 119 ) ).substr( 0, 4 ), "EF04" );
   EXPECT_EQ( encoded( portsOf( 120 ) ).substr( 0, 6 ), "F0F104" );
   const FlowspecKey longest = portsOf( 2047 );
   std::vector< U8 > octets;
   ASSERT_FALSE( encodeNlri( longest, ipv4, {}, ValueLengths::asStored, octets ) );
   EXPECT_EQ( octets.size(), 4097U );
   EXPECT_EQ( octets[0], 0xFF );
   EXPECT_EQ( octets[1], 0xFF );
   Nlri nlri;
   ASSERT_FALSE( decodeNlri( octets, ipv4, nlri ) );
   EXPECT_EQ( nlri.key.matchOpVals(), 2047U );
   std::vector< U8 > again;
   ASSERT_FALSE( encodeNlri( nlri.key, ipv4, {}, ValueLengths::asStored, again ) );
   EXPECT_EQ( again, octets );

   // One octet more: the last value takes two.
   FlowspecKey longer = longest;
   longer.matchOpValIs( 2046, MatchOpVal( MatchCompType::port, 0x91, 300 ) );
   EXPECT_EQ( encoded( longer ), "too-long: the rule takes more than 4095 octets" );
   EXPECT_EQ( encoded( longest, { AddressFamily::ipv4, true } ),
              "too-long: the rule takes more than 4095 octets" );
   EXPECT_EQ( encoded( portsOf( 2048 ) ),
              "index-too-high: the word at index 2047: a key has at most 2047 words" );
   // The most octets that a key's words could take.
   FlowspecKey widest;
   widest.addressFamilyIs( AddressFamily::ipv6 );
   for ( U32 i = 0; i < 2047; ++i ) {
      widest.matchOpValIs( i, MatchOpVal( flowLabel, 0x01, 5 ) );
   }
   EXPECT_EQ( encoded( widest, ipv6, ValueLengths::shortest ),
              "too-long: the rule takes more than 4095 octets" );
}

TEST( NlriEncoder, TakesNoMemoryWhenThereIsRoom ) {
   const FlowspecKey key = keyOf( "10.1.0.0/16;10.2.0.0/16;IP:=6;DP:=80|=443;TCP:=18;" );
   std::vector< U8 > octets;
   octets.reserve( maxNlriLength + 2 );
   const TestSupport::AllocationCounter counter;
   const auto refusal = encodeNlri( key, ipv4, {}, ValueLengths::shortest, octets );
   if ( !TestSupport::sanitized ) {
      EXPECT_EQ( counter.count(), 0U );
   }
   EXPECT_FALSE( refusal );
}

} // namespace
} // namespace Wire
