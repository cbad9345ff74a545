#include "Vek/text/Exceptions.h"
#include "tests/support/Registered.h"

#include <gtest/gtest.h>

/// What holds for the encoding of every type in the attribute log.

namespace Flowspec {
namespace {

using namespace TestSupport;
using Trust = Vek::LogReader::Trust;

void read( const Vek::ValueType& type, std::string_view bytes, Trust trust, void* value ) {
   Vek::LogReader in( { reinterpret_cast< const U8* >( bytes.data() ), bytes.size() }, trust );
   type.logRead( in, value );
   in.end();
}

// A value takes as many bytes as is said, is read back from them and from no others.
TEST( EncodingLaws, OfValues ) {
   RandomValues random( 21 );
   unsigned types = 0;
   forEachType( [&]( const Vek::TypeInfo& info ) {
      if ( !info.value || !info.value->logWrite ) {
         return;
      }
      const Vek::ValueType& type = *info.value;
      SCOPED_TRACE( type.name );
      ++types;
      for ( unsigned round = 0; round < 40; ++round ) {
         const Value value( type, random );
         const std::string bytes = bytesOf( type, value.get() );
         ASSERT_EQ( bytes.size(), type.logSize( value.get() ) );
         for ( const Trust trust : { Trust::trusted, Trust::checked } ) {
            const Value got( type, random );
            read( type, bytes, trust, got.get() );
            ASSERT_EQ( bytesOf( type, got.get() ), bytes );
            if ( type.equal ) {
               ASSERT_TRUE( type.equal( got.get(), value.get() ) );
            }
            ASSERT_THROW( read( type, bytes + '\0', trust, got.get() ), Vek::StreamException );
         }
         for ( std::size_t size = 0; size < bytes.size(); ++size ) {
            const Value got( type );
            ASSERT_THROW( read( type, { bytes.data(), size }, Trust::checked, got.get() ),
                          Vek::StreamException )
               << "cut after " << size;
         }
      }
   } );
   EXPECT_GT( types, 30U );
}

} // namespace
} // namespace Flowspec
