#include "Vek/text/Text.h"
#include "forms/ActionJson.h"
#include "forms/Diagnostics.h"
#include "forms/MatchSetText.h"
#include "forms/Printable.h"
#include "tools/flowspecctl/Options.h"
#include "tools/flowspecctl/RuleWriter.h"
#include "tools/flowspecctl/system/RuleText.h"
#include "tools/state/StateRoots.h"

#include <set>

#include <nlohmann/json.hpp>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

using Json = nlohmann::ordered_json;
using Keys = std::set< FlowspecKey, FlowspecKeyOrder >;

/// All that the roots know of one rule.
struct RuleView {
   FlowspecKey key;
   Vek::Ptr< RuleConfig > config{};
   Vek::Ptr< InfeasibleRule > infeasible{};
   Vek::Ptr< RuleStatus > status{};
   std::optional< CounterVersion > counters{};
   double timestamp = 0; ///< of the counters
};

/// The roots of the system, those that are there.
class System {
public:
   explicit System( const SystemOptions& names ) : roots_{ Vek::log::Endpoint( names.endpoint ) } {
      for ( const Vek::String* const name : { &names.config, &names.status, &names.counter } ) {
         roots_.read( *name );
      }
      roots_.settle();
      config_ = roots_.get< Config >( names.config );
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
      for ( const auto& [vrfId, vrf] : config_->vrfRuleConfig() ) {
         for ( const auto& rule : vrf->rule() ) {
            add( rule->ruleKey() );
         }
         for ( const auto& rule : vrf->infeasibleRule() ) {
            add( rule->ruleKey() );
         }
      }
      return keys;
   }

   RuleView view( const FlowspecKey& key ) const {
      RuleView view{ .key = key };
      if ( const auto vrf = config_->vrfRuleConfig( key.vrfId() ) ) {
         view.config = vrf->rule( key );
         view.infeasible = vrf->infeasibleRule( key );
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
   Vek::Ptr< Config > config_;
   Vek::Ptr< Status > status_;
   Vek::Ptr< Counter > counter_;
};

static_assert( Vek::listsRows< RuleConfig, 11 > );
static_assert( Vek::listsRows< InfeasibleRule, 4 > );
static_assert( Vek::listsRows< RuleStatus, 11 > );

Json viewJson( const RuleView& view ) {
   Json json = Json::object();
   if ( view.config ) {
      json["ruleId"] = view.config->ruleId();
      json["matchSet"] = matchSetJson( view.config->matchSet() );
      json["action"] = actionJson( actionOf( *view.config ) );
   } else if ( view.infeasible ) {
      json["ruleId"] = view.infeasible->ruleId();
      json["infeasible"] = stringValue( view.infeasible->matchCompType() );
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
   const Vek::String rest = viewJson( view ).dump();
   out += Vek::concat( std::string_view( rest == "{}" ? "" : "," ), rest.substr( 1 ), '\n' );
}

/// Writes lines of a label and a text.
class Lines {
public:
   explicit Lines( Vek::String& out ) : out_( out ) {}

   void add( std::string_view label, std::string_view text ) {
      out_ += label;
      out_.append( label.size() < width ? width - label.size() : 1, ' ' );
      out_ += Vek::concat( text, '\n' );
   }

private:
   static constexpr std::size_t width = 14;
   Vek::String& out_;
};

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
   if ( view.config ) {
      lines.add( "rule id", Vek::concat( view.config->ruleId() ) );
      std::string_view label = "match set";
      for ( const auto& [type, component] : view.config->matchSet() ) {
         lines.add( std::exchange( label, "" ),
                    Vek::concat( stringValue( type ), ' ', componentText( component ) ) );
      }
      lines.add( "action", actionText( actionOf( *view.config ) ) );
   } else if ( view.infeasible ) {
      lines.add( "rule id", Vek::concat( view.infeasible->ruleId() ) );
      lines.add( "match set",
                 "matches no packet: " + stringValue( view.infeasible->matchCompType() ) );
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

struct RuleOptions {
   SystemOptions system;
   RuleFilter filter; // by VRF and family
   bool json = false;
   Form from = Form::cli;
   Vek::String key;
};

// A key in a form without VRF, family and interface sets stands for the rules of any that the
// filter admits.
bool showRule( const RuleOptions& options, Output& output ) {
   Rule wanted;
   if ( const Reason reason = readRule( options.from, options.key, wanted ) ) {
      reportFile( "KEY", *reason );
      return false;
   }
   const bool exactly = info( options.from ).hasInstance;
   const System system( options.system );
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
   addSystem( command, options->system, { configRoot, statusRoot, counterRoot } );
   command.add_flag( "--json", options->json, "Write an object" );
   addFrom( command, options->from );
   addVrf( command, "Only the rule of this VRF", options->filter.vrfId );
   addFamily( command, "to leave out the other", options->filter.family );
   command.add_option( "KEY", options->key, "The rule's key" )->required()->type_name( "" );
   return [options]( Output& output ) { return showRule( *options, output ); };
}

} // namespace Tools
