#include "forms/InputFile.h"

#include <fcntl.h>
#include <unistd.h>

namespace Forms {

bool isPassedOver( std::string_view line ) {
   const std::size_t first = line.find_first_not_of( " \t\r\v\f" );
   return first == line.npos || line[first] == '#';
}

InputFile::InputFile( const Vek::String& file )
   : name_( file == "-" ? std::string_view( "<stdin>" ) : file ),
     fd_( file == "-" ? STDIN_FILENO : ::open( file.c_str(), O_RDONLY | O_CLOEXEC ) ) {}

InputFile::~InputFile() {
   if ( fd_ > STDIN_FILENO ) {
      ::close( fd_ );
   }
}

} // namespace Forms
