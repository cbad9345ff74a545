#include "Classification/TcpFlagAndMask.h"

#include <gtest/gtest.h>

namespace {

using Classification::TcpFlagAndMask;

TEST( TcpFlagAndMask, HasItsBytes ) {
   constexpr TcpFlagAndMask synWithoutAck( 0x02, 0x12 );
   static_assert( synWithoutAck.flag() == 0x02 && synWithoutAck.mask() == 0x12 );
   constexpr TcpFlagAndMask outsideTheMask( 0xFF, 0x01 );
   static_assert( outsideTheMask.flag() == 0xFF && outsideTheMask.mask() == 0x01 );
}

TEST( TcpFlagAndMask, OrderIsByFlagThenMask ) {
   constexpr TcpFlagAndMask ascending[] = {
      { 0x00, 0x00 }, { 0x00, 0xFF }, { 0x02, 0x02 }, { 0x02, 0x12 }, { 0x80, 0x00 } };
   for ( std::size_t i = 0; i < std::size( ascending ); ++i ) {
      for ( std::size_t j = 0; j < std::size( ascending ); ++j ) {
         EXPECT_EQ( ascending[i] <=> ascending[j], i <=> j );
         EXPECT_EQ( ascending[i].isEq( ascending[j] ), i == j );
         EXPECT_EQ( ascending[i] == ascending[j], i == j );
      }
   }
}

} // namespace
