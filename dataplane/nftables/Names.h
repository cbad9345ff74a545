#pragma once

#include "dataplane/nftables/Ruleset.h"

/// The names of what a rule set has; each is a word of nft's language.
namespace Dataplane::Nftables {

/// The chain of a VRF, that of its rules without destination, and that of those with one.
Vek::String vrfChain( Vrf::VrfIdMap::VrfId vrf );
Vek::String anyChain( Vrf::VrfIdMap::VrfId vrf );
Vek::String prefixChain( Vrf::VrfIdMap::VrfId vrf, const Zorv::IpGenPrefix& prefix );
Vek::String destinationMap( Vrf::VrfIdMap::VrfId vrf );

/// The chains that a rule may have of its own: of its actions, and of its alternatives.
Vek::String actionChain( const Rule& rule );
Vek::String alternativesChain( const Rule& rule );

/// Of the interfaces that are in one of these sets.
Vek::String setName( const std::vector< U16 >& sets );

} // namespace Dataplane::Nftables
