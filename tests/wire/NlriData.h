#pragma once

#include "Flowspec/key/FlowspecKey.h"
#include "wire/NlriFormat.h"

#include <string>
#include <vector>

namespace TestSupport {

/// A line of `tests/data/nlri.jsonl` or `rules.jsonl`.
struct NlriLine {
   std::string id;
   Wire::NlriFormat format;
   std::vector< U8 > octets;
   std::string validity;
   /// What is remarked and, in a malformed one, last why it is.
   std::vector< std::string > codes;
   /// Whether a prefix has an offset, which no key holds: `key` is without it then.
   bool hasOffset = false;
   /// The rule, with the lengths of `nlri.jsonl` and the shortest of `rules.jsonl`; without what a
   /// decoder clears.
   Flowspec::FlowspecKey key;
   Zorv::RouteDistinguisher rd;
   std::string action; ///< of a rule, as JSON
};

/// The lines of the file; read once.
const std::vector< NlriLine >& nlriLines();
const std::vector< NlriLine >& ruleLines();

} // namespace TestSupport
