#include "forms/LineReader.h"
#include "fuzz/Check.h"

#include <algorithm>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using Forms::LineReader;

// The lines that a text has, the slow way.
std::vector< std::string > linesOf( std::string_view text ) {
   std::vector< std::string > lines;
   while ( !text.empty() ) {
      const std::size_t length = std::min( text.find( '\n' ), text.size() );
      std::string_view line = text.substr( 0, length );
      text.remove_prefix( std::min( length + 1, text.size() ) );
      line.remove_suffix( line.ends_with( '\r' ) );
      lines.emplace_back( line );
   }
   return lines;
}

} // namespace

// The first byte is the size of the pieces in which the rest comes out of a pipe.
extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   if ( size == 0 ) {
      return 0;
   }
   const std::string_view text = Fuzz::text( data + 1, size - 1 );
   const std::size_t piece = 1 + std::size_t{ data[0] };
   std::string_view left = text;
   int ends[2];
   Fuzz::require( ::pipe( ends ) == 0, "there is a pipe" );
   LineReader reader( ends[0], [&] {
      if ( ends[1] < 0 ) {
         return;
      }
      const std::string_view now = left.substr( 0, piece );
      Fuzz::require( ::write( ends[1], now.data(), now.size() ) ==
                        static_cast< ssize_t >( now.size() ),
                     "a pipe takes a piece" );
      left.remove_prefix( now.size() );
      if ( left.empty() ) {
         ::close( ends[1] );
         ends[1] = -1;
      }
   } );
   U64 number = 0;
   std::string_view line;
   for ( const std::string& expected : linesOf( text ) ) {
      Fuzz::require( reader.next( line ) == LineReader::Result::line && line == expected,
                     "the line is that of the text" );
      Fuzz::require( reader.lineNumber() == ++number, "lines are counted" );
   }
   Fuzz::require( reader.next( line ) == LineReader::Result::end, "there are no more lines" );
   Fuzz::require( reader.bytesRead() == text.size(), "all of the text was read" );
   ::close( ends[0] );
   if ( ends[1] >= 0 ) {
      ::close( ends[1] );
   }
   return 0;
}
