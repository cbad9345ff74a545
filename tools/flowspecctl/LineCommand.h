#pragma once

#include "forms/dialects/RuleLines.h"
#include "tools/terminal/InputFiles.h"

namespace Tools {

/// The loop of the commands that read one thing a line. What comes of the lines goes to the output
/// as they are read; a line that is wrong is reported, and the rest goes on.
class LineCommand : private LineSink {
public:
   /// Both outlive the object. No files: standard input, as "-" is. With `spansLines` it is the
   /// texts of `Forms::RuleLines` that are taken, the place being that of the first line.
   LineCommand( const std::vector< Vek::String >& files, Output& output, bool spansLines = false )
      : files_( files ), output_( output ), input_( *this, output ), lines_( spansLines ) {}
   LineCommand( const LineCommand& ) = delete;
   LineCommand& operator=( const LineCommand& ) = delete;

   /// Takes all lines. True when all files and lines were good.
   bool run();

protected:
   ~LineCommand() = default;

   /// Takes a line: appends to `out()`, or says that it is wrong by one of the next three.
   virtual void take( const Place& place, std::string_view line ) = 0;
   /// A line that cannot be taken at all, as it is too long; reported when not overridden.
   void badLine( const Place& place, std::string_view line, std::string_view message ) override;
   /// After the last line.
   virtual void end() {}

   Vek::String& out() { return output_.text(); }

   /// The command will end with the status of a bad line.
   void fail();
   /// `fail`, with a message on standard error after what was written so far. The text is shown
   /// when the place has a column: it is the line with that column.
   void report( const Place& place, std::string_view message, std::string_view text = {} );
   /// A message on standard error for a line that is taken all the same.
   void warn( const Place& place, std::string_view message, std::string_view text = {} );

   /// The place of what is wrong with a text that was taken at `place`.
   static Place placeOf( const Place& place, const Forms::Fault& fault );
   /// The line of such a text with what is wrong.
   static std::string_view lineOf( std::string_view text, const Forms::Fault& fault );

   /// Whether places are in several files.
   bool hasFiles() const { return files_.size() > 1; }

private:
   void line( const Place& place, std::string_view line ) final;
   void endOfFile( std::string_view file ) final;

   const std::vector< Vek::String >& files_;
   Output& output_;
   InputFiles input_;
   Forms::RuleLines lines_;
   bool good_ = true;
};

} // namespace Tools
