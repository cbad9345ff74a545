#include "Vek/mount/Greeting.h"

#include "Vek/text/Exceptions.h"
#include "Vek/text/Printable.h"
#include "Vek/text/Text.h"

#include <algorithm>

namespace Vek::log {

namespace {

constexpr std::string_view reading = "mount/1 read ";
constexpr std::string_view writing = "mount/1 write ";
constexpr std::string_view listing = "mount/1 list ";

bool isName( std::string_view name ) {
   return !name.empty() && std::ranges::none_of( name, []( char c ) {
      return static_cast< unsigned char >( c ) < ' ' || c == '\x7F';
   } );
}

bool isAgent( std::string_view name ) { return isName( name ) && name.find( ' ' ) == name.npos; }

} // namespace

String Greeting::text() const {
   String line = lists ? concat( listing, agent, '\n' )
                       : concat( writes ? writing : reading, agent, ' ', root, '\n' );
   if ( !isAgent( agent ) || !( lists || isName( root ) ) || line.size() > maxSize ) {
      throwRange( concat( "'", printable( agent ), "' and '", printable( root ),
                          "' are not names of an agent and a root" ) );
   }
   return line;
}

std::optional< Greeting > Greeting::fromText( std::string_view line ) {
   Greeting greeting;
   if ( line.starts_with( listing ) ) {
      greeting.lists = true;
      greeting.agent = line.substr( listing.size() );
      return isAgent( greeting.agent ) ? std::optional( greeting ) : std::nullopt;
   }
   greeting.writes = line.starts_with( writing );
   if ( !greeting.writes && !line.starts_with( reading ) ) {
      return std::nullopt;
   }
   line.remove_prefix( ( greeting.writes ? writing : reading ).size() );
   const std::size_t blank = std::min( line.find( ' ' ), line.size() );
   greeting.agent = line.substr( 0, blank );
   greeting.root = line.substr( std::min( blank + 1, line.size() ) );
   return isAgent( greeting.agent ) && isName( greeting.root ) ? std::optional( greeting )
                                                               : std::nullopt;
}

} // namespace Vek::log
