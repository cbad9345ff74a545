#include "agents/statedbd/Disk.h"

#include "tests/support/Folder.h"

#include <system_error>

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Agents {
namespace {

using testing::ThrowsMessage;

class OnDisk : public testing::Test {
protected:
   OnDisk() : disk( folder.path() ) {}

   void write( const Vek::String& name, const Vek::String& text ) {
      const auto file = disk.create( name );
      file->append( { reinterpret_cast< const U8* >( text.data() ), text.size() } );
      file->sync();
   }

   // All of a file; "none" when there is none.
   Vek::String contents( const Vek::String& name ) {
      Vek::String text;
      const bool isThere = disk.read( name, [&]( std::span< const U8 > piece ) {
         text.append( reinterpret_cast< const char* >( piece.data() ), piece.size() );
      } );
      return isThere ? text : "none";
   }

   Vek::String path( const Vek::String& name ) const { return folder.path() + '/' + name; }

   const TestSupport::Folder folder;
   FolderDisk disk;
};

TEST_F( OnDisk, FilesAreWrittenCutReadAndMadeAnew ) {
   EXPECT_EQ( contents( "a" ), "none" );
   {
      const auto file = disk.create( "a" );
      const U8 bytes[] = { 'o', 'n', 'e', 't', 'w', 'o' };
      file->append( bytes );
      file->cut( 3 );
      file->append( std::span( bytes ).last( 3 ) );
      file->cut( 5 );
      file->sync();
   }
   EXPECT_EQ( contents( "a" ), "onetw" );
   write( "a", "new" );
   EXPECT_EQ( contents( "a" ), "new" );
   struct stat found {};
   ASSERT_EQ( ::stat( path( "a" ).c_str(), &found ), 0 );
   EXPECT_EQ( found.st_mode & 0777, 0600U );
}

TEST_F( OnDisk, AFileTakesThePlaceOfAnother ) {
   write( "a", "old" );
   write( "b", "new" );
   disk.rename( "b", "a" );
   EXPECT_EQ( contents( "a" ), "new" );
   EXPECT_EQ( contents( "b" ), "none" );
   disk.remove( "a" );
   EXPECT_EQ( contents( "a" ), "none" );
   disk.remove( "a" ); // is no fault
}

TEST_F( OnDisk, WhatFailsIsNamed ) {
   EXPECT_THAT( [&] { disk.rename( "a", "b" ); },
                ThrowsMessage< std::system_error >( "cannot write " + path( "b" ) +
                                                    ": No such file or directory" ) );
   ASSERT_EQ( ::mkdir( path( "folder" ).c_str(), 0700 ), 0 );
   EXPECT_THAT( [&] { disk.create( "folder" ); },
                ThrowsMessage< std::system_error >( "cannot write " + path( "folder" ) +
                                                    ": Is a directory" ) );
   EXPECT_THAT( [&] { contents( "folder" ); },
                ThrowsMessage< std::system_error >( "cannot read " + path( "folder" ) +
                                                    ": Is a directory" ) );
   EXPECT_THAT( [&] { disk.remove( "folder" ); },
                ThrowsMessage< std::system_error >( "cannot remove " + path( "folder" ) +
                                                    ": Is a directory" ) );
   // A link could lead anywhere.
   ASSERT_EQ( ::symlink( "elsewhere", path( "link" ).c_str() ), 0 );
   EXPECT_THAT( [&] { contents( "link" ); },
                ThrowsMessage< std::system_error >( "cannot read " + path( "link" ) +
                                                    ": Too many levels of symbolic links" ) );
}

} // namespace
} // namespace Agents
