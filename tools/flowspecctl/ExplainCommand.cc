#include "dataplane/PacketText.h"
#include "forms/ComponentWords.h"
#include "forms/Diagnostics.h"
#include "forms/MatchSetText.h"
#include "forms/Printable.h"
#include "tools/flowspecctl/NftablesView.h"
#include "tools/flowspecctl/Options.h"
#include "tools/flowspecctl/RuleExplainer.h"
#include "tools/terminal/Lines.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace Tools {

using namespace Flowspec;
using namespace Forms;
using Dataplane::packetText;

namespace {

using Json = nlohmann::ordered_json;

struct ExplainOptions {
   Form from = Form::cli;
   bool json = false;
   RuleDefaults defaults;
   Vek::String profile;
   bool nftables = false; // the back end; else hardware that the profile tells of
   RuleSource source;
   std::vector< GuardedPackets > guarded;
   std::vector< Vek::String > rules;
};

// Writes what is told of rules.
class ExplanationWriter {
public:
   ExplanationWriter( const RuleExplainer& explainer, const ExplainOptions& options )
      : explainer_( explainer ), options_( options ) {}

   void append( Vek::String& out, const Explanation& told ) {
      options_.json ? appendJson( out, told ) : appendText( out, told );
   }

private:
   static Vek::String ruleText( const FlowspecKey& key ) { return key.toStrepCli( false ); }

   static Vek::String entriesText( U64 entries ) {
      return Vek::concat( entries, entries == 1 ? " entry" : " entries" );
   }

   static Vek::String neighbourText( const Neighbour& neighbour ) {
      const ConfiguredRule& rule = *neighbour.rule;
      return Vek::concat( rule.place, ": ", ruleText( rule.key ),
                          neighbour.wholly ? " wholly, as " : " in part, as ",
                          packetText( neighbour.packet ) );
   }

   void appendText( Vek::String& out, const Explanation& told ) {
      out += std::exchange( first_, false ) ? "" : "\n";
      Lines lines( out );
      lines.add( "rule", ruleText( told.key ) );
      lines.add( "family", stringValue( told.key.addressFamily() ) );
      for ( const MatchComponent& component : told.components ) {
         lines.add( stringValue( component.compType() ),
                    componentWords( component ) + backendText( told, component ) );
      }
      if ( told.warning ) {
         lines.add( "warning", *told.warning );
      }
      lines.add( "matches", matchedText( told ) );
      if ( told.demand ) {
         addDemand( lines, told.key, *told.demand );
      }
      addNeighbours( lines, "hidden by", told.before, told.moreBefore );
      addNeighbours( lines, "hides", told.after, told.moreAfter );
      for ( const auto& [guarded, packet] : told.hits ) {
         lines.add( guarded->what(), Vek::concat( guarded->text, ", as ", packetText( packet ) ) );
      }
   }

   // What the back end makes of a component, or that it can make nothing of it.
   Vek::String backendText( const Explanation& told, const MatchComponent& component ) const {
      if ( !explainer_.hasProfile() ) {
         return "";
      }
      if ( !explainer_.canMatchOn( told.key.addressFamily(), component.compType() ) ) {
         return "; the profile cannot match on it";
      }
      return "; " + ( options_.nftables ? nftablesTests( told.key, component.compType() )
                                        : entriesText( Dataplane::entriesOf( component ) ) );
   }

   void addDemand( Lines& lines, const FlowspecKey& key,
                   const Dataplane::RuleDemand& demand ) const {
      const auto result =
         options_.nftables ? nftablesResult( demand, key.addressFamily() ) : demand.result;
      Vek::String text = stringValue( result.code );
      text += result.reason.empty() ? "" : ": " + result.reason;
      if ( !options_.nftables ) {
         return lines.add( "profile", text + "; " + entriesText( demand.entries ) );
      }
      text += "; ";
      lines.add( "nftables", text + ( options_.profile.empty() ? noKernelAsked : recordedKernel ) );
      if ( result.isProgrammed() ) {
         const Vek::String table = nftablesTable( key, demand );
         for ( std::string_view rest = table; !rest.empty(); ) {
            const std::string_view line = rest.substr( 0, rest.find( '\n' ) );
            lines.add( "", line );
            rest.remove_prefix( std::min( line.size() + 1, rest.size() ) );
         }
      }
   }

   static Vek::String matchedText( const Explanation& told ) {
      if ( told.matched ) {
         return told.matchesAll ? Vek::String( "every packet of the family" )
                                : "packets such as " + packetText( *told.matched );
      }
      return told.infeasible == invalid
                ? Vek::String( "no packet" )
                : Vek::concat( "no packet: ", stringValue( told.infeasible ), " cannot hold" );
   }

   static void addNeighbours( Lines& lines, std::string_view label,
                              const std::vector< Neighbour >& neighbours, U64 more ) {
      for ( const Neighbour& neighbour : neighbours ) {
         lines.add( label, neighbourText( neighbour ) );
      }
      if ( more != 0 ) {
         lines.add( label, Vek::concat( more, " more" ) );
      }
   }

