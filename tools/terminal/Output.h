#pragma once

#include "Vek/text/String.h"

#include <cstddef>

namespace Tools {

/// Text on its way to a file descriptor, written in large pieces.
class Output {
public:
   /// `name` tells what `fd` is in the message of a failure.
   Output( int fd, const char* name ) : fd_( fd ), name_( name ) {}
   Output( const Output& ) = delete;
   Output& operator=( const Output& ) = delete;

   /// What is not written yet: append to it.
   Vek::String& text() { return text_; }

   /// Writes what is there when it has grown large. All three operations that write raise
   /// `std::system_error`, "cannot write NAME: REASON".
   void flushIfLarge() {
      if ( text_.size() >= large ) {
         flush();
      }
   }
   /// Writes what is there.
   void flush();
   /// Writes what is there and closes the descriptor: a file system may report only then that it
   /// could not keep what it took.
   void close();

private:
   static constexpr std::size_t large = std::size_t{ 64 } * 1024;

   const int fd_;
   const char* const name_;
   Vek::String text_;
};

} // namespace Tools
