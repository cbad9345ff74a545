#include "forms/LineReader.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace Forms {

namespace {

// What some editors put before text in UTF-8.
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

} // namespace

LineReader::LineReader( int fd, std::function< void() > beforeRead )
   : fd_( fd ), beforeRead_( std::move( beforeRead ) ), buffer_( 2 * blockSize ) {}

LineReader::Result LineReader::next( std::string_view& line ) {
   for ( ;; ) {
      const char* const start = buffer_.data() + begin_;
      const std::size_t size = end_ - begin_;
      const void* const found = std::memchr( start + scanned_, '\n', size - scanned_ );
      const bool last = !found && atEnd_;
      if ( last && size == 0 && !tooLong_ ) {
         return Result::end;
      }
      if ( found || last ) {
         line = { start,
                  found ? static_cast< std::size_t >( static_cast< const char* >( found ) - start )
                        : size };
         begin_ += line.size() + ( found ? 1 : 0 );
         scanned_ = 0;
         if ( ++lineNumber_ == 1 && line.starts_with( byteOrderMark ) ) {
            line.remove_prefix( byteOrderMark.size() );
         }
         const bool whole = !tooLong_ && line.size() <= maxLine;
         tooLong_ = false;
         line.remove_suffix( line.ends_with( '\r' ) );
         return whole ? Result::line : Result::tooLong;
      }
      scanned_ = size;
      if ( size > maxLine ) {
         tooLong_ = true;
         begin_ = end_ = scanned_ = 0;
      }
      if ( !fill() ) {
         return Result::failed;
      }
   }
}

// Reads one block after what is there, or finds the end of the input.
bool LineReader::fill() {
   if ( begin_ > 0 ) {
      std::memmove( buffer_.data(), buffer_.data() + begin_, end_ - begin_ );
      end_ -= begin_;
      begin_ = 0;
   }
   if ( buffer_.size() - end_ < blockSize ) {
      buffer_.resize( std::min( 2 * buffer_.size(), maxLine + blockSize ) );
   }
   beforeRead_();
   ssize_t got = 0;
   do {
      got = ::read( fd_, buffer_.data() + end_, blockSize );
   } while ( got < 0 && errno == EINTR );
   if ( got < 0 ) {
      error_ = errno;
      return false;
   }
   end_ += static_cast< std::size_t >( got );
   bytesRead_ += static_cast< U64 >( got );
   atEnd_ = got == 0;
   return true;
}

} // namespace Forms
