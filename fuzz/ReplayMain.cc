#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput( const std::uint8_t* data, std::size_t size );

/// Feeds every file of a corpus folder to the fuzz target that this driver is linked with, in the
/// order of the names. A folder without a file is an error: the test would show nothing.
int main( int argc, char** argv ) {
   namespace fs = std::filesystem;
   if ( argc != 2 || !fs::is_directory( argv[1] ) ) {
      std::fprintf( stderr, "usage: %s CORPUS-FOLDER\n", argv[0] );
      return 2;
   }
   std::vector< fs::path > files;
   for ( const auto& entry : fs::recursive_directory_iterator( argv[1] ) )
      if ( entry.is_regular_file() )
         files.push_back( entry.path() );
   std::sort( files.begin(), files.end() );

   for ( const auto& file : files ) {
      std::printf( "%s\n", file.c_str() );
      std::fflush( stdout ); // the last line names the file that ended the process
      std::ifstream in( file, std::ios::binary );
      const std::vector< char > bytes( std::istreambuf_iterator< char >( in ), {} );
      // An allocation of the very size, so that a read past the end is seen by AddressSanitizer.
      const std::vector< std::uint8_t > input( bytes.begin(), bytes.end() );
      LLVMFuzzerTestOneInput( input.data(), input.size() );
   }
   std::printf( "%zu inputs replayed\n", files.size() );
   return files.empty() ? 1 : 0;
}
