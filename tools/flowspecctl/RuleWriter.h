#pragma once

#include "forms/KeyForms.h"
#include "tools/terminal/InputFiles.h"
#include "tools/terminal/Table.h"

namespace Tools {

/// Appends the members of an object that hold a key in all forms, from `"key":{...},"cli":"..."` to
/// `"hash":"0x..."`. Only for what `unwritable` admits in all of these forms.
void appendKeyForms( Vek::String& out, const Forms::Rule& rule );

/// How rules are written.
struct RuleLayout {
   std::vector< Forms::Form > forms; ///< not empty; all that can be written with `json`
   bool json = false;                ///< an object for each line
   bool table = false;               ///< a table for people
   bool named = false;               ///< objects name the file of their line
};

/// Writes the rules of one run in a layout: a line each with the forms
/// between tabs, a JSON object each, or a table. Bad lines are rows and objects too where the
/// layout has room for them, else messages on standard error.
class RuleWriter {
public:
   /// `output` outlives the writer. A table's heading is written at once.
   RuleWriter( RuleLayout layout, Output& output );

   /// Why `good` may not be called for a rule; nothing when it may.
   [[nodiscard]] Forms::Reason unwritable( const Forms::Rule& rule ) const;

   void good( const Place& place, const Forms::Rule& rule );
   void bad( const Place& place, std::string_view text, std::string_view message );

private:
   void goodJson( const Place& place, const Forms::Rule& rule );
   void badJson( const Place& place, std::string_view message );
   void beginJson( const Place& place, bool ok );
   void badRow( const Place& place, std::string_view text, std::string_view message );

   const RuleLayout layout_;
   Output& output_;
   std::optional< Table > table_;
};

} // namespace Tools
