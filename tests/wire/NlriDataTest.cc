#include "tests/wire/NlriData.h"

#include "tests/support/Hex.h"
#include "wire/NlriDecoder.h"
#include "wire/NlriEncoder.h"

#include <gmock/gmock.h>

namespace Wire {
namespace {

using TestSupport::hexOf;
using TestSupport::NlriLine;

std::vector< std::string > codesOf( const Nlri& nlri,
                                    const std::optional< Rejection >& rejection ) {
   std::vector< std::string > codes;
   for ( const Remark& remark : nlri.remarks ) {
      codes.emplace_back( name( remark.code ) );
   }
   if ( rejection ) {
      codes.emplace_back( name( rejection->code ) );
   }
   return codes;
}

std::string encoded( const Flowspec::FlowspecKey& key, NlriFormat format,
                     Zorv::RouteDistinguisher rd, ValueLengths lengths ) {
   std::vector< U8 > octets;
   if ( const auto refusal = encodeNlri( key, format, rd, lengths, octets ) ) {
      return refusal->message();
   }
   return hexOf( octets );
}

TEST( NlriData, EachNlriComesOutAsItIsJudged ) {
   unsigned valid = 0;
   unsigned unrepresentable = 0;
   ASSERT_EQ( TestSupport::nlriLines().size(), 195U );
   for ( const NlriLine& line : TestSupport::nlriLines() ) {
      SCOPED_TRACE( line.id + ' ' + hexOf( line.octets ) );
      Nlri nlri;
      const auto rejection = decodeNlri( line.octets, line.format, nlri );
      std::vector< std::string > codes = line.codes;
      if ( line.hasOffset ) {
         codes.emplace_back( "unrepresentable" );
         ++unrepresentable;
      }
      EXPECT_EQ( codesOf( nlri, rejection ), codes );
      EXPECT_EQ( rejection.has_value(), line.validity == "malformed" || line.hasOffset );
      if ( rejection ) {
         EXPECT_LE( rejection->offset, line.octets.size() );
         EXPECT_NE( rejection->message(), "" );
         EXPECT_EQ( nlri.key, Flowspec::FlowspecKey() );
         continue;
      }
      EXPECT_EQ( nlri.key, line.key ) << nlri.key.stringValue() << ' ' << line.key.stringValue();
      EXPECT_EQ( nlri.rd, line.rd );
      EXPECT_EQ( hexOf( nlri.octets ), hexOf( line.octets ) );
      if ( line.validity == "valid" ) {
         ++valid;
         EXPECT_EQ( encoded( nlri.key, line.format, nlri.rd, ValueLengths::asStored ),
                    hexOf( line.octets ) );
      }
   }
   EXPECT_EQ( valid, 105U );
   EXPECT_EQ( unrepresentable, 9U );
}

TEST( NlriData, EachRuleIsWrittenAndReadBack ) {
   unsigned written = 0;
   ASSERT_EQ( TestSupport::ruleLines().size(), 145U );
   for ( const NlriLine& line : TestSupport::ruleLines() ) {
      SCOPED_TRACE( line.id );
      Nlri nlri;
      const auto rejection = decodeNlri( line.octets, line.format, nlri );
      if ( line.hasOffset ) {
         ASSERT_TRUE( rejection );
         EXPECT_EQ( rejection->code, RejectionCode::unrepresentable );
         continue;
      }
      ++written;
      for ( const ValueLengths lengths : { ValueLengths::shortest, ValueLengths::asStored } ) {
         EXPECT_EQ( encoded( line.key, line.format, line.rd, lengths ), hexOf( line.octets ) );
      }
      ASSERT_FALSE( rejection ) << rejection->message();
      EXPECT_EQ( nlri.key, line.key ) << nlri.key.stringValue() << ' ' << line.key.stringValue();
   }
   EXPECT_EQ( written, 140U );
}

} // namespace
} // namespace Wire
