#include "tools/terminal/Wrap.h"

#include <algorithm>

namespace Tools {

namespace {

// Where the second column of a line begins, or its text when it has one column.
std::size_t indentOf( std::string_view line ) {
   const std::size_t text = std::min( line.find_first_not_of( ' ' ), line.size() );
   const std::size_t gap = line.find( "  ", text );
   const std::size_t column = line.find_first_not_of( ' ', gap );
   return gap == line.npos || column == line.npos ? text : column;
}

void appendLine( Vek::String& out, std::string_view line, std::size_t width ) {
   const std::size_t indent = indentOf( line );
   const std::size_t room = width > indent ? width - indent : 1;
   out += line.substr( 0, indent );
   for ( line.remove_prefix( indent ); line.size() > room; ) {
      // The last blank that the room has, else the first one.
      std::size_t end = line.rfind( ' ', room );
      end = end == line.npos ? line.find( ' ' ) : end;
      if ( end == line.npos ) {
         break;
      }
      out.append( line.substr( 0, end ) ).append( "\n" ).append( indent, ' ' );
      line.remove_prefix( end + 1 );
   }
   out += line;
}

} // namespace

Vek::String wrapped( std::string_view text, std::size_t width ) {
   Vek::String out;
   while ( !text.empty() ) {
      const std::size_t end = text.find( '\n' );
      appendLine( out, text.substr( 0, end ), width );
      text.remove_prefix( end == text.npos ? text.size() : end + 1 );
      out += end == text.npos ? "" : "\n";
   }
   return out;
}

} // namespace Tools
