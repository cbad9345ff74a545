#include "agents/bgp/message/UpdateWriter.h"
#include "tests/agents/bgp/message/UpdateBytes.h"
#include "tests/wire/NlriData.h"
#include "wire/NlriDecoder.h"

#include <gmock/gmock.h>

namespace Bgp {
namespace {

using namespace TestSupport;

Family familyOf( Wire::NlriFormat format ) {
   return { static_cast< U16 >( format.family ), static_cast< U8 >( format.vpn ? 134 : 133 ) };
}

std::vector< U8 > announced( const NlriLine& line ) {
   std::vector< U8 > attributes;
   writeAttributes( {}, true, attributes );
   std::vector< U8 > out;
   UpdateWriter writer =
      UpdateWriter::announcing( familyOf( line.format ), attributes, maxMessage, out );
   EXPECT_TRUE( writer.add( line.octets ) );
   writer.finish();
   return bodiesOf( out, MessageType::update ).at( 0 );
}

TEST( BgpNlriData, EachLineHasItsVerdictInAnUpdate ) {
   std::map< std::string, unsigned > verdicts;
   for ( const NlriLine& line : nlriLines() ) {
      SCOPED_TRACE( line.id + ' ' + hexOf( line.octets ) );
      const std::vector< U8 > body = announced( line );
      Update update;
      if ( const auto fault = readUpdate( body, external, update ) ) {
         EXPECT_EQ( fault->notification.code, ErrorCode::update );
         EXPECT_EQ( fault->notification.subcode, UpdateError::optionalAttribute );
         EXPECT_EQ( line.validity, "malformed" );
         ++verdicts["reset, " + line.codes.back()];
         continue;
      }
      EXPECT_FALSE( update.withdrawn );
      EXPECT_TRUE( update.discarded.empty() );
      ASSERT_TRUE( update.reach );
      EXPECT_EQ( update.reach->family, familyOf( line.format ) );
      EXPECT_EQ( hexOf( update.reach->nlri ), hexOf( line.octets ) );
      Wire::Nlri nlri;
      Wire::NlriList list( update.reach->nlri, line.format );
      const auto rejection = list.next( nlri );
      EXPECT_TRUE( list.isFramed() );
      if ( !rejection ) {
         EXPECT_NE( line.validity, "malformed" );
         EXPECT_EQ( nlri.key, line.key );
         ++verdicts["rule"];
      } else if ( rejection->code == Wire::RejectionCode::unrepresentable ) {
         EXPECT_TRUE( line.hasOffset );
         ++verdicts["unrepresentable"];
      } else {
         EXPECT_EQ( line.validity, "malformed" );
         EXPECT_EQ( name( rejection->code ), line.codes.back() );
         ++verdicts["malformed"];
      }
   }
   // The truncated one is a rule whose trailing octet is the length of another.
   using testing::Pair;
   EXPECT_THAT( verdicts,
                testing::ElementsAre( Pair( "malformed", 53 ), Pair( "reset, length-mismatch", 9 ),
                                      Pair( "reset, truncated", 1 ), Pair( "rule", 123 ),
                                      Pair( "unrepresentable", 9 ) ) );
}

} // namespace
} // namespace Bgp
