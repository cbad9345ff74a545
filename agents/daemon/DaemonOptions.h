#pragma once

#include "agents/daemon/Daemon.h"

#include <CLI/CLI.hpp>

#include <optional>

namespace Agents {

/// Where the state database listens when nothing else is said.
inline constexpr const char* defaultEndpoint = "/run/flowspec/statedb.sock";

/// The options that all daemons have.
struct DaemonOptions {
   Vek::String endpoint = defaultEndpoint;
   Vek::String pidFile; ///< none when empty
};

/// Adds `--socket`, described by `endpointHelp`, and `--pid-file`, and `--version`.
void addDaemonOptions( CLI::App& app, DaemonOptions& options, const Vek::String& endpointHelp );

/// Says what is wrong with the command line.
ExitStatus badUsage( const CLI::App& app, const Vek::String& reason );

/// Reads the command line. A status when the program is to end with it, as help was shown or the
/// usage was wrong.
std::optional< ExitStatus > parse( CLI::App& app, int argc, char** argv );

} // namespace Agents
