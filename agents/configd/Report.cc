#include "agents/configd/Report.h"

#include "Vek/text/Text.h"
#include "forms/Diagnostics.h"

namespace Agents {

using namespace Flowspec;
using namespace Forms;

void Report::errors( std::span< const RuleError > errors ) {
   for ( const RuleError& error : errors ) {
      Count& count = files_[error.file];
      if ( count.told == maxLines ) {
         ++count.errors;
         continue;
      }
      ++count.told;
      if ( error.line ) {
         Forms::reportLine( error.file, error.line, error.reason, error.column );
      } else {
         Forms::reportFile( error.file, error.reason );
      }
   }
}

void Report::warnings( std::span< const RuleError > warnings ) {
   for ( const RuleError& warning : warnings ) {
      Count& count = files_[warning.file];
      if ( count.told == maxLines ) {
         ++count.warnings;
         continue;
      }
      ++count.told;
      Forms::warnLine( warning.file, warning.line, warning.reason, warning.column );
   }
}

std::vector< Vek::String > Report::rest() const {
   std::vector< Vek::String > texts;
   for ( const auto& [file, count] : files_ ) {
      if ( count.errors + count.warnings != 0 ) {
         texts.push_back( Vek::concat( file, ": ", count.errors, " more errors and ",
                                       count.warnings, " more warnings" ) );
      }
   }
   return texts;
}

} // namespace Agents
