#pragma once

#include "Vek/text/String.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace TestSupport {

/// A folder of its own for a test, gone with the object.
class Folder {
public:
   Folder() {
      char name[] = "/tmp/flowspec-test-XXXXXX";
      EXPECT_NE( ::mkdtemp( name ), nullptr );
      path_ = name;
   }
   Folder( const Folder& ) = delete;
   Folder& operator=( const Folder& ) = delete;
   ~Folder() { std::filesystem::remove_all( path_ ); }

   /// Writes a file and returns its path.
   Vek::String file( const Vek::String& name, const Vek::String& text ) const {
      const Vek::String path = path_ + '/' + name;
      std::ofstream( path, std::ios::binary ) << text;
      return path;
   }

   const Vek::String& path() const { return path_; }

private:
   Vek::String path_;
};

/// All of a file.
inline Vek::String contents( const Vek::String& path ) {
   std::ifstream file( path, std::ios::binary );
   EXPECT_TRUE( file ) << path;
   std::ostringstream text;
   text << file.rdbuf();
   return text.str();
}

} // namespace TestSupport
