#pragma once

#include "tools/flowspecctl/system/CliConfigCommand.h"
#include "tools/flowspecctl/system/WatchCommand.h"

#include <CLI/CLI.hpp>

namespace Flowspec::Tools {

/// The part of the command line that works on a running system: `show`, `refresh`, `enable`,
/// `disable`, `interface-set`, `vrf-override` and `watch`.
class SystemCommands {
public:
   /// Adds the commands; outlives the parsing.
   explicit SystemCommands( CLI::App& app );
   SystemCommands( const SystemCommands& ) = delete;
   SystemCommands& operator=( const SystemCommands& ) = delete;

   /// Runs the command that was given, if it is one of these, and tells whether all was good.
   /// `std::runtime_error` when the system cannot be reached or does not answer.
   std::optional< bool > run( Output& output );

private:
   using Action = std::function< bool( Output& ) >;

   void addShow( CLI::App& app );
   CLI::App& addListing( CLI::App& show, const char* name, const char* help,
                         void ( *list )( const ShowOptions&, Output& ) );
   void addChange( CLI::App& app, const char* name, const char* help, CliChange change );
   void add( const CLI::App& command, Action action );

   ShowOptions show_;
   CliChangeOptions change_;
   WatchOptions watch_;
   std::vector< std::pair< const CLI::App*, Action > > actions_;
};

} // namespace Flowspec::Tools
