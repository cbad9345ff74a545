#pragma once

#include "forms/InputFile.h"
#include "tools/terminal/Output.h"
#include "tools/terminal/Terminal.h"

#include <vector>

namespace Tools {

/// Where a line is in the input.
struct Place {
   std::string_view file; ///< valid as long as the list of files
   U64 line;
   U64 column = 0; ///< 0 for the line as a whole
};

/// Takes the lines of the input.
class LineSink {
public:
   virtual void line( const Place& place, std::string_view line ) = 0;
   /// A line that cannot be taken at all.
   virtual void badLine( const Place& place, std::string_view line, std::string_view message ) = 0;
   /// After the last line of a file that could be opened.
   virtual void endOfFile( std::string_view /*file*/ ) {}

protected:
   ~LineSink() = default;
};

/// Goes through the lines of files, for commands that read one thing a line. Those that say
/// nothing are passed over. A file that cannot be read is reported and the next one taken. Shows
/// how far it has come, and writes out what is known before it waits for more.
class InputFiles {
public:
   InputFiles( LineSink& sink, Output& output ) : sink_( sink ), output_( output ) {}

   /// Reads all files; standard input for "-", or when there are none. False when a file could not
   /// be read.
   bool read( const std::vector< Vek::String >& files );

   /// Takes the progress off the terminal, for a message.
   void clearProgress() { progress_.clear(); }

private:
   void readFile( const Vek::String& file );
   void readLines( int fd, std::string_view file );
   void badFile( std::string_view file, std::string_view what );

   LineSink& sink_;
   Output& output_;
   Progress progress_;
   U64 bytes_ = 0; // of the files before
   U64 lines_ = 0;
   bool good_ = true;
};

} // namespace Tools
