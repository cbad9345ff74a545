#include "match/LinkLayer.h"

#include "tests/support/Hex.h"

#include <gmock/gmock.h>

namespace Match {
namespace {

using TestSupport::bytesOf;
using TestSupport::hexOf;

constexpr std::string_view macs = "001122334455 66778899AABB ";

std::string behind( std::string_view head, std::string_view rest, U32 linkType ) {
   const auto frame = bytesOf( std::string( head ) + std::string( rest ) );
   return hexOf( ipPacketOf( frame, linkType ) );
}

TEST( LinkLayer, StripsEthernetAndItsTags ) {
   EXPECT_EQ( behind( macs, "0800 45", LinkType::ethernet ), "45" );
   EXPECT_EQ( behind( macs, "86DD 60", LinkType::ethernet ), "60" );
   EXPECT_EQ( behind( macs, "8100 0064 0800 45", LinkType::ethernet ), "45" );
   EXPECT_EQ( behind( macs, "88A8 0064 8100 0001 86DD 60", LinkType::ethernet ), "60" );
   EXPECT_EQ( behind( macs, "9100 0064 8100 0001 0800 45", LinkType::ethernet ), "45" );
   EXPECT_EQ( behind( macs, "0806 45", LinkType::ethernet ), "" ) << "ARP";
   EXPECT_EQ( behind( macs, "8100 0064 0806 45", LinkType::ethernet ), "" );
   EXPECT_EQ( behind( macs, "0026 4242", LinkType::ethernet ), "" ) << "a length, not a type";
}

TEST( LinkLayer, StripsTheCookedHeader ) {
   constexpr std::string_view head = "0000 0001 0006 001122334455 0000";
   EXPECT_EQ( behind( head, "0800 45", LinkType::linuxCooked ), "45" );
   EXPECT_EQ( behind( head, "86DD 60", LinkType::linuxCooked ), "60" );
   EXPECT_EQ( behind( head, "8100 0064 0800 45", LinkType::linuxCooked ), "45" );
   EXPECT_EQ( behind( head, "0004 45", LinkType::linuxCooked ), "" );
}

TEST( LinkLayer, LeavesRawIpAsItIs ) {
   for ( const U32 type : { 12U, 101U, 228U, 229U } ) {
      EXPECT_EQ( behind( "", "4500", type ), "4500" );
   }
}

TEST( LinkLayer, TakesNoOtherType ) {
   for ( const U32 type : { 0U, 105U, 127U, 276U, ~0U } ) {
      EXPECT_EQ( behind( macs, "0800 45", type ), "" );
   }
}

TEST( LinkLayer, TruncatedFramesHoldNothing ) {
   const auto frame = bytesOf( std::string( macs ) + "88A8 0064 8100 0001 86DD" );
   for ( std::size_t size = 0; size <= frame.size(); ++size ) {
      const std::vector< U8 > cut( frame.begin(),
                                   frame.begin() + static_cast< std::ptrdiff_t >( size ) );
      EXPECT_TRUE( ipPacketOf( cut, LinkType::ethernet ).empty() );
      EXPECT_TRUE( ipPacketOf( cut, LinkType::linuxCooked ).empty() );
   }
}

} // namespace
} // namespace Match
