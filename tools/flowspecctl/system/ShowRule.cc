#include "Vek/text/Text.h"
#include "forms/ActionJson.h"
#include "forms/Diagnostics.h"
#include "forms/MatchSetText.h"
#include "forms/Printable.h"
#include "tools/flowspecctl/Options.h"
#include "tools/flowspecctl/RuleWriter.h"
#include "tools/flowspecctl/system/RuleText.h"
#include "tools/state/StateRoots.h"
#include "tools/terminal/Lines.h"

#include <set>

#include <nlohmann/json.hpp>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

using Json = nlohmann::ordered_json;
using Keys = std::set< FlowspecKey, FlowspecKeyOrder >;

/// A rule in one of the roots that hold rules.
struct Configured {
   Vek::String root;
   Vek::Ptr< RuleConfig > config;
   Vek::Ptr< InfeasibleRule > infeasible;
};

/// All that the roots know of one rule.
struct RuleView {
   FlowspecKey key;
   Configured counting{};              ///< of the first root that has it
   std::vector< Configured > hidden{}; ///< those of the roots after that
   Vek::Ptr< RuleStatus > status{};
   std::optional< CounterVersion > counters{};
   double timestamp = 0; ///< of the counters
};

struct RuleOptions {
   SystemOptions system;
   std::vector< Vek::String > configs{ "flowspec/config", "flowspec/bgp" }; ///< by preference
   RuleFilter filter;                                                       // by VRF and family
   bool json = false;
   Form from = Form::cli;
   Vek::String key;
};

/// The roots of the system, those that are there.
class System {
public:
   explicit System( const RuleOptions& options )
      : roots_{ Vek::log::Endpoint( options.system.endpoint ) } {
      const SystemOptions& names = options.system;
      const std::set< Vek::String > configs( options.configs.begin(), options.configs.end() );
      for ( const Vek::String& config : configs ) {
         roots_.read( config );
      }
      roots_.read( names.status );
      roots_.read( names.counter );
      roots_.settle();
      for ( const Vek::String& name : options.configs ) {
         if ( auto config = roots_.find< Config >( name ) ) {
            configs_.push_back( std::move( config ) );
         }
      }
      if ( configs_.empty() ) {
         roots_.get< Config >( options.configs.front() );
      }
      status_ = roots_.find< Status >( names.status );
      counter_ = roots_.find< Counter >( names.counter );
   }

   /// The keys of all rules for which `isWanted`.
   template < typename IsWanted >
   Keys keys( IsWanted isWanted ) const {
      Keys keys;
      const auto add = [&]( const FlowspecKey& key ) {
         if ( isWanted( key ) ) {
            keys.insert( key );
         }
      };
      for ( const Vek::Ptr< Config >& config : configs_ ) {
         for ( const auto& [vrfId, vrf] : config->vrfRuleConfig() ) {
            for ( const auto& rule : vrf->rule() ) {
               add( rule->ruleKey() );
            }
            for ( const auto& rule : vrf->infeasibleRule() ) {
               add( rule->ruleKey() );
            }
         }
      }
      return keys;
   }

   RuleView view( const FlowspecKey& key ) const {
      RuleView view{ .key = key };
      for ( const Vek::Ptr< Config >& config : configs_ ) {
         const auto vrf = config->vrfRuleConfig( key.vrfId() );
         if ( vrf && ( vrf->rule( key ) || vrf->infeasibleRule( key ) ) ) {
            Configured rule{ config->name(), vrf->rule( key ), vrf->infeasibleRule( key ) };
            if ( view.counting.root.empty() ) {
               view.counting = std::move( rule );
            } else {
               view.hidden.push_back( std::move( rule ) );
            }
         }
      }
      if ( const auto vrf = status_ ? status_->vrfRuleStatus( key.vrfId() ) : nullptr ) {
         view.status = vrf->ruleStatus( key );
      }
      if ( counter_ && counter_->snapshot().find( key ) != counter_->snapshot().end() ) {
         view.counters = counter_->snapshot( key );
         view.timestamp = counter_->timestamp();
      }
      return view;
   }

private:
   StateRoots roots_;
   std::vector< Vek::Ptr< Config > > configs_; ///< in the order of preference
   Vek::Ptr< Status > status_;
   Vek::Ptr< Counter > counter_;
};

static_assert( Vek::listsRows< RuleConfig, 11 > );
static_assert( Vek::listsRows< InfeasibleRule, 4 > );
static_assert( Vek::listsRows< RuleStatus, 11 > );

Json configuredJson( const Configured& rule ) {
   Json json{ { "root", printable( rule.root ) } };
   if ( rule.config ) {
      json["ruleId"] = rule.config->ruleId();
      json["matchSet"] = matchSetJson( rule.config->matchSet() );
      json["action"] = actionJson( actionOf( *rule.config ) );
   } else {
      json["ruleId"] = rule.infeasible->ruleId();
      json["infeasible"] = stringValue( rule.infeasible->matchCompType() );
   }
   return json;
}

Json viewJson( const RuleView& view ) {
   Json json = configuredJson( view.counting );
   for ( const Configured& rule : view.hidden ) {
      json["hides"].push_back( configuredJson( rule ) );
   }
   if ( view.status ) {
      json["status"] = stringValue( view.status->statusCode() );
      json["reason"] = printable( view.status->errorReason() );
      json["version"] = view.status->version().stringValue();
      json["nexthopSet"] = view.status->resolvedNexthopInfo().nexthopSetStrep();
   }
   if ( view.counters ) {
      const QosLib::ColoredCounters& counters = view.counters->coloredCounters();
      json["packets"] = counters.packetHits();
      json["bytes"] = counters.byteHits();
      json["timestamp"] = view.timestamp;
   }
   return json;
}

