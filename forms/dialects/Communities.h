#pragma once

#include "forms/dialects/Cursor.h"
#include "wire/ActionEncoder.h"

/// Actions of texts by way of their communities: a dialect names these in its words, what they mean
/// is decided in one place.
namespace Forms {

/// Makes the action of `rule`, the interface sets of its key and what is kept those that
/// `communities` ask for. `nextHop` is where a redirect to the next hop goes; empty when the text
/// does not say. Fails at offset `at` of `text`, where remarks are placed, too.
void takeCommunities( const Cursor& text, std::size_t at, const Wire::EncodedAction& communities,
                      const Zorv::IpGenAddr& nextHop, const Context& context, Rule& rule,
                      std::vector< Fault >& remarks );

/// All communities of a rule: those of its action and of its key's interface sets, then those that
/// were kept. Throws `Inexpressible`.
Wire::EncodedAction communitiesOf( const Rule& rule, const Context& context );

} // namespace Forms
