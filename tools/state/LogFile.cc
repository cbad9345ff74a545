#include "tools/state/LogFile.h"

#include "Vek/text/Text.h"
#include "forms/InputFile.h"

#include <cerrno>
#include <cstring>

#include <unistd.h>

namespace Tools {

using Forms::Reason;

namespace {

Reason systemReason( std::string_view what ) {
   return Vek::concat( what, ": ", std::string_view( std::strerror( errno ) ) );
}

} // namespace

Reason LogFile::read( const Vek::String& file, const std::function< void() >& taken,
                      const std::function< void() >& waits ) {
   taken_ = taken;
   const Forms::InputFile input( file );
   if ( input.fd() < 0 ) {
      return systemReason( "cannot open" );
   }
   std::vector< U8 > block( std::size_t{ 256 } * 1024 );
   std::size_t held = 0; // until there is enough to tell the form
   try {
      for ( ;; ) {
         waits();
         const ssize_t got = ::read( input.fd(), &block[held], block.size() - held );
         if ( got < 0 && errno != EINTR ) {
            return systemReason( "cannot read" );
         }
         held += got > 0 ? static_cast< std::size_t >( got ) : 0;
         if ( got == 0 || read_ + held >= Vek::log::recordsKnownBy ) {
            take( std::span( block ).first( held ) );
            held = 0;
         }
         if ( got == 0 ) {
            return truncation();
         }
      }
   } catch ( const Vek::StreamException& exception ) {
      return exception.what();
   }
}

void LogFile::take( std::span< const U8 > bytes ) {
   if ( read_ == 0 && bytes.size() >= Vek::log::recordsKnownBy ) {
      isInRecords_ = Vek::log::areRecords( bytes );
   }
   read_ += bytes.size();
   if ( isInRecords_ ) {
      records_.receive( bytes );
   } else {
      takeStream( bytes );
   }
}

void LogFile::takeStream( std::span< const U8 > bytes ) {
   streamed_ += bytes.size();
   receiver_.receive( bytes );
   taken_();
}

Reason LogFile::truncation() const {
   if ( isInRecords_ && records_.whole() != read_ ) {
      return Vek::concat( "the record at byte ", records_.whole(), " is cut off" );
   }
   if ( streamed_ < Vek::log::preambleSize ) {
      return Vek::concat( "the stream ends at byte ", streamed_, ", inside its preamble" );
   }
   if ( !receiver_.atBoundary() ) {
      return Vek::concat( "the stream ends at byte ", streamed_, ", inside message ",
                          receiver_.messages() + 1 );
   }
   return std::nullopt;
}

} // namespace Tools
