#include "tools/flowspecctl/CheckCommand.h"

#include "Flowspec/config/MatchSetBuilder.h"
#include "tools/lib/Diagnostics.h"
#include "tools/lib/FieldBounds.h"
#include "tools/lib/InputFiles.h"
#include "tools/lib/MatchSetText.h"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace Flowspec::Tools {

namespace {

using Json = nlohmann::ordered_json;

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

class CheckRun : private LineSink {
public:
   CheckRun( const CheckOptions& options, Output& output )
      : options_( options ), output_( output ), input_( *this, output ) {}

   bool run() {
      const bool read = input_.read( options_.files );
      output_.flush();
      return read && good_;
   }

private:
   void line( const Place& place, std::string_view line ) override {
      clear( rule_.key );
      rule_.rd.reset();
      if ( options_.family ) {
         rule_.key.addressFamilyIs( *options_.family );
      }
      Reason reason = readRule( options_.from, line, rule_ );
      std::vector< MatchComponent > components;
      if ( !reason ) {
         if ( auto error = matchSetFromKey( rule_.key, components ) ) {
            reason = std::move( error->message );
         }
      }
      if ( reason ) {
         badLine( place, line, *reason );
      } else {
         check( place, components );
      }
   }

   void badLine( const Place& place, std::string_view, std::string_view message ) override {
      good_ = false;
      input_.clearProgress();
      if ( options_.json ) {
         write( place, { { "ok", false }, { "error", printable( message ) } } );
      } else {
         output_.flush();
         reportLine( place.file, place.line, message );
      }
   }

   void check( const Place& place, const std::vector< MatchComponent >& components ) {
      const Vek::Ptr< RuleConfig > rule = ruleConfigFactory( rule_.key );
      matchSetReplace( *rule, components );
      const auto empty = std::ranges::find_if( components, matchesNothing );
      const MatchCompType component =
         empty != components.end() ? empty->compType() : rule->sanitizeMatchSet();
      const bool feasible = component == invalid;
      good_ = good_ && feasible;
      const Reason warning = beyondField( rule_.key );
      if ( !options_.json ) {
         if ( warning ) {
            input_.clearProgress();
            output_.flush();
            warnLine( place.file, place.line, *warning );
         }
         rule_.key.appendStrepCli( output_.text(), false );
         output_.text() += feasible
                              ? Vek::concat( "\tfeasible\t", protocolText( *rule ), '\n' )
                              : Vek::concat( "\tinfeasible\t", stringValue( component ), '\n' );
         output_.flushIfLarge();
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
      if ( options_.files.size() > 1 ) {
         object["file"] = printable( place.file );
      }
      object["line"] = place.line;
      object.update( answer );
      output_.text() += object.dump();
      output_.text() += '\n';
      output_.flushIfLarge();
   }

   const CheckOptions& options_;
   Output& output_;
   InputFiles input_;
   Rule rule_;
   bool good_ = true;
};

} // namespace

bool runCheck( const CheckOptions& options, Output& output ) {
   return CheckRun( options, output ).run();
}

} // namespace Flowspec::Tools
