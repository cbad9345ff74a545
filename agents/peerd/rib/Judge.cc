#include "agents/peerd/rib/Judge.h"

#include "Flowspec/config/MatchSetBuilder.h"
#include "Vek/text/Text.h"

namespace Peerd {

namespace {

const ImportTerm* termOf( const PeerIn& peer, U16 term ) {
   return term == Route::noTerm ? nullptr : &peer.import.policy->terms[term];
}

bool isVpn( U8 family ) { return Bgp::flowFamilies[family].format()->vpn; }

// Loops, by which updates come back to where they were (RFC 4271 section 9.1.2, RFC 4456 section
// 8).
Refusal judgeLoops( const PeerImport& import, const AttributeSet& attributes ) {
   if ( attributes.hasLocalAs() ) {
      return Refusal::ownAs;
   }
   if ( attributes.path().originatorId == import.routerId ) {
      return Refusal::ownOriginator;
   }
   if ( attributes.path().passed( import.clusterId ) ) {
      return Refusal::ownCluster;
   }
   return Refusal::none;
}

// RFC 8955 section 6, RFC 9117 section 4: of external peers alone, as who sent a path inside the AS
// is trusted.
Refusal judgeOrigin( const PeerImport& import, const AttributeSet& attributes,
                     const Flowspec::FlowspecKey& key ) {
   if ( import.isInternal() ) {
      return Refusal::none;
   }
   if ( import.checksFirstAs && attributes.path().asPath.first() != import.peerAs ) {
      return Refusal::firstAs;
   }
   if ( import.checksOriginator && !isInside( key.destPrefix(), import.prefixes ) ) {
      return key.destPrefix().empty() ? Refusal::noDestination : Refusal::destination;
   }
   return Refusal::none;
}

// Finds the term that accepts the rule and the VRFs that it is for.
Judgement judgePolicy( const PeerImport& import, const AttributeSet& attributes, bool vpn,
                       const Flowspec::FlowspecKey& key ) {
   bool byTarget = vpn;
   Judgement judgement;
   if ( import.policy ) {
      const auto position = import.policy->match( key, attributes.action() );
      if ( position ) {
         const ImportTerm& term = import.policy->terms[*position];
         if ( !term.accepts ) {
            return { Refusal::term, *position };
         }
         judgement.term = *position;
         byTarget = !term.vrf && ( vpn || term.vrfByRouteTarget );
      } else if ( !import.policy->acceptsOthers ) {
         return { Refusal::noTerm };
      }
   }
   if ( byTarget && attributes.importVrfs().empty() ) {
      return { Refusal::noTarget };
   }
   return judgement;
}

Judgement judgeGuards( const PeerImport& import, const Flowspec::FlowspecKey& key,
                       const GuardedSessions& sessions ) {
   const GuardRails& guards = import.guards;
   if ( guards.everything && matchesEverything( key ) ) {
      return { Refusal::everything };
   }
   if ( guards.destinations && !import.prefixes.empty() &&
        !isInside( key.destPrefix(), import.prefixes ) ) {
      return { Refusal::destination };
   }
   if ( guards.sessions ) {
      if ( const auto position = sessions.coveredBy( key ) ) {
         return { Refusal::session, *position };
      }
   }
   return {};
}

// Why a rule that was read cannot be filed: its bitmasks are too many when taken apart. Rules with
// a few words, which are most, cannot have as many.
std::optional< Flowspec::MatchSetError > matchSetFault( const Flowspec::FlowspecKey& key ) {
   constexpr U32 fewWords = 3;
   constexpr U32 bitmasks =
      1U << static_cast< U8 >( Flowspec::tcpFlags ) | 1U << static_cast< U8 >( Flowspec::fragment );
   if ( key.matchOpVals() <= fewWords || ( componentsOf( key ) & bitmasks ) == 0 ) {
      return std::nullopt;
   }
   std::vector< Flowspec::MatchComponent > components;
   return Flowspec::matchSetFromKey( key, components );
}

// The family of a refused route, whose NLRI is read again for what is told about it.
std::optional< Wire::Rejection > readAgain( const NlriNode& node, Wire::Nlri& nlri ) {
   return Wire::decodeNlri( node.withLength(), *Bgp::flowFamilies[node.family].format(), nlri );
}

Vek::String destinationReason( const NlriNode& node ) {
   Wire::Nlri nlri;
   (void)readAgain( node, nlri ); // it was read before
   const Zorv::IpGenPrefix& destination = nlri.key.destPrefix();
   return destination.empty()
             ? "no destination, so none of the peer's prefixes"
             : Vek::concat( "the destination ", destination, " is outside the peer's prefixes" );
}

Vek::String termReason( const Route& route ) {
   const ImportTerm& term = route.peer->import.policy->terms[route.detail];
   return Vek::concat( "refused by term ", route.detail + 1, " of the import policy",
                       term.reason.empty() ? "" : ": ", term.reason );
}

} // namespace

Judgement judge( const PeerIn& peer, const AttributeSet& attributes, U8 family,
                 const Flowspec::FlowspecKey* key, const GuardedSessions& sessions ) {
   const PeerImport& import = peer.import;
   if ( !key ) {
      return { Refusal::malformed };
   }
   if ( attributes.fault() ) {
      return { Refusal::attributes };
   }
   if ( !import.isInternal() && !import.policy ) {
      return { Refusal::noPolicy };
   }
   if ( attributes.rejection() ) {
      return { Refusal::communities };
   }
   Refusal refusal = judgeLoops( import, attributes );
   if ( refusal == Refusal::none ) {
      refusal = judgeOrigin( import, attributes, *key );
   }
   if ( refusal != Refusal::none ) {
      return { refusal };
   }
   const Judgement accepted = judgePolicy( import, attributes, isVpn( family ), *key );
   if ( accepted.refusal != Refusal::none ) {
      return accepted;
   }
   const Judgement guarded = judgeGuards( import, *key, sessions );
   if ( guarded.refusal != Refusal::none ) {
      return guarded;
   }
   return matchSetFault( *key ) ? Judgement{ Refusal::matchSet } : accepted;
}

Vek::String reasonOf( const Route& route, const GuardedSessions& sessions ) {
   const PeerImport& import = route.peer->import;
   switch ( route.refusal ) {
   case Refusal::none:
      return {};
   case Refusal::malformed: {
      Wire::Nlri nlri;
      return readAgain( *route.nlri, nlri )->message();
   }
   case Refusal::attributes:
      return route.attributes->fault()->message();
   case Refusal::noPolicy:
      return "an external peer without an import policy";
   case Refusal::communities:
      return route.attributes->rejection()->message();
   case Refusal::ownAs:
      return Vek::concat( "the AS path has our own AS, ", import.localAs );
   case Refusal::ownOriginator:
      return "ORIGINATOR_ID is our own identifier";
   case Refusal::ownCluster:
      return "CLUSTER_LIST has our own cluster";
   case Refusal::firstAs:
      return Vek::concat( "the AS path \"", route.attributes->path().asPath.text(),
                          "\" does not begin with the peer's AS, ", import.peerAs );
   case Refusal::noDestination:
   case Refusal::destination:
      return destinationReason( *route.nlri );
   case Refusal::noTarget:
      return "no VRF imports any of the route targets";
   case Refusal::term:
      return termReason( route );
   case Refusal::noTerm:
      return "no term of the import policy accepts it";
   case Refusal::everything:
      return "matches each packet";
   case Refusal::session: {
      const SessionEnds& session = sessions.sessions()[route.detail];
      return Vek::concat( "matches packets of the session between ", session.local, " and ",
                          session.peer );
   }
   case Refusal::matchSet: {
      Wire::Nlri nlri;
      (void)readAgain( *route.nlri, nlri ); // it was read before
      return matchSetFault( nlri.key )->message;
   }
   }
   return {};
}

Vek::String beyondReason( const PeerIn& peer ) {
   const U32 most = peer.import.guards.maxRules;
   return peer.count >= most ? Vek::concat( "more than ", most, " rules" )
                             : Vek::concat( "more octets than ", most, " rules may have" );
}

Vek::String hiddenReason( const Route& route ) {
   const Route* const best = route.nlri->best;
   if ( best && best != &route ) {
      return Vek::concat( "the path of ", best->peer->import.address, " is better" );
   }
   for ( const FiledKey* const key : route.nlri->keys ) {
      return Vek::concat( "another NLRI of ", key->peer->import.address, " has the same key" );
   }
   return "too many NLRI have the same key";
}

std::span< const Vrf::VrfIdMap::VrfId > vrfsOf( const Route& route ) {
   static constexpr Vrf::VrfIdMap::VrfId defaultVrf = 0;
   const ImportTerm* const term = termOf( *route.peer, route.term );
   if ( term && term->vrf ) {
      return { &*term->vrf, 1 };
   }
   if ( isVpn( route.nlri->family ) || ( term && term->vrfByRouteTarget ) ) {
      return route.attributes->importVrfs();
   }
   return { &defaultVrf, 1 };
}

std::span< const U16 > interfaceSetsOf( const Route& route ) {
   const ImportTerm* const term = termOf( *route.peer, route.term );
   return term && term->interfaceSets ? std::span< const U16 >( *term->interfaceSets )
                                      : route.attributes->interfaceSets();
}

const Flowspec::RuleAction& actionOf( const PeerIn& peer, const AttributeSet& attributes,
                                      U16 term ) {
   const ImportTerm* const accepting = termOf( peer, term );
   return accepting && accepting->action ? *accepting->action : attributes.action();
}

} // namespace Peerd
