#include "forms/Diagnostics.h"

#include "Vek/text/Text.h"
#include "forms/Printable.h"

#include <cstdlib>

#include <unistd.h>

namespace Forms {

namespace {

void report( const Vek::String& place, std::string_view kind, std::string_view message ) {
   const bool colour = mayColour( STDERR_FILENO );
   const Vek::String text =
      Vek::concat( place, ": ", std::string_view( colour ? "\x1b[1;31m" : "" ), kind,
                   std::string_view( colour ? ":\x1b[0m " : ": " ), printable( message ), '\n' );
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
   return ::isatty( fd ) == 1 && !( noColour && *noColour );
}

void reportLine( std::string_view file, U64 line, std::string_view message, U64 column ) {
   report( placeText( file, line, column ), "error", message );
}

void warnLine( std::string_view file, U64 line, std::string_view message, U64 column ) {
   report( placeText( file, line, column ), "warning", message );
}

void reportFile( std::string_view file, std::string_view message ) {
   report( Vek::String( file ), "error", message );
}

} // namespace Forms
