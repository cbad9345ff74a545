#include "tools/terminal/Screen.h"

#include "Vek/text/Text.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include <sys/ioctl.h>
#include <unistd.h>

namespace Tools {

namespace {

constexpr unsigned defaultHeight = 24;
constexpr unsigned leastHeight = 4;
constexpr unsigned mostHeight = 10000;

// The other screen, without a cursor, where a line that is too long is cut; and back.
constexpr std::string_view enter = "\x1b[?1049h\x1b[?25l\x1b[?7l";
constexpr std::string_view leave = "\x1b[?7h\x1b[?25h\x1b[?1049l";

void putRight() {
   // A terminal that cannot be written to has nobody to tell.
   [[maybe_unused]] const ssize_t written = ::write( STDOUT_FILENO, leave.data(), leave.size() );
}

void endOnScreen( int ) {
   putRight();
   ::_exit( 0 );
}

void endOnLines( int ) { ::_exit( 0 ); }

bool hasScreen() {
   const char* const term = std::getenv( "TERM" );
   return ::isatty( STDOUT_FILENO ) == 1 && term && *term && std::string_view( term ) != "dumb";
}

} // namespace

Screen::Screen( Output& output ) : output_( output ), isTerminal_( hasScreen() ) {
   struct sigaction action {};
   action.sa_handler = isTerminal_ ? endOnScreen : endOnLines;
   for ( const int signal : { SIGINT, SIGTERM, SIGHUP } ) {
      ::sigaction( signal, &action, nullptr );
   }
   if ( isTerminal_ ) {
      output_.text() += enter;
      output_.flush();
   }
}

Screen::~Screen() {
   if ( isTerminal_ ) {
      putRight();
   }
}

unsigned Screen::height() {
   unsigned height = defaultHeight;
   winsize size{};
   const char* const lines = std::getenv( "LINES" );
   if ( const auto number = lines ? Vek::decimal( lines, mostHeight ) : std::nullopt ) {
      height = static_cast< unsigned >( *number );
   } else if ( ::ioctl( STDOUT_FILENO, TIOCGWINSZ, &size ) == 0 && size.ws_row > 0 ) {
      height = size.ws_row;
   }
   return std::max( height, leastHeight );
}

void Screen::show( std::string_view picture ) {
   Vek::String& out = output_.text();
   if ( !isTerminal_ ) {
      out += picture;
      out += '\n';
      return output_.flush();
   }
   // Each line takes the place of the one before, so that nothing flickers; below is nothing. There
   // is no newline after the last line, which would move all up.
   out += "\x1b[H";
   while ( !picture.empty() ) {
      const std::size_t end = picture.find( '\n' );
      out += picture.substr( 0, end );
      out += "\x1b[K";
      picture.remove_prefix( end + 1 );
      out += picture.empty() ? "" : "\r\n";
   }
   out += "\x1b[J";
   output_.flush();
}

} // namespace Tools
