#include "tools/terminal/Output.h"

#include "tests/support/Interruptions.h"

#include <cstdio>
#include <system_error>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

namespace {

using Tools::Output;

off_t sizeOf( int fd ) { return ::lseek( fd, 0, SEEK_END ); }

TEST( Output, WritesWhatIsLarge ) {
   std::FILE* const file = std::tmpfile();
   Output output( fileno( file ), "file" );
   output.text() += "abc";
   output.flushIfLarge();
   EXPECT_EQ( sizeOf( fileno( file ) ), 0 );
   output.text().append( 65536, 'x' );
   output.flushIfLarge();
   EXPECT_EQ( sizeOf( fileno( file ) ), 65539 );
   EXPECT_EQ( output.text(), "" );
   output.text() += "abc";
   output.flush();
   EXPECT_EQ( sizeOf( fileno( file ) ), 65542 );
   std::fclose( file );
}

TEST( Output, GoesOnWhenASignalInterruptsIt ) {
   int ends[2];
   ASSERT_EQ( ::pipe( ends ), 0 );
   std::size_t got = 0;
   {
      // More than the pipe holds: it is read after the interruptions only.
      const TestSupport::Interruptions interruptions( [&] {
         char block[4096];
         for ( ssize_t size; ( size = ::read( ends[0], block, sizeof block ) ) > 0; ) {
            got += static_cast< std::size_t >( size );
         }
      } );
      Output output( ends[1], "pipe" );
      output.text().append( 1'000'000, 'x' );
      output.close();
   }
   EXPECT_EQ( got, 1'000'000U );
   ::close( ends[0] );
}

TEST( Output, CloseWritesTheRest ) {
   std::FILE* const file = std::tmpfile();
   Output output( ::dup( fileno( file ) ), "file" );
   output.text() += "abc";
   output.close();
   EXPECT_EQ( sizeOf( fileno( file ) ), 3 );
   std::fclose( file );
}

TEST( Output, WithoutTextADescriptorThatIsNotOpenDoesNoHarm ) {
   Output output( 9999, "nothing" );
   output.flush();
   output.close();
}

TEST( Output, TellsWhyWritingFailed ) {
   Output output( ::open( "/dev/full", O_WRONLY ), "the full device" );
   output.text() += "abc";
   try {
      output.flush();
      FAIL();
   } catch ( const std::system_error& error ) {
      EXPECT_STREQ( error.what(), "cannot write the full device: No space left on device" );
   }
   // What could not be written is dropped, so that closing does not fail again.
   EXPECT_EQ( output.text(), "" );
   output.close();
}

} // namespace
