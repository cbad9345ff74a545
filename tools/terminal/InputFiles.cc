#include "tools/terminal/InputFiles.h"

#include "Vek/text/Text.h"
#include "forms/Diagnostics.h"
#include "forms/LineReader.h"

#include <cerrno>
#include <cstring>

namespace Tools {

using namespace Forms;

bool InputFiles::read( const std::vector< Vek::String >& files ) {
   if ( files.empty() ) {
      readFile( "-" );
   }
   for ( const Vek::String& file : files ) {
      readFile( file );
   }
   return good_;
}

void InputFiles::readFile( const Vek::String& name ) {
   const InputFile file( name );
   if ( file.fd() < 0 ) {
      badFile( file.name(), "cannot open" );
   } else {
      readLines( file.fd(), file.name() );
   }
}

void InputFiles::readLines( int fd, std::string_view file ) {
   LineReader reader( fd, [&] {
      output_.flush();
      progress_.at( bytes_ + reader.bytesRead(), lines_ + reader.lineNumber() );
   } );
   std::string_view line;
   for ( ;; ) {
      switch ( reader.next( line ) ) {
      case LineReader::Result::line:
         if ( !isPassedOver( line ) ) {
            sink_.line( { file, reader.lineNumber() }, line );
         }
         continue;
      case LineReader::Result::tooLong:
         sink_.badLine( { file, reader.lineNumber() }, line,
                        Vek::concat( "the line is longer than ", LineReader::maxLine, " bytes" ) );
         continue;
      case LineReader::Result::failed:
         errno = reader.error();
         badFile( file, "cannot read" );
         break;
      case LineReader::Result::end:
         break;
      }
      break;
   }
   sink_.endOfFile( file );
   bytes_ += reader.bytesRead();
   lines_ += reader.lineNumber();
}

void InputFiles::badFile( std::string_view file, std::string_view what ) {
   const Vek::String message =
      Vek::concat( what, ": ", std::string_view( std::strerror( errno ) ) );
   good_ = false;
   progress_.clear();
   output_.flush();
   reportFile( file, message );
}

} // namespace Tools
