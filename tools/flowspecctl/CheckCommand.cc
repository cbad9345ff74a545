#include "Flowspec/config/MatchSetBuilder.h"
#include "forms/Doubts.h"
#include "forms/FieldBounds.h"
#include "forms/MatchSetText.h"
#include "forms/Printable.h"
#include "tools/flowspecctl/Commands.h"
#include "tools/flowspecctl/LineCommand.h"
#include "tools/flowspecctl/Options.h"
#include "tools/flowspecctl/RuleExplainer.h"

#include <nlohmann/json.hpp>

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

using Json = nlohmann::ordered_json;

struct CheckOptions {
   Form from = Form::cli;
   bool json = false;
   bool strict = false;
   RuleDefaults defaults;
   std::vector< Vek::String > files;
};

// The protocols of a sanitised rule, as text and as JSON; null when any will do.
Vek::String protocolText( const RuleConfig& rule ) {
   const auto at = rule.matchSet().find( ipProto );
   return at == rule.matchSet().end() ? "any" : componentText( at->second );
}

Json protocolJson( const RuleConfig& rule ) {
   const Json matchSet = matchSetJson( rule.matchSet() );
   const auto at = matchSet.find( stringValue( ipProto ) );
   return at == matchSet.end() ? Json() : *at;
}

// Takes each rule apart, sanitises its match set and tells whether packets can match it and which
// protocols it then asks for.
class CheckCommand : public LineCommand {
public:
   CheckCommand( const CheckOptions& options, Output& output )
      : LineCommand( options.files, output, spansLines( options.from ) ), options_( options ) {}

private:
   void take( const Place& place, std::string_view line ) override {
      options_.defaults.reset( rule_ );
      std::vector< MatchComponent > components;
      if ( const auto fault = readRuleAt( options_.from, line, rule_ ) ) {
         return badLine( placeOf( place, *fault ), lineOf( line, *fault ), fault->reason );
      }
      const auto misread = misreading( options_.from, line, rule_ );
      if ( misread && options_.strict ) {
         badLine( placeOf( place, *misread ), line, misread->reason );
      } else if ( const auto error = matchSetFromKey( rule_.key, components ) ) {
         badLine( place, line, error->message );
      } else {
         check( place, line, misread, components );
      }
   }

   void badLine( const Place& place, std::string_view line, std::string_view message ) override {
      if ( options_.json ) {
         fail();
         Json answer{ { "ok", false }, { "error", shortened( message ) } };
         if ( place.column != 0 ) {
            answer["offset"] = place.column - 1;
         }
         write( place, answer );
      } else {
         report( place, message, line );
      }
   }

   void check( const Place& place, std::string_view line, const std::optional< Fault >& misread,
               const std::vector< MatchComponent >& components ) {
      const Vek::Ptr< RuleConfig > rule = ruleConfigFactory( rule_.key );
      const auto conflict = familyConflict( rule_.key );
      const MatchCompType component =
         conflict ? conflict->component : infeasibleComponent( *rule, components );
      const bool feasible = component == invalid;
      if ( !feasible ) {
         fail();
      }
      // One of a line is enough: the first to be mended.
      const Reason warning = misread    ? misread->reason
                             : conflict ? conflict->reason
                                        : beyondField( rule_.key );
      if ( !options_.json ) {
         if ( warning ) {
            warn( misread ? placeOf( place, *misread ) : place, *warning, line );
         }
         rule_.key.appendStrepCli( out(), false );
         out() += feasible ? Vek::concat( "\tfeasible\t", protocolText( *rule ), '\n' )
                           : Vek::concat( "\tinfeasible\t", stringValue( component ), '\n' );
         return;
      }
      Json answer{ { "ok", true }, { "feasible", feasible } };
      if ( feasible ) {
         answer["ipProto"] = protocolJson( *rule );
      } else {
         answer["component"] = stringValue( component );
      }
      if ( warning ) {
         answer["warning"] = *warning;
      }
      answer["cli"] = rule_.key.toStrepCli( false );
      write( place, answer );
   }

   void write( const Place& place, const Json& answer ) {
      Json object;
      if ( hasFiles() ) {
         object["file"] = printable( place.file );
      }
      object["line"] = place.line;
      object.update( answer );
      // What was read may be no UTF-8.
      out() += object.dump( -1, ' ', false, Json::error_handler_t::replace );
      out() += '\n';
   }

   const CheckOptions& options_;
   Rule rule_; // in work; its memory is used again
};

} // namespace

Run addCheck( CLI::App& command ) {
   const auto options = std::make_shared< CheckOptions >();
   addFrom( command, options->from );
   addStrict( command, options->strict );
   command.add_flag( "--json", options->json, "Write an object for each line" );
   addFamily( command, options->defaults );
   addFiles( command, options->files );
   return [options]( Output& output ) {
      const FormInfo& from = info( options->from );
      if ( options->defaults.family && from.hasInstance ) {
         throw CLI::ValidationError(
            Vek::concat( "--family is not for --from ", from.name, ": its rules have their own" ) );
      }
      return CheckCommand( *options, output ).run();
   };
}

} // namespace Tools
