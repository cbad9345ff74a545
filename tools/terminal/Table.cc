#include "tools/terminal/Table.h"

#include <algorithm>

namespace Tools {

namespace {

constexpr std::size_t gap = 2;
constexpr std::size_t leastWidth = 10;

// Where the line that begins `text` ends when it is broken at `width`: after the last ";" in its
// second half, which ends a field, else after the last other separator, else at the margin.
std::size_t breakAt( std::string_view text, std::size_t width ) {
   // A blank may stand beyond the margin: it is not shown.
   const std::string_view line = text.substr( 0, width );
   const std::size_t field = line.rfind( ';' ) + 1;
   const std::size_t blank = text.substr( 0, width + 1 ).rfind( ' ' ) + 1;
   const std::size_t other = line.find_last_of( ";,|&" ) + 1;
   const std::size_t best = field > width / 2 ? field : std::max( blank, other );
   return best > 0 ? best : width;
}

// Takes what one line of `width` holds off the front of `text`.
std::string_view takeLine( std::string_view& text, std::size_t width ) {
   const std::size_t length = text.size() <= width ? text.size() : breakAt( text, width );
   const std::string_view line = text.substr( 0, length );
   text.remove_prefix( length );
   return line.substr( 0, line.find_last_not_of( ' ' ) + 1 );
}

} // namespace

Table::Table( std::size_t width, std::vector< Column > columns )
   : columns_( std::move( columns ) ) {
   std::size_t used = gap * ( columns_.size() - 1 );
   for ( const Column& column : columns_ ) {
      used += column.width;
   }
   for ( Column& column : columns_ ) {
      if ( column.width == 0 ) {
         column.width = std::max( width > used ? width - used : 0, leastWidth );
      }
   }
}

Table Table::filling( std::size_t width, std::vector< Column > columns ) {
   std::size_t gaps = 0;
   std::size_t shares = 0;
   for ( const Column& column : columns ) {
      gaps += shares > 0 ? gap : 0;
      shares += column.width;
   }
   const std::size_t room = width > gaps ? width - gaps : 0;
   for ( Column& column : columns ) {
      column.width = std::max( room * column.width / shares, leastWidth );
   }
   return Table( std::move( columns ) );
}

void Table::appendHeading( Vek::String& out ) const {
   std::vector< Vek::String > cells;
   std::vector< Vek::String > lines;
   for ( const Column& column : columns_ ) {
      cells.emplace_back( column.heading );
      lines.emplace_back( column.width, '-' );
   }
   appendRow( out, cells );
   appendRow( out, lines );
}

void Table::appendRow( Vek::String& out, std::span< const Vek::String > cells ) const {
   std::vector< std::string_view > rest( cells.begin(), cells.end() );
   std::size_t lines = 0;
   do {
      std::size_t blanks = 0; // owed ahead of the next text
      for ( std::size_t i = 0; i < rest.size(); ++i ) {
         std::size_t width = columns_[i].width;
         for ( std::size_t j = i + 1; i + 1 == rest.size() && j < columns_.size(); ++j ) {
            width += gap + columns_[j].width;
         }
         const std::string_view line = takeLine( rest[i], width );
         const std::size_t beside = line.size() < width ? width - line.size() : 0;
         const std::size_t ahead = columns_[i].right ? beside : 0;
         if ( !line.empty() ) {
            out.append( blanks + ahead, ' ' ).append( line );
            blanks = 0;
         }
         blanks += gap + ( line.empty() ? width : beside - ahead );
      }
      out += '\n';
      ++lines;
   } while ( std::any_of( rest.begin(), rest.end(),
                          []( std::string_view text ) { return !text.empty(); } ) );
   if ( lines > 1 ) {
      out += '\n';
   }
}

} // namespace Tools
