#pragma once

#include "tools/lib/KeyForms.h"
#include "tools/lib/Output.h"

#include <vector>

namespace Flowspec::Tools {

/// What `flowspecctl check` is asked for.
struct CheckOptions {
   Form from = Form::cli;
   bool json = false;
   std::optional< Zorv::AddressFamily > family; ///< for rules whose form has none
   std::vector< Vek::String > files;            ///< empty: standard input
};

/// Takes each rule apart, sanitises its match set and tells whether packets can match it and which
/// protocols it then asks for. True when all files and rules were good and feasible.
bool runCheck( const CheckOptions& options, Output& output );

} // namespace Flowspec::Tools
