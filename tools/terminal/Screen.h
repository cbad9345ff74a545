#pragma once

#include "Vek/text/String.h"
#include "tools/terminal/Output.h"

namespace Tools {

/// Pictures that replace one another on standard output: a screen of its own where that is a
/// terminal, which is as it was when the object is gone; else, and on a terminal that TERM calls
/// dumb, lines, with an empty line after each picture.
///
/// SIGINT, SIGTERM and SIGHUP end the process with status 0 from now on, and put the terminal
/// right.
class Screen {
public:
   explicit Screen( Output& output );
   Screen( const Screen& ) = delete;
   Screen& operator=( const Screen& ) = delete;
   ~Screen();

   bool isTerminal() const { return isTerminal_; }
   /// How many lines a picture has room for: LINES when it is a number, else the terminal's, else
   /// 24; at least 4.
   static unsigned height();

   /// Shows a picture, lines that end with a newline. `std::system_error` as `Output` does.
   void show( std::string_view picture );

private:
   Output& output_;
   const bool isTerminal_;
};

} // namespace Tools
