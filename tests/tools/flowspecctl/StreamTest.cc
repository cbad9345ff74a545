#include "tests/support/Sanitized.h"
#include "tests/tools/flowspecctl/Run.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using TestSupport::contents;
using TestSupport::flowspecctl;
using TestSupport::flowspecctlPath;
using TestSupport::Folder;
using TestSupport::Result;
using TestSupport::run;

// `count` lines of 40 bytes, all different.
Vek::String manyRules( unsigned count ) {
   Vek::String text;
   char line[64];
   for ( unsigned i = 0; i < count; ++i ) {
      std::snprintf( line, sizeof line, "10.%03u.0.0/16;*;IP:=0L6;DP:=2L%08u;\n", 100 + i % 100,
                     10000000 + i );
      text += line;
   }
   EXPECT_EQ( text.size(), std::size_t{ 40 } * count );
   return text;
}

TEST( Stream, MemoryDoesNotGrowWithTheInput ) {
   if ( TestSupport::sanitized ) {
      GTEST_SKIP() << "a sanitizer keeps memory that is free";
   }
   const Folder folder;
   const Vek::String small = folder.file( "small", manyRules( 100000 ) );
   const Vek::String large = folder.file( "large", manyRules( 1000000 ) );
   for ( const char* const form : { "value", "cli-len,detail,words" } ) {
      const auto peak = [&]( const Vek::String& file ) {
         const Result result =
            run( { .command = { flowspecctlPath(), "key", "--from", "cli-len", "--to", form, file },
                   .output = "/dev/null" } );
         EXPECT_EQ( result.status, 0 );
         return result.peakMemory;
      };
      EXPECT_LT( peak( large ), peak( small ) + 2048 ) << form;
   }
}

TEST( Stream, WhatIsReadIsWrittenBeforeMoreIsWaitedFor ) {
   int in[2];
   int out[2];
   ASSERT_EQ( ::pipe( in ), 0 );
   ASSERT_EQ( ::pipe( out ), 0 );
   const pid_t child = ::fork();
   if ( child == 0 ) {
      ::dup2( in[0], STDIN_FILENO );
      ::dup2( out[1], STDOUT_FILENO );
      ::close( in[1] );
      ::execl( FLOWSPECCTL, FLOWSPECCTL, "key", nullptr );
      ::_exit( 127 );
   }
   ::close( in[0] );
   ::close( out[1] );
   char line[5];
   for ( int i = 0; i < 3; ++i ) {
      ASSERT_EQ( ::write( in[1], "*;*;\n", 5 ), 5 );
      ASSERT_EQ( ::read( out[0], line, sizeof line ), 5 );
   }
   ::close( in[1] );
   int status = -1;
   ::waitpid( child, &status, 0 );
   EXPECT_EQ( status, 0 );
   ::close( out[0] );
}

TEST( Stream, OutputThatCannotBeWrittenIsReported ) {
   for ( const char* const command :
         { "echo '*;*;' | \"$0\" key", "\"$0\" vocab", "\"$0\" --help", "\"$0\" --version",
           "echo x | \"$0\" key --json", "seq 100000 | sed 's/.*/*;*;IP:=&;/' | \"$0\" key" } ) {
      const Result result =
         run( { .command = { "sh", "-c", command, flowspecctlPath() }, .output = "/dev/full" } );
      EXPECT_EQ( result.status, 1 ) << command;
      EXPECT_EQ( result.err, "flowspecctl: error: cannot write standard output: No space left on "
                             "device\n" )
         << command;
   }
   const Result closed =
      run( { .command = { "sh", "-c", "echo '*;*;' | \"$0\" key >&-", flowspecctlPath() } } );
   EXPECT_EQ( closed.status, 1 );
   EXPECT_EQ( closed.err,
              "flowspecctl: error: cannot write standard output: Bad file descriptor\n" );
}

TEST( Stream, MessagesStandWhereTheirLinesAre ) {
   const Result result = run( { .command = { "sh", "-c", "\"$0\" key 2>&1", flowspecctlPath() },
                                .input = "*;*;IP:=1;\n*;*;x\n*;*;IP:=2;\n" } );
   EXPECT_EQ( result.out, "*;*;IP:=1;\n<stdin>:2:5: error: Did not find a match component in x\n"
                          "   *;*;x\n"
                          "       ^\n"
                          "*;*;IP:=2;\n" );
}

TEST( Stream, ErrorsAreRedOnATerminalThatMayBeColoured ) {
   const auto errors = [&]( bool terminal, std::vector< Vek::String > environment ) {
      return run( { .command = { flowspecctlPath(), "key" },
                    .input = "*;*;x\n",
                    .environment = std::move( environment ),
                    .errorsToTerminal = terminal } )
         .err;
   };
   const Vek::String message = "Did not find a match component in x";
   const Vek::String lines = "\r\n   *;*;x\r\n       ^\r\n";
   EXPECT_EQ( errors( true, {} ), "<stdin>:1:5: \x1b[1;31merror:\x1b[0m " + message + lines );
   EXPECT_EQ( errors( true, { "NO_COLOR=" } ),
              "<stdin>:1:5: \x1b[1;31merror:\x1b[0m " + message + lines );
   EXPECT_EQ( errors( true, { "NO_COLOR=1" } ), "<stdin>:1:5: error: " + message + lines );
   EXPECT_EQ( errors( true, { "TERM=dumb" } ), "<stdin>:1:5: error: " + message + lines );
   EXPECT_EQ( errors( false, {} ), "<stdin>:1:5: error: " + message + "\n   *;*;x\n       ^\n" );
}

TEST( Stream, ProgressIsShownOnATerminalWhenTheInputIsLarge ) {
   const Folder folder;
   const Vek::String rules = manyRules( 900000 ); // 34.3 MiB
   const Vek::String large = folder.file( "large", rules + "*;*;x\n" );
   const Vek::String small = folder.file( "small", rules.substr( 0, 40 * 400000 ) );
   const auto errors = [&]( const Vek::String& file, bool terminal ) {
      return run( { .command = { flowspecctlPath(), "key", "--from", "cli-len", file },
                    .errorsToTerminal = terminal,
                    .output = "/dev/null" } )
         .err;
   };
   // 16 MiB hold 419430 lines of 40 bytes, and a piece.
   EXPECT_EQ( errors( large, true ),
              "\rflowspecctl: 16 MiB, 419430 lines read\rflowspecctl: 32 MiB, 838860 lines read"
              "\r\x1b[K" +
                 large +
                 ":900001:5: \x1b[1;31merror:\x1b[0m Did not find a match component in x\r\n"
                 "   *;*;x\r\n       ^\r\n" );
   EXPECT_EQ( errors( small, true ), "" );
   EXPECT_EQ( errors( large, false ),
              large +
                 ":900001:5: error: Did not find a match component in x\n   *;*;x\n       ^\n" );
}

} // namespace