void appendJson( Vek::String& out, const RuleView& view ) {
   const Rule rule{ .key = view.key, .rd = std::nullopt };
   if ( unwritable( Form::json, rule ) ) {
      out += R"({"key":null)";
   } else {
      out += '{';
      appendKeyForms( out, rule );
   }
   out += ',' + viewJson( view ).dump().substr( 1 ) + '\n';
}

Vek::String doesText( const Configured& rule ) {
   return rule.config ? actionText( actionOf( *rule.config ) )
                      : "matches no packet: " + stringValue( rule.infeasible->matchCompType() );
}

void appendText( Vek::String& out, const RuleView& view ) {
   Lines lines( out );
   lines.add( "VRF", Vek::concat( view.key.vrfId() ) );
   lines.add( "family", stringValue( view.key.addressFamily() ) );
   const Rule rule{ .key = view.key, .rd = std::nullopt };
   for ( const FormInfo& form : forms() ) {
      // JSON and octets have no place in a line for people.
      if ( !form.hasRd && !form.isDialect && form.form != Form::json && form.form != Form::nlri &&
           !unwritable( form.form, rule ) ) {
         Vek::String text;
         appendRule( form.form, rule, text );
         lines.add( form.name, text );
      }
   }
   const Configured& counting = view.counting;
   lines.add( "root", printable( counting.root ) );
   if ( counting.config ) {
      lines.add( "rule id", Vek::concat( counting.config->ruleId() ) );
      std::string_view label = "match set";
      for ( const auto& [type, component] : counting.config->matchSet() ) {
         lines.add( std::exchange( label, "" ),
                    Vek::concat( stringValue( type ), ' ', componentText( component ) ) );
      }
   } else {
      lines.add( "rule id", Vek::concat( counting.infeasible->ruleId() ) );
   }
   lines.add( counting.config ? "action" : "match set", doesText( counting ) );
   std::string_view label = "hides";
   for ( const Configured& hidden : view.hidden ) {
      lines.add( std::exchange( label, "" ),
                 Vek::concat( std::string_view( printable( hidden.root ) ), ": ",
                              std::string_view( doesText( hidden ) ) ) );
   }
   if ( view.status ) {
      lines.add( "status", statusText( *view.status ) );
      lines.add( "version", view.status->version().stringValue() );
      const Vek::String nexthops = view.status->resolvedNexthopInfo().nexthopSetStrep();
      if ( nexthops != "{}" ) {
         lines.add( "next hops", nexthops );
      }
   }
   if ( view.counters ) {
      const QosLib::ColoredCounters& counters = view.counters->coloredCounters();
      lines.add( "counters",
                 Vek::concat( counters.packetHits(), " packets, ", counters.byteHits(),
                              " bytes, read from hardware: ", timeText( view.timestamp ) ) );
   }
}

// The key without what the forms for people leave out.
FlowspecKey withoutInstance( FlowspecKey key ) {
   key.vrfIdIs( Vrf::VrfIdMap::invalid() );
   key.addressFamilyIs( Zorv::AddressFamily::none );
   key.interfaceSetPopAll();
   return key;
}

// A key in a form without VRF, family and interface sets stands for the rules of any that the
// filter admits.
bool showRule( const RuleOptions& options, Output& output ) {
   Rule wanted;
   if ( const Reason reason = readRule( options.from, options.key, wanted ) ) {
      reportFile( "KEY", *reason );
      return false;
   }
   const bool exactly = info( options.from ).hasInstance;
   const System system( options );
   const Keys keys = system.keys( [&]( const FlowspecKey& key ) {
      return options.filter.admits( key ) &&
             ( exactly ? key == wanted.key : withoutInstance( key ) == wanted.key );
   } );
   if ( keys.empty() ) {
      reportFile( "KEY", "there is no such rule" );
      return false;
   }
   bool first = true;
   for ( const FlowspecKey& key : keys ) {
      const RuleView view = system.view( key );
      if ( options.json ) {
         appendJson( output.text(), view );
      } else {
         output.text() += std::exchange( first, false ) ? "" : "\n";
         appendText( output.text(), view );
      }
   }
   output.flush();
   return true;
}

} // namespace

Run addShowRule( CLI::App& command ) {
   const auto options = std::make_shared< RuleOptions >();
   addSystem( command, options->system, { statusRoot, counterRoot } );
   command
      .add_option( configRoot.option, options->configs,
                   "Name of a root that holds rules; given several times, the first one that has "
                   "the rule counts" )
      ->type_name( "NAME" )
      ->capture_default_str()
      ->expected( 1 )
      ->take_all()
      ->allow_extra_args( false );
   command.add_flag( "--json", options->json, "Write an object" );
   addFrom( command, options->from );
   addVrf( command, "Only the rule of this VRF", options->filter.vrfId );
   addFamily( command, "to leave out the other", options->filter.family );
   command.add_option( "KEY", options->key, "The rule's key" )->required()->type_name( "" );
   return [options]( Output& output ) { return showRule( *options, output ); };
}

} // namespace Tools
