#pragma once

#include "tools/lib/KeyForms.h"
#include "tools/lib/Output.h"

namespace Flowspec::Tools {

/// What `flowspecctl convert` is asked for.
struct ConvertOptions {
   Form to = Form::cli;
   std::optional< Vrf::VrfIdMap::VrfId > vrfId;
   std::optional< Zorv::AddressFamily > family;
   std::vector< Vek::String > files; ///< empty: standard input
};

/// Turns structured filters, a JSON object a line, into rule keys. True when all files and filters
/// were good.
bool runConvert( const ConvertOptions& options, Output& output );

} // namespace Flowspec::Tools
