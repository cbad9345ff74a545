#include "agents/statedbd/Access.h"

#include "Vek/text/Printable.h"
#include "Vek/text/Text.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <optional>
#include <stdexcept>

#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Agents {

namespace {

constexpr std::size_t maxSize = 1U << 20;

// What is wrong with a line.
using Fault = std::runtime_error;

std::string_view trimmed( std::string_view text ) {
   constexpr std::string_view blanks = " \t\r";
   const std::size_t begin = std::min( text.find_first_not_of( blanks ), text.size() );
   return text.substr( begin, text.find_last_not_of( blanks ) + 1 - begin );
}

// Takes what is in front of the first `end`, and `end`.
std::string_view takeUntil( std::string_view& text, char end ) {
   const std::size_t at = std::min( text.find( end ), text.size() );
   const std::string_view taken = text.substr( 0, at );
   text.remove_prefix( std::min( at + 1, text.size() ) );
   return taken;
}

std::optional< U32 > number( std::string_view text ) {
   // The last number is no user's.
   const auto value = Vek::decimal( text, std::numeric_limits< U32 >::max() - 1 );
   return value ? std::optional( static_cast< U32 >( *value ) ) : std::nullopt;
}

uid_t userOf( const Vek::String& name ) {
   if ( const auto found = number( name ) ) {
      return *found;
   }
   const passwd* const entry = ::getpwnam( name.c_str() );
   if ( !entry ) {
      throw Fault( Vek::concat( "there is no user '", Vek::printable( name ), "'" ) );
   }
   return entry->pw_uid;
}

gid_t groupOf( const Vek::String& name ) {
   if ( const auto found = number( name ) ) {
      return *found;
   }
   const group* const entry = ::getgrnam( name.c_str() );
   if ( !entry ) {
      throw Fault( Vek::concat( "there is no group '", Vek::printable( name ), "'" ) );
   }
   return entry->gr_gid;
}

// All of a file; the reason why it cannot be read in `fault`.
Vek::String contents( const Vek::String& file, Vek::String& fault ) {
   Vek::String text;
   struct stat found {};
   // A FIFO would wait for a writer.
   const int fd = ::open( file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC );
   if ( fd < 0 ) {
      fault = std::strerror( errno );
      return text;
   }
   if ( ::fstat( fd, &found ) < 0 || !S_ISREG( found.st_mode ) ) {
      fault = "it is not a regular file";
   } else {
      text.resize( maxSize + 1 );
      std::size_t used = 0;
      ssize_t count = 0;
      while ( ( count = ::read( fd, text.data() + used, text.size() - used ) ) > 0 ) {
         used += static_cast< std::size_t >( count );
      }
      text.resize( used );
      if ( count < 0 ) {
         fault = std::strerror( errno );
      } else if ( used > maxSize ) {
         fault = "it has more than 1 MiB";
      }
   }
   ::close( fd );
   return text;
}

} // namespace

Access Access::read( const Vek::String& file, std::vector< Vek::String >& faults ) {
   Access access;
   Vek::String fault;
   const Vek::String text = contents( file, fault );
   if ( !fault.empty() ) {
      faults.push_back( Vek::concat( file, ": error: ", fault ) );
      return access;
   }
   std::string_view rest = text;
   for ( U64 number = 1; !rest.empty(); ++number ) {
      const std::string_view line = trimmed( takeUntil( rest, '\n' ) );
      if ( line.empty() || line.front() == '#' ) {
         continue;
      }
      try {
         access.rules_.push_back( rule( line ) );
      } catch ( const Fault& exception ) {
         faults.push_back( Vek::concat( file, ':', number, ": error: ", exception.what() ) );
      }
   }
   return access;
}

Access::Rule Access::rule( std::string_view line ) {
   // A root's name may have a '=' itself.
   const std::size_t equals = line.rfind( '=' );
   if ( equals == line.npos ) {
      throw Fault( "expected ROOT = user NAME, group NAME, ..." );
   }
   Rule rule;
   rule.root = trimmed( line.substr( 0, equals ) );
   if ( rule.root.empty() ) {
      throw Fault( "expected the name of a root before '='" );
   }
   if ( rule.root.ends_with( '*' ) ) {
      rule.isPrefix = true;
      rule.root.pop_back();
   }
   std::string_view rest = line.substr( equals + 1 );
   bool more = false;
   do {
      more = rest.find( ',' ) != rest.npos;
      std::string_view name = trimmed( takeUntil( rest, ',' ) );
      const std::string_view kind = takeUntil( name, ' ' );
      const Vek::String who( trimmed( name ) );
      if ( who.empty() || ( kind != "user" && kind != "group" ) ) {
         throw Fault( "expected 'user NAME' or 'group NAME' after '='" );
      }
      if ( kind == "user" ) {
         rule.users.push_back( userOf( who ) );
      } else {
         rule.groups.push_back( groupOf( who ) );
      }
   } while ( more );
   return rule;
}

bool Access::mayWrite( const Peer& peer, std::string_view root ) const {
   const auto at = std::ranges::find_if( rules_, [&]( const Rule& rule ) {
      return rule.isPrefix ? root.starts_with( rule.root ) : root == rule.root;
   } );
   if ( at == rules_.end() ) {
      return true;
   }
   const auto named = [&]( gid_t group ) {
      return std::ranges::find( at->groups, group ) != at->groups.end();
   };
   return peer.known && ( std::ranges::find( at->users, peer.user ) != at->users.end() ||
                          std::ranges::any_of( peer.groups, named ) );
}

} // namespace Agents
