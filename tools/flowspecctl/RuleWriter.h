#pragma once

#include "tools/flowspecctl/KeyCommand.h"
#include "tools/lib/InputFiles.h"
#include "tools/lib/Table.h"

namespace Flowspec::Tools {

/// Appends the members of an object that hold a key in all forms, from `"key":{...},"cli":"..."` to
/// `"hash":"0x..."`. Only for what `unwritable` admits in all of these forms.
void appendKeyForms( Vek::String& out, const Rule& rule );

/// Writes the rules of one run in the layout that the options ask for: a line each with the forms
/// between tabs, a JSON object each, or a table. Bad lines are rows and objects too where the
/// layout has room for them, else messages on standard error.
class RuleWriter {
public:
   /// Both outlive the writer. A table's heading is written at once.
   RuleWriter( const KeyOptions& options, Output& output );

   /// Why `good` may not be called for a rule; nothing when it may.
   [[nodiscard]] Reason unwritable( const Rule& rule ) const;

   void good( const Place& place, const Rule& rule );
   void bad( const Place& place, std::string_view text, std::string_view message );

private:
   void goodJson( const Place& place, const Rule& rule );
   void badJson( const Place& place, std::string_view message );
   void beginJson( const Place& place, bool ok );
   void badRow( const Place& place, std::string_view text, std::string_view message );

   const KeyOptions& options_;
   Output& output_;
   std::vector< Form > forms_;
   std::optional< Table > table_;
};

} // namespace Flowspec::Tools
