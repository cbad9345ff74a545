#include "forms/Diagnostics.h"

#include "Vek/text/Text.h"
#include "forms/Printable.h"

#include <algorithm>
#include <cstdlib>

#include <unistd.h>

namespace Forms {

namespace {

// What is shown of a text on each side of a fault.
constexpr std::size_t shownBefore = 50;
constexpr std::size_t shownAfter = 25;

// A line with the text and one with a mark below the character at the column.
Vek::String excerpt( std::string_view text, U64 column ) {
   if ( column == 0 || text.empty() ) {
      return "";
   }
   const std::size_t at = std::min< std::size_t >( column - 1, text.size() );
   const std::size_t begin = at > shownBefore ? at - shownBefore : 0;
   const std::size_t end = std::min( at + shownAfter, text.size() );
   const std::string_view cutFront = begin > 0 ? "..." : "";
   const Vek::String front =
      Vek::concat( cutFront, std::string_view( printable( text.substr( begin, at - begin ) ) ) );
   return Vek::concat( "   ", std::string_view( front ),
                       std::string_view( printable( text.substr( at, end - at ) ) ),
                       std::string_view( end < text.size() ? "..." : "" ), "\n   ",
                       std::string_view( Vek::String( front.size(), ' ' ) ), "^\n" );
}

void report( const Vek::String& place, std::string_view kind, std::string_view message,
             std::string_view excerpt = {} ) {
   const bool colour = mayColour( STDERR_FILENO );
   const Vek::String text = Vek::concat(
      place, ": ", std::string_view( colour ? "\x1b[1;31m" : "" ), kind,
      std::string_view( colour ? ":\x1b[0m " : ": " ), printable( message ), '\n', excerpt );
   // Nothing is left to tell of a failure here; the exit status still does.
   [[maybe_unused]] const ssize_t written = ::write( STDERR_FILENO, text.data(), text.size() );
}

Vek::String placeText( std::string_view file, U64 line, U64 column ) {
   return column == 0 ? Vek::concat( file, ':', line )
                      : Vek::concat( file, ':', line, ':', column );
}

} // namespace

bool mayColour( int fd ) {
   const char* const noColour = std::getenv( "NO_COLOR" );
   const char* const term = std::getenv( "TERM" );
   return ::isatty( fd ) == 1 && !( noColour && *noColour ) &&
          !( term && std::string_view( term ) == "dumb" );
}

void reportLine( std::string_view file, U64 line, std::string_view message, U64 column,
                 std::string_view text ) {
   report( placeText( file, line, column ), "error", message, excerpt( text, column ) );
}

void warnLine( std::string_view file, U64 line, std::string_view message, U64 column,
               std::string_view text ) {
   report( placeText( file, line, column ), "warning", message, excerpt( text, column ) );
}

void reportFile( std::string_view file, std::string_view message ) {
   report( Vek::String( file ), "error", message );
}

} // namespace Forms
