#include "Vek/log/Record.h"

#include "Osk/Endian.h"
#include "Vek/log/Message.h"
#include "Vek/text/Exceptions.h"
#include "Vek/text/Text.h"

#include <algorithm>
#include <array>

namespace Vek::log {

namespace {

// The length, the checksum of the bytes, 0, and the checksum of these 12 bytes. As records begin at
// multiples of its size, and disks write whole sectors, a header is there or is all zeros.
constexpr std::size_t headerSize = 16;

constexpr std::size_t recordSize( std::size_t length ) {
   return headerSize + ( length + headerSize - 1 ) / headerSize * headerSize;
}

// CRC-32 as of Ethernet.
constexpr auto crcTable = [] {
   std::array< U32, 256 > table{};
   for ( U32 byte = 0; byte < 256; ++byte ) {
      U32 crc = byte;
      for ( int bit = 0; bit < 8; ++bit ) {
         crc = crc >> 1 ^ ( crc & 1 ? 0xEDB88320 : 0 );
      }
      table[byte] = crc;
   }
   return table;
}();

U32 crcOf( std::span< const U8 > bytes ) {
   U32 crc = ~U32{ 0 };
   for ( const U8 byte : bytes ) {
      crc = crc >> 8 ^ crcTable[( crc ^ byte ) & 0xFF];
   }
   return ~crc;
}

bool isHeader( std::span< const U8 > bytes ) {
   return Osk::loadBig32( &bytes[12] ) == crcOf( bytes.first( 12 ) ) &&
          Osk::loadBig32( &bytes[0] ) <= maxRecord && Osk::loadBig32( &bytes[8] ) == 0;
}

} // namespace

void appendRecord( std::vector< U8 >& out, std::span< const U8 > bytes ) {
   const std::size_t begin = out.size();
   out.resize( begin + recordSize( bytes.size() ) );
   U8* const header = &out[begin];
   Osk::storeBig32( header, static_cast< U32 >( bytes.size() ) );
   Osk::storeBig32( header + 4, crcOf( bytes ) );
   Osk::storeBig32( header + 12, crcOf( std::span( header, 12 ) ) );
   std::memcpy( header + headerSize, bytes.data(), bytes.size() );
}

bool areRecords( std::span< const U8 > bytes ) {
   return Osk::loadBig32( &bytes[headerSize] ) == streamMagic;
}

void RecordReader::receive( std::span< const U8 > bytes ) {
   received_ += bytes.size();
   if ( !tornUpTo_ ) {
      partial_.insert( partial_.end(), bytes.begin(), bytes.end() );
      takeRecords();
   }
   if ( tornUpTo_ && received_ > *tornUpTo_ ) {
      failDamaged();
   }
}

void RecordReader::takeRecords() {
   std::span< const U8 > rest = partial_;
   while ( rest.size() >= headerSize ) {
      const auto header = rest.first( headerSize );
      isHeadless_ = isHeadless_ || std::ranges::count( header, 0 ) == headerSize;
      // After a lost header come bytes of the same record. A header among them is of a record that
      // was written when this one was whole on the disk.
      if ( isHeader( header ) == isHeadless_ ) {
         failDamaged();
      }
      if ( isHeadless_ ) {
         rest = rest.subspan( headerSize );
         continue;
      }
      const U32 length = Osk::loadBig32( &header[0] );
      if ( rest.size() < recordSize( length ) ) {
         break;
      }
      const auto bytes = rest.subspan( headerSize, length );
      if ( Osk::loadBig32( &header[4] ) != crcOf( bytes ) ) {
         tornUpTo_ = whole_ + recordSize( length );
         break;
      }
      give_( bytes );
      whole_ += recordSize( length );
      rest = rest.subspan( recordSize( length ) );
   }
   partial_.erase( partial_.begin(),
                   partial_.end() - static_cast< std::ptrdiff_t >( rest.size() ) );
}

void RecordReader::failDamaged() const {
   throw StreamException( concat( "the record at byte ", whole_, " is damaged" ) );
}

} // namespace Vek::log