   void appendJson( Vek::String& out, const Explanation& told ) const {
      Json json{ { "cli", ruleText( told.key ) },
                 { "vrfId", told.key.vrfId() },
                 { "addressFamily", stringValue( told.key.addressFamily() ) },
                 { "components", Json::array() } };
      for ( const MatchComponent& component : told.components ) {
         Json member{ { "type", stringValue( component.compType() ) },
                      { "text", componentText( component ) },
                      { "words", componentWords( component ) } };
         if ( explainer_.hasProfile() ) {
            member["supported"] =
               explainer_.canMatchOn( told.key.addressFamily(), component.compType() );
            if ( options_.nftables ) {
               member["nftables"] = nftablesTests( told.key, component.compType() );
            } else {
               member["entries"] = Dataplane::entriesOf( component );
            }
         }
         json["components"].push_back( std::move( member ) );
      }
      if ( told.warning ) {
         json["warning"] = *told.warning;
      }
      json["matches"] = !told.matched ? "nothing" : told.matchesAll ? "everything" : "some";
      if ( told.matched ) {
         json["packet"] = packetText( *told.matched );
      } else if ( told.infeasible != invalid ) {
         json["infeasible"] = stringValue( told.infeasible );
      }
      if ( told.demand && options_.nftables ) {
         const auto result = nftablesResult( *told.demand, told.key.addressFamily() );
         json["nftables"] = { { "status", stringValue( result.code ) },
                              { "reason", result.reason },
                              { "recordedProfile", !options_.profile.empty() } };
         if ( result.isProgrammed() ) {
            json["nftables"]["table"] = nftablesTable( told.key, *told.demand );
         }
      } else if ( told.demand ) {
         json["profile"] = { { "status", stringValue( told.demand->result.code ) },
                             { "reason", told.demand->result.reason },
                             { "entries", told.demand->entries } };
      }
      json["hiddenBy"] = neighboursJson( told.before );
      json["hiddenByMore"] = told.moreBefore;
      json["hides"] = neighboursJson( told.after );
      json["hidesMore"] = told.moreAfter;
      json["touches"] = Json::array();
      for ( const auto& [guarded, packet] : told.hits ) {
         json["touches"].push_back( { { "what", guarded->what() },
                                      { "of", guarded->text },
                                      { "packet", packetText( packet ) } } );
      }
      out += json.dump();
      out += '\n';
   }

   static Json neighboursJson( const std::vector< Neighbour >& neighbours ) {
      Json list = Json::array();
      for ( const Neighbour& neighbour : neighbours ) {
         list.push_back( { { "place", neighbour.rule->place },
                           { "cli", ruleText( neighbour.rule->key ) },
                           { "wholly", neighbour.wholly },
                           { "packet", packetText( neighbour.packet ) } } );
      }
      return list;
   }

   const RuleExplainer& explainer_;
   const ExplainOptions& options_;
   bool first_ = true;
};

// Reads the rule of an argument; of the family of its prefixes when nothing else tells one.
Reason readArgument( const ExplainOptions& options, const Vek::String& text, Rule& rule ) {
   options.defaults.reset( rule );
   if ( options.from == Form::json ) {
      std::vector< Forms::Fault > remarks;
      Context context;
      context.family = options.defaults.family.value_or( Zorv::AddressFamily::none );
      if ( auto fault = Forms::readRule( *dialectOf( "json" ), text, context, rule, remarks ) ) {
         return fault->reason;
      }
   } else if ( auto fault = readRuleAt( options.from, text, rule ) ) {
      return fault->reason;
   }
   if ( rule.key.vrfId() == Vrf::VrfIdMap::invalid() ) {
      rule.key.vrfIdIs( options.defaults.vrfId.value_or( 0 ) );
   }
   if ( !settleFamily( rule.key ) ) {
      return noFamily;
   }
   return std::nullopt;
}

bool explain( const ExplainOptions& options, Output& output ) {
   std::optional< Dataplane::Profile > profile;
   if ( !options.profile.empty() ) {
      profile = readProfile( options.profile );
      if ( !profile ) {
         return false;
      }
   } else if ( options.nftables ) {
      profile = nftablesProfile();
   }
   bool good = true;
   Forms::RuleDefaults defaults;
   defaults.vrfId = options.defaults.vrfId.value_or( 0 );
   defaults.family = options.defaults.family;
   std::vector< GuardedPackets > guarded = options.guarded;
   ConfiguredRules configured = configuredRules( options.source, defaults, good );
   for ( const Zorv::IpGenAddr& peer : configured.peers ) {
      guarded.push_back( sessionWith( peer ) );
   }
   const RuleExplainer explainer( std::move( profile ), std::move( configured.rules ),
                                  std::move( guarded ) );
   ExplanationWriter writer( explainer, options );
   for ( std::size_t i = 0; i < options.rules.size(); ++i ) {
      Rule rule;
      Explanation explanation;
      Reason reason = readArgument( options, options.rules[i], rule );
      if ( !reason ) {
         reason = explainer.explain( rule, explanation );
      }
      if ( reason ) {
         good = false;
         output.flush();
         reportLine( "RULE", i + 1, printable( *reason ) );
      } else {
         writer.append( output.text(), explanation );
         output.flushIfLarge();
      }
   }
   output.flush();
   return good;
}

} // namespace

Run addExplain( CLI::App& command ) {
   const auto options = std::make_shared< ExplainOptions >();
   addFrom( command, options->from );
   command.add_flag( "--json", options->json, "Write an object for each rule" );
   addVrf( command, "VRF of rules whose form has none, 0 when not given", options->defaults.vrfId );
   addFamily( command, options->defaults );
   addProfile( command, options->profile );
   addBackend( command, options->nftables );
   addGuarded( command, options->guarded );
   addRuleSource( command, options->source );
   command.add_flag( "--alone", options->source.alone, "Compare with no other rules" )
      ->excludes( command.get_option( "--rules" ) );
   command.add_option( "RULE", options->rules, "The rules to explain" )
      ->required()
      ->type_name( "" );
   command.footer( "Exit status: 0 when all rules were explained, 1 when a rule or a file could "
                   "not be read, 2 for wrong usage." );
   return [options]( Output& output ) { return explain( *options, output ); };
}

} // namespace Tools
