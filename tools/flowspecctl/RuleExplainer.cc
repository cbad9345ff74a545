#include "tools/flowspecctl/RuleExplainer.h"

#include "Flowspec/config/MatchSetBuilder.h"
#include "dataplane/Overlaps.h"
#include "forms/Diagnostics.h"
#include "forms/FieldBounds.h"
#include "forms/TextFile.h"
#include "match/RuleMatch.h"
#include "wire/Precedence.h"

#include <algorithm>

namespace Tools {

using namespace Flowspec;
using Dataplane::continues;
using Dataplane::coversSets;
using Match::PacketSet;

void addProfile( CLI::App& command, Vek::String& file ) {
   command.add_option( "--profile", file, "What hardware can do, a file as programd reads it" )
      ->type_name( "FILE" );
}

std::optional< Dataplane::Profile > readProfile( const Vek::String& file ) {
   try {
      return Dataplane::Profile::read( Forms::readTextFile( file ) );
   } catch ( const Dataplane::ProfileError& error ) {
      Forms::reportLine( file, error.line(), error.what() );
      return std::nullopt;
   }
}

MatchCompType infeasibleComponent( RuleConfig& rule,
                                   const std::vector< MatchComponent >& components ) {
   matchSetReplace( rule, components );
   const auto empty = std::ranges::find_if( components, matchesNothing );
   return empty != components.end() ? empty->compType() : rule.sanitizeMatchSet();
}

bool matchesEverything( const FlowspecKey& key ) {
   FlowspecKey all;
   all.addressFamilyIs( key.addressFamily() );
   return !PacketSet( all ).beyond( PacketSet( key ) );
}

RuleExplainer::RuleExplainer( std::optional< Dataplane::Profile > profile,
                              std::vector< ConfiguredRule > others,
                              std::vector< GuardedPackets > guarded )
   : profile_( std::move( profile ) ), others_( std::move( others ) ),
     guarded_( std::move( guarded ) ) {
   packets_.reserve( others_.size() );
   for ( const ConfiguredRule& other : others_ ) {
      packets_.emplace_back( other.key );
   }
}

Forms::Reason RuleExplainer::explain( const Forms::Rule& rule, Explanation& explanation ) const {
   explanation.key = rule.key;
   if ( auto error = matchSetFromKey( rule.key, explanation.components ) ) {
      return error->message;
   }
   if ( !Match::RuleMatch( rule.key ).valid() ) {
      return mixedFamilies;
   }
   explanation.warning = Forms::beyondField( rule.key );
   explanation.rule = ruleConfigFactory( rule.key );
   explanation.infeasible = infeasibleComponent( *explanation.rule, explanation.components );
   actionIs( *explanation.rule, rule.action );
   const PacketSet packets( rule.key );
   explanation.matched = packets.any();
   explanation.matchesAll = matchesEverything( rule.key );
   if ( profile_ && explanation.matched ) {
      explanation.demand = Dataplane::demandOf( *explanation.rule, *profile_ );
   }
   findNeighbours( packets, continues( rule.action ), explanation );
   for ( const GuardedPackets& guarded : guarded_ ) {
      if ( const auto packet = packets.common( guarded.packets ) ) {
         explanation.hits.emplace_back( &guarded, *packet );
      }
   }
   return std::nullopt;
}

void RuleExplainer::findNeighbours( const PacketSet& packets, bool goesOn,
                                    Explanation& found ) const {
   for ( std::size_t i = 0; i < others_.size(); ++i ) {
      const ConfiguredRule& other = others_[i];
      if ( other.key == found.key || other.key.vrfId() != found.key.vrfId() ||
           !Dataplane::sharesSets( other.key, found.key ) ) {
         continue;
      }
      const bool isFirst = Wire::precedes( other.key, found.key );
      const auto common = packets.common( packets_[i] );
      if ( !common || ( isFirst ? continues( other.action ) : goesOn ) ) {
         continue;
      }
      const FlowspecKey& outer = isFirst ? other.key : found.key;
      const FlowspecKey& inner = isFirst ? found.key : other.key;
      const bool wholly =
         coversSets( outer, inner ) &&
         !( isFirst ? packets.beyond( packets_[i] ) : packets_[i].beyond( packets ) );
      auto& list = isFirst ? found.before : found.after;
      if ( list.size() < maxNeighbours ) {
         list.push_back( { &other, isFirst, wholly, *common } );
      } else {
         ++( isFirst ? found.moreBefore : found.moreAfter );
      }
   }
}

bool RuleExplainer::canMatchOn( Zorv::AddressFamily family, MatchCompType type ) const {
   const auto* const known = profile_->family( family );
   return known && known->qualifiers[static_cast< std::size_t >( type )];
}

} // namespace Tools
