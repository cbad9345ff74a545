#include "Osk/Endian.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace {

constexpr U8 bytes[] = { 0xEE, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0xEE };

TEST( Endian, TwoBytesAreReadAndWrittenInNetworkOrderAndNoneBeside ) {
   EXPECT_EQ( Osk::loadBig16( bytes + 1 ), 0x0123U );
   EXPECT_EQ( Osk::loadBig16( bytes + 8 ), 0xEFEEU );
   U8 out[4] = { 1, 2, 3, 4 };
   Osk::storeBig16( out + 1, 0x8A9B );
   const U8 expected[4] = { 1, 0x8A, 0x9B, 4 };
   EXPECT_TRUE( std::equal( out, out + 4, expected ) );
}

TEST( Endian, FourBytesAreReadInNetworkOrderFromAnyAlignment ) {
   EXPECT_EQ( Osk::loadBig32( bytes ), 0xEE012345U );
   EXPECT_EQ( Osk::loadBig32( bytes + 1 ), 0x01234567U );
   EXPECT_EQ( Osk::loadBig32( bytes + 6 ), 0xABCDEFEEU );
}

TEST( Endian, EightBytesAreReadInNetworkOrderFromAnyAlignment ) {
   EXPECT_EQ( Osk::loadBig64( bytes + 1 ), 0x0123456789ABCDEFU );
   EXPECT_EQ( Osk::loadBig64( bytes + 2 ), 0x23456789ABCDEFEEU );
}

TEST( Endian, FourBytesAreWrittenInNetworkOrderAndNoneBeside ) {
   U8 out[6] = { 1, 2, 3, 4, 5, 6 };
   Osk::storeBig32( out + 1, 0x8A9BACBDU );
   const U8 expected[6] = { 1, 0x8A, 0x9B, 0xAC, 0xBD, 6 };
   EXPECT_TRUE( std::equal( out, out + 6, expected ) );
   EXPECT_EQ( Osk::loadBig32( out + 1 ), 0x8A9BACBDU );
}

TEST( Endian, EightBytesAreWrittenInNetworkOrderAndNoneBeside ) {
   U8 out[10] = { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10 };
   Osk::storeBig64( out + 1, 0x8A9BACBDCEDFE0F1U );
   const U8 expected[10] = { 1, 0x8A, 0x9B, 0xAC, 0xBD, 0xCE, 0xDF, 0xE0, 0xF1, 10 };
   EXPECT_TRUE( std::equal( out, out + 10, expected ) );
   EXPECT_EQ( Osk::loadBig64( out + 1 ), 0x8A9BACBDCEDFE0F1U );
}

TEST( Endian, ManyNumbersAreSwappedThereAndBack ) {
   U64 numbers[3] = { 0x0102030405060708, 0, 0xF1F2F3F4F5F6F7F8 };
   U8 wire[26] = {};
   Osk::swap64< 3 >( wire + 1, numbers );
   EXPECT_EQ( wire[0], 0 );
   for ( std::size_t i = 0; i < 3; ++i ) {
      EXPECT_EQ( Osk::loadBig64( wire + 1 + 8 * i ), numbers[i] );
   }
   EXPECT_EQ( wire[25], 0 );
   U64 back[3] = { 1, 2, 3 };
   Osk::swap64< 3 >( back, wire + 1 );
   EXPECT_TRUE( std::equal( numbers, numbers + 3, back ) );
}

} // namespace
