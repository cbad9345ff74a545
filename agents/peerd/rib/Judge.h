#pragma once

#include "agents/peerd/policy/GuardedSessions.h"
#include "agents/peerd/rib/Route.h"
#include "wire/NlriDecoder.h"

namespace Peerd {

/// Whether a route may be used.
struct Judgement {
   Refusal refusal = Refusal::none;
   U16 detail = 0;           ///< see `Refusal`
   U16 term = Route::noTerm; ///< the import term that accepts it

   bool operator==( const Judgement& ) const = default;
};

/// Judges what `peer` says about an NLRI: `key` is null for one that is malformed. The first reason
/// counts, in the order of the enumerators.
Judgement judge( const PeerIn& peer, const AttributeSet& attributes, U8 family,
                 const Flowspec::FlowspecKey* key, const GuardedSessions& sessions );

/// Why a route is refused, in words for people.
Vek::String reasonOf( const Route& route, const GuardedSessions& sessions );
/// Why an NLRI is refused for which there was no room.
Vek::String beyondReason( const PeerIn& peer );
/// Why a route that may be used is not filed.
Vek::String hiddenReason( const Route& route );

/// The VRFs that a route that may be used is for, and the interface sets and the action of its
/// rules.
std::span< const Vrf::VrfIdMap::VrfId > vrfsOf( const Route& route );
std::span< const U16 > interfaceSetsOf( const Route& route );
const Flowspec::RuleAction& actionOf( const PeerIn& peer, const AttributeSet& attributes,
                                      U16 term );

} // namespace Peerd
