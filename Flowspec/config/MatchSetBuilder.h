#pragma once

#include "Flowspec/config/RuleConfig.h"

#include <vector>

namespace Flowspec {

/// Why a rule key cannot be taken apart.
struct MatchSetError {
   MatchCompType compType; ///< of the term at fault, `invalid` when it has none
   Vek::String message;
};

/// Takes a rule key apart into match components, one for each type that it has, in the order of the
/// key with the prefixes first; `components` is replaced.
///
/// The terms of a component are alternatives of terms that are joined by AND (RFC 8955 section
/// 4.2.1). Those of a numeric component become the ranges of values that they leave, from 0 to the
/// component's maximum, ascending, neither touching nor overlapping. Those of a bitmask component
/// become masks, each an alternative: with `matchAll` every bit of `mask` must be as in `val`,
/// without it any of them; terms joined by AND become one mask, or several where one of them asks
/// for any of its bits.
///
/// A value counts by its meaning, also one that no packet has: "ipProto != 300" leaves all
/// protocols, and "= 300" none. Of a DSCP the lower 6 bits count, of fragment bits the four that
/// RFC 8955 names (the three of RFC 8956 for IPv6), and TCP's flags are 12, the bits above them
/// being clear in every packet.
///
/// A component that no packet satisfies is there without ranges or masks (`matchesNothing`); nor
/// does it have the masks of fragments that cannot be, such as a first one that is also the last.
///
/// An error, with `components` empty: an unknown type, one at two places, a term that
/// cannot be read (`unprintableTerm`), or more than 4096 masks.
[[nodiscard]] OSK_EXPORT std::optional< MatchSetError >
matchSetFromKey( const FlowspecKey& key, std::vector< MatchComponent >& components );

/// Whether no packet passes the component: it is numeric or a bitmask and has no members.
OSK_EXPORT bool matchesNothing( const MatchComponent& component );

/// Does with the components of a rule of `family` that is not there yet what
/// `RuleConfig::sanitizeMatchSet` does with those of one that is.
OSK_EXPORT MatchCompType sanitizeMatchSet( Zorv::AddressFamily family,
                                           std::vector< MatchComponent >& components );

/// Makes the match set of `rule` that of `components`, publishing what changes.
OSK_EXPORT void matchSetReplace( RuleConfig& rule,
                                 const std::vector< MatchComponent >& components );

} // namespace Flowspec
