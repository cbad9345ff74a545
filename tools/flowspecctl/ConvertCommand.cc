#include "tools/flowspecctl/ConvertCommand.h"

#include "tools/lib/Diagnostics.h"
#include "tools/lib/FilterJson.h"
#include "tools/lib/InputFiles.h"

namespace Flowspec::Tools {

namespace {

class ConvertRun : private LineSink {
public:
   ConvertRun( const ConvertOptions& options, Output& output )
      : options_( options ), output_( output ), input_( *this, output ) {}

   bool run() {
      const bool read = input_.read( options_.files );
      output_.flush();
      return read && good_;
   }

private:
   void line( const Place& place, std::string_view line ) override {
      Vek::Ptr< const Classification::StructuredFilter > filter;
      Reason reason = readFilterJson( line, filter );
      Rule rule;
      if ( !reason ) {
         if ( options_.vrfId ) {
            rule.key.vrfIdIs( *options_.vrfId );
         }
         if ( options_.family ) {
            rule.key.addressFamilyIs( *options_.family );
         }
         reason = convert( filter, rule );
      }
      if ( reason ) {
         badLine( place, line, *reason );
         return;
      }
      appendRule( options_.to, rule, output_.text() );
      output_.text() += '\n';
      output_.flushIfLarge();
   }

   void badLine( const Place& place, std::string_view, std::string_view message ) override {
      good_ = false;
      input_.clearProgress();
      output_.flush();
      reportLine( place.file, place.line, message );
   }

   Reason convert( const Vek::Ptr< const Classification::StructuredFilter >& filter, Rule& rule ) {
      try {
         rule.key.copyInStructuredFilter( filter );
      } catch ( const Vek::RangeException& ) {
         return "the filter has more terms than a rule key holds";
      }
      return unwritable( options_.to, rule );
   }

   const ConvertOptions& options_;
   Output& output_;
   InputFiles input_;
   bool good_ = true;
};

} // namespace

bool runConvert( const ConvertOptions& options, Output& output ) {
   return ConvertRun( options, output ).run();
}

} // namespace Flowspec::Tools
