#pragma once

#include "Vek/text/String.h"

#include <string_view>

namespace Forms {

/// Whether a line says nothing: it is blank, or begins with "#", which blanks may precede.
bool isPassedOver( std::string_view line );

/// A file that is open for reading; standard input for "-".
class InputFile {
public:
   /// `file` outlives the object: `name()` is a view of it.
   explicit InputFile( const Vek::String& file );
   InputFile( const InputFile& ) = delete;
   InputFile& operator=( const InputFile& ) = delete;
   ~InputFile();

   /// Below 0 when the file could not be opened, and then `errno` says why.
   int fd() const { return fd_; }
   /// What messages call it: the path, or "<stdin>".
   std::string_view name() const { return name_; }

private:
   std::string_view name_;
   int fd_;
};

} // namespace Forms
