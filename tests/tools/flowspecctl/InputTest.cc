#include "tests/tools/flowspecctl/Run.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace {

using TestSupport::flowspecctl;
using TestSupport::Folder;
using TestSupport::Result;
using TestSupport::run;

void expect( const Result& result, int status, const Vek::String& out, const Vek::String& err ) {
   EXPECT_EQ( result.status, status );
   EXPECT_EQ( result.out, out );
   EXPECT_EQ( result.err, err );
}

TEST( Input, NothingIsGood ) {
   expect( flowspecctl( { "key" } ), 0, "", "" );
   const Folder folder;
   expect( flowspecctl( { "key", folder.file( "empty", "" ) } ), 0, "", "" );
}

TEST( Input, BlankLinesAndCommentsArePassedOver ) {
   expect( flowspecctl( { "key" }, "\n \t\n\r\n# x\n  # y\n#\n*;*;\n#*;*;" ), 0, "*;*;\n", "" );
}

TEST( Input, BadLinesAreReportedByTheirNumbersAndTheRestGoesOn ) {
   expect( flowspecctl( { "key" }, "# 1\n\nx\n*;*;\n*;*;IP:=;\n*;*;IP:=1;\n" ), 1,
           "*;*;\n*;*;IP:=1;\n",
           "<stdin>:3:1: error: Could not parse dest prefix x : Zorv::IpGenPrefix: 'x' is not a "
           "prefix\n"
           "   x\n"
           "   ^\n"
           "<stdin>:5:9: error:  Missing value in IP:=\n"
           "   *;*;IP:=;\n"
           "           ^\n" );
}

TEST( Input, FilesAreReadInOrderAndADashIsStandardInput ) {
   const Folder folder;
   const Vek::String one = folder.file( "one", "*;*;IP:=1;\nx\n" );
   const Vek::String two = folder.file( "two", "*;*;IP:=2;" );
   expect( flowspecctl( { "key", two, "-", one, two }, "*;*;IP:=3;\ny" ), 1,
           "*;*;IP:=2;\n*;*;IP:=3;\n*;*;IP:=1;\n*;*;IP:=2;\n",
           "<stdin>:2:1: error: Could not parse dest prefix y : Zorv::IpGenPrefix: 'y' is not a "
           "prefix\n"
           "   y\n"
           "   ^\n" +
              one +
              ":2:1: error: Could not parse dest prefix x : Zorv::IpGenPrefix: 'x' is not a "
              "prefix\n"
              "   x\n"
              "   ^\n" );
}

TEST( Input, FilesThatCannotBeReadAreReportedAndTheRestGoesOn ) {
   const Folder folder;
   const Vek::String good = folder.file( "good", "*;*;\n" );
   const Vek::String missing = folder.path() + "/missing";
   expect( flowspecctl( { "key", missing, good, folder.path(), good } ), 1, "*;*;\n*;*;\n",
           missing + ": error: cannot open: No such file or directory\n" + folder.path() +
              ": error: cannot read: Is a directory\n" );
}

TEST( Input, AFileWithoutPermissionIsReported ) {
   if ( ::geteuid() == 0 ) {
      GTEST_SKIP() << "the superuser reads every file";
   }
   const Folder folder;
   const Vek::String secret = folder.file( "secret", "*;*;\n" );
   ::chmod( secret.c_str(), 0 );
   expect( flowspecctl( { "key", secret } ), 1, "",
           secret + ": error: cannot open: Permission denied\n" );
}

TEST( Input, StandardInputThatIsNotOpenIsReported ) {
   expect(
      run( { .command = { "sh", "-c", "exec \"$0\" key <&-", TestSupport::flowspecctlPath() } } ),
      1, "", "<stdin>: error: cannot read: Bad file descriptor\n" );
}

TEST( Input, LinesMayEndWithACarriageReturn ) {
   expect( flowspecctl( { "key" }, "*;*;IP:=1;\r\n*;*;IP:=2\r\n*;*;IP:=3;\r" ), 0,
           "*;*;IP:=1;\n*;*;IP:=2;\n*;*;IP:=3;\n", "" );
   expect( flowspecctl( { "key" }, "*;*;IP:=1;\r\r\n" ), 1, "",
           "<stdin>:1:11: error: Did not find a match component in \\x0d\n"
           "   *;*;IP:=1;\\x0d\n"
           "             ^\n" );
}

TEST( Input, TextBehindTheKeyIsNotTaken ) {
   expect( flowspecctl( { "key" }, "*;*;IP:=6; drop\n" ), 1, "",
           "<stdin>:1:11: error: Did not find a match component in  drop\n"
           "   *;*;IP:=6; drop\n"
           "             ^\n" );
   expect( flowspecctl( { "key" }, "*;*;IP:=6;\t\n" ), 1, "",
           "<stdin>:1:11: error: Did not find a match component in \\x09\n"
           "   *;*;IP:=6;\\x09\n"
           "             ^\n" );
   expect( flowspecctl( { "key", "--from", "diag" }, ";;;;@ \n" ), 1, "",
           "<stdin>:1:7: error: Did not find the last ; in ;;;;@ \n"
           "   ;;;;@ \n"
           "         ^\n" );
}

