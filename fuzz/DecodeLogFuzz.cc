#include "fuzz/LogInput.h"
#include "fuzz/MemoryFile.h"
#include "tools/flowspecctl/DecodeLogCommand.h"

#include <nlohmann/json.hpp>

namespace {

using namespace Flowspec;
using namespace Tools;

// What the command prints.
Vek::String decoded( const Vek::String& file, bool json ) {
   const int fd = ::memfd_create( "output", MFD_CLOEXEC );
   Output output( fd, "the output" );
   runDecodeLog( { .dump = true, .json = json, .file = file }, output );
   output.flush();
   Vek::String text( static_cast< std::size_t >( ::lseek( fd, 0, SEEK_END ) ), ' ' );
   Fuzz::require( ::pread( fd, text.data(), text.size(), 0 ) ==
                     static_cast< ssize_t >( text.size() ),
                  "the output can be read" );
   ::close( fd );
   return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size ) {
   if ( size == 0 ) {
      return 0;
   }
   const std::vector< U8 > stream = Fuzz::logStream( data, size );
   const Fuzz::MemoryFile file( stream.data(), stream.size() );
   const Vek::String text = decoded( file.path(), false );
   Fuzz::require( text.find( '\0' ) == text.npos, "what a peer sent is escaped" );
   const Vek::String json = decoded( file.path(), true );
   for ( std::string_view left = json; !left.empty();
         left.remove_prefix( left.find( '\n' ) + 1 ) ) {
      Fuzz::require( nlohmann::json::accept( left.substr( 0, left.find( '\n' ) ) ),
                     "each line is JSON" );
   }
   return 0;
}
