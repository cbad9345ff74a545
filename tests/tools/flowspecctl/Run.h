#pragma once

#include "tests/support/Folder.h"

#include <vector>

namespace TestSupport {

/// A program that ran to its end.
struct Result {
   int status; ///< exit status, or the negated signal that ended the program
   Vek::String out;
   Vek::String err;
   long peakMemory; ///< KiB
};

/// How a program is to be run.
struct Run {
   std::vector< Vek::String > command;       ///< found by PATH
   Vek::String input{};                      ///< standard input
   std::vector< Vek::String > environment{}; ///< "NAME=VALUE", beside the own one; COLUMNS and
                                             ///< NO_COLOR are taken out
   bool errorsToTerminal = false;            ///< standard error is a terminal
   bool outputToTerminal = false;            ///< standard output is one
   const char* output = nullptr;             ///< standard output goes to this file; not read then
};

/// Runs a program. Of what goes to a terminal no more than its buffer of 4 KiB may be written.
Result run( const Run& run );

/// Runs the flowspecctl of this build.
Result flowspecctl( std::vector< Vek::String > arguments, Vek::String input = {} );

/// The path of the flowspecctl of this build.
Vek::String flowspecctlPath();

} // namespace TestSupport
