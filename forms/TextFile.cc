#include "forms/TextFile.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace Forms {

Vek::String readTextFile( const Vek::String& file ) {
   std::error_code error;
   const auto status = std::filesystem::status( file, error );
   if ( !error && !std::filesystem::is_regular_file( status ) ) {
      throw std::runtime_error( "cannot read " + file + ": not a regular file" );
   }
   std::ifstream in( file, std::ios::binary );
   Vek::String text( maxTextFile + 1, '\0' );
   if ( !in || !in.read( text.data(), static_cast< std::streamsize >( text.size() ) ).eof() ) {
      const int reason = in ? EFBIG : errno;
      throw std::system_error( reason, std::generic_category(), "cannot read " + file );
   }
   text.resize( static_cast< std::size_t >( in.gcount() ) );
   return text;
}

} // namespace Forms
