#pragma once

#include "Osk/Types.h"

#include <cstddef>
#include <functional>
#include <string_view>
#include <vector>

namespace Forms {

/// Takes the lines off a file descriptor. Reads large blocks and finds line ends in them, so that a
/// line costs neither a system call nor an allocation. Memory grows with the longest line, up to
/// `maxLine`, and not with the input.
class LineReader {
public:
   static constexpr std::size_t blockSize = std::size_t{ 256 } * 1024;
   static constexpr std::size_t maxLine = std::size_t{ 16 } * 1024 * 1024;

   enum class Result : U8 {
      line,
      tooLong, ///< a line of more than `maxLine` bytes: passed over, the next call goes on after
               ///< it
      end,
      failed, ///< read(2) failed: see `error()`
   };

   /// `fd` stays the caller's. `beforeRead` is called ahead of each read(2), which may wait.
   LineReader( int fd, std::function< void() > beforeRead );

   /// The next line, without the mark of UTF-8 at the front of the input and without its "\n" or
   /// "\r\n"; the last one needs neither. `line` is valid until the next call.
   Result next( std::string_view& line );

   /// The number of the line that `next` gave last, from 1 on.
   U64 lineNumber() const { return lineNumber_; }
   /// How many bytes were read so far.
   U64 bytesRead() const { return bytesRead_; }
   /// The errno of the read(2) that failed.
   int error() const { return error_; }

private:
   bool fill();

   const int fd_;
   const std::function< void() > beforeRead_;
   std::vector< char > buffer_;
   std::size_t begin_ = 0;   // of the line in work
   std::size_t scanned_ = 0; // how much of it is known to hold no line end
   std::size_t end_ = 0;     // of what was read
   U64 lineNumber_ = 0;
   U64 bytesRead_ = 0;
   int error_ = 0;
   bool atEnd_ = false;
   bool tooLong_ = false; // the front of the line in work was dropped
};

} // namespace Forms
