#include "tests/support/Hex.h"
#include "tests/support/KeyGenerator.h"
#include "tests/wire/NlriData.h"
#include "tests/wire/PlainNlri.h"
#include "wire/NlriDecoder.h"
#include "wire/NlriEncoder.h"

#include <gmock/gmock.h>

namespace Wire {
namespace {

using TestSupport::hexOf;
using TestSupport::KeyGenerator;
using TestSupport::PlainNlri;

std::vector< std::string > namesOf( const Remarks& remarks ) {
   std::vector< std::string > names;
   for ( const Remark& remark : remarks ) {
      names.emplace_back( name( remark.code ) );
   }
   return names;
}

void expectAsPlain( const std::vector< U8 >& octets, NlriFormat format ) {
   const PlainNlri plain = TestSupport::plainDecode( octets, format, true );
   Nlri nlri;
   const auto rejection = decodeNlri( octets, format, nlri );
   ASSERT_EQ( rejection ? name( rejection->code ) : "", plain.code );
   ASSERT_EQ( namesOf( nlri.remarks ), plain.remarks );
   ASSERT_EQ( nlri.octets.size(), plain.size );
   if ( rejection ) {
      ASSERT_LE( rejection->offset, octets.size() );
      return;
   }
   ASSERT_EQ( nlri.key, plainKey( plain, format ) );
   ASSERT_EQ( nlri.rd.value(), plain.rd );

   // What was read can be written; without remarks it is what was received.
   std::vector< U8 > written;
   ASSERT_FALSE( encodeNlri( nlri.key, format, nlri.rd, ValueLengths::asStored, written ) );
   if ( nlri.remarks.empty() ) {
      ASSERT_EQ( hexOf( written ), hexOf( octets ) );
   }
   Nlri again;
   ASSERT_FALSE( decodeNlri( written, format, again ) );
   ASSERT_EQ( again.key, nlri.key );
   ASSERT_EQ( again.rd, nlri.rd );
}

/// Octets of a length field and components, right ones with a few octets changed, put in or taken.
class OctetGenerator {
public:
   explicit OctetGenerator( U64 seed ) : random_( seed ) {}

   KeyGenerator& random() { return random_; }

   NlriFormat format() {
      return { random_.oneIn( 2 ) ? Zorv::AddressFamily::ipv4 : Zorv::AddressFamily::ipv6,
               random_.oneIn( 4 ) };
   }

   std::vector< U8 > nlri( NlriFormat format ) {
      std::vector< U8 > body;
      if ( format.vpn && !random_.oneIn( 30 ) ) {
         body = { 0, static_cast< U8 >( random_.below( 4 ) ), 0, 1, 2, 3, 4, 5 };
      }
      unsigned type = 0;
      for ( U64 components = 1 + random_.below( 4 ); components > 0; --components ) {
         type += static_cast< unsigned >( random_.oneIn( 40 ) ? 0 : 1 + random_.below( 5 ) );
         addComponent( body, type, format );
      }
      for ( U64 changes = random_.oneIn( 2 ) ? 0 : random_.below( 3 ); changes > 0; --changes ) {
         const std::size_t at = random_.below( body.size() );
         if ( random_.oneIn( 2 ) ) {
            body[at] = static_cast< U8 >( random_.any() );
         } else if ( body.size() > 1 ) {
            body.erase( body.begin() + static_cast< std::ptrdiff_t >( at ) );
         }
      }
      std::size_t length = body.size();
      if ( random_.oneIn( 30 ) ) {
         length += random_.below( 3 ) - 1;
      }
      std::vector< U8 > octets;
      if ( length < 240 && !random_.oneIn( 30 ) ) {
         octets.push_back( static_cast< U8 >( length ) );
      } else {
         octets = { static_cast< U8 >( 0xF0 | length >> 8 ), static_cast< U8 >( length ) };
      }
      octets.insert( octets.end(), body.begin(), body.end() );
      return octets;
   }

private:
   void addComponent( std::vector< U8 >& body, unsigned type, NlriFormat format ) {
      body.push_back( static_cast< U8 >( type ) );
      const auto octet = [&] { return static_cast< U8 >( random_.number( 8 ) ); };
      if ( type <= 2 ) {
         const bool ipv4 = format.family == Zorv::AddressFamily::ipv4;
         const U64 length = random_.below( random_.oneIn( 30 ) ? 256 : ipv4 ? 33 : 129 );
         const U64 offset = ipv4 || random_.oneIn( 2 ) ? 0 : random_.below( length + 1 );
         body.push_back( static_cast< U8 >( length ) );
         if ( !ipv4 ) {
            body.push_back( static_cast< U8 >( offset ) );
         }
         for ( U64 bits = length - offset; bits > 0; bits = bits > 8 ? bits - 8 : 0 ) {
            // Mostly without bits after the prefix.
            const U8 mask =
               static_cast< U8 >( bits < 8 && !random_.oneIn( 8 ) ? 0xFF00 >> bits : 0xFF );
            body.push_back( static_cast< U8 >( octet() & mask ) );
         }
         return;
      }
      for ( U64 terms = 1 + random_.below( 3 ); terms > 0; --terms ) {
         const U64 length = random_.oneIn( 8 ) ? 3 : random_.below( random_.oneIn( 2 ) ? 3 : 1 );
         U64 op = ( random_.any() & 0x07 ) | length << 4 | ( terms == 1 ? 0x80U : 0U );
         op |= random_.oneIn( 8 ) ? 0x08U : 0U;
         op |= random_.oneIn( 4 ) ? 0x40U : 0U;
         body.push_back( static_cast< U8 >( op ) );
         for ( U64 i = 0; i < U64{ 1 } << length; ++i ) {
            body.push_back( random_.oneIn( 2 ) ? U8{ 0 } : octet() );
         }
      }
   }

