#include "Vek/log/Message.h"

#include "tests/support/Hex.h"

#include <gmock/gmock.h>

namespace Vek::log {
namespace {

using testing::ThrowsMessage;
using TestSupport::bytesOf;

TEST( MessageHeader, IsWhatItWasWrittenFrom ) {
   std::vector< U8 > bytes( Header::size );
   LogWriter out( bytes.data() );
   writeHeader( out, { .length = 0x010203,
                       .kind = MessageKind::member,
                       .entity = 0x0102030405060708,
                       .fieldId = 0x0104,
                       .flags = removedFlag } );
   EXPECT_EQ( TestSupport::hexOf( bytes ), "00010203050102030405060708010401" );
   const Header header = readHeader( bytes );
   EXPECT_EQ( header.length, 0x010203U );
   EXPECT_EQ( header.kind, MessageKind::member );
   EXPECT_EQ( header.entity, 0x0102030405060708U );
   EXPECT_EQ( header.fieldId, 0x0104U );
   EXPECT_TRUE( header.removed() );
}

TEST( MessageHeader, TellsOfAtMost16MiB ) {
   EXPECT_EQ( readHeader( bytesOf( "01000000040000000000000001010400" ) ).length, maxPayload );
   const char* const reason = "a payload of 16777217 bytes is longer than 16777216";
   EXPECT_THAT( [] { readHeader( bytesOf( "01000001040000000000000001010400" ) ); },
                ThrowsMessage< StreamException >( reason ) );
   EXPECT_EQ( messageSize( maxPayload ), 16777232U );
   EXPECT_THAT( [] { messageSize( maxPayload + 1 ); }, ThrowsMessage< StreamException >( reason ) );
}

TEST( MessageDeathTest, AsManyBytesAreWrittenAsWereReserved ) {
   checkWritten( 16, 16 );
   EXPECT_DEATH( checkWritten( 15, 16 ), "assertion \"written == size\" failed" );
}

} // namespace
} // namespace Vek::log
