#pragma once

#include "Vek/String.h"

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

/// A folder of its own for a test, gone with the object.
class Folder {
public:
   Folder();
   Folder( const Folder& ) = delete;
   Folder& operator=( const Folder& ) = delete;
   ~Folder();
   /// Writes a file and returns its path.
   Vek::String file( const Vek::String& name, const Vek::String& text ) const;
   const Vek::String& path() const { return path_; }

private:
   Vek::String path_;
};

/// All of a file.
Vek::String contents( const Vek::String& path );

} // namespace TestSupport
