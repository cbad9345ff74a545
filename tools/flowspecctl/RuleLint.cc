#include "tools/flowspecctl/RuleLint.h"

#include "Flowspec/config/MatchSetBuilder.h"
#include "dataplane/PacketText.h"
#include "dataplane/RuleDemand.h"
#include "forms/FieldBounds.h"
#include "forms/Printable.h"
#include "match/RuleMatch.h"
#include "tools/flowspecctl/ConfiguredRules.h"
#include "tools/flowspecctl/NftablesView.h"
#include "tools/flowspecctl/RuleExplainer.h"

#include <algorithm>

namespace Tools {

using namespace Flowspec;
using Dataplane::packetText;
using Forms::FiledRule;
using Match::PacketSet;

namespace {

Vek::String touches( const GuardedPackets& guarded, const Match::Packet& packet ) {
   return Vek::concat( "touches ", std::string_view( guarded.name() ), ", as ",
                       std::string_view( packetText( packet ) ) );
}

} // namespace

std::optional< FindingKind > findingKind( std::string_view name ) {
   const auto* const row = std::ranges::find( findingKinds, name, &FindingRow::name );
   return row == std::end( findingKinds ) ? std::nullopt : std::optional( row->kind );
}

void RuleLint::found( FindingKind kind, std::size_t file, U64 line, Vek::String text, U64 column ) {
   found_.push_back( { file, { kind, files_[file].file, line, column, std::move( text ) } } );
}

void RuleLint::add( Forms::RuleFile file ) {
   const std::size_t number = files_.size();
   files_.push_back( std::move( file ) );
   auto& [name, rules, errors, warnings] = files_.back();
   for ( Forms::RuleError& error : errors ) {
      found( FindingKind::unreadable, number, error.line, Forms::printable( error.reason ),
             error.column );
   }
   for ( Forms::RuleError& warning : warnings ) {
      found( FindingKind::remark, number, warning.line, Forms::printable( warning.reason ),
             warning.column );
   }
   std::erase_if( rules, [&]( FiledRule& rule ) {
      if ( settleFamily( rule.key ) ) {
         return false;
      }
      found( FindingKind::unreadable, number, rule.line, noFamily );
      return true;
   } );
   for ( const FiledRule& rule : rules ) {
      look( number, rule );
   }
}

// What can be said of a rule alone.
void RuleLint::look( std::size_t file, const FiledRule& rule ) {
   const auto say = [&]( FindingKind kind, Vek::String text ) {
      found( kind, file, rule.line, std::move( text ) );
   };
   std::vector< MatchComponent > components;
   if ( const auto error = matchSetFromKey( rule.key, components ) ) {
      return say( FindingKind::unreadable, Vek::String( error->message ) );
   }
   if ( !Match::RuleMatch( rule.key ).valid() ) {
      return say( FindingKind::unreadable, mixedFamilies );
   }
   if ( const auto warning = Forms::beyondField( rule.key ) ) {
      say( FindingKind::beyondField, *warning );
   }
   const auto config = ruleConfigFactory( rule.key );
   const MatchCompType infeasible = infeasibleComponent( *config, components );
   const PacketSet packets( rule.key );
   if ( !packets.any() ) {
      return say(
         FindingKind::matchesNothing,
         infeasible == invalid
            ? Vek::String( "matches no packet" )
            : Vek::concat( "matches no packet: ", stringValue( infeasible ), " cannot hold" ) );
   }
   if ( matchesEverything( rule.key ) ) {
      say( FindingKind::matchesEverything, "matches every packet of its family" );
   }
   for ( const GuardedPackets& guarded : guarded_ ) {
      if ( const auto packet = packets.common( guarded.packets ) ) {
         say( guarded.isSession ? FindingKind::session : FindingKind::protectedPrefix,
              touches( guarded, *packet ) );
         found_.back().finding.packet = packet;
      }
   }
   if ( backend_.profile ) {
      askBackend( file, rule, *config );
   }
}

// What the back end refuses of a rule that matches some packet.
void RuleLint::askBackend( std::size_t file, const FiledRule& rule, RuleConfig& config ) {
   actionIs( config, rule.action );
   const Dataplane::RuleDemand demand = Dataplane::demandOf( config, *backend_.profile );
   const auto result =
      backend_.nftables ? nftablesResult( demand, rule.key.addressFamily() ) : demand.result;
   if ( !result.reason.empty() ) {
      found( FindingKind::profile, file, rule.line,
             Vek::concat( stringValue( result.code ), ": ", std::string_view( result.reason ) ) );
   }
   entries_ += result.isProgrammed() ? demand.entries : 0;
}

// What can be said of the rules as a whole.
void RuleLint::lookAtAll() {
   const auto say = [&]( FindingKind kind, Vek::String file, Vek::String text ) {
      found_.push_back( { files_.size(), { kind, std::move( file ), 0, 0, std::move( text ) } } );
   };
   if ( backend_.nftables ) {
      say( FindingKind::backend, backend_.file.empty() ? Vek::String( "nftables" ) : backend_.file,
           backend_.file.empty() ? noKernelAsked : recordedKernel );
   } else if ( backend_.profile && entries_ > backend_.profile->capacity() ) {
      say( FindingKind::profile, backend_.file,
           Vek::concat( "the rules take ", entries_, " entries, and the hardware has ",
                        backend_.profile->capacity() ) );
   }
}

// How the rules are to each other.
void RuleLint::compare() {
   std::vector< Place > places;
   std::vector< Dataplane::ComparedRule > compared;
   for ( std::size_t file = 0; file < files_.size(); ++file ) {
      for ( const FiledRule& rule : files_[file].rules ) {
         places.push_back( { file, &rule } );
         compared.push_back( { &rule.key, &rule.action } );
      }
   }
   const Dataplane::OverlapFinder finder( std::move( compared ) );
   for ( std::size_t i = 0; i < places.size(); ++i ) {
      const std::size_t file = places[i].file;
      const FiledRule* const rule = places[i].rule;
      const auto say = [&]( FindingKind kind, const Dataplane::Overlap& overlap,
                            std::string_view what ) {
         const Place& other = places[overlap.rule];
         const Vek::String& name = files_[other.file].file;
         const Vek::String text = other.rule->key.toStrepCli( false );
         found( kind, file, rule->line,
                Vek::concat( std::string_view( Forms::printable( name ) ), ':', other.rule->line,
                             ", ", std::string_view( text ), ' ', what, ", as ",
                             std::string_view( packetText( overlap.packet ) ) ) );
         found_.back().finding.other = { name, other.rule->line };
         found_.back().finding.packet = overlap.packet;
      };
      const Dataplane::Overlaps overlaps = finder.overlapsOf( i );
      if ( overlaps.same ) {
         const bool isDouble = places[overlaps.same->rule].rule->action == rule->action;
         say( isDouble ? FindingKind::same : FindingKind::contradicts, *overlaps.same,
              isDouble ? "has the same packets and action"
                       : "has the same packets and another action, and is tried first" );
      }
      if ( overlaps.wholly ) {
         say( FindingKind::hidden, *overlaps.wholly, "takes all of its packets" );
      }
      if ( overlaps.contradicts ) {
         say( FindingKind::contradicts, *overlaps.contradicts,
              "has another action for some of its packets, and is tried first" );
      } else if ( overlaps.partly ) {
         say( FindingKind::partlyHidden, *overlaps.partly, "takes some of its packets" );
      }
      if ( overlaps.notCompared != 0 ) {
         found( FindingKind::notCompared, file, rule->line,
                Vek::concat( "not compared with ", overlaps.notCompared,
                             overlaps.notCompared == 1 ? " rule that may meet it"
                                                       : " rules that may meet it" ) );
      }
   }
}

std::vector< Finding > RuleLint::findings() {
   compare();
   lookAtAll();
   std::ranges::stable_sort( found_, {}, []( const Numbered& one ) {
      return std::tuple( one.file, one.finding.line, one.finding.kind );
   } );
   std::vector< Finding > all;
   all.reserve( found_.size() );
   for ( Numbered& one : found_ ) {
      all.push_back( std::move( one.finding ) );
   }
   return all;
}

} // namespace Tools