TEST( Input, NoByteReachesATerminalAsAControlCharacter ) {
   expect( flowspecctl( { "key" }, Vek::String( "*;*;IP:=\0;\n*;*;\x1b[31m;\n", 21 ) ), 1, "",
           "<stdin>:1:9: error: Unexpected character \\x00\n"
           "   *;*;IP:=\\x00;\n"
           "           ^\n"
           "<stdin>:2:5: error: Did not find a match component in \\x1b[31m\n"
           "   *;*;\\x1b[31m;\n"
           "       ^\n" );
}

// A long message as it is shown.
Vek::String shortened( const Vek::String& message ) {
   return message.substr( 0, 600 ) + " ... (" + std::to_string( message.size() - 900 ) +
          " bytes) ... " + message.substr( message.size() - 300 );
}

TEST( Input, MessagesAboutLongLinesAreShort ) {
   const Vek::String megabytes( 5000000, 'x' );
   expect( flowspecctl( { "key" }, megabytes + "\n*;*;\n" ), 1, "*;*;\n",
           "<stdin>:1:1: error: " +
              shortened( "Could not parse dest prefix " + megabytes + " : Zorv::IpGenPrefix: '" +
                         megabytes + "' is not a prefix" ) +
              "\n   " + Vek::String( 25, 'x' ) + "...\n   ^\n" );
}

TEST( Input, ALongLineCanBeGood ) {
   const Vek::String operators( 5000000, '=' );
   expect( flowspecctl( { "key" }, "*;*;IP:" + operators + "6;\n" ), 0, "*;*;IP:=6;\n", "" );
}

TEST( Input, LinesBeyond16MiBAreReported ) {
   const Vek::String operators( 16 * 1024 * 1024, '=' );
   expect( flowspecctl( { "key" }, "*;*;\n*;*;IP:" + operators + "6;\n*;*;\n" ), 1, "*;*;\n*;*;\n",
           "<stdin>:2: error: the line is longer than 16777216 bytes\n" );
}

TEST( Input, NestedJsonIsNoDanger ) {
   expect( flowspecctl( { "key", "--from", "json" }, Vek::String( 10000000, '[' ) ), 1, "",
           "<stdin>:1: error: nested too deeply for a rule key\n" );
}

TEST( Input, TermsBeyondTheLastIndexAreReported ) {
   Vek::String component = "IP:";
   for ( int i = 0; i < 2047; ++i ) {
      component += "|=6";
   }
   EXPECT_EQ( flowspecctl( { "key" }, "*;*;" + component ).status, 0 );
   component += "|=6";
   expect(
      flowspecctl( { "key" }, "*;*;" + component ), 1, "",
      "<stdin>:1:6151: error: " + shortened( "Too many terms for a rule key at " + component ) +
         "\n   ...|=6|=6|=6|=6|=6|=6|=6|=6|=6|=6|=6|=6|=6|=6|=6|=6|=6\n" + Vek::String( 56, ' ' ) +
         "^\n" );
}

TEST( Input, ValuesOf8BytesAreReported ) {
   expect( flowspecctl( { "key", "--from", "cli-len" }, "*;*;DP:=3L6;\n" ), 1, "",
           "<stdin>:1:9: error: 8-byte values are not supported in DP:=3L6\n"
           "   *;*;DP:=3L6;\n"
           "           ^\n" );
   expect( flowspecctl( { "key", "--from", "value" }, "1;ipv4;*;*;DP:=7L6;\n" ), 1, "",
           "<stdin>:1:16: error: 8-byte values are not supported in DP:=7L6\n"
           "   1;ipv4;*;*;DP:=7L6;\n"
           "                  ^\n" );
}

TEST( Input, MachinesTextIsCheckedWithoutEndingTheProgram ) {
   expect( flowspecctl( { "key", "--from", "value" }, "x;ipv4;*;*;\n"
                                                      "99999999999999999999;ipv4;*;*;\n"
                                                      "1;none;*;*;\n"
                                                      "1;ipv4;\n"
                                                      ";ipv4;*;*;\n"
                                                      "1;ipv4;IFSET:=16384;*;*;\n"
                                                      "1;ipv4;IFSET:=1\n"
                                                      "1;ipv4;IFSET:=1;*;*;IP:=6;\n"
                                                      "1;ipv4;*;*;\n" ),
           1, "1;ipv4;*;*;\n",
           "<stdin>:1:1: error: Could not parse VRF x\n"
           "   x;ipv4;*;*;\n"
           "   ^\n"
           "<stdin>:2:1: error: Could not parse VRF 99999999999999999999\n"
           "   99999999999999999999;ipv4...\n"
           "   ^\n"
           "<stdin>:3:3: error: Invalid address family none\n"
           "   1;none;*;*;\n"
           "     ^\n"
           "<stdin>:4:8: error: Did not find match components in 1;ipv4;\n"
           "   1;ipv4;\n"
           "          ^\n"
           "<stdin>:5:1: error: Did not find a VRF in ;ipv4;*;*;\n"
           "   ;ipv4;*;*;\n"
           "   ^\n"
           "<stdin>:6:15: error: Interface-set number is too large in IFSET:=16384;*;*;\n"
           "   1;ipv4;IFSET:=16384;*;*;\n"
           "                 ^\n"
           "<stdin>:7:16: error: Did not find the end of the interface-set list in IFSET:=1\n"
           "   1;ipv4;IFSET:=1\n"
           "                  ^\n"
           "<stdin>:8:25: error: Unexpected format for value length IP:=6\n"
           "   1;ipv4;IFSET:=1;*;*;IP:=6;\n"
           "                           ^\n" );
}

} // namespace
