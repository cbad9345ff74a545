#pragma once

#include "tools/terminal/Output.h"

namespace Tools {

/// What `flowspecctl decode-log` is asked for.
struct DecodeLogOptions {
   bool dump = false;      ///< the state that the stream leaves, too
   bool json = false;      ///< an object for each line
   Vek::String file = "-"; ///< "-" is standard input
};

/// Prints one direction of an attribute-log connection, from its preamble on. What comes before a
/// malformed message is printed all the same, and the message reported. True when the stream could
/// be read and was whole.
bool runDecodeLog( const DecodeLogOptions& options, Output& output );

} // namespace Tools
