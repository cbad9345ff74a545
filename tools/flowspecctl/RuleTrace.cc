#include "tools/flowspecctl/RuleTrace.h"

#include "dataplane/Overlaps.h"

#include <algorithm>

namespace Tools {

using namespace Flowspec;

namespace {

bool isHere( const FlowspecKey& key, const std::vector< U16 >& sets ) {
   return key.interfaceSet().empty() || std::ranges::any_of( key.interfaceSet(), [&]( U16 id ) {
             return std::ranges::find( sets, id ) != sets.end();
          } );
}

} // namespace

RuleTrace::RuleTrace( std::vector< ConfiguredRule > rules, Vrf::VrfIdMap::VrfId vrf,
                      const std::vector< U16 >& interfaceSets ) {
   for ( ConfiguredRule& rule : rules ) {
      Match::RuleMatch match( rule.key );
      if ( rule.key.vrfId() == vrf && match.valid() ) {
         const bool here = isHere( rule.key, interfaceSets );
         rules_.push_back( { std::move( rule ), std::move( match ), here } );
      }
   }
}

Trace RuleTrace::trace( const Match::Packet& packet ) const {
   Trace trace;
   for ( const Rule& rule : rules_ ) {
      if ( rule.match.family() != packet.family ) {
         continue;
      }
      if ( !rule.isHere ) {
         ++trace.elsewhere;
         continue;
      }
      const MatchCompType failed = rule.match.mismatch( packet );
      trace.tried.push_back( { &rule.configured, failed } );
      if ( failed == invalid ) {
         trace.winner = &rule.configured;
         if ( !Dataplane::continues( rule.configured.action ) ) {
            break;
         }
      }
   }
   return trace;
}

} // namespace Tools
