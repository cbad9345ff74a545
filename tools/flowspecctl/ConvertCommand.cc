#include "forms/FilterJson.h"
#include "forms/FilterLosses.h"
#include "tools/flowspecctl/Commands.h"
#include "tools/flowspecctl/LineCommand.h"
#include "tools/flowspecctl/Options.h"

namespace Tools {

using namespace Flowspec;
using namespace Forms;

namespace {

struct ConvertOptions {
   Form to = Form::cli;
   bool strict = false;
   RuleDefaults defaults;
   std::vector< Vek::String > files;
};

// Turns structured filters into rule keys.
class ConvertCommand : public LineCommand {
public:
   ConvertCommand( const ConvertOptions& options, Output& output )
      : LineCommand( options.files, output ), options_( options ) {}

private:
   void take( const Place& place, std::string_view line ) override {
      Vek::Ptr< const Classification::StructuredFilter > filter;
      Reason reason = readFilterJson( line, filter );
      if ( !reason ) {
         options_.defaults.reset( rule_ );
         reason = convert( filter );
      }
      const Reason loss = reason ? std::nullopt : filterLoss( *filter );
      if ( loss && options_.strict ) {
         reason = loss;
      }
      if ( reason ) {
         return report( place, *reason );
      }
      if ( loss ) {
         warn( place, *loss );
      }
      appendRule( options_.to, rule_, out() );
      out() += '\n';
   }

   Reason convert( const Vek::Ptr< const Classification::StructuredFilter >& filter ) {
      try {
         rule_.key.copyInStructuredFilter( filter );
      } catch ( const Vek::RangeException& ) {
         return "the filter has more terms than a rule key holds";
      }
      return unwritable( options_.to, rule_ );
   }

   const ConvertOptions& options_;
   Rule rule_; // in work; its memory is used again
};

} // namespace

Run addConvert( CLI::App& command ) {
   const auto options = std::make_shared< ConvertOptions >();
   addOption(
      command, "--to", "FORM", "Form of the output, cli when not given",
      []( std::string_view name ) {
         const auto form = formOf( name );
         return form && !info( *form ).hasRd ? form : std::nullopt;
      },
      "a form without a route distinguisher", [&to = options->to]( Form form ) { to = form; } );
   command.add_flag( "--strict", options->strict,
                     "Refuse filters that no key matches alike, not only warn" );
   addVrf( command, options->defaults );
   addFamily( command, options->defaults );
   addFiles( command, options->files );
   return [options]( Output& output ) { return ConvertCommand( *options, output ).run(); };
}

} // namespace Tools
