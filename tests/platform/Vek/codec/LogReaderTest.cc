#include "Vek/codec/LogReader.h"

#include "tests/support/Hex.h"

#include <gmock/gmock.h>

namespace Vek {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;
using TestSupport::bytesOf;

TEST( LogReader, AStringHoldsNoNul ) {
   const auto read = []( const std::string& hex ) {
      const std::vector< U8 > bytes = bytesOf( hex );
      return LogReader( bytes ).string();
   };
   EXPECT_EQ( read( "00000000" ), "" );
   EXPECT_EQ( read( "00000002 6162" ), "ab" );
   // What comes after the string is not its own.
   EXPECT_EQ( read( "00000002 6162 00" ), "ab" );
   for ( const char* const hex :
         { "00000001 00", "00000003 006162", "00000003 610062", "00000003 616200" } ) {
      EXPECT_THAT( [&] { read( hex ); },
                   ThrowsMessage< StreamException >( HasSubstr( "a string holds a NUL" ) ) )
         << hex;
   }
}

} // namespace
} // namespace Vek
