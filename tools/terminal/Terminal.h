#pragma once

#include "Osk/Types.h"

namespace Tools {

/// How many characters a line of standard output has room for: COLUMNS when it is a number, else
/// the terminal's width, else 100; at least 60.
unsigned lineWidth();

/// Tells on standard error how far reading has come: only when that is a terminal and standard
/// output is not, and again for each 16 MiB of input.
class Progress {
public:
   Progress();
   Progress( const Progress& ) = delete;
   Progress& operator=( const Progress& ) = delete;
   /// Takes the last message off the terminal.
   ~Progress() { clear(); }

   /// What was read so far, of all input.
   void at( U64 bytes, U64 lines );
   /// Takes the message off the terminal, for other text.
   void clear();

private:
   static constexpr U64 step = U64{ 16 } * 1024 * 1024;

   const bool on_;
   bool shown_ = false;
   U64 next_ = step;
};

} // namespace Tools
