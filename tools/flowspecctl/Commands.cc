#include "tools/flowspecctl/Commands.h"

#include <algorithm>

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