   KeyGenerator random_;
};

TEST( NlriProperty, BothDecodersAgreeOnRandomOctets ) {
   OctetGenerator generator( 61 );
   constexpr unsigned rounds = 60'000U;
   std::map< std::string, unsigned > seen;
   for ( unsigned i = 0; i < rounds; ++i ) {
      const NlriFormat format = generator.format();
      const auto octets = generator.nlri( format );
      SCOPED_TRACE( hexOf( octets ) );
      ASSERT_NO_FATAL_FAILURE( expectAsPlain( octets, format ) );
      const PlainNlri plain = TestSupport::plainDecode( octets, format, true );
      ++seen[plain.code];
      for ( const std::string& remark : plain.remarks ) {
         ++seen[remark];
      }
   }
   // Each code was met, but for those of a length field without octets.
   for ( const auto* const code : { "",
                                    "length-mismatch",
                                    "rd-truncated",
                                    "unknown-type",
                                    "duplicate-type",
                                    "type-order",
                                    "truncated",
                                    "no-end-of-list",
                                    "prefix-range",
                                    "value-length",
                                    "unrepresentable",
                                    "length-form",
                                    "trailing-octets",
                                    "rd-type",
                                    "prefix-padding",
                                    "first-and",
                                    "reserved-op-bits",
                                    "value-length-should",
                                    "reserved-value-bits",
                                    "value-range" } ) {
      EXPECT_GT( seen[code], rounds / 1000 ) << code;
   }
}

TEST( NlriProperty, BothDecodersAgreeOnEachBeginningAndEachChangedOctetOfTheData ) {
   for ( const TestSupport::NlriLine& line : TestSupport::nlriLines() ) {
      for ( std::size_t size = 0; size <= line.octets.size(); ++size ) {
         std::vector< U8 > octets( line.octets.begin(),
                                   line.octets.begin() + static_cast< std::ptrdiff_t >( size ) );
         ASSERT_NO_FATAL_FAILURE( expectAsPlain( octets, line.format ) ) << hexOf( octets );
         if ( size == 0 ) {
            continue;
         }
         // The framing fits what is there.
         octets[0] = static_cast< U8 >( size - 1 );
         ASSERT_NO_FATAL_FAILURE( expectAsPlain( octets, line.format ) ) << hexOf( octets );
      }
      for ( std::size_t at = 0; at < line.octets.size(); ++at ) {
         for ( const unsigned changed : { 0x00U, 0x01U, 0x08U, 0x40U, 0x80U, 0xFFU } ) {
            std::vector< U8 > octets = line.octets;
            octets[at] = static_cast< U8 >( octets[at] ^ changed );
            ASSERT_NO_FATAL_FAILURE( expectAsPlain( octets, line.format ) ) << hexOf( octets );
         }
      }
   }
}

TEST( NlriProperty, KeysComeBackFromTheirOctets ) {
   KeyGenerator random( 62 );
   unsigned written = 0;
   constexpr unsigned rounds = 50'000U;
   for ( unsigned i = 0; i < rounds; ++i ) {
      const bool realistic = random.oneIn( 2 );
      const Flowspec::FlowspecKey key = realistic ? random.realisticKey() : random.canonicalKey();
      const NlriFormat format{ key.addressFamily(), false };
      std::vector< U8 > octets;
      if ( encodeNlri( key, format, {}, ValueLengths::asStored, octets ) ) {
         ASSERT_FALSE( realistic ) << key.stringValue();
         continue;
      }
      ++written;
      Nlri nlri;
      nlri.key.vrfIdIs( key.vrfId() );
      for ( const U16 id : key.interfaceSet() ) {
         nlri.key.interfaceSetPush( id );
      }
      ASSERT_FALSE( decodeNlri( octets, format, nlri ) ) << key.stringValue();
      std::vector< U8 > again;
      ASSERT_FALSE( encodeNlri( nlri.key, format, {}, ValueLengths::asStored, again ) );
      ASSERT_EQ( again, octets );
      if ( realistic ) {
         ASSERT_EQ( nlri.key, key );
      }
   }
   EXPECT_GT( written, rounds / 2 );
}

TEST( NlriProperty, AnyKeyIsWrittenOrRefused ) {
   KeyGenerator random( 63 );
   constexpr unsigned rounds = 50'000U;
   for ( unsigned i = 0; i < rounds; ++i ) {
      Flowspec::FlowspecKey key = random.arbitraryKey( random.oneIn( 100 ) ? 2048 : 6 );
      if ( !random.oneIn( 4 ) ) {
         // Closer to one that can be written.
         key = random.similarKey();
         key.matchOpValIs( 0, Flowspec::MatchOpVal( 0x03810006U ^ random.number( 32 ) ) );
      }
      const NlriFormat format{ random.oneIn( 2 ) ? Zorv::AddressFamily::ipv4
                                                 : Zorv::AddressFamily::ipv6,
                               random.oneIn( 2 ) };
      std::vector< U8 > octets;
      const auto refusal =
         encodeNlri( key, format, Zorv::RouteDistinguisher( 1 ), ValueLengths::asStored, octets );
      if ( refusal ) {
         ASSERT_TRUE( octets.empty() );
         ASSERT_NE( refusal->message(), "" );
         continue;
      }
      Nlri nlri;
      const auto rejection = decodeNlri( octets, format, nlri );
      ASSERT_FALSE( rejection ) << rejection->message() << ' ' << key.toStrep();
   }
}

} // namespace
} // namespace Wire
