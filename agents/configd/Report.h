#pragma once

#include "forms/RuleFile.h"

#include <map>
#include <span>

namespace Agents {

/// Tells on standard error what is wrong with the lines of files. A file may have a hundred
/// thousand bad lines: the first ten of each are told, the others counted. One report is for one
/// reading of the files.
class Report {
public:
   /// The most lines of a file that are told, errors and warnings together.
   static constexpr U64 maxLines = 10;

   /// Tells errors, `FILE:LINE: error: REASON`, or `FILE: error: REASON` of a file as a whole.
   void errors( std::span< const Forms::RuleError > errors );
   /// Tells what is filed all the same, `FILE:LINE: warning: REASON`.
   void warnings( std::span< const Forms::RuleError > warnings );

   /// What was not told, a text for each file of which something was not: "FILE: 5 more errors and
   /// 0 more warnings".
   std::vector< Vek::String > rest() const;

private:
   struct Count {
      U64 told = 0;
      U64 errors = 0; // that were not told
      U64 warnings = 0;
   };

   std::map< Vek::String, Count > files_;
};

} // namespace Agents
