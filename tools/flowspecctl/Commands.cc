#include "tools/flowspecctl/Commands.h"

#include "Vek/text/Text.h"

#include <algorithm>
#include <numeric>

namespace Tools {

namespace {

struct Command {
   std::string_view name;
   AddCommand* add;
   const char* help;
};

constexpr Command commands[] = {
#define COMMAND( name, function, help ) { name, function, help },
#include "tools/flowspecctl/Commands.def"
#undef COMMAND
};

} // namespace

namespace {

// How many characters must be put in, left out or replaced to make one word of the other.
std::size_t distance( std::string_view a, std::string_view b ) {
   std::vector< std::size_t > row( b.size() + 1 );
   std::iota( row.begin(), row.end(), 0 );
   for ( std::size_t i = 0; i < a.size(); ++i ) {
      std::size_t corner = std::exchange( row[0], i + 1 );
      for ( std::size_t j = 0; j < b.size(); ++j ) {
         const std::size_t replaced = corner + ( a[i] != b[j] );
         corner = row[j + 1];
         row[j + 1] = std::min( { replaced, corner + 1, row[j] + 1 } );
      }
   }
   return row.back();
}

bool isGroup( std::string_view name ) {
   return std::ranges::any_of( commands, [&]( const Command& command ) {
      return command.name == name && command.add == addGroup;
   } );
}

constexpr std::size_t longestName = 40;

} // namespace

std::optional< Vek::String > unknownCommand( const std::vector< std::string_view >& arguments ) {
   if ( arguments.empty() || arguments[0].starts_with( '-' ) ) {
      return std::nullopt;
   }
   Vek::String name( arguments[0] );
   if ( isGroup( name ) && arguments.size() > 1 && !arguments[1].starts_with( '-' ) ) {
      name += Vek::concat( ' ', arguments[1] );
   }
   if ( std::ranges::find( commands, name, &Command::name ) != std::end( commands ) ) {
      return std::nullopt;
   }
   const Command* nearest = nullptr;
   std::size_t least = 3; // what differs by more is another word
   for ( const Command& command : commands ) {
      const std::size_t most = std::min( least, command.name.size() / 2 + 1 );
      const std::size_t differs =
         name.size() > longestName ? longestName : distance( name, command.name );
      if ( differs < most ) {
         nearest = &command;
         least = differs;
      }
   }
   const Vek::String text = Vek::concat( "unknown command '", std::string_view( name ), '\'' );
   return nearest ? Vek::concat( text, ", did you mean '", nearest->name, "'?" ) : text;
}

Run addGroup( CLI::App& command ) {
   command.require_subcommand( 1 );
   return nullptr;
}

Run addCommands( CLI::App& program ) {
   std::vector< std::pair< const CLI::App*, Run > > runs;
   for ( const auto& [name, add, help] : commands ) {
      const std::size_t blank = name.find( ' ' );
      const bool isInGroup = blank != name.npos;
      CLI::App& parent =
         isInGroup ? *program.get_subcommand( Vek::String( name.substr( 0, blank ) ) ) : program;
      CLI::App& command =
         *parent.add_subcommand( Vek::String( isInGroup ? name.substr( blank + 1 ) : name ), help );
      if ( Run run = add( command ) ) {
         runs.emplace_back( &command, std::move( run ) );
      }
   }
   return [runs = std::move( runs )]( Output& output ) {
      // A command is parsed with those that it is in, which come before it.
      const auto parsed = std::find_if( runs.rbegin(), runs.rend(),
                                        []( const auto& run ) { return run.first->parsed(); } );
      return parsed->second( output );
   };
}

} // namespace Tools
