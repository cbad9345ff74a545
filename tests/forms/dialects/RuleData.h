#pragma once

#include "forms/dialects/Dialect.h"

#include <string>

namespace TestSupport {

/// A rule of `tests/data/rules.jsonl` with its action.
struct NamedRule {
   std::string id;
   Forms::Rule rule;
};

/// The rules that a key can hold; read once.
const std::vector< NamedRule >& namedRules();

/// AS 65000 with VRFs for the route targets of the rules: 1 and up.
const Forms::Context& ruleContext();
/// The same with a family for texts that do not tell it.
Forms::Context ruleContext( Zorv::AddressFamily family );

/// Whether the rules are the same but for how their matches are written.
bool sameMeaning( const Forms::Rule& a, const Forms::Rule& b );

} // namespace TestSupport
