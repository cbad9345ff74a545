#include "tools/terminal/Terminal.h"

#include "Vek/text/Text.h"

#include <algorithm>
#include <cstdlib>

#include <sys/ioctl.h>
#include <unistd.h>

namespace Tools {

namespace {

constexpr unsigned defaultWidth = 100;
constexpr unsigned leastWidth = 60;
constexpr unsigned mostWidth = 10000;

void writeToTerminal( std::string_view text ) {
   // A terminal that cannot be written to has nobody to tell.
   [[maybe_unused]] const ssize_t written = ::write( STDERR_FILENO, text.data(), text.size() );
}

unsigned terminalWidth() {
   if ( const char* const columns = std::getenv( "COLUMNS" ) ) {
      if ( const auto width = Vek::decimal( columns, mostWidth ) ) {
         return static_cast< unsigned >( *width );
      }
   }
   winsize size{};
   if ( ::ioctl( STDOUT_FILENO, TIOCGWINSZ, &size ) == 0 && size.ws_col > 0 ) {
      return size.ws_col;
   }
   return defaultWidth;
}

} // namespace

unsigned lineWidth() { return std::max( terminalWidth(), leastWidth ); }

Progress::Progress() : on_( ::isatty( STDERR_FILENO ) == 1 && ::isatty( STDOUT_FILENO ) == 0 ) {}

void Progress::at( U64 bytes, U64 lines ) {
   if ( !on_ || bytes < next_ ) {
      return;
   }
   next_ = bytes + step;
   shown_ = true;
   writeToTerminal(
      Vek::concat( "\rflowspecctl: ", bytes / 1024 / 1024, " MiB, ", lines, " lines read" ) );
}

void Progress::clear() {
   if ( shown_ ) {
      shown_ = false;
      writeToTerminal( "\r\x1b[K" );
   }
}

} // namespace Tools
