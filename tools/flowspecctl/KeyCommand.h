#pragma once

#include "tools/lib/KeyForms.h"
#include "tools/lib/Output.h"

#include <vector>

namespace Flowspec::Tools {

/// What `flowspecctl key` is asked for.
struct KeyOptions {
   Form from = Form::cli;
   std::vector< Form > to; ///< empty: as `from`
   bool sort = false;
   bool unique = false;
   bool json = false;  ///< one object a line with all forms
   bool table = false; ///< the forms as a table for people
   /// For rules whose form of input has none of these.
   std::optional< Zorv::RouteDistinguisher > rd;
   std::optional< Vrf::VrfIdMap::VrfId > vrfId;
   std::optional< Zorv::AddressFamily > family;
   std::vector< Vek::String > files; ///< empty: standard input, as "-" is
};

/// What contradicts itself in the options; nothing when they can be carried out.
Reason contradiction( const KeyOptions& options );

/// Reads rules and writes their texts. True when all files and lines were good; the others are
/// reported and passed over. Raises `std::system_error` when `output` cannot be written.
bool runKey( const KeyOptions& options, Output& output );

} // namespace Flowspec::Tools
