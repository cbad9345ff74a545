#pragma once

#include "tools/lib/Output.h"
#include "wire/NlriEncoder.h"

#include <optional>

namespace Flowspec::Tools {

/// What `flowspecctl nlri` is asked for.
struct NlriOptions {
   Wire::NlriFormat format{ Zorv::AddressFamily::ipv4, false };
   bool encode = false;
   bool json = false;     ///< an object for each line
   bool shortest = false; ///< values as short as they should be sent; for `encode`
   /// For rules that have none; for `encode`.
   std::optional< Zorv::RouteDistinguisher > rd;
   std::vector< Vek::String > files; ///< empty: standard input, as "-" is
};

/// Reads NLRI as hexadecimal digits, one a line, and writes what they say; or, with `encode`, reads
/// the JSON objects of keys, or those that were written for NLRI, and writes the NLRI. True when
/// all files and lines were good.
bool runNlri( const NlriOptions& options, Output& output );

} // namespace Flowspec::Tools
