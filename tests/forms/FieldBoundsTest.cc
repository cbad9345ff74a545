#include "forms/FieldBounds.h"

#include <gtest/gtest.h>

namespace Forms {

using namespace Flowspec;

namespace {

using Zorv::AddressFamily;

Vek::String warning( MatchCompType type, U32 value, AddressFamily family = AddressFamily::ipv4 ) {
   FlowspecKey key;
   key.addressFamilyIs( family );
   const U32 index = key.setOpVal( 0, icmpType, 0xA1, 255 ); // a sound one in front
   key.setOpVal( index, type, 0xA1, value );
   return beyondField( key ).value_or( "none" );
}

TEST( FieldBounds, TheHighestValueOfAFieldIsInIt ) {
   EXPECT_EQ( beyondField( FlowspecKey() ), std::nullopt );
   EXPECT_EQ( warning( ipProto, 255 ), "none" );
   EXPECT_EQ( warning( packetLength, 65535 ), "none" );
   EXPECT_EQ( warning( dscp, 63 ), "none" );
   EXPECT_EQ( warning( flowLabel, 0xFFFFF ), "none" );
   EXPECT_EQ( warning( tcpFlags, 0xFFF ), "none" );
   EXPECT_EQ( warning( fragment, 0xF ), "none" );
   EXPECT_EQ( warning( fragment, 0xE, AddressFamily::ipv6 ), "none" );
}

TEST( FieldBounds, WhatIsBeyondIsTold ) {
   EXPECT_EQ( warning( ipProto, 256 ),
              "value 256 of ipProto is above 255, the highest that a packet has" );
   EXPECT_EQ( warning( port, ~U32{ 0 } ),
              "value 4294967295 of port is above 65535, the highest that a packet has" );
   EXPECT_EQ( warning( flowLabel, 0x100000 ),
              "value 1048576 of flowLabel is above 1048575, the highest that a packet has" );
   EXPECT_EQ( warning( dscp, 0x6E ), "value 110 of dscp has more than 6 bits: it counts as 46" );
   EXPECT_EQ( warning( tcpFlags, 0x13012 ), "bits 0x13000 of tcpFlags are clear in every packet" );
   EXPECT_EQ( warning( fragment, 0x12 ), "bits 0x10 of fragment do not count" );
   EXPECT_EQ( warning( fragment, 0x13, AddressFamily::ipv6 ),
              "bits 0x11 of fragment do not count" );
}

} // namespace
} // namespace Forms
