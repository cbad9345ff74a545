#include "Vek/log/Record.h"

#include "Osk/Endian.h"
#include "Vek/log/Message.h"
#include "Vek/text/Exceptions.h"
#include "tests/support/Hex.h"

#include <algorithm>
#include <random>

#include <gmock/gmock.h>

namespace Vek::log {
namespace {

using testing::ThrowsMessage;
using TestSupport::bytesOf;
using TestSupport::hexOf;

std::vector< U8 > recordOf( std::span< const U8 > bytes ) {
   std::vector< U8 > record;
   appendRecord( record, bytes );
   return record;
}

// What a reader gives of a file that comes in pieces of a size, and what it makes of the rest.
struct Read {
   std::vector< U8 > given{};
   U64 whole = 0;
   U64 received = 0;

   bool operator==( const Read& ) const = default;
};
Read read( std::span< const U8 > file, std::size_t pieces = 1000 ) {
   Read result;
   RecordReader reader( [&]( std::span< const U8 > bytes ) {
      result.given.insert( result.given.end(), bytes.begin(), bytes.end() );
   } );
   while ( !file.empty() ) {
      const std::size_t size = std::min( pieces, file.size() );
      reader.receive( file.first( size ) );
      file = file.subspan( size );
   }
   result.whole = reader.whole();
   result.received = reader.received();
   return result;
}

// Length, CRC-32 of the bytes, 0, and CRC-32 of these; the bytes, and zeros.
TEST( Records, AreLengthChecksumsAndBytes ) {
   EXPECT_EQ( hexOf( recordOf( bytesOf( "61" ) ) ), "00000001E8B7BE4300000000E6DACD4A"
                                                    "61000000000000000000000000000000" );
   EXPECT_EQ( hexOf( recordOf( bytesOf( "31323334353637383132333435363738" ) ) ),
              "000000106BCC57B700000000E2452147"
              "31323334353637383132333435363738" );
}

TEST( Records, AreReadInPiecesOfAnySize ) {
   std::mt19937 random( 1 );
   std::vector< U8 > bytes;
   std::vector< U8 > file;
   for ( std::size_t size = 1; size < 40; ++size ) {
      std::vector< U8 > some( size );
      std::ranges::generate( some, [&] { return static_cast< U8 >( random() ); } );
      appendRecord( file, some );
      bytes.insert( bytes.end(), some.begin(), some.end() );
      EXPECT_EQ( file.size() % 16, 0U );
   }
   const Read all{ bytes, file.size(), file.size() };
   for ( const std::size_t pieces : { 1U, 3U, 8U, 100U, 10000U } ) {
      EXPECT_EQ( read( file, pieces ), all );
   }
}

TEST( Records, ThatAreCutOffOrTornAtTheEndAreNotGiven ) {
   const std::vector< U8 > first = recordOf( bytesOf( "0102030405060708090A" ) );
   const std::vector< U8 > bytes = bytesOf( "0102030405060708090A" );
   std::vector< U8 > file = first;
   appendRecord( file, bytesOf( "1112131415161718191A" ) );
   for ( std::size_t size = first.size(); size < file.size(); ++size ) {
      const Read cut{ bytes, first.size(), size };
      EXPECT_EQ( read( std::span( file ).first( size ) ), cut );
   }
   // All but the header and what fills up.
   const Read torn{ bytes, first.size(), file.size() };
   for ( std::size_t at = first.size() + 16; at < first.size() + 26; ++at ) {
      std::vector< U8 > damaged = file;
      damaged[at] = 0;
      for ( const std::size_t pieces : { 1U, 1000U } ) {
         EXPECT_EQ( read( damaged, pieces ), torn ) << at;
      }
   }
   // Without a header nobody knows where it ends.
   std::vector< U8 > headless = first;
   headless.resize( headless.size() + 16 );
   headless.insert( headless.end(), 5000, U8{ 'x' } );
   for ( const std::size_t pieces : { 1U, 1000U } ) {
      EXPECT_EQ( read( headless, pieces ), ( Read{ bytes, first.size(), headless.size() } ) );
   }
}

TEST( Records, ThatAreDamagedInFrontOfOthersAreAFault ) {
   std::vector< U8 > file = recordOf( bytesOf( "00" ) );
   const std::size_t begin = file.size();
   appendRecord( file, bytesOf( "0102030405060708090A0B0C0D0E0F10" ) );
   for ( std::size_t at = begin; at < file.size(); ++at ) {
      std::vector< U8 > damaged = file;
      damaged[at] ^= 0x80;
      damaged.push_back( 0 );
      for ( const std::size_t pieces : { 1U, 1000U } ) {
         EXPECT_THAT( [&] { read( damaged, pieces ); },
                      ThrowsMessage< StreamException >( "the record at byte 32 is damaged" ) )
            << at;
      }
   }
}

// A header that a record lost with the first sector of the last write, and what was written after
// it.
TEST( Records, WithoutAHeaderAreTornOnlyWhereNoneFollows ) {
   const std::vector< U8 > bytes = bytesOf( "0102030405060708090A" );
   std::vector< U8 > file = recordOf( bytes );
   const std::size_t lost = file.size();
   appendRecord( file, std::vector< U8 >( 100, 'x' ) );
   const std::size_t middle = file.size();
   appendRecord( file, std::vector< U8 >( 40, 'y' ) );
   const std::size_t last = file.size();
   appendRecord( file, std::vector< U8 >( 1, 'z' ) );
   for ( std::size_t zeros = 16; lost + zeros <= file.size(); ++zeros ) {
      std::vector< U8 > damaged = file;
      std::fill_n( damaged.begin() + static_cast< std::ptrdiff_t >( lost ), zeros, U8{ 0 } );
      for ( const std::size_t pieces : { 1U, 7U, 1000U } ) {
         // The last length has nonzero bytes up to the fourth.
         if ( lost + zeros <= last + 3 ) {
            EXPECT_THAT( [&] { read( damaged, pieces ); },
                         ThrowsMessage< StreamException >( "the record at byte 32 is damaged" ) )
               << zeros;
         } else {
            EXPECT_EQ( read( damaged, pieces ), ( Read{ bytes, lost, file.size() } ) ) << zeros;
         }
      }
   }
   // One header is enough, wherever the file ends after it.
   std::vector< U8 > damaged( file.begin(), file.begin() + static_cast< std::ptrdiff_t >( last ) );
   std::fill_n( damaged.begin() + static_cast< std::ptrdiff_t >( lost ), 16, U8{ 0 } );
   for ( std::size_t size = lost; size <= damaged.size(); ++size ) {
      const std::span< const U8 > cut = std::span( damaged ).first( size );
      if ( size < middle + 16 ) {
         EXPECT_EQ( read( cut ), ( Read{ bytes, lost, size } ) );
      } else {
         EXPECT_THAT( [&] { read( cut ); },
                      ThrowsMessage< StreamException >( "the record at byte 32 is damaged" ) );
      }
   }
   // Zeros alone, as a file system leaves them.
   damaged.assign( file.begin(), file.begin() + static_cast< std::ptrdiff_t >( lost ) );
   damaged.resize( lost + 5000 );
   EXPECT_EQ( read( damaged ), ( Read{ bytes, lost, lost + 5000 } ) );
}

TEST( Records, HaveALengthThatCanBe ) {
   const std::vector< U8 > longest( maxRecord, 'x' );
   const std::vector< U8 > record = recordOf( longest );
   EXPECT_EQ( read( record ).given.size(), maxRecord );
   EXPECT_GE( maxRecord, messageSize( maxPayload ) );
   // The header of one that is cut off, and one that is too long.
   EXPECT_EQ( read( std::span( record ).first( 16 ) ).whole, 0U );
   const std::vector< U8 > tooLong = recordOf( std::vector< U8 >( maxRecord + 1, 'x' ) );
   EXPECT_THAT( [&] { read( std::span( tooLong ).first( 16 ) ); },
                ThrowsMessage< StreamException >( "the record at byte 0 is damaged" ) );
   // The third word is 0, also where the checksum fits: CRC-32 of 00000001 E8B7BE43 00000001.
   std::vector< U8 > other = recordOf( bytesOf( "61" ) );
   other[11] = 1;
   Osk::storeBig32( &other[12], 0x91DDFDDC );
   EXPECT_THAT( [&] { read( other ); },
                ThrowsMessage< StreamException >( "the record at byte 0 is damaged" ) );
}

TEST( Records, AreKnownByTheBeginningOfTheStream ) {
   std::vector< U8 > stream = bytesOf( "56454B4C" );
   const std::vector< U8 > record = recordOf( stream );
   EXPECT_TRUE( areRecords( std::span( record ).first( recordsKnownBy ) ) );
   stream.resize( recordsKnownBy );
   EXPECT_FALSE( areRecords( stream ) );
}

} // namespace
} // namespace Vek::log
