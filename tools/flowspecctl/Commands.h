#pragma once

#include "tools/terminal/Output.h"

#include <functional>
#include <optional>
#include <vector>

#include <CLI/CLI.hpp>

/// The commands of the program. Each has a file of its own and a row in `Commands.def`.
namespace Tools {

/// Carries a command out after the command line was parsed; true when all was good. Throws
/// `CLI::ValidationError( message )` before it does anything when the options contradict each
/// other, `std::runtime_error` when it has to give up, `std::system_error` when the output cannot
/// be written.
using Run = std::function< bool( Output& ) >;

/// Adds the options of a command, and its footer. What is returned owns the values of the options:
/// it lives until the command line is parsed. It is empty for a command that has others in it.
using AddCommand = Run( CLI::App& command );

#define COMMAND( name, function, help ) AddCommand function;
#include "tools/flowspecctl/Commands.def"
#undef COMMAND

/// Adds all commands to the program. What is returned carries out the one that was parsed.
Run addCommands( CLI::App& program );

/// Why the first argument, or the second after the name of a group, is no command: "unknown command
/// 'ky', did you mean 'key'?". Nothing when it is one, an option, or not there.
std::optional< Vek::String > unknownCommand( const std::vector< std::string_view >& arguments );

} // namespace Tools
